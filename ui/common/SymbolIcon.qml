import QtQuick
import QtQuick.Controls.impl

// A monochrome symbol from the project's icons, tinted like the text around it.
IconImage {
    property int size: 16
    sourceSize.width: size
    sourceSize.height: size
    width: size
    height: size
}
