import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// A titled card of controls; the children given to it are its content.
Rectangle {
    id: section
    property string title
    property string caption
    default property alias content: contentColumn.data

    implicitHeight: column.implicitHeight + 36
    radius: 12
    color: Theme.controlBackground
    border.width: 1
    border.color: Theme.quaternary

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: 18
        spacing: 12
        ColumnLayout {
            spacing: 3
            Layout.fillWidth: true
            Label {
                objectName: "sectionTitle"
                text: section.title
                font: Theme.headline
            }
            Label {
                objectName: "sectionCaption"
                visible: section.caption.length > 0
                Layout.fillWidth: true
                text: section.caption
                font: Theme.caption
                color: Theme.secondary
                wrapMode: Text.Wrap
            }
        }
        ColumnLayout {
            id: contentColumn
            Layout.fillWidth: true
            spacing: 10
        }
    }
}
