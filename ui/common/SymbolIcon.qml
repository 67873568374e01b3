import QtQuick
import QtQuick.Controls.impl

// A monochrome symbol from the project's icons, tinted like the text around it.
IconImage {
    property int size: 16
    sourceSize: Qt.size(size, size)
    width: size
    height: size
}
