import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// One group of the settings form: a header above a rounded box holding the group's rows.
ColumnLayout {
    id: section

    required property string title
    default property alias rows: box.data

    spacing: 6

    SystemPalette {
        id: sectionPalette
    }

    Label {
        Layout.leftMargin: 4
        color: sectionPalette.placeholderText
        font.weight: Font.DemiBold
        text: section.title
    }

    Rectangle {
        Layout.fillWidth: true
        implicitHeight: box.implicitHeight + 2 * box.anchors.margins
        border.color: sectionPalette.mid
        color: sectionPalette.base
        radius: 8

        ColumnLayout {
            id: box

            anchors.left: parent.left
            anchors.margins: 12
            anchors.right: parent.right
            anchors.top: parent.top
            spacing: 10
        }
    }
}
