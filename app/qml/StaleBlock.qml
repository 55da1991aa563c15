import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Lumora

// A snapshot too old to trust: no percentage, a hint how to refresh it, and its age.
ColumnLayout {
    id: block

    required property ProviderCardModel card

    spacing: 5

    PopoverColors {
        id: colors
    }

    Label {
        text: block.card.staleTitle
        color: colors.primary
        font.pixelSize: 13
        font.weight: Font.DemiBold
    }
    Label {
        Layout.fillWidth: true
        text: block.card.staleDetail
        color: colors.secondary
        font.pixelSize: 11
        wrapMode: Text.Wrap
    }
    Label {
        objectName: "lastUpdateText"
        text: block.card.lastUpdateText
        color: colors.secondary
        font.pixelSize: 11
    }
}
