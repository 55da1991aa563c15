import QtQuick

// The ring around a control that has the keyboard's focus: a line in the highlight colour just
// outside the control's edge. Its parent is the control; `shown` says when.
Rectangle {
    id: ring

    property bool shown: false

    anchors.fill: parent
    anchors.margins: -3
    visible: ring.shown
    color: "transparent"
    radius: 6
    border.width: 2
    border.color: ringPalette.highlight

    SystemPalette {
        id: ringPalette

        colorGroup: SystemPalette.Active
    }
}
