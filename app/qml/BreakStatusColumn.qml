import QtQuick
import QtQuick.Window
import Lumora

// One provider under the break clock: its name, what is left, and the time to the reset.
Column {
    id: column

    required property string providerID
    required property string title
    required property string remainingText
    required property string resetText
    required property bool hasResetTime
    required property BreakViewModel viewModel
    // The sizes of the screen the column is on.
    readonly property BreakMetrics metrics: BreakMetrics {
        width: column.Window.width
        height: column.Window.height
        hasResetTime: column.hasResetTime
    }

    objectName: "status-" + column.providerID
    width: Math.min(column.metrics.columnMaximumWidth,
                    Math.max(name.implicitWidth, remaining.implicitWidth, resetsIn.implicitWidth,
                             reset.implicitWidth))
    spacing: 8

    Text {
        id: name

        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(implicitWidth, column.width)
        text: column.title
        color: column.viewModel.secondaryInformationColor
        elide: Text.ElideRight
        font.family: column.viewModel.fontFamily
        font.pixelSize: column.metrics.providerFontSize
        font.weight: Font.Bold
        font.letterSpacing: 3
    }

    Text {
        id: remaining

        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(implicitWidth, column.width)
        text: column.remainingText
        color: column.viewModel.textColor
        elide: Text.ElideRight
        font.family: column.viewModel.fontFamily
        font.pixelSize: column.metrics.remainingFontSize
        font.weight: Font.DemiBold
    }

    Text {
        id: resetsIn

        anchors.horizontalCenter: parent.horizontalCenter
        topPadding: 4
        text: column.viewModel.resetsInTitle
        color: column.viewModel.secondaryInformationColor
        font.family: column.viewModel.fontFamily
        font.pixelSize: column.metrics.resetsInFontSize
        font.weight: Font.Bold
        font.letterSpacing: 2.4
    }

    Text {
        id: reset

        objectName: "reset"
        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(implicitWidth, column.width)
        text: column.resetText
        color: column.viewModel.textColor
        elide: Text.ElideRight
        font.family: column.viewModel.fontFamily
        font.pixelSize: column.metrics.resetFontSize
        font.weight: Font.DemiBold
    }
}
