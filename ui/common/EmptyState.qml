import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// A centred symbol, title and description where content will appear.
Item {
    id: root
    property string title
    property string description
    property url symbol

    implicitHeight: 220

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 40, 420)
        spacing: 8
        SymbolIcon {
            Layout.alignment: Qt.AlignHCenter
            size: 34
            source: root.symbol
            color: Theme.secondary
        }
        Label {
            objectName: "emptyStateTitle"
            Layout.alignment: Qt.AlignHCenter
            text: root.title
            font: Theme.headline
        }
        Label {
            objectName: "emptyStateDescription"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: root.description
            font: Theme.callout
            color: Theme.secondary
        }
    }
}
