import QtQuick
import QtQuick.Controls.Fusion

// A small on/off switch without a visible label (its text is for tool tips and screen readers).
Switch {
    id: control

    implicitWidth: control.implicitIndicatorWidth + control.leftPadding + control.rightPadding
    implicitHeight: control.implicitIndicatorHeight + control.topPadding + control.bottomPadding
    padding: 0
    spacing: 0

    indicator: Rectangle {
        implicitWidth: 26
        implicitHeight: 15
        x: control.leftPadding
        y: control.topPadding + (control.availableHeight - height) / 2
        radius: height / 2
        color: control.checked ? colors.accent : colors.switchOff

        Rectangle {
            x: control.checked ? parent.width - width - 1 : 1
            y: 1
            width: parent.height - 2
            height: parent.height - 2
            radius: height / 2
            color: "white"
            border.color: Qt.rgba(0, 0, 0, 0.12)

            Behavior on x {
                NumberAnimation {
                    duration: 120
                }
            }
        }
    }
    contentItem: Item {}

    PopoverColors {
        id: colors
    }
    FocusRing {
        shown: control.visualFocus
        radius: 10
    }
}
