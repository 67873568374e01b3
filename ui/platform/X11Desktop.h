#pragma once

#include <xcb/xcb.h>

class QWindow;

// The few X11 facts and requests Qt has no API for. Every function is a no-op
// (or answers false) outside an X11 session.
namespace X11Desktop {

bool isActive();
// Qt's connection and the root window of the display's screen; null and none
// outside X11.
xcb_connection_t *connection();
xcb_window_t rootWindow();
// Whether an XEmbed tray (a manager owning _NET_SYSTEM_TRAY_S<screen>) runs.
bool trayManagerPresent();
// Asks the window manager to leave the window off the taskbar (_NET_WM_STATE_SKIP_TASKBAR).
void setSkipTaskbar(QWindow &window, bool skip);

} // namespace X11Desktop
