import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// One limit window: label and percentage, a gauge, what remains and when it
// resets, and what the forecast says (a line of its own on a full-size card,
// only the run-out on a compact one).
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
    property string forecastLine
    property string runOutText
    property bool runOutSoon

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
        Label {
            objectName: "runOutText"
            visible: root.compact && root.runOutText.length > 0
            text: "· " + root.runOutText
            font: Theme.caption2Bold
            color: root.runOutSoon ? Theme.red : Theme.orange
        }
        Item { Layout.fillWidth: true }
        Label {
            objectName: "resetText"
            text: root.resetText
            font: Theme.caption2
            color: Theme.secondary
        }
    }

    Label {
        objectName: "forecastLine"
        visible: !root.compact && root.forecastLine.length > 0
        Layout.fillWidth: true
        wrapMode: Text.WordWrap
        text: root.forecastLine
        font: Theme.caption
        color: root.runOutText.length === 0 ? Theme.secondary : root.runOutSoon ? Theme.red : Theme.orange
    }
}
