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
    implicitHeight: content.implicitHeight + 2 * root.padding
    color: colors.background

    PopoverColors {
        id: colors
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
            ToolButton {
                objectName: "refreshButton"
                visible: !root.viewModel.isRefreshing
                display: AbstractButton.IconOnly
                flat: true
                icon.source: "icons/refresh.svg"
                icon.width: 14
                icon.height: 14
                icon.color: colors.secondary
                implicitWidth: 24
                implicitHeight: 24
                padding: 0
                Accessible.name: root.viewModel.refreshToolTip
                ToolTip.visible: hovered
                ToolTip.delay: 500
                ToolTip.text: root.viewModel.refreshToolTip
                onClicked: root.viewModel.refresh()
            }
            Item {
                objectName: "refreshBusy"
                visible: root.viewModel.isRefreshing
                implicitWidth: 24
                implicitHeight: 24

                Spinner {
                    anchors.centerIn: parent
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
            ToolButton {
                objectName: "settingsButton"
                display: AbstractButton.IconOnly
                flat: true
                icon.source: "icons/gear.svg"
                icon.width: 16
                icon.height: 16
                icon.color: colors.secondary
                implicitWidth: 28
                implicitHeight: 28
                padding: 0
                Accessible.name: root.viewModel.settingsToolTip
                ToolTip.visible: hovered
                ToolTip.delay: 500
                ToolTip.text: root.viewModel.settingsToolTip
                onClicked: root.viewModel.openSettings()
            }
            ToolButton {
                objectName: "quitButton"
                display: AbstractButton.IconOnly
                flat: true
                icon.source: "icons/power.svg"
                icon.width: 16
                icon.height: 16
                icon.color: colors.secondary
                implicitWidth: 28
                implicitHeight: 28
                padding: 0
                Accessible.name: root.viewModel.quitToolTip
                ToolTip.visible: hovered
                ToolTip.delay: 500
                ToolTip.text: root.viewModel.quitToolTip
                onClicked: root.viewModel.quit()
            }
        }
    }
}
