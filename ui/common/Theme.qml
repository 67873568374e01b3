pragma Singleton
import QtQuick
import Limitra

// Fonts and colours of the views. Colours come from the desktop's palette, so
// the views follow its light or dark scheme; only the signal colours are fixed.
QtObject {
    readonly property SystemPalette palette: SystemPalette { colorGroup: SystemPalette.Active }

    // FontMetrics starts with the application's font.
    readonly property FontMetrics applicationFont: FontMetrics {}
    readonly property int basePixelSize: applicationFont.font.pixelSize > 0 ? applicationFont.font.pixelSize : 13

    readonly property font headline: Qt.font({ pixelSize: basePixelSize + 2, weight: Font.DemiBold })
    readonly property font body: Qt.font({ pixelSize: basePixelSize })
    readonly property font medium: Qt.font({ pixelSize: basePixelSize, weight: Font.Medium })
    readonly property font callout: Qt.font({ pixelSize: basePixelSize - 1 })
    readonly property font caption: Qt.font({ pixelSize: basePixelSize - 2 })
    readonly property font caption2: Qt.font({ pixelSize: basePixelSize - 3 })
    readonly property font caption2Bold: Qt.font({ pixelSize: basePixelSize - 3, weight: Font.DemiBold })
    readonly property font title2: Qt.font({ pixelSize: basePixelSize + 6, weight: Font.DemiBold })
    readonly property font percent: Qt.font({ pixelSize: basePixelSize + 1, weight: Font.DemiBold,
                                              features: { "tnum": 1 } })

    readonly property color text: palette.windowText
    readonly property color window: palette.window
    // Cards and sections: the palette's base, a step apart from the window.
    readonly property color controlBackground: palette.base
    readonly property color accent: palette.highlight
    readonly property color secondary: Qt.rgba(text.r, text.g, text.b, 0.62)
    readonly property color tertiary: Qt.rgba(text.r, text.g, text.b, 0.48)
    readonly property color quaternary: Qt.rgba(text.r, text.g, text.b, 0.16)

    readonly property color green: "#2e9b4f"
    readonly property color blue: "#2b6cd8"
    readonly property color orange: "#e07b00"
    readonly property color red: "#d72d24"

    // A gauge's colour: the accent below 75 %, orange from 75, red from 90.
    function levelColor(level) {
        if (level === UsageLevel.Critical)
            return red
        if (level === UsageLevel.Warning)
            return orange
        return accent
    }

    function stateColor(state) {
        switch (state) {
        case CardState.Connected: return green
        case CardState.Fallback: return blue
        case CardState.Stale: return orange
        case CardState.Unavailable: return secondary
        default: return red
        }
    }

    function icon(name) { return "qrc:/qt/qml/Limitra/icons/" + name + ".svg" }
}
