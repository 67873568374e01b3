import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// One limit window: label and percentage, a gauge, what remains and when it resets.
ColumnLayout {
    id: root
    property string label
    property string scope
    property string usedText
    property string remainingText
    property string resetText
    property real gaugeValue
    property int level: UsageLevel.Normal
    property bool compact: true

    spacing: 5

    RowLayout {
        Layout.fillWidth: true
        spacing: 6
        Label {
            objectName: "windowLabel"
            text: root.label
            font: Theme.medium
            color: Theme.text
        }
        Label {
            objectName: "windowScope"
            visible: root.scope.length > 0
            text: root.scope
            font: Theme.caption
            color: Theme.secondary
        }
        Item { Layout.fillWidth: true }
        Label {
            objectName: "usedText"
            text: root.usedText
            font: Theme.percent
            color: Theme.text
        }
    }

    Rectangle {
        objectName: "gaugeTrack"
        Layout.fillWidth: true
        implicitHeight: 6
        radius: 3
        color: Theme.quaternary
        Rectangle {
            objectName: "gaugeFill"
            width: parent.width * root.gaugeValue / 100
            height: parent.height
            radius: 3
            visible: root.gaugeValue > 0
            color: Theme.levelColor(root.level)
        }
    }

    RowLayout {
        Layout.fillWidth: true
        Label {
            objectName: "remainingText"
            text: root.remainingText
            font: Theme.caption2
            color: Theme.secondary
        }
        Item { Layout.fillWidth: true }
        Label {
            objectName: "resetText"
            text: root.resetText
            font: Theme.caption2
            color: Theme.secondary
        }
    }
}
