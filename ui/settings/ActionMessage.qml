import QtQuick
import Limitra

// The outcome of the user's last action, while there is one.
NoteLabel {
    objectName: "actionMessage"
    visible: App.model.lastActionMessage.length > 0
    symbol: Theme.icon("info")
    text: App.model.lastActionMessage
}
