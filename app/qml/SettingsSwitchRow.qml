import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A switch with its label on the left, as in a settings form.
RowLayout {
    id: switchRow

    required property string text
    required property bool checked

    signal toggled(bool checked)

    spacing: 12

    Label {
        Layout.fillWidth: true
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
        checked: switchRow.checked
        rightPadding: 0

        onToggled: {
            switchRow.toggled(control.checked);
            // Show what the model holds now, also when it refused the change.
            control.checked = Qt.binding(() => switchRow.checked);
        }
    }
}
