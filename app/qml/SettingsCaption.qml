import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts

// A short explanation under a control: caption size, secondary colour unless told otherwise,
// wrapped to the row's width.
Label {
    id: caption

    SystemPalette {
        id: captionPalette
    }

    FontMetrics {
        id: bodyMetrics
    }

    Layout.fillWidth: true
    color: captionPalette.placeholderText
    font.pointSize: Math.max(1, bodyMetrics.font.pointSize - 1.5)
    wrapMode: Text.Wrap
}
