import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// A full-width action of the panel, plain like a menu item: highlighted only
// under the pointer or the keyboard focus.
ItemDelegate {
    id: action
    Layout.fillWidth: true
    implicitHeight: 28
    font: Theme.body
    leftPadding: 6
    background: Rectangle {
        radius: 5
        color: action.hovered || action.visualFocus ? Theme.quaternary : "transparent"
    }
}
