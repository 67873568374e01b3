import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Limitra

// The sidebar's title block: the application's icon and name.
RowLayout {
    spacing: 10
    Image {
        source: Theme.icon("app")
        sourceSize.width: 68
        sourceSize.height: 68
        Layout.preferredWidth: 34
        Layout.preferredHeight: 34
    }
    ColumnLayout {
        spacing: 1
        Label {
            text: "Limitra"
            font: Theme.headline
            color: Theme.text
        }
        Label {
            text: "AI coding usage"
            font: Theme.caption2
            color: Theme.secondary
        }
    }
}
