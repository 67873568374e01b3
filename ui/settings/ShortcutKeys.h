#pragma once

#include "model/GlobalShortcut.h"

#include <QString>
#include <Qt>

#include <optional>

// What one key press means to the shortcut recorder.
namespace ShortcutKeys {

enum class Outcome {
    ignored,   // a modifier or lock key on its own: the combination is still being typed
    cleared,   // BackSpace
    cancelled, // Escape
    accepted,
    needsModifier, // no Ctrl, Alt or Super, or a key without a label
};

struct Recorded {
    Outcome outcome = Outcome::ignored;
    std::optional<GlobalShortcut> shortcut; // set when accepted
};

// The X11 keysym of a key press, letters in lower case: the platform's own
// when it gives one (`nativeKeysym` non-zero), else derived from Qt's key.
quint32 keysym(int qtKey, quint32 nativeKeysym);

// Shift, Ctrl, Alt and Super only: lock keys and the keypad flag never count.
quint64 modifierFlags(Qt::KeyboardModifiers modifiers);

Recorded record(int qtKey, quint32 nativeKeysym, Qt::KeyboardModifiers modifiers, const QString &text);

} // namespace ShortcutKeys
