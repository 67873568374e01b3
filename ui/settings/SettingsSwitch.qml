import QtQuick
import QtQuick.Controls
import Limitra

// A switch that reads as on or off at a glance in light and dark palettes
// alike: Fusion's square knob sits on a track whose halves look much the
// same. A round knob on a track filled with the accent when on.
//
// It shows `value`, the setting; a toggle asks for a change (`requested`) and
// then shows the setting again, so a change the model refuses or that fails
// (launch at login) does not leave the switch showing it.
Switch {
    id: control
    property bool value
    signal requested(bool on)

    spacing: 8
    checked: value
    onToggled: {
        requested(checked)
        checked = Qt.binding(() => control.value)
    }

    indicator: Rectangle {
        implicitWidth: 34
        implicitHeight: 20
        x: control.mirrored ? control.width - width - control.rightPadding : control.leftPadding
        y: control.topPadding + (control.availableHeight - height) / 2
        radius: height / 2
        color: control.checked ? Theme.accent : Theme.quaternary
        border.width: control.visualFocus ? 2 : 1
        border.color: control.visualFocus ? Qt.darker(Theme.accent, 1.3)
                                          : (control.checked ? Theme.accent : Theme.tertiary)
        opacity: control.enabled ? 1 : 0.45

        Rectangle {
            objectName: "switchKnob"
            width: parent.height - 6
            height: width
            radius: width / 2
            y: 3
            x: control.checked ? parent.width - width - 3 : 3
            color: "#ffffff"
            border.width: 1
            border.color: Qt.rgba(0, 0, 0, 0.18)
            Behavior on x { NumberAnimation { duration: 120; easing.type: Easing.OutCubic } }
        }
    }
}
