import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// The dashboard: a sidebar of pages beside the selected page, and a toolbar
// with the refresh button.
ApplicationWindow {
    id: window
    objectName: "dashboardWindow"
    title: "Limitra"
    width: 980
    height: 760
    minimumWidth: 900
    minimumHeight: 620
    color: Theme.window

    DesktopPalette { target: window.palette }

    // The panel has Quit; here, with no menu bar, the desktop's usual key.
    Shortcut {
        sequences: [StandardKey.Quit]
        onActivated: App.quit()
    }

    // The pages that exist, in the sidebar's order.
    ListModel {
        id: pages
        ListElement { page: "overview"; title: "Overview"; symbol: "gauge"; section: "Usage" }
        ListElement { page: "history"; title: "History"; symbol: "chart"; section: "Usage" }
        ListElement { page: "providers"; title: "Providers"; symbol: "brain"; section: "Settings" }
        ListElement { page: "appearance"; title: "Appearance"; symbol: "paintbrush"; section: "Settings" }
        ListElement { page: "alerts"; title: "Alerts"; symbol: "bell"; section: "Settings" }
        ListElement { page: "general"; title: "General"; symbol: "gear"; section: "Settings" }
    }
    property string selection: "overview"

    header: ToolBar {
        RowLayout {
            anchors.fill: parent
            anchors.rightMargin: 8
            Item { Layout.fillWidth: true }
            ToolButton {
                objectName: "toolbarRefresh"
                text: App.model.isRefreshing ? "Refreshing…" : "Refresh"
                enabled: !App.model.isRefreshing
                display: AbstractButton.TextBesideIcon
                icon.source: Theme.icon("refresh")
                icon.color: Theme.text
                onClicked: App.model.refreshNow()
            }
        }
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        Rectangle {
            objectName: "sidebar"
            Layout.fillHeight: true
            Layout.preferredWidth: 215
            Layout.minimumWidth: 200
            Layout.maximumWidth: 280
            color: Theme.controlBackground

            ColumnLayout {
                anchors.fill: parent
                spacing: 0
                AppIdentityHeader {
                    Layout.leftMargin: 14
                    Layout.rightMargin: 14
                    Layout.topMargin: 12
                    Layout.bottomMargin: 12
                }
                ListView {
                    id: sidebarList
                    objectName: "sidebarList"
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    model: pages
                    section.property: "section"
                    section.delegate: Label {
                        required property string section
                        text: section
                        leftPadding: 14
                        topPadding: 8
                        bottomPadding: 4
                        font: Theme.caption2Bold
                        color: Theme.secondary
                    }
                    delegate: ItemDelegate {
                        required property string page
                        required property string title
                        required property string symbol
                        objectName: "sidebar_" + page
                        width: ListView.view.width
                        text: title
                        icon.source: Theme.icon(symbol)
                        icon.color: Theme.text
                        highlighted: window.selection === page
                        onClicked: window.selection = page
                    }
                }
            }
        }

        Rectangle { Layout.fillHeight: true; implicitWidth: 1; color: Theme.quaternary }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            OverviewPage {
                objectName: "overviewPage"
                anchors.fill: parent
                anchors.margins: 24
                visible: window.selection === "overview"
            }

            Repeater {
                // Each page is made when shown and dropped when left: 90 days of
                // history points cost memory only while someone looks at them.
                model: [{ page: "history", view: historyPage }, { page: "providers", view: providersPage }, { page: "appearance", view: appearancePage },
                        { page: "alerts", view: alertsPage }, { page: "general", view: generalPage }]
                Loader {
                    required property var modelData
                    objectName: modelData.page + "Page"
                    anchors.fill: parent
                    anchors.margins: 24
                    active: window.selection === modelData.page
                    visible: active
                    sourceComponent: modelData.view
                }
            }
            Component { id: historyPage; HistoryPage {} }
            Component { id: providersPage; ProvidersPage {} }
            Component { id: appearancePage; AppearancePage {} }
            Component { id: alertsPage; AlertsPage {} }
            Component { id: generalPage; GeneralPage {} }
        }
    }
}
