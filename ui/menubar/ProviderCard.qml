import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// One provider's latest snapshot: title and health, a row per window (or why
// there are none), and where the numbers came from. Compact in the panel,
// full-size on the overview page.
Rectangle {
    id: root
    property bool compact: true
    property string provider
    property string title
    property url iconSource
    property int cardState: CardState.Error
    property string badgeText
    property string emptyText
    property UsageWindowListModel windows
    property string planName
    property string modelName
    property string creditText
    property string sourceText
    property bool showsFableNote: false

    readonly property int padding: compact ? 12 : 18
    implicitHeight: content.implicitHeight + 2 * padding
    radius: 14
    color: Theme.controlBackground
    border.width: 1
    border.color: Theme.quaternary

    ColumnLayout {
        id: content
        anchors.fill: parent
        anchors.margins: root.padding
        spacing: root.compact ? 10 : 14

        RowLayout {
            Layout.fillWidth: true
            spacing: 6
            SymbolIcon {
                source: root.iconSource
                color: Theme.text
            }
            Label {
                objectName: "cardTitle"
                text: root.title
                font: Theme.headline
                color: Theme.text
            }
            Item { Layout.fillWidth: true }
            StateBadge {
                objectName: "stateBadge"
                cardState: root.cardState
                text: root.badgeText
            }
        }

        Label {
            objectName: "cardEmptyText"
            visible: root.emptyText.length > 0
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: root.emptyText
            font: Theme.callout
            color: Theme.secondary
        }

        Repeater {
            model: root.windows
            delegate: UsageWindowRow {
                // The row's own properties take the model's roles of the same names.
                required label
                required scope
                required usedText
                required remainingText
                required resetText
                required gaugeValue
                required level
                required forecastLine
                required runOutText
                required runOutSoon
                objectName: "windowRow"
                Layout.fillWidth: true
                compact: root.compact
            }
        }

        RowLayout {
            objectName: "fableNote"
            visible: !root.compact && root.showsFableNote
            spacing: 5
            SymbolIcon {
                size: 12
                source: Theme.icon("info")
                color: Theme.secondary
            }
            Label {
                text: "Fable-specific usage is not exposed in Claude's current status-line payload."
                font: Theme.caption
                color: Theme.secondary
            }
        }

        // Plan, model and credits on the left and where the numbers came from
        // on the right; when both do not fit on one line (a compact card with
        // credits), the source goes on a line of its own below.
        GridLayout {
            id: footer
            readonly property bool oneLine: !details.visible
                                            || details.implicitWidth + columnSpacing + sourceLabel.implicitWidth <= width
            Layout.fillWidth: true
            columns: oneLine ? 2 : 1
            columnSpacing: 8
            rowSpacing: 2
            RowLayout {
                id: details
                visible: root.planName.length + root.modelName.length + root.creditText.length > 0
                Layout.fillWidth: true
                spacing: 8
                Label {
                    objectName: "planName"
                    visible: text.length > 0
                    text: root.planName
                    font: Theme.caption2
                    color: Theme.tertiary
                }
                Label {
                    objectName: "modelName"
                    visible: text.length > 0
                    text: root.modelName
                    font: Theme.caption2
                    color: Theme.tertiary
                }
                Label {
                    objectName: "creditText"
                    visible: text.length > 0
                    Layout.fillWidth: true
                    Layout.minimumWidth: 0
                    elide: Text.ElideRight
                    text: root.creditText
                    font: Theme.caption2
                    color: Theme.tertiary
                }
            }
            Label {
                id: sourceLabel
                objectName: "sourceText"
                Layout.fillWidth: true
                Layout.minimumWidth: 0
                horizontalAlignment: Text.AlignRight
                elide: Text.ElideLeft
                text: root.sourceText
                font: Theme.caption2
                color: Theme.tertiary
            }
        }
    }
}
