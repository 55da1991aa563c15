import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// One choice of the break-screen style: a rounded pill, filled with the accent colour and
// titled in white while selected, a faint tint of the secondary colour otherwise. A radio button
// to screen readers; the view model decides which one is selected.
RadioButton {
    id: styleButton

    required property string title
    required property bool selected
    required property string accessibilityValue

    Accessible.description: styleButton.accessibilityValue
    Accessible.name: styleButton.title
    checkable: false
    checked: styleButton.selected
    indicator: null
    Layout.fillWidth: true
    // The same for every choice, so that the three share the row equally.
    Layout.preferredWidth: 100
    bottomPadding: 6
    topPadding: 6
    // Qt 6.4 does not press a Qt Quick button for a screen reader's press action.
    Accessible.onPressAction: styleButton.clicked()

    background: Rectangle {
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
    FocusRing {
        radius: 9
        shown: styleButton.visualFocus
    }
}
