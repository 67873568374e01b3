#pragma once

#include "app/platform/ShortcutRegistrar.h"

#include <QAbstractNativeEventFilter>
#include <QList>

#include <xcb/xcb.h>

// The global shortcut on X11: a passive key grab on the root window, for the
// combination as it is and with NumLock and CapsLock on, since a grab matches
// the modifier state exactly.
//
// The grab lives on Qt's own connection and presses are read by a native
// event filter rather than on a connection of our own: they then arrive on the
// main thread in order with everything else, and Qt still sees the press, so
// its user time is that of the key press and the window manager's focus-
// stealing prevention lets the panel that opens take the focus.
class X11GlobalShortcut : public ShortcutRegistrar, public QAbstractNativeEventFilter
{
public:
    // Needs Qt's X11 connection: make it only when the application runs on xcb.
    X11GlobalShortcut();
    ~X11GlobalShortcut() override;

    Result<void> registerShortcut(const GlobalShortcut &shortcut, std::function<void()> action) override;
    void unregisterShortcut() override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    void ungrab();

    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    std::function<void()> m_action;
    QList<xcb_keycode_t> m_keycodes;
    uint16_t m_modifiers = 0;
    // NumLock's and CapsLock's bits, which a press may carry or not.
    uint16_t m_lockMask = 0;
    // A held key repeats its press: one press, one toggle.
    bool m_held = false;
};
