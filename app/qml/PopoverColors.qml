import QtQuick

// The popover's colour roles, from the desktop palette: text in three strengths, the accent
// and the two warning tints of the usage bars.
QtObject {
    id: colors

    readonly property SystemPalette system: SystemPalette {
        colorGroup: SystemPalette.Active
    }
    readonly property color background: colors.system.window
    readonly property color primary: colors.system.windowText
    readonly property color secondary: Qt.rgba(colors.primary.r, colors.primary.g,
                                               colors.primary.b, 0.64)
    readonly property color tertiary: Qt.rgba(colors.primary.r, colors.primary.g,
                                              colors.primary.b, 0.4)
    readonly property color separator: Qt.rgba(colors.primary.r, colors.primary.g,
                                               colors.primary.b, 0.14)
    readonly property color track: Qt.rgba(colors.primary.r, colors.primary.g,
                                           colors.primary.b, 0.1)
    readonly property color switchOff: Qt.rgba(colors.primary.r, colors.primary.g,
                                               colors.primary.b, 0.22)
    readonly property color accent: colors.system.highlight
    // Text and icons on accent fills: white, as on every common desktop accent colour.
    readonly property color textOnAccent: "#ffffff"
    readonly property color red: "#e0443e"
    readonly property color orange: "#f29b1d"
    // Orange text that reads on the panel's background: darker on light palettes.
    readonly property color warningText: colors.background.hslLightness > 0.5 ? "#a85a00"
                                                                              : colors.orange
}
