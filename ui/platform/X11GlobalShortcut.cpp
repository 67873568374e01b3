#include "ui/platform/X11GlobalShortcut.h"

#include "ui/platform/X11Desktop.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

namespace {

constexpr xcb_keysym_t kNumLock = 0xff7f;

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

// The keyboard's keycode-to-keysym table.
class KeyboardMapping
{
public:
    explicit KeyboardMapping(xcb_connection_t *connection)
        : m_reply(nullptr, &std::free)
    {
        const xcb_setup_t *setup = xcb_get_setup(connection);
        m_first = setup->min_keycode;
        const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        m_reply.reset(
            xcb_get_keyboard_mapping_reply(connection, xcb_get_keyboard_mapping(connection, m_first, count), nullptr));
    }

    // Keycodes that give `keysym` without Shift or with it, in the first group:
    // where the key a person presses sits.
    QList<xcb_keycode_t> keycodes(xcb_keysym_t keysym) const
    {
        QList<xcb_keycode_t> found;
        if (!m_reply || m_reply->keysyms_per_keycode == 0)
            return found;
        const int perKeycode = m_reply->keysyms_per_keycode;
        const int columns = std::min(perKeycode, 2);
        const xcb_keysym_t *keysyms = xcb_get_keyboard_mapping_keysyms(m_reply.get());
        const int length = xcb_get_keyboard_mapping_keysyms_length(m_reply.get());
        for (int index = 0; index + perKeycode <= length; index += perKeycode) {
            for (int column = 0; column < columns; ++column) {
                if (keysyms[index + column] == keysym) {
                    found.append(static_cast<xcb_keycode_t>(m_first + index / perKeycode));
                    break;
                }
            }
        }
        return found;
    }

private:
    xcb_keycode_t m_first = 0;
    Reply<xcb_get_keyboard_mapping_reply_t> m_reply;
};

// The modifier bit NumLock sets, which keymaps usually put on Mod2.
uint16_t numLockMask(xcb_connection_t *connection, const KeyboardMapping &mapping)
{
    const QList<xcb_keycode_t> numLock = mapping.keycodes(kNumLock);
    Reply<xcb_get_modifier_mapping_reply_t> reply(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr), &std::free);
    if (!reply)
        return XCB_MOD_MASK_2;
    const xcb_keycode_t *keycodes = xcb_get_modifier_mapping_keycodes(reply.get());
    const int perModifier = reply->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int i = 0; i < perModifier; ++i) {
            if (numLock.contains(keycodes[modifier * perModifier + i]))
                return static_cast<uint16_t>(1U << modifier);
        }
    }
    return XCB_MOD_MASK_2;
}

uint16_t coreModifiers(quint64 flags)
{
    uint16_t mask = 0;
    if (flags & GlobalShortcut::shift)
        mask |= XCB_MOD_MASK_SHIFT;
    if (flags & GlobalShortcut::control)
        mask |= XCB_MOD_MASK_CONTROL;
    if (flags & GlobalShortcut::alt)
        mask |= XCB_MOD_MASK_1;
    if (flags & GlobalShortcut::super)
        mask |= XCB_MOD_MASK_4;
    return mask;
}

} // namespace

