import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// Which providers are monitored, where their executables are, and the Claude
// Code status-line bridge.
SettingsPage {
    SettingsSection {
        Layout.fillWidth: true
        title: "Visible providers"
        caption: "A hidden provider is not polled, charted, or allowed to raise alerts."
        Repeater {
            model: [{ name: "codex", title: "OpenAI Codex" }, { name: "claude", title: "Claude Code" }]
            SettingsSwitch {
                required property var modelData
                objectName: "providerToggle_" + modelData.name
                text: modelData.title
                value: App.model.enabledProviders.indexOf(modelData.name) >= 0
                onRequested: on => App.model.setProvider(modelData.name, on)
            }
        }
    }

    SettingsSection {
        Layout.fillWidth: true
        title: "Adapters"
        caption: "Leave blank to auto-detect."
        GridLayout {
            Layout.fillWidth: true
            columns: 2
            columnSpacing: 12
            rowSpacing: 8
            Label { text: "Codex" }
            TextField {
                objectName: "codexPathField"
                Layout.fillWidth: true
                placeholderText: "Auto-detect from PATH and common install folders"
                text: App.model.codexExecutablePath
                onTextEdited: App.model.codexExecutablePath = text
            }
            Item { visible: codexProblem.visible }
            NoteLabel {
                id: codexProblem
                objectName: "codexPathProblem"
                Layout.fillWidth: true
                visible: text.length > 0
                symbol: Theme.icon("warning")
                tint: Theme.orange
                text: App.executablePathProblem("Codex", App.model.codexExecutablePath)
            }
            Label { text: "Claude" }
            TextField {
                objectName: "claudePathField"
                Layout.fillWidth: true
                placeholderText: "Auto-detect from PATH and common install folders"
                text: App.model.claudeExecutablePath
                onTextEdited: App.model.claudeExecutablePath = text
            }
            Item { visible: claudeProblem.visible }
            NoteLabel {
                id: claudeProblem
                objectName: "claudePathProblem"
                Layout.fillWidth: true
                visible: text.length > 0
                symbol: Theme.icon("warning")
                tint: Theme.orange
                text: App.executablePathProblem("Claude", App.model.claudeExecutablePath)
            }
        }
    }

    SettingsSection {
        Layout.fillWidth: true
        title: "Claude Code bridge"
        caption: "Connecting installs a status-line proxy and backs up your existing one. Disconnecting restores it."
        RowLayout {
            Layout.fillWidth: true
            // A bridge whose Limitra is gone (moved, or an old build tree)
            // feeds nothing: it reads as broken, and Connect points it here.
            readonly property bool broken: App.model.claudeIntegrationBroken
            readonly property bool installed: App.model.claudeIntegrationInstalled && !broken
            Label {
                objectName: "bridgeStatus"
                text: parent.broken ? "Bridge points to a Limitra that no longer exists"
                                    : parent.installed ? "Live bridge installed" : "Using account fallback"
                color: parent.broken ? Theme.orange : parent.installed ? Theme.green : Theme.secondary
            }
            Item { Layout.fillWidth: true }
            Button {
                objectName: "bridgeButton"
                text: parent.installed ? "Disconnect" : "Connect"
                palette.buttonText: parent.installed ? Theme.red : Theme.text
                onClicked: parent.installed ? App.model.removeClaudeIntegration()
                                            : App.model.installClaudeIntegration()
            }
        }
    }

    ActionMessage { Layout.fillWidth: true }
}
