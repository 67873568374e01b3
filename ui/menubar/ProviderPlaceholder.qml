import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// A visible provider whose first snapshot has not arrived yet.
Rectangle {
    id: root
    property string title
    property url iconSource

    implicitHeight: row.implicitHeight + 24
    radius: 14
    color: Theme.controlBackground

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: 12
        SymbolIcon {
            source: root.iconSource
            color: Theme.text
        }
        Label {
            objectName: "placeholderTitle"
            text: root.title
            font: Theme.headline
            color: Theme.text
        }
        Item { Layout.fillWidth: true }
        BusyIndicator {
            objectName: "placeholderSpinner"
            running: root.visible
            implicitWidth: 20
            implicitHeight: 20
        }
    }
}
