import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// One choice of the break-screen style: a rounded pill, filled with the accent colour and
// titled in white while selected, a faint tint of the secondary colour otherwise.
AbstractButton {
    id: styleButton

    required property string title
    required property bool selected
    required property string accessibilityValue

    Accessible.checkable: true
    Accessible.checked: styleButton.selected
    Accessible.description: styleButton.accessibilityValue
    Accessible.name: styleButton.title
    Accessible.role: Accessible.RadioButton
    Layout.fillWidth: true
    // The same for every choice, so that the three share the row equally.
    Layout.preferredWidth: 100
    bottomPadding: 6
    topPadding: 6

    background: Rectangle {
        border.color: styleButton.visualFocus ? stylePalette.highlight : "transparent"
        color: styleButton.selected ? stylePalette.highlight : Qt.rgba(stylePalette.placeholderText.r, stylePalette.placeholderText.g, stylePalette.placeholderText.b, 0.12)
        radius: 7
    }
    contentItem: Label {
        color: styleButton.selected ? "white" : stylePalette.text
        font.weight: Font.Medium
        horizontalAlignment: Text.AlignHCenter
        text: styleButton.title
    }

    SystemPalette {
        id: stylePalette
    }
}
