#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// A key combination that toggles the panel from anywhere. The key is an X11
// keysym (lower case for letters: "u" is 0x75); the modifiers use fixed bits.
struct GlobalShortcut {
    static constexpr quint64 shift = 0x20000;
    static constexpr quint64 control = 0x40000;
    static constexpr quint64 alt = 0x80000;
    static constexpr quint64 super = 0x100000;

    quint32 keyCode = 0;
    quint64 modifierFlags = 0;
    QString keyLabel;

    // Ctrl+Alt+Super+U.
    static GlobalShortcut defaultShortcut();

    // "Ctrl+Alt+Shift+Super+" (each modifier only when set, in that order) and the label.
    QString displayString() const;

    // {"keyCode": n, "modifierFlags": n, "keyLabel": "..."}
    QByteArray toJson() const;
    // All three members are required; nothing else is checked.
    static std::optional<GlobalShortcut> fromJson(const QByteArray &json);

    // The label of a key: a name for the special keys (Return, Tab, Space,
    // arrows, ...), else the typed text trimmed and upper-cased; none when
    // that is empty.
    static std::optional<QString> label(quint32 keysym, const QString &text);

    friend bool operator==(const GlobalShortcut &, const GlobalShortcut &) = default;
};
