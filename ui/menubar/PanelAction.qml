import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// A full-width action of the panel, plain like a menu item.
ItemDelegate {
    Layout.fillWidth: true
    implicitHeight: 28
    font: Theme.body
    leftPadding: 6
}
