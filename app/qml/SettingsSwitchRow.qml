import QtQuick
import QtQuick.Controls.Fusion

// A switch with its label on the left, as in a settings form. Anchored rather than laid out, so
// that a label wrapping while the form finds its width cannot leave the switch behind.
Item {
    id: switchRow

    required property string text
    required property bool checked

    signal toggled(bool checked)

    implicitHeight: Math.max(label.implicitHeight, control.implicitHeight)

    Label {
        id: label

        anchors.left: parent.left
        anchors.right: control.left
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        text: switchRow.text
        wrapMode: Text.Wrap

        MouseArea {
            anchors.fill: parent
            onClicked: {
                control.toggle();
                control.toggled();
            }
        }
    }

    Switch {
        id: control

        objectName: switchRow.objectName + "Switch"
        Accessible.name: switchRow.text
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        checked: switchRow.checked
        rightPadding: 0

        onToggled: {
            switchRow.toggled(control.checked);
            // Show what the model holds now, also when it refused the change.
            control.checked = Qt.binding(() => switchRow.checked);
        }

        FocusRing {
            parent: control.indicator
            radius: 5
            shown: control.visualFocus
        }
    }
}
