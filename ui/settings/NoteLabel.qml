import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// A symbol and a short caption-sized note beside it.
RowLayout {
    property alias text: label.text
    property alias symbol: icon.source
    property color tint: Theme.secondary
    spacing: 6
    SymbolIcon {
        id: icon
        size: 13
        color: parent.tint
        Layout.alignment: Qt.AlignTop
    }
    Label {
        id: label
        objectName: "noteText"
        Layout.fillWidth: true
        font: Theme.caption
        color: parent.tint
        wrapMode: Text.Wrap
    }
}
