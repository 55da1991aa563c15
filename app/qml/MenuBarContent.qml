import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Lumora

// The popover's content: a title row with the update and refresh controls, one card per
// provider in the user's order, and the row of actions. 340 wide; its height follows the cards.
Rectangle {
    id: root

    required property PopoverViewModel viewModel

    readonly property int padding: 18

    width: 340
    implicitWidth: 340
    Keys.onEscapePressed: root.viewModel.dismiss()
    implicitHeight: content.implicitHeight + 2 * root.padding
    color: colors.background

    PopoverColors {
        id: colors
    }
    KeyboardFocus {
        focusFirstOnShow: true
    }

    ColumnLayout {
        id: content

        x: root.padding
        y: root.padding
        width: root.width - 2 * root.padding
        spacing: 16

        RowLayout {
            objectName: "header"
            Layout.fillWidth: true
            spacing: 8

            ColumnLayout {
                spacing: 3

                Label {
                    text: root.viewModel.title
                    color: colors.secondary
                    font.family: "monospace"
                    font.pixelSize: 10
                    font.weight: Font.DemiBold
                    font.letterSpacing: 1
                }
                Label {
                    text: root.viewModel.subtitle
                    color: colors.primary
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                }
            }
            Item {
                Layout.fillWidth: true
            }
            ProminentButton {
                objectName: "updateButton"
                visible: root.viewModel.showsUpdate
                small: true
                text: root.viewModel.updateTitle
                icon.source: "icons/download.svg"
                ToolTip.visible: hovered
                ToolTip.delay: 500
                ToolTip.text: root.viewModel.updateToolTip
                onClicked: root.viewModel.openUpdate()
            }
            // Stays while a refresh runs (turning its spinner instead of the icon), so that the
            // keyboard's focus is not lost.
            IconButton {
                objectName: "refreshButton"
                text: root.viewModel.refreshToolTip
                icon.source: root.viewModel.isRefreshing ? "" : "icons/refresh.svg"
                iconSize: 14
                implicitWidth: 24
                implicitHeight: 24
                Accessible.description: root.viewModel.refreshState
                onClicked: root.viewModel.refresh()

                Spinner {
                    objectName: "refreshBusy"
                    anchors.centerIn: parent
                    visible: root.viewModel.isRefreshing
                }
            }
        }

        HairlineDivider {
            Layout.fillWidth: true
        }

        Column {
            id: providerList

            objectName: "providerList"
            Layout.fillWidth: true
            spacing: 12

            move: Transition {
                SpringAnimation {
                    properties: "y"
                    spring: 11
                    damping: 0.7
                    epsilon: 0.25
                }
            }

            Repeater {
                model: root.viewModel.entries

                delegate: ProviderEntry {}
            }
        }

        HairlineDivider {
            Layout.fillWidth: true
        }

        RowLayout {
            objectName: "actions"
            Layout.fillWidth: true
            spacing: 4

            ProminentButton {
                objectName: "breakButton"
                text: root.viewModel.breakTitle
                icon.source: "icons/play.svg"
                onClicked: root.viewModel.startBreak()
            }
            Item {
                Layout.fillWidth: true
            }
            IconButton {
                objectName: "settingsButton"
                text: root.viewModel.settingsToolTip
                icon.source: "icons/gear.svg"
                implicitWidth: 28
                implicitHeight: 28
                onClicked: root.viewModel.openSettings()
            }
            IconButton {
                objectName: "quitButton"
                text: root.viewModel.quitToolTip
                icon.source: "icons/power.svg"
                implicitWidth: 28
                implicitHeight: 28
                onClicked: root.viewModel.quit()
            }
        }
    }
}
