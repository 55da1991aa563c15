import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Controls.impl

// A filled button in the accent colour, for the one action a row offers (Break, Update,
// Connect…). `small` makes it the compact size used inside cards and the header.
Button {
    id: button

    property bool small: false

    font.pixelSize: button.small ? 12 : 13
    topPadding: button.small ? 3 : 5
    bottomPadding: button.small ? 3 : 5
    leftPadding: button.small ? 9 : 12
    rightPadding: button.small ? 9 : 14
    spacing: 5
    icon.width: 11
    icon.height: 11
    icon.color: colors.textOnAccent
    // Qt 6.4 does not press a Qt Quick button for a screen reader's press action.
    Accessible.onPressAction: button.clicked()

    contentItem: IconLabel {
        spacing: button.spacing
        display: button.display
        icon: button.icon
        text: button.text
        font: button.font
        color: colors.textOnAccent
    }
    background: Rectangle {
        implicitHeight: button.small ? 22 : 28
        radius: 6
        color: button.down ? Qt.darker(colors.accent, 1.2)
             : button.hovered ? Qt.lighter(colors.accent, 1.08)
             : colors.accent
    }

    PopoverColors {
        id: colors
    }
    FocusRing {
        shown: button.visualFocus
        radius: 8
    }
}
