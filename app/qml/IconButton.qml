import QtQuick
import QtQuick.Controls.Fusion

// A flat button that shows only an icon in the secondary colour (refresh, settings, quit); its
// text is the tool tip and what a screen reader says. A faint fill under the pointer, a darker
// one while pressed, and the focus ring while the keyboard is on it.
ToolButton {
    id: button

    property int iconSize: 16

    display: AbstractButton.IconOnly
    flat: true
    padding: 0
    icon.width: button.iconSize
    icon.height: button.iconSize
    icon.color: colors.secondary
    ToolTip.visible: button.hovered
    ToolTip.delay: 500
    ToolTip.text: button.text
    // Qt 6.4 does not press a Qt Quick button for a screen reader's press action.
    Accessible.onPressAction: button.clicked()

    background: Rectangle {
        radius: 6
        color: button.down ? colors.switchOff : button.hovered ? colors.track : "transparent"
    }

    PopoverColors {
        id: colors
    }
    FocusRing {
        shown: button.visualFocus
    }
}
