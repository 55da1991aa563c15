import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Controls.impl

// A line of text after a small symbol tinted like secondary text; the symbol stays beside the
// first line when the text wraps.
Item {
    id: iconLine

    required property url icon
    required property string text

    implicitHeight: Math.max(symbol.height, label.implicitHeight)

    SystemPalette {
        id: linePalette
    }

    IconImage {
        id: symbol

        anchors.left: parent.left
        anchors.top: parent.top
        anchors.topMargin: Math.max(0, (label.fontInfo.pixelSize * 1.25 - height) / 2)
        color: linePalette.placeholderText
        height: 16
        source: iconLine.icon
        width: 16
    }

    Label {
        id: label

        anchors.left: symbol.right
        anchors.leftMargin: 8
        anchors.right: parent.right
        anchors.top: parent.top
        text: iconLine.text
        wrapMode: Text.Wrap
    }
}
