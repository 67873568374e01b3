#include "ShortcutKeys.h"

#include <array>
#include <utility>

namespace ShortcutKeys {

namespace {

constexpr quint32 kBackSpace = 0xff08;
constexpr quint32 kEscape = 0xff1b;

constexpr std::array<std::pair<int, quint32>, 18> kSpecialKeys{{
    {Qt::Key_Backspace, kBackSpace},
    {Qt::Key_Tab, 0xff09},
    {Qt::Key_Return, 0xff0d},
    {Qt::Key_Escape, kEscape},
    {Qt::Key_Home, 0xff50},
    {Qt::Key_Left, 0xff51},
    {Qt::Key_Up, 0xff52},
    {Qt::Key_Right, 0xff53},
    {Qt::Key_Down, 0xff54},
    {Qt::Key_PageUp, 0xff55},
    {Qt::Key_PageDown, 0xff56},
    {Qt::Key_End, 0xff57},
    {Qt::Key_Enter, 0xff8d},
    {Qt::Key_Delete, 0xffff},
    {Qt::Key_Space, 0x20},
    {Qt::Key_Insert, 0xff63},
    {Qt::Key_Print, 0xff61},
    {Qt::Key_Pause, 0xff13},
}};

bool isModifierOrLock(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

// The text a key stands for: Latin-1 keysyms are their own character; with
// Ctrl held the event's text is a control character and says nothing.
QString labelText(quint32 sym, const QString &eventText)
{
    if ((sym >= 0x21 && sym <= 0x7e) || (sym >= 0xa1 && sym <= 0xff))
        return {QChar(static_cast<char16_t>(sym))};
    for (const QChar character : eventText) {
        if (!character.isPrint())
            return {};
    }
    return eventText;
}

} // namespace

quint32 keysym(int qtKey, quint32 nativeKeysym)
{
    quint32 sym = nativeKeysym;
    if (sym == 0) {
        for (const auto &[key, special] : kSpecialKeys) {
            if (key == qtKey)
                return special;
        }
        if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F35)
            return 0xffbe + static_cast<quint32>(qtKey - Qt::Key_F1);
        if (qtKey > 0x20 && qtKey <= 0xff)
            sym = static_cast<quint32>(qtKey);
    }
    // Shift turns "a" into "A"; the stored key is the unshifted letter.
    if (sym >= 'A' && sym <= 'Z')
        sym += 'a' - 'A';
    if (sym >= 0xc0 && sym <= 0xde && sym != 0xd7)
        sym += 0x20;
    return sym;
}

quint64 modifierFlags(Qt::KeyboardModifiers modifiers)
{
    quint64 flags = 0;
    if (modifiers & Qt::ShiftModifier)
        flags |= GlobalShortcut::shift;
    if (modifiers & Qt::ControlModifier)
        flags |= GlobalShortcut::control;
    if (modifiers & Qt::AltModifier)
        flags |= GlobalShortcut::alt;
    if (modifiers & Qt::MetaModifier)
        flags |= GlobalShortcut::super;
    return flags;
}

Recorded record(int qtKey, quint32 nativeKeysym, Qt::KeyboardModifiers modifiers, const QString &text)
{
    if (isModifierOrLock(qtKey))
        return {};
    const quint32 sym = keysym(qtKey, nativeKeysym);
    if (sym == kBackSpace)
        return {Outcome::cleared, std::nullopt};
    if (sym == kEscape)
        return {Outcome::cancelled, std::nullopt};
    const quint64 flags = modifierFlags(modifiers);
    const quint64 required = GlobalShortcut::control | GlobalShortcut::alt | GlobalShortcut::super;
    const std::optional<QString> label = GlobalShortcut::label(sym, labelText(sym, text));
    if (sym == 0 || (flags & required) == 0 || !label)
        return {Outcome::needsModifier, std::nullopt};
    return {Outcome::accepted, GlobalShortcut{sym, flags, *label}};
}

} // namespace ShortcutKeys
