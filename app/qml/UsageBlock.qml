import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Layouts
import Lumora

// The share left of a provider's main usage window: the big percentage, a bar tinted by how
// little is left, the share used since the window began with where the pace takes it, when
// the window resets and what the pace says, and the weekly window when there is one beside it.
ColumnLayout {
    id: block

    required property ProviderCardModel card

    spacing: 8

    PopoverColors {
        id: colors
    }

    // The percentage, "% left" and the window's name share the big number's baseline.
    Item {
        Layout.fillWidth: true
        implicitHeight: percentage.implicitHeight

        Label {
            id: percentage

            objectName: "percentage"
            text: block.card.percentageText
            color: colors.primary
            font.pixelSize: 36
            font.weight: Font.Medium
        }
        Label {
            anchors.left: percentage.right
            anchors.leftMargin: 4
            anchors.baseline: percentage.baseline
            text: block.card.percentSuffix
            color: colors.secondary
            font.pixelSize: 13
        }
        Label {
            objectName: "windowLabel"
            anchors.right: parent.right
            anchors.baseline: percentage.baseline
            text: block.card.windowLabel
            color: colors.secondary
            font.pixelSize: 11
        }
    }

    Rectangle {
        id: track

        objectName: "usageBar"
        Layout.fillWidth: true
        implicitHeight: 6
        radius: 3
        // At the limit the bar is empty; its track keeps the warning colour.
        color: block.card.tint === ProviderCardModel.Red ? Qt.rgba(colors.red.r, colors.red.g,
                                                                   colors.red.b, 0.25)
                                                         : colors.track

        Rectangle {
            objectName: "usageBarFill"
            width: Math.max(0, Math.min(1, block.card.barValue)) * track.width
            height: track.height
            radius: track.radius
            color: block.card.tint === ProviderCardModel.Red ? colors.red
                 : block.card.tint === ProviderCardModel.Orange ? colors.orange
                 : colors.accent

            Behavior on width {
                NumberAnimation {
                    duration: 200
                }
            }
        }
    }

    Sparkline {
        objectName: "sparkline"
        Layout.fillWidth: true
        Layout.topMargin: 2
        implicitHeight: 30
        visible: block.card.sparklinePoints.length > 1
        points: block.card.sparklinePoints
        projection: block.card.sparklineProjection
        color: block.card.tint === ProviderCardModel.Red ? colors.red
             : block.card.tint === ProviderCardModel.Orange ? colors.orange
             : colors.accent
        projectionColor: block.card.paceWarns ? colors.orange : colors.secondary
        ruleColor: colors.tertiary
        Accessible.ignored: true
    }

    // When the window resets, and under it where the pace leads.
    ColumnLayout {
        Layout.fillWidth: true
        visible: block.card.resetText !== "" || block.card.paceText !== ""
        spacing: 3

        RowLayout {
            visible: block.card.resetText !== ""
            spacing: 5

            TintedIcon {
                symbol: "clock"
                size: 12
                color: colors.secondary
            }
            Label {
                objectName: "resetText"
                text: block.card.resetText
                color: colors.secondary
                font.pixelSize: 11
            }
        }
        Label {
            objectName: "paceText"
            Layout.fillWidth: true
            visible: block.card.paceText !== ""
            text: block.card.paceText
            color: block.card.paceWarns ? colors.warningText : colors.secondary
            font.pixelSize: 11
            font.weight: block.card.paceWarns ? Font.DemiBold : Font.Normal
            wrapMode: Text.Wrap
        }
    }
    Label {
        objectName: "weeklyText"
        Layout.fillWidth: true
        Layout.topMargin: 2
        visible: block.card.weeklyText !== ""
        text: block.card.weeklyText
        color: colors.secondary
        font.pixelSize: 11
        elide: Text.ElideRight
    }
}
