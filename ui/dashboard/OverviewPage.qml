import QtQuick
import QtQuick.Controls
import Limitra

// Every visible provider's latest state as a full-size card.
Item {
    id: root

    EmptyState {
        objectName: "noProvidersState"
        visible: App.model.visibleProviders.length === 0
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        height: 220
        title: "No providers enabled"
        symbol: Theme.icon("eye-slash")
        description: "Turn on OpenAI Codex or Claude Code in Providers to start collecting usage."
    }

    ScrollView {
        id: scroll
        visible: App.model.visibleProviders.length > 0
        anchors.fill: parent
        contentWidth: availableWidth

        ProviderList {
            width: scroll.availableWidth
            spacing: 16
            compact: false
        }
    }
}
