import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// "Recent history": one line per provider limit window over the chosen range,
// or the empty state until there is something to draw.
Rectangle {
    id: root
    property alias rangeDays: plot.rangeDays
    readonly property alias plot: plot

    radius: 14
    color: Theme.controlBackground
    implicitHeight: column.implicitHeight + 36

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: 18
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            Label {
                text: "Recent history"
                font: Theme.title2
                Layout.fillWidth: true
            }
            // What to show: the last day, week, month or all 90 days.
            Repeater {
                model: [{ days: 1, text: "24 hours" }, { days: 7, text: "7 days" },
                        { days: 30, text: "30 days" }, { days: 90, text: "90 days" }]
                delegate: Button {
                    required property var modelData
                    objectName: "range_" + modelData.days
                    text: modelData.text
                    flat: true
                    checkable: true
                    checked: plot.rangeDays === modelData.days
                    onClicked: plot.rangeDays = modelData.days
                }
            }
        }

        EmptyState {
            objectName: "noHistoryState"
            visible: plot.isEmpty
            Layout.fillWidth: true
            Layout.preferredHeight: 220
            title: "No history yet"
            symbol: Theme.icon("chart")
            description: "Usage snapshots will appear after the first successful refresh."
        }

        HistoryPlot {
            id: plot
            objectName: "historyPlot"
            visible: !isEmpty
            model: App.model
            Layout.fillWidth: true
            Layout.preferredHeight: 260
            textColor: Theme.secondary
            gridColor: Theme.quaternary
        }

        Label {
            objectName: "historyReadout"
            visible: !plot.isEmpty
            Layout.fillWidth: true
            // Keeps its line when empty, so the chart does not jump.
            text: plot.readout.length > 0 ? plot.readout : " "
            font: Theme.callout
        }

        Flow {
            objectName: "historyLegend"
            visible: !plot.isEmpty
            Layout.fillWidth: true
            spacing: 14
            Label {
                text: "Limit"
                font: Theme.caption2Bold
                color: Theme.secondary
            }
            Repeater {
                model: plot.legend
                delegate: Row {
                    required property var modelData
                    spacing: 5
                    Rectangle {
                        width: 10
                        height: 10
                        radius: 5
                        anchors.verticalCenter: parent.verticalCenter
                        color: modelData.colour
                    }
                    Label {
                        objectName: "legendEntry"
                        text: modelData.name
                        font: Theme.caption
                    }
                }
            }
        }
    }
}
