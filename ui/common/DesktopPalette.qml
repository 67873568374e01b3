import QtQuick

// Keeps the controls' palette of a window equal to the desktop's. The Quick
// Controls style takes its palette once, when it starts; a dark scheme that
// arrives later (or one the platform theme reports only through the
// application palette) would leave buttons, switches and list rows light on
// a dark window.
QtObject {
    id: follower
    required property Palette target

    readonly property SystemPalette active: SystemPalette {
        colorGroup: SystemPalette.Active
        onPaletteChanged: follower.apply()
    }
    readonly property SystemPalette inactive: SystemPalette { colorGroup: SystemPalette.Inactive }
    readonly property SystemPalette disabled: SystemPalette { colorGroup: SystemPalette.Disabled }

    readonly property var roles: ["alternateBase", "base", "button", "buttonText", "dark", "highlight",
                                  "highlightedText", "light", "mid", "midlight", "placeholderText", "shadow",
                                  "text", "window", "windowText"]

    function apply() {
        for (const role of roles) {
            target.active[role] = active[role]
            target.inactive[role] = inactive[role]
            target.disabled[role] = disabled[role]
        }
    }

    Component.onCompleted: apply()
}
