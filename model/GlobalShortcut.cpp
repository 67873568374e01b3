#include "model/GlobalShortcut.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <cmath>
#include <utility>

namespace {

// X11 keysyms of the keys that are named rather than typed.
constexpr std::array<std::pair<quint32, const char *>, 25> kSpecialLabels{{
    {0xff0d, "↩"},  {0xff8d, "⌤"},   {0xff09, "⇥"},   {0x0020, "Space"}, {0xffff, "⌦"},  {0xff51, "←"},  {0xff53, "→"},
    {0xff54, "↓"},  {0xff52, "↑"},   {0xff55, "⇞"},   {0xff56, "⇟"},     {0xff50, "↖"},  {0xff57, "↘"},  {0xffbe, "F1"},
    {0xffbf, "F2"}, {0xffc0, "F3"},  {0xffc1, "F4"},  {0xffc2, "F5"},    {0xffc3, "F6"}, {0xffc4, "F7"}, {0xffc5, "F8"},
    {0xffc6, "F9"}, {0xffc7, "F10"}, {0xffc8, "F11"}, {0xffc9, "F12"},
}};

} // namespace

GlobalShortcut GlobalShortcut::defaultShortcut()
{
    return {0x75, control | alt | super, QStringLiteral("U")};
}

QString GlobalShortcut::displayString() const
{
    QString text;
    if (modifierFlags & control)
        text += QStringLiteral("Ctrl+");
    if (modifierFlags & alt)
        text += QStringLiteral("Alt+");
    if (modifierFlags & shift)
        text += QStringLiteral("Shift+");
    if (modifierFlags & super)
        text += QStringLiteral("Super+");
    return text + keyLabel;
}

QByteArray GlobalShortcut::toJson() const
{
    return QJsonDocument(QJsonObject{{QStringLiteral("keyCode"), qint64(keyCode)},
                                     {QStringLiteral("modifierFlags"), qint64(modifierFlags)},
                                     {QStringLiteral("keyLabel"), keyLabel}})
        .toJson(QJsonDocument::Compact);
}

std::optional<GlobalShortcut> GlobalShortcut::fromJson(const QByteArray &json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    const QJsonValue keyCode = object.value(QStringLiteral("keyCode"));
    const QJsonValue modifiers = object.value(QStringLiteral("modifierFlags"));
    const QJsonValue label = object.value(QStringLiteral("keyLabel"));
    if (!keyCode.isDouble() || !modifiers.isDouble() || !label.isString())
        return std::nullopt;
    const double code = keyCode.toDouble();
    const double flags = modifiers.toDouble();
    if (code < 0 || code > 0xFFFFFFFF || code != std::trunc(code) || flags < 0 || flags > 9.0e15
        || flags != std::trunc(flags))
        return std::nullopt;
    return GlobalShortcut{static_cast<quint32>(code), static_cast<quint64>(flags), label.toString()};
}

std::optional<QString> GlobalShortcut::label(quint32 keysym, const QString &text)
{
    for (const auto &[special, name] : kSpecialLabels) {
        if (special == keysym)
            return QString::fromUtf8(name);
    }
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    return trimmed.toUpper();
}
