import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Lumora

// What follows the pointer while a card is dragged by its handle: the handle, the provider's
// name and its share left, on a rounded, slightly translucent plate.
Rectangle {
    id: plate

    required property ProviderCardModel card

    width: 260
    height: row.implicitHeight + 24
    radius: 10
    opacity: 0.9
    color: Qt.lighter(colors.background, 1.04)
    border.color: colors.separator

    Drag.keys: ["text/plain"]

    PopoverColors {
        id: colors
    }

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.margins: 12
        spacing: 8

        TintedIcon {
            symbol: "drag-handle"
            size: 12
            color: colors.secondary
        }
        Label {
            text: plate.card.providerName
            color: colors.primary
            font.pixelSize: 13
            font.weight: Font.DemiBold
        }
        Item {
            Layout.fillWidth: true
        }
        Label {
            text: plate.card.compactRemainingText
            color: colors.primary
            font.pixelSize: 12
        }
    }
}
