import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A scrolling column of settings sections with the last action's outcome below.
ScrollView {
    id: page
    default property alias sections: column.data
    contentWidth: availableWidth

    ColumnLayout {
        id: column
        width: page.availableWidth
        spacing: 16
    }
}
