import QtQuick
import QtQuick.Controls.impl

// One of the popover's monochrome icons (app/qml/icons), drawn `size` pixels square in the
// given colour.
IconImage {
    id: icon

    required property string symbol
    property int size: 16

    source: "icons/" + icon.symbol + ".svg"
    sourceSize: Qt.size(icon.size, icon.size)
}
