import QtQuick
import QtQuick.Controls
import Limitra

// A card's health: a short upper-case word on a capsule of its colour.
Rectangle {
    id: root
    property int cardState: CardState.Error
    property string text

    readonly property color tint: Theme.stateColor(cardState)
    implicitWidth: label.implicitWidth + 14
    implicitHeight: label.implicitHeight + 6
    radius: height / 2
    color: Qt.rgba(tint.r, tint.g, tint.b, 0.12)

    Label {
        id: label
        objectName: "stateBadgeText"
        anchors.centerIn: parent
        text: root.text
        font: Theme.caption2Bold
        color: root.tint
    }
}
