import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A short explanation under a control: caption size, wrapped to the row's width, in the
// secondary colour, or red for a warning (a lighter red on dark backgrounds).
Label {
    id: caption

    property bool warning: false

    SystemPalette {
        id: captionPalette
    }

    FontMetrics {
        id: bodyMetrics
    }

    Layout.fillWidth: true
    color: caption.warning ? (captionPalette.base.hslLightness < 0.5 ? "#ff6961" : "#d70015") : captionPalette.placeholderText
    font.pointSize: Math.max(1, bodyMetrics.font.pointSize - 1.5)
    wrapMode: Text.Wrap
}
