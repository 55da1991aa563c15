import QtQuick

// A small busy indicator: the spinner icon turning. Drawn once and rotated by the scene graph,
// so that it never paints while it runs (painting large arcs borrows Qt's thread pool, which
// the model's background work may be holding).
TintedIcon {
    id: spinner

    symbol: "spinner"
    size: 14
    color: colors.secondary

    PopoverColors {
        id: colors
    }

    RotationAnimator on rotation {
        running: spinner.visible && spinner.Window.window !== null && spinner.Window.window.visible
        from: 0
        to: 360
        duration: 900
        loops: Animation.Infinite
    }
}