X11GlobalShortcut::X11GlobalShortcut()
    : m_connection(X11Desktop::connection())
    , m_root(X11Desktop::rootWindow())
{
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11GlobalShortcut::~X11GlobalShortcut()
{
    ungrab();
    if (QCoreApplication *application = QCoreApplication::instance())
        application->removeNativeEventFilter(this);
}

Result<void> X11GlobalShortcut::registerShortcut(const GlobalShortcut &shortcut, std::function<void()> action)
{
    ungrab();
    m_action = std::move(action);
    if (!m_connection || m_root == XCB_WINDOW_NONE)
        return LimitraError::shortcutUnavailable(shortcut.displayString());
    const KeyboardMapping mapping(m_connection);
    const QList<xcb_keycode_t> keycodes = mapping.keycodes(shortcut.keyCode);
    if (keycodes.isEmpty()) // no key of this keyboard types it
        return LimitraError::shortcutUnavailable(shortcut.displayString());
    m_lockMask = static_cast<uint16_t>(numLockMask(m_connection, mapping) | XCB_MOD_MASK_LOCK);
    const uint16_t modifiers = coreModifiers(shortcut.modifierFlags);
    const uint16_t numLock = m_lockMask & ~XCB_MOD_MASK_LOCK;

    // Not owner_events: while the grab is active (until the key is released)
    // the press and the release come for the root window even when one of our
    // own windows, the panel, has the focus. All requests first, then all
    // replies: one round trip.
    QList<xcb_void_cookie_t> cookies;
    for (const xcb_keycode_t keycode : keycodes) {
        for (const uint16_t locks : {uint16_t(0), numLock, uint16_t(XCB_MOD_MASK_LOCK), m_lockMask}) {
            cookies.append(xcb_grab_key_checked(m_connection, 0, m_root, static_cast<uint16_t>(modifiers | locks),
                                                keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
    }
    bool taken = false;
    for (const xcb_void_cookie_t cookie : cookies) {
        // BadAccess: another client holds this combination.
        if (xcb_generic_error_t *error = xcb_request_check(m_connection, cookie)) {
            taken = true;
            std::free(error);
        }
    }
    m_keycodes = keycodes;
    m_modifiers = modifiers;
    if (taken) {
        // Releases only what we hold: another client's grab is not ours to end.
        ungrab();
        return LimitraError::shortcutUnavailable(shortcut.displayString());
    }
    return {};
}

void X11GlobalShortcut::unregisterShortcut()
{
    ungrab();
    m_action = nullptr;
}

void X11GlobalShortcut::ungrab()
{
    if (m_connection && !m_keycodes.isEmpty()) {
        for (const xcb_keycode_t keycode : std::as_const(m_keycodes)) {
            for (const uint16_t locks :
                 {uint16_t(0), uint16_t(m_lockMask & ~XCB_MOD_MASK_LOCK), uint16_t(XCB_MOD_MASK_LOCK), m_lockMask})
                xcb_ungrab_key(m_connection, keycode, m_root, static_cast<uint16_t>(m_modifiers | locks));
        }
        xcb_flush(m_connection);
    }
    m_keycodes.clear();
    m_held = false;
}

bool X11GlobalShortcut::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result)
{
    Q_UNUSED(result);
    if (m_keycodes.isEmpty() || eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    const uint8_t type = event->response_type & 0x7f;
    if (type == XCB_FOCUS_OUT) {
        // A key grab on the root window (ours, or one of the window manager's
        // shortcuts) holds the focus only while the key is down, and the
        // focused window hears of it as a focus loss. The panel would close
        // on it before the press toggles it, and open again; a real move of
        // the focus comes as an event of its own.
        const auto *focus = static_cast<const xcb_focus_out_event_t *>(message);
        return focus->mode == XCB_NOTIFY_MODE_GRAB && focus->detail == XCB_NOTIFY_DETAIL_ANCESTOR;
    }
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    // Press and release events share their layout.
    const auto *key = static_cast<const xcb_key_press_event_t *>(message);
    if (key->event != m_root || !m_keycodes.contains(key->detail))
        return false;
    if (type == XCB_KEY_RELEASE) {
        m_held = false;
        return false;
    }
    const uint16_t pressed = key->state & 0xff & static_cast<uint16_t>(~m_lockMask);
    if (pressed != m_modifiers || m_held || !m_action)
        return false;
    m_held = true;
    // After Qt has taken the press's time (we pass the event on), and never
    // inside Qt's event handling.
    QMetaObject::invokeMethod(QCoreApplication::instance(), m_action, Qt::QueuedConnection);
    return false;
}
