import QtQml
import QtQuick.Controls.impl

// One of the popover's monochrome icons (app/qml/icons), drawn `size` pixels square in the
// given colour.
IconImage {
    id: icon

    required property string symbol
    property int size: 16

    source: "icons/" + icon.symbol + ".svg"
    width: icon.size
    height: icon.size
    // Drawn at the size shown rather than scaled from the file's 16 pixels.
    Component.onCompleted: icon.sourceSize = Qt.size(icon.size, icon.size)
}
