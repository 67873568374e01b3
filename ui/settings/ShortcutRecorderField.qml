import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// Shows the panel shortcut and records a new one. It registers nothing: the
// owner hears of a new value and of the recording state through its signals.
ColumnLayout {
    id: field
    property string shortcut           // display string, empty for none
    property bool isDefault
    signal shortcutChosen(int keyCode, int modifierFlags, string label)
    signal shortcutCleared()
    signal useDefault()
    signal recordingChange(bool recording)

    readonly property bool isRecording: capture.recording
    spacing: 4

    ShortcutKeyCapture {
        id: capture
        objectName: "shortcutCapture"
        width: 0
        height: 0
        onRecordingChanged: (recording) => field.recordingChange(recording)
        onShortcutChosen: (keyCode, modifierFlags, label) => field.shortcutChosen(keyCode, modifierFlags, label)
        onShortcutCleared: field.shortcutCleared()
    }
    // A page closed mid-recording must still give the hot key back.
    Component.onDestruction: capture.stopRecording()

    RowLayout {
        spacing: 8
        Button {
            objectName: "shortcutFieldButton"
            Layout.preferredWidth: 200
            focusPolicy: Qt.NoFocus
            text: capture.recording ? "Type a shortcut…" : (field.shortcut.length > 0 ? field.shortcut : "Not set")
            highlighted: capture.recording
            ToolTip.visible: hovered
            ToolTip.delay: 600
            ToolTip.text: "Click, then press the key combination that should toggle the tray panel."
            onClicked: capture.recording ? capture.stopRecording() : capture.startRecording()
        }
        Button {
            objectName: "shortcutClearButton"
            visible: field.shortcut.length > 0 && !capture.recording
            focusPolicy: Qt.NoFocus
            text: "Clear"
            onClicked: field.shortcutCleared()
        }
        Button {
            objectName: "shortcutDefaultButton"
            visible: !capture.recording && !field.isDefault
            focusPolicy: Qt.NoFocus
            text: "Use Default"
            onClicked: field.useDefault()
        }
    }
    Label {
        objectName: "shortcutHint"
        visible: capture.needsModifier
        text: "Add Ctrl, Alt, or Super."
        font: Theme.caption
        color: Theme.orange
    }
}
