import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Lumora

// The connection step a provider still needs, with the button that takes it (a spinner while
// a check runs).
RowLayout {
    id: block

    required property ProviderCardModel card

    spacing: 12

    PopoverColors {
        id: colors
    }

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 3

        Label {
            objectName: "connectionMessage"
            Layout.fillWidth: true
            text: block.card.connectionMessage
            color: colors.primary
            font.pixelSize: 12
            wrapMode: Text.Wrap
        }
        Label {
            objectName: "privacyLine"
            Layout.fillWidth: true
            visible: block.card.showsPrivacyLine
            text: block.card.privacyLine
            color: colors.secondary
            font.pixelSize: 11
            wrapMode: Text.Wrap
        }
    }
    Spinner {
        objectName: "connectionBusy"
        visible: block.card.connectionBusy
    }
    ProminentButton {
        objectName: "connectionButton"
        visible: !block.card.connectionBusy
        small: true
        text: block.card.connectionButtonTitle
        onClicked: block.card.pressConnectionButton()
    }
}
