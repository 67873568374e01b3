#pragma once

#include "model/Error.h"
#include "model/GlobalShortcut.h"
#include "model/Result.h"

#include <functional>

// The desktop's global hot keys: one shortcut at a time, whose action runs on
// the main thread when it is pressed.
class ShortcutRegistrar
{
public:
    virtual ~ShortcutRegistrar() = default;
    // Replaces the registered shortcut. A combination another application
    // holds fails with LimitraError::shortcutUnavailable; the previous one is
    // gone either way.
    virtual Result<void> registerShortcut(const GlobalShortcut &shortcut, std::function<void()> action) = 0;
    virtual void unregisterShortcut() = 0;
    // Where the desktop answers later (through a portal), a failure that comes
    // after registerShortcut returned goes to `report`; answers about an
    // earlier registration are dropped.
    virtual void setLateFailureHandler(const std::function<void(const Error &)> & /*report*/) {}
};
