import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Lumora

// One provider in the popover: its header (drag handle, name, show-in-panel switch), then its
// usage, a stale notice, a status message or the connection step it still needs. Dragged by
// the handle, its drag image follows the pointer over the whole popover; entering another card
// reorders the two. The card takes the keyboard's focus on its own, is read as one sentence, and
// Alt+Up or Alt+Down moves it.
Item {
    id: providerCard

    required property ProviderCardModel card

    objectName: "card-" + providerCard.card.providerID
    implicitHeight: content.implicitHeight
    activeFocusOnTab: true
    Accessible.role: Accessible.ListItem
    Accessible.name: providerCard.card.spokenText
    Accessible.description: providerCard.card.reorderHint
    Accessible.focusable: true
    Keys.onPressed: (event) => {
        event.accepted = providerCard.card.moveByKey(event.key, event.modifiers);
    }
    opacity: providerCard.card.dragOpacity
    scale: providerCard.card.dragScale

    Behavior on opacity {
        NumberAnimation {
            duration: 150
        }
    }
    Behavior on scale {
        NumberAnimation {
            duration: 150
        }
    }

    PopoverColors {
        id: colors
    }

    FocusRing {
        anchors.margins: -6
        radius: 8
        shown: providerCard.activeFocus
    }

    DropArea {
        anchors.fill: parent
        keys: ["text/plain"]
        onEntered: providerCard.card.dragEnter()
        onDropped: (drop) => {
            drop.accept(Qt.MoveAction);
            providerCard.card.endDrag();
        }
    }

    CardDragImage {
        id: dragImage

        objectName: "dragImage"
        // Above everything in the window, so that it can travel over the other cards.
        parent: providerCard.Window.contentItem
        z: 1
        visible: dragImage.Drag.active
        card: providerCard.card
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
                Accessible.ignored: true
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
                    drag.target: dragImage
                    drag.threshold: 4
                    drag.smoothed: false
                    onPressed: (mouse) => {
                        const at = handleArea.mapToItem(dragImage.parent, mouse.x, mouse.y);
                        // The image's corner is its hot spot: it hangs below and right of
                        // the pointer, and the card under the pointer takes the drop.
                        dragImage.x = at.x;
                        dragImage.y = at.y;
                    }
                    onReleased: {
                        if (dragImage.Drag.active) {
                            dragImage.Drag.drop();
                        }
                        providerCard.card.endDrag();
                    }
                    onCanceled: providerCard.card.endDrag()
                    drag.onActiveChanged: {
                        if (handleArea.drag.active) {
                            providerCard.card.beginDrag();
                        }
                        dragImage.Drag.active = handleArea.drag.active;
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
