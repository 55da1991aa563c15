import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Lumora

// One provider in the popover: its header (drag handle, name, show-in-panel switch), then its
// usage, a stale notice, a status message or the connection step it still needs. Dragged by
// the handle, it lends its looks to the shared drag image and reorders on entering another card.
Item {
    id: providerCard

    required property ProviderCardModel card
    required property PopoverViewModel viewModel
    required property CardDragImage dragImage

    objectName: "card-" + providerCard.card.providerID
    implicitHeight: content.implicitHeight
    opacity: providerCard.card.dragged ? 0.35 : 1
    scale: providerCard.card.dragged ? 0.985 : 1

    Behavior on opacity {
        NumberAnimation {
            duration: 150
            easing.type: Easing.OutQuad
        }
    }
    Behavior on scale {
        NumberAnimation {
            duration: 150
            easing.type: Easing.OutQuad
        }
    }

    PopoverColors {
        id: colors
    }

    DropArea {
        anchors.fill: parent
        keys: ["text/plain"]
        onEntered: providerCard.viewModel.dragEntered(providerCard.card.providerID)
        onDropped: (drop) => {
            drop.accept(Qt.MoveAction);
            providerCard.viewModel.endDrag();
        }
    }

    ColumnLayout {
        id: content

        width: providerCard.width
        spacing: 8

        RowLayout {
            Layout.fillWidth: true
            spacing: 6

            Item {
                id: handle

                objectName: "dragHandle"
                implicitWidth: 16
                implicitHeight: 18

                TintedIcon {
                    anchors.centerIn: parent
                    symbol: "drag-handle"
                    size: 12
                    color: colors.tertiary
                }
                MouseArea {
                    id: handleArea

                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.OpenHandCursor
                    drag.target: providerCard.dragImage
                    drag.threshold: 4
                    drag.smoothed: false
                    onPressed: (mouse) => {
                        const image = providerCard.dragImage;
                        const at = handleArea.mapToItem(image.parent, mouse.x, mouse.y);
                        image.card = providerCard.card;
                        image.x = at.x - image.Drag.hotSpot.x;
                        image.y = at.y - image.Drag.hotSpot.y;
                    }
                    onReleased: {
                        if (providerCard.dragImage.Drag.active) {
                            providerCard.dragImage.Drag.drop();
                        }
                        providerCard.viewModel.endDrag();
                    }
                    onCanceled: providerCard.viewModel.endDrag()
                    drag.onActiveChanged: {
                        if (handleArea.drag.active) {
                            providerCard.viewModel.beginDrag(providerCard.card.providerID);
                        }
                        providerCard.dragImage.Drag.active = handleArea.drag.active;
                    }
                }
                ToolTip.visible: handleArea.containsMouse && !handleArea.pressed
                ToolTip.delay: 700
                ToolTip.text: providerCard.card.dragToolTip
            }
            Label {
                Layout.fillWidth: true
                text: providerCard.card.providerName
                color: colors.primary
                font.pixelSize: 13
                font.weight: Font.DemiBold
                elide: Text.ElideRight
            }
            MiniSwitch {
                objectName: "menuBarSwitch"
                visible: providerCard.card.showsSwitch
                checked: providerCard.card.showInMenuBar
                text: providerCard.card.switchLabel
                Accessible.name: providerCard.card.switchLabel
                ToolTip.visible: hovered
                ToolTip.delay: 700
                ToolTip.text: providerCard.card.switchLabel
                onToggled: providerCard.card.showInMenuBar = checked
            }
        }

        UsageBlock {
            Layout.fillWidth: true
            visible: providerCard.card.block === ProviderCardModel.Usage
            card: providerCard.card
        }
        StaleBlock {
            Layout.fillWidth: true
            visible: providerCard.card.block === ProviderCardModel.Stale
            card: providerCard.card
        }
        Label {
            objectName: "statusText"
            Layout.fillWidth: true
            visible: providerCard.card.block === ProviderCardModel.Message
            text: providerCard.card.statusText
            color: colors.secondary
            font.pixelSize: 12
            wrapMode: Text.Wrap
        }
        ConnectionBlock {
            Layout.fillWidth: true
            visible: providerCard.card.block === ProviderCardModel.Connection
            card: providerCard.card
        }
    }
}
