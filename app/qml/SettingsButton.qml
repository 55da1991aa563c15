import QtQuick
import QtQuick.Controls.Fusion

// A push button of the settings form; a destructive one has red text (lighter on dark
// backgrounds).
Button {
    id: button

    property bool destructive: false

    bottomPadding: 5
    leftPadding: 12
    palette.buttonText: !button.destructive ? settingsButtonPalette.buttonText : settingsButtonPalette.button.hslLightness < 0.5 ? "#ff6961" : "#d70015"
    rightPadding: 12
    topPadding: 5
    // Qt 6.4 does not press a Qt Quick button for a screen reader's press action.
    Accessible.onPressAction: button.clicked()

    SystemPalette {
        id: settingsButtonPalette
    }
    FocusRing {
        shown: button.visualFocus
    }
}
