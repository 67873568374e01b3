import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// Whether and from which percentage usage raises a notification, and whether a
// limit forecast to run out before its reset does.
SettingsPage {
    SettingsSection {
        Layout.fillWidth: true
        title: "Notifications"
        caption: "Limitra notifies once per limit window, not once per refresh."
        SettingsSwitch {
            objectName: "notificationsToggle"
            text: "Notify me when a limit is high"
            value: App.model.notificationsEnabled
            onRequested: on => App.model.notificationsEnabled = on
        }
        RowLayout {
            objectName: "thresholdRow"
            visible: App.model.notificationsEnabled
            spacing: 12
            Label { text: "Threshold" }
            Slider {
                objectName: "thresholdSlider"
                Layout.fillWidth: true
                Layout.maximumWidth: 260
                from: 50
                to: 95
                stepSize: 5
                snapMode: Slider.SnapAlways
                value: App.model.alertThreshold
                onMoved: App.model.alertThreshold = value
            }
            Label {
                objectName: "thresholdText"
                Layout.preferredWidth: 42
                text: Math.trunc(App.model.alertThreshold) + "%"
                font: Theme.percent
            }
        }
        SettingsSwitch {
            objectName: "runOutWarningToggle"
            text: "Warn me before a limit runs out"
            value: App.model.warnsBeforeRunOut
            onRequested: on => App.model.warnsBeforeRunOut = on
        }
    }

    ActionMessage { Layout.fillWidth: true }
}
