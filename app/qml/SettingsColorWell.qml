import QtQuick
import QtQuick.Controls.Fusion

// A colour well: a framed swatch of the colour; clicking it asks for another colour.
AbstractButton {
    id: well

    required property color color

    Accessible.name: qsTr("Text Color")
    Accessible.role: Accessible.Button
    implicitHeight: 24
    implicitWidth: 44
    // Qt 6.4 does not press a Qt Quick button for a screen reader's press action.
    Accessible.onPressAction: well.clicked()

    background: Rectangle {
        border.color: well.visualFocus ? wellPalette.highlight : wellPalette.mid
        border.width: well.visualFocus ? 2 : 1
        color: wellPalette.button
        radius: 5

        Rectangle {
            anchors.fill: parent
            anchors.margins: 4
            border.color: Qt.rgba(0, 0, 0, 0.25)
            color: well.color
            radius: 2
        }
    }

    SystemPalette {
        id: wellPalette
    }
}
