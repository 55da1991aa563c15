import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Controls.impl
import QtQuick.Layouts

// A line of text after a small symbol tinted like the text.
RowLayout {
    id: iconLine

    required property url icon
    required property string text

    spacing: 8

    SystemPalette {
        id: linePalette
    }

    IconImage {
        Layout.alignment: Qt.AlignTop
        Layout.topMargin: 1
        color: linePalette.placeholderText
        source: iconLine.icon
        sourceSize: Qt.size(16, 16)
    }

    Label {
        Layout.fillWidth: true
        text: iconLine.text
        wrapMode: Text.Wrap
    }
}
