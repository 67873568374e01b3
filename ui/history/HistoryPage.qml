import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// The archived snapshots of the visible providers as a chart.
Item {
    id: root
    readonly property alias chart: chart

    ColumnLayout {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        spacing: 10

        HistoryChart {
            id: chart
            objectName: "historyChart"
            Layout.fillWidth: true
        }

        Label {
            objectName: "historyNote"
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: "Limitra keeps 90 days of snapshots on this computer. Hidden providers are excluded."
            font: Theme.caption
            color: Theme.secondary
        }
    }
}
