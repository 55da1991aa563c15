import QtQuick
import Lumora

// One entry of the provider list: the provider's card, then a divider unless it is the last.
Column {
    id: entry

    required property ProviderCardModel card
    required property bool showsDivider

    width: entry.parent ? entry.parent.width : 0
    spacing: 12

    ProviderCard {
        width: entry.width
        visible: !entry.card.isEmpty
        card: entry.card
    }
    HairlineDivider {
        width: entry.width
        visible: entry.showsDivider
    }
}
