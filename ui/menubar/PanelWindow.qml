import QtQuick
import QtQuick.Controls
import Limitra

// The frameless window that hangs from the tray icon. The controller places,
// shows and hides it; Escape closes it.
ApplicationWindow {
    id: window
    objectName: "panelWindow"
    title: "Limitra"
    flags: Qt.Tool | Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint
    width: 370
    height: view.implicitHeight
    color: Theme.window

    DesktopPalette { target: window.palette }

    Rectangle {
        anchors.fill: parent
        color: "transparent"
        border.width: 1
        border.color: Theme.quaternary
        z: 1
    }

    MenuBarView {
        id: view
        anchors.fill: parent
        focus: true
        Keys.onEscapePressed: App.closePanel()
    }
}
