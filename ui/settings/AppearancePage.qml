import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// The taskbar entry, the tray icon and the panel shortcut.
SettingsPage {
    SettingsSection {
        Layout.fillWidth: true
        title: "Taskbar entry"
        caption: "Limitra lives in the system tray, so the taskbar entry is optional."
        RowLayout {
            spacing: 12 // as the Alerts page's threshold row
            Label { text: "Show in taskbar" }
            ComboBox {
                objectName: "taskbarPicker"
                Layout.preferredWidth: 260
                textRole: "text"
                valueRole: "value"
                model: [{ value: "never", text: "Never" },
                        { value: "whileDashboardOpen", text: "While the dashboard is open" },
                        { value: "always", text: "Always" }]
                // (count: the values are known once the model is set.)
                currentIndex: count > 0 ? indexOfValue(App.model.dockIconVisibility) : -1
                onActivated: (index) => App.model.dockIconVisibility = model[index].value
            }
        }
    }

    SettingsSection {
        Layout.fillWidth: true
        title: "System tray"
        caption: "One of the taskbar entry or the tray icon always stays on, so Limitra cannot hide from you completely."
        SettingsSwitch {
            objectName: "trayIconToggle"
            text: "Show icon in the system tray"
            value: App.model.showsMenuBarIcon
            onRequested: on => App.model.showsMenuBarIcon = on
        }
    }

    SettingsSection {
        Layout.fillWidth: true
        title: "Panel shortcut"
        caption: "Press this anywhere to open the Limitra panel, and again to close it. Needs at least one of Ctrl, Alt, or Super."
        ShortcutRecorderField {
            objectName: "shortcutRecorder"
            shortcut: App.model.menuBarShortcut
            isDefault: App.model.menuBarShortcutIsDefault
            onShortcutChosen: (keyCode, modifierFlags, label) => App.model.recordShortcut(keyCode, modifierFlags, label)
            onShortcutCleared: App.model.clearShortcut()
            onUseDefault: App.model.useDefaultShortcut()
            onRecordingChange: (recording) => App.model.setShortcutRecording(recording)
        }
        NoteLabel {
            objectName: "hiddenIconNote"
            Layout.fillWidth: true
            visible: !App.model.showsMenuBarIcon
            symbol: Theme.icon("info")
            text: "The tray icon is hidden, so there is no panel for the shortcut to open."
        }
        NoteLabel {
            objectName: "shortcutErrorNote"
            Layout.fillWidth: true
            visible: App.model.showsMenuBarIcon && App.model.shortcutError.length > 0
            symbol: Theme.icon("warning")
            tint: Theme.orange
            text: App.model.shortcutError
        }
    }

    ActionMessage { Layout.fillWidth: true }
}
