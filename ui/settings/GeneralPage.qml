import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// Start at login, update checks and what Limitra keeps.
SettingsPage {
    SettingsSection {
        Layout.fillWidth: true
        title: "Startup"
        SettingsSwitch {
            objectName: "launchAtLoginToggle"
            text: "Launch Limitra at login"
            value: App.model.launchAtLoginEnabled
            onRequested: on => App.model.setLaunchAtLogin(on)
        }
    }

    SettingsSection {
        Layout.fillWidth: true
        title: "Updates"
        caption: "Updates are checked once a day and never installed without asking."
        RowLayout {
            Layout.fillWidth: true
            Label {
                objectName: "versionText"
                text: App.updater.versionText
                color: Theme.secondary
            }
            Item { Layout.fillWidth: true }
            Button {
                objectName: "checkForUpdatesButton"
                text: "Check for Updates…"
                // Fusion pads a button's text by four pixels: too tight for a long label.
                horizontalPadding: 12
                enabled: App.updater.canCheckForUpdates
                onClicked: App.updater.checkForUpdates()
            }
        }
        Label {
            objectName: "updateStatus"
            visible: text.length > 0
            Layout.fillWidth: true
            text: App.updater.statusMessage
            font: Theme.caption
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
    }

    SettingsSection {
        Layout.fillWidth: true
        title: "Privacy"
        Label {
            Layout.fillWidth: true
            text: "Limitra stores usage snapshots locally and reuses provider CLI authentication. It does not read or store access tokens, prompts, or transcripts."
            font: Theme.callout
            color: Theme.secondary
            wrapMode: Text.Wrap
        }
    }

    ActionMessage { Layout.fillWidth: true }
}
