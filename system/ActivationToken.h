#pragma once

#include <QString>

#include <functional>

// The token a Wayland compositor hands out for a user's click or launch, and
// wants back before it lets a window take the focus. Qt's xdg-shell plugin
// looks for it in XDG_ACTIVATION_TOKEN when a window asks to be activated.
namespace ActivationToken {

// Runs `action` (which opens or raises a window) with `token` where Qt looks
// for it; one left unused (X11, or no window) is removed after, so that the
// children started later do not inherit it. An empty token sets nothing.
void runWith(const QString &token, const std::function<void()> &action);

// This process's own token, given by whatever launched it, taken out of its
// environment to be passed on to the instance that will show the window.
QString take();

} // namespace ActivationToken
