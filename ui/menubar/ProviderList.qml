import QtQuick
import QtQuick.Layouts
import Limitra

// A card per visible provider, or its placeholder until its first snapshot.
ColumnLayout {
    id: root
    property bool compact: true

    Repeater {
        model: App.cards
        delegate: Loader {
            id: entry
            required property var model
            Layout.fillWidth: true
            sourceComponent: model.hasSnapshot ? card : placeholder

            Component {
                id: card
                ProviderCard {
                    objectName: "providerCard_" + entry.model.provider
                    compact: root.compact
                    provider: entry.model.provider
                    title: entry.model.title
                    iconSource: entry.model.iconSource
                    cardState: entry.model.cardState
                    badgeText: entry.model.badgeText
                    emptyText: entry.model.emptyText
                    windows: entry.model.windows
                    planName: entry.model.planName
                    modelName: entry.model.modelName
                    creditText: entry.model.creditText
                    sourceText: entry.model.sourceText
                    showsFableNote: entry.model.showsFableNote
                }
            }
            Component {
                id: placeholder
                ProviderPlaceholder {
                    objectName: "placeholder_" + entry.model.provider
                    title: entry.model.title
                    iconSource: entry.model.iconSource
                }
            }
        }
    }
}
