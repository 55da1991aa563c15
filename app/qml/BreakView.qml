import QtQuick
import Lumora

// The break screen on one monitor: the chosen background and, on the screen that shows it, the
// clock with one status column per provider.
Item {
    id: root

    required property BreakViewModel viewModel
    required property bool showsText

    BreakMetrics {
        id: metrics

        width: root.width
        height: root.height
    }

    // Also what a screen reader finds on the screen (a window's root item is not announced).
    Rectangle {
        anchors.fill: parent
        color: "black"
        Accessible.role: Accessible.Pane
        Accessible.name: root.viewModel.accessibleName
        Accessible.description: root.viewModel.accessibleHint
    }

    PhotoFill {
        objectName: "photoBackground"
        anchors.fill: parent
        visible: root.viewModel.background === BreakViewModel.Photo
        viewModel: root.viewModel
    }

    Item {
        objectName: "motionBackground"
        anchors.fill: parent
        visible: root.viewModel.background === BreakViewModel.Motion

        AmbientCubeField {
            objectName: "cubeField"
            anchors.fill: parent
            reduceMotion: root.viewModel.reduceMotion
        }

        RadialVignette {
            anchors.fill: parent
            innerRadius: metrics.vignetteInnerRadius
            outerRadius: metrics.vignetteOuterRadius
            color: Qt.rgba(0, 0, 0, 0.72)
        }
    }

    Item {
        objectName: "interface"
        anchors.fill: parent
        visible: root.showsText

        TextShadow {
            x: clockRow.x - reach
            y: clockRow.y - reach
            width: clockRow.width + 2 * reach
            height: clockRow.height + 2 * reach + verticalOffset
            sources: [clockText, meridiemText]
            blurRadius: 28
            verticalOffset: 10
            color: Qt.rgba(0, 0, 0, 0.58)
        }

        Row {
            id: clockRow

            anchors.centerIn: parent
            spacing: 12

            Text {
                id: clockText

                objectName: "clock"
                text: root.viewModel.clockTime
                color: root.viewModel.textColor
                font.family: root.viewModel.fontFamily
                font.pixelSize: metrics.clockFontSize
                font.weight: Font.DemiBold
                font.letterSpacing: -3
            }

            Text {
                id: meridiemText

                objectName: "meridiem"
                // A 24-hour clock has none.
                visible: text !== ""
                anchors.baseline: clockText.baseline
                text: root.viewModel.meridiem
                color: root.viewModel.secondaryInformationColor
                font.family: root.viewModel.fontFamily
                font.pixelSize: metrics.meridiemFontSize
                font.weight: Font.DemiBold
                font.letterSpacing: 0.5
            }
        }

        Row {
            objectName: "statusRow"
            // Its top edge sits the offset below the centre, clear of the clock above it.
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.top: parent.verticalCenter
            anchors.topMargin: metrics.statusOffset
            spacing: metrics.statusSpacing
            visible: root.viewModel.hasStatuses

            Repeater {
                model: root.viewModel.statuses

                delegate: BreakStatusColumn {}
            }
        }
    }
}
