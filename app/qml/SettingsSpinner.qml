import QtQuick
import QtQuick.Controls.impl

// A small indeterminate progress indicator: a ring turning while it is shown. Drawn from an icon
// so that every scene graph backend shows it.
IconImage {
    id: spinner

    color: spinnerPalette.windowText
    height: 16
    source: "icons/spinner.svg"
    width: 16

    RotationAnimator on rotation {
        duration: 900
        from: 0
        loops: Animation.Infinite
        running: spinner.visible
        to: 360
    }

    SystemPalette {
        id: spinnerPalette
    }
}
