'''The desktop portal's global shortcuts, for tests (a python3-dbusmock template).

CreateSession and BindShortcuts answer through a Request object's Response
signal, as the portal does (BindShortcuts refuses REFUSED, as a dismissed
dialog would); every call is recorded (org.freedesktop.DBus.Mock
GetCalls). A test presses the shortcut by emitting Activated through the
mock's EmitSignal.
'''

import dbus

from dbusmock import mockobject

BUS_NAME = 'org.freedesktop.portal.Desktop'
MAIN_OBJ = '/org/freedesktop/portal/desktop'
MAIN_IFACE = 'org.freedesktop.portal.GlobalShortcuts'
SYSTEM_BUS = False

REQUEST_IFACE = 'org.freedesktop.portal.Request'
SESSION_IFACE = 'org.freedesktop.portal.Session'
# A combination whose binding the user refuses.
REFUSED = 'CTRL+ALT+t'


def load(mock, parameters):
    mock.AddProperty(MAIN_IFACE, 'version', dbus.UInt32(1))
    mock.AddMethod('org.freedesktop.host.portal.Registry', 'Register', 'sa{sv}', '', '')


def _caller(sender):
    return sender[1:].replace('.', '_')


def _respond(sender, options, response, results):
    path = f'/org/freedesktop/portal/desktop/request/{_caller(sender)}/{options["handle_token"]}'
    mockobject.objects[MAIN_OBJ].AddObject(path, REQUEST_IFACE, {}, [])
    # The caller listens on this path before it calls, so the answer may come
    # before the method's reply, as it may from the real portal.
    mockobject.objects[path].EmitSignal(REQUEST_IFACE, 'Response', 'ua{sv}',
                                        [dbus.UInt32(response), dbus.Dictionary(results, signature='sv')])
    return dbus.ObjectPath(path)


@dbus.service.method(MAIN_IFACE, in_signature='a{sv}', out_signature='o', sender_keyword='sender')
def CreateSession(self, options, sender):
    session = f'/org/freedesktop/portal/desktop/session/{_caller(sender)}/{options["session_handle_token"]}'
    self.AddObject(session, SESSION_IFACE, {}, [('Close', '', '', '')])
    return _respond(sender, options, 0, {'session_handle': dbus.ObjectPath(session)})


@dbus.service.method(MAIN_IFACE, in_signature='oa(sa{sv})sa{sv}', out_signature='o', sender_keyword='sender')
def BindShortcuts(self, session, shortcuts, parent_window, options, sender):
    # The user dismisses the desktop's dialog for this one (response 1).
    if any(properties.get('preferred_trigger') == REFUSED for _, properties in shortcuts):
        return _respond(sender, options, 1, {})
    bound = dbus.Array([dbus.Struct((shortcut_id, dbus.Dictionary(properties, signature='sv')))
                        for shortcut_id, properties in shortcuts], signature='(sa{sv})')
    return _respond(sender, options, 0, {'shortcuts': bound})
