import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// The panel's content: a header with the refresh button, a card per visible
// provider, and the actions.
Item {
    id: root
    implicitWidth: 370
    implicitHeight: column.implicitHeight + 32

    ColumnLayout {
        id: column
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 16
        spacing: 14

        RowLayout {
            Layout.fillWidth: true
            ColumnLayout {
                spacing: 2
                Label {
                    text: "Limitra"
                    font: Theme.headline
                    color: Theme.text
                }
                Label {
                    text: "AI coding usage"
                    font: Theme.caption
                    color: Theme.secondary
                }
                Label {
                    objectName: "firstToRunOut"
                    visible: text.length > 0
                    text: App.model.firstToRunOut
                    font: Theme.caption
                    color: Theme.orange
                }
            }
            Item { Layout.fillWidth: true }
            ToolButton {
                objectName: "refreshButton"
                visible: !App.model.isRefreshing
                enabled: !App.model.isRefreshing
                icon.source: Theme.icon("refresh")
                icon.color: Theme.text
                ToolTip.visible: hovered
                ToolTip.text: "Refresh usage"
                onClicked: App.model.refreshNow()
            }
            BusyIndicator {
                objectName: "refreshSpinner"
                visible: App.model.isRefreshing
                running: visible
                implicitWidth: 24
                implicitHeight: 24
            }
        }

        Rectangle { Layout.fillWidth: true; implicitHeight: 1; color: Theme.quaternary }

        Label {
            objectName: "bothHiddenText"
            visible: App.model.visibleProviders.length === 0
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: "Both providers are hidden. Turn one back on in the dashboard settings."
            font: Theme.callout
            color: Theme.secondary
        }

        ProviderList {
            // Out of the layout when empty: a list emptied while shown keeps
            // its last height.
            visible: App.model.visibleProviders.length > 0
            Layout.fillWidth: true
            spacing: 14
            compact: true
        }

        Rectangle { Layout.fillWidth: true; implicitHeight: 1; color: Theme.quaternary }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            PanelAction {
                objectName: "openDashboardButton"
                text: "Open Dashboard"
                onClicked: App.openDashboard()
            }
            PanelAction {
                objectName: "checkForUpdatesButton"
                text: "Check for Updates…"
                enabled: App.updater.canCheckForUpdates
                onClicked: App.updater.checkForUpdates()
            }
            PanelAction {
                objectName: "quitButton"
                text: "Quit"
                onClicked: App.quit()
            }
        }
    }
}
