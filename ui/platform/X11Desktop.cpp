#include "ui/platform/X11Desktop.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace {

xcb_atom_t atom(xcb_connection_t *connection, const QByteArray &name)
{
    const xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_screen_t *defaultScreen(xcb_connection_t *connection, int *number)
{
    int screen = 0;
    if (const char *display = std::getenv("DISPLAY")) {
        // xcb writes the host and display number whatever the caller wants.
        char *host = nullptr;
        int displayNumber = 0;
        if (!xcb_parse_display(display, &host, &displayNumber, &screen))
            screen = 0;
        std::free(host);
    }
    *number = screen;
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; it.rem && i < screen; ++i)
        xcb_screen_next(&it);
    return it.rem ? it.data : nullptr;
}

} // namespace

namespace X11Desktop {

xcb_connection_t *connection()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

xcb_window_t rootWindow()
{
    xcb_connection_t *x = connection();
    int screen = 0;
    const xcb_screen_t *found = x ? defaultScreen(x, &screen) : nullptr;
    return found ? found->root : xcb_window_t(XCB_WINDOW_NONE);
}

bool isActive()
{
    return connection() != nullptr;
}

bool trayManagerPresent()
{
    xcb_connection_t *x = connection();
    if (!x)
        return false;
    int screen = 0;
    defaultScreen(x, &screen);
    const xcb_atom_t selection = atom(x, "_NET_SYSTEM_TRAY_S" + QByteArray::number(screen));
    if (selection == XCB_ATOM_NONE)
        return false;
    std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
        xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, selection), nullptr), &std::free);
    return owner && owner->owner != XCB_WINDOW_NONE;
}

void setSkipTaskbar(QWindow &window, bool skip)
{
    xcb_connection_t *x = connection();
    if (!x || !window.handle())
        return;
    int screenNumber = 0;
    xcb_screen_t *screen = defaultScreen(x, &screenNumber);
    if (!screen)
        return;
    // A mapped window's state belongs to the window manager: ask it, as the
    // desktop-window conventions require.
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = static_cast<xcb_window_t>(window.winId());
    event.type = atom(x, "_NET_WM_STATE");
    event.data.data32[0] = skip ? 1 : 0; // _NET_WM_STATE_ADD or _REMOVE
    event.data.data32[1] = atom(x, "_NET_WM_STATE_SKIP_TASKBAR");
    event.data.data32[3] = 1; // from a normal application
    xcb_send_event(x, 0, screen->root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(x);
}

} // namespace X11Desktop
