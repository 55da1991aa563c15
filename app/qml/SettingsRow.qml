import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A labelled row: the label on the left, its value on the right in the secondary colour.
RowLayout {
    id: row

    required property string label
    required property string value

    spacing: 12

    SystemPalette {
        id: rowPalette
    }

    Label {
        text: row.label
    }

    Label {
        Layout.fillWidth: true
        color: rowPalette.placeholderText
        elide: Text.ElideRight
        horizontalAlignment: Text.AlignRight
        text: row.value
    }
}
