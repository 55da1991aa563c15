import QtQuick
import QtQuick.Controls.Fusion

// A push button of the settings form; a destructive one has red text.
Button {
    id: button

    property bool destructive: false

    bottomPadding: 5
    leftPadding: 12
    palette.buttonText: button.destructive ? "#d70015" : settingsButtonPalette.buttonText
    rightPadding: 12
    topPadding: 5

    SystemPalette {
        id: settingsButtonPalette
    }
}
