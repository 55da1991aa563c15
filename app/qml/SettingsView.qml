pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls.Fusion
import QtQuick.Dialogs
import QtQuick.Layouts
import Lumora

// The content of the settings window: a scrollable form of six groups. Every value comes from
// the view model and every control writes through it.
Rectangle {
    id: settingsView

    required property SettingsViewModel settings

    color: viewPalette.window
    Keys.onEscapePressed: settingsView.Window.window.close()

    SystemPalette {
        id: viewPalette
    }
    KeyboardFocus {
        flickable: scroller.contentItem
    }

    ScrollView {
        id: scroller

        objectName: "scroller"
        anchors.fill: parent
        contentWidth: availableWidth

        ColumnLayout {
            x: 20
            width: scroller.availableWidth - 40
            spacing: 18

            Item {
                Layout.preferredHeight: 2
            }

            SettingsSection {
                title: qsTr("Connections")

                SettingsRow {
                    objectName: "codexStatus"
                    Layout.fillWidth: true
                    label: qsTr("Codex")
                    value: settingsView.settings.codexStatus
                }
                SettingsButton {
                    objectName: "disconnectCodexButton"
                    destructive: true
                    text: qsTr("Disconnect Codex")
                    visible: settingsView.settings.showsDisconnectCodex

                    onClicked: settingsView.settings.disconnectCodex()
                }
                Rectangle {
                    Layout.fillWidth: true
                    color: viewPalette.mid
                    implicitHeight: 1
                }
                SettingsRow {
                    objectName: "claudeStatus"
                    Layout.fillWidth: true
                    label: qsTr("Claude Code")
                    value: settingsView.settings.claudeStatus
                }
                SettingsButton {
                    objectName: "disconnectClaudeButton"
                    destructive: true
                    text: qsTr("Disconnect Claude Code")
                    visible: settingsView.settings.showsDisconnectClaude

                    onClicked: settingsView.settings.disconnectClaude()
                }
                SettingsRow {
                    objectName: "lastChecked"
                    Layout.fillWidth: true
                    label: qsTr("Last checked")
                    value: settingsView.settings.lastChecked
                }
                SettingsButton {
                    objectName: "refreshButton"
                    enabled: settingsView.settings.canRefresh
                    text: qsTr("Refresh Now")

                    onClicked: settingsView.settings.refreshNow()
                }
            }

            SettingsSection {
                title: qsTr("Break Screen")

                RowLayout {
                    Layout.fillWidth: true
                    spacing: 8

                    Repeater {
                        model: settingsView.settings.styleTitles

                        SettingsStyleButton {
                            required property int index
                            required property string modelData

                            objectName: "styleButton" + modelData
                            accessibilityValue: settingsView.settings.styleAccessibilityValues[index]
                            selected: index === settingsView.settings.selectedStyle
                            title: modelData

                            onClicked: settingsView.settings.selectStyle(index)
                        }
                    }
                }
                SettingsCaption {
                    objectName: "styleDescription"
                    text: settingsView.settings.styleDescription
                }
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 10

                    Label {
                        text: qsTr("Text Color")
                    }
                    SettingsColorWell {
                        objectName: "colorWell"
                        color: settingsView.settings.textColor

                        onClicked: {
                            colorDialog.selectedColor = settingsView.settings.textColor;
                            colorDialog.open();
                        }
                    }
                    Item {
                        Layout.fillWidth: true
                    }
                    SettingsButton {
                        objectName: "resetColorButton"
                        text: qsTr("Reset to White")

                        onClicked: settingsView.settings.resetTextColor()
                    }
                }
                ColumnLayout {
                    objectName: "photoControls"
                    Layout.fillWidth: true
                    spacing: 10
                    visible: settingsView.settings.showsPhotoControls

                    PhotoPreview {
                        objectName: "photoPreview"
                        Layout.fillWidth: true
                        Layout.preferredHeight: 120
                        image: settingsView.settings.photo
                        radius: 10
                        visible: settingsView.settings.showsPhotoPreview
                    }
                    RowLayout {
                        spacing: 8

                        SettingsButton {
                            objectName: "choosePhotoButton"
                            text: settingsView.settings.choosePhotoTitle

                            onClicked: settingsView.settings.choosePhoto()
                        }
                        SettingsButton {
                            objectName: "deletePhotoButton"
                            destructive: true
                            text: qsTr("Delete Photo")
                            visible: settingsView.settings.showsDeletePhoto

                            onClicked: settingsView.settings.deletePhoto()
                        }
                    }
                    SettingsCaption {
                        objectName: "photoError"
                        warning: true
                        text: settingsView.settings.photoError
                        visible: text !== ""
                    }
                }
            }

            SettingsSection {
                title: qsTr("Notifications")

                SettingsSwitchRow {
                    objectName: "alerts"
                    Layout.fillWidth: true
                    checked: settingsView.settings.alertsEnabled
                    text: qsTr("Usage and reset notifications")

                    onToggled: checked => settingsView.settings.setAlertsEnabled(checked)
                }
                SettingsCaption {
                    text: qsTr("Only notifies at 80%, at the limit, and after a reset.")
                }
                SettingsSwitchRow {
                    objectName: "paceAlerts"
                    Layout.fillWidth: true
                    checked: settingsView.settings.paceAlertsEnabled
                    text: qsTr("Pace warnings")

                    onToggled: checked => settingsView.settings.setPaceAlertsEnabled(checked)
                }
                SettingsCaption {
                    text: qsTr("Once per window, when the pace reaches the limit within 30 minutes and before the reset.")
                }
            }

            SettingsSection {
                title: qsTr("Updates")

                SettingsRow {
                    objectName: "version"
                    Layout.fillWidth: true
                    label: qsTr("Version")
                    value: settingsView.settings.version
                }
                SettingsButton {
                    objectName: "downloadButton"
                    icon.source: "icons/download.svg"
                    text: settingsView.settings.downloadTitle
                    visible: settingsView.settings.showsDownload

                    onClicked: settingsView.settings.downloadUpdate()
                }
                SettingsButton {
                    id: checkButton

                    objectName: "checkForUpdatesButton"
                    Accessible.name: settingsView.settings.checkForUpdatesTitle
                    enabled: !settingsView.settings.isCheckingForUpdates
                    visible: settingsView.settings.showsCheckForUpdates

                    contentItem: RowLayout {
                        spacing: 8

                        SettingsSpinner {
                            objectName: "checkingIndicator"
                            visible: settingsView.settings.isCheckingForUpdates
                        }
                        Label {
                            objectName: "checkForUpdatesLabel"
                            color: checkButton.palette.buttonText
                            text: settingsView.settings.checkForUpdatesTitle
                        }
                    }

                    onClicked: settingsView.settings.checkForUpdates()
                }
                SettingsCaption {
                    objectName: "updateStatus"
                    text: settingsView.settings.updateStatus
                    visible: text !== ""
                }
            }

            SettingsSection {
                title: qsTr("Startup")

                SettingsSwitchRow {
                    objectName: "startAtLogin"
                    Layout.fillWidth: true
                    checked: settingsView.settings.startsAtLogin
                    text: qsTr("Start Lumora at login")

                    onToggled: checked => settingsView.settings.setStartsAtLogin(checked)
                }
                SettingsCaption {
                    objectName: "startupError"
                    warning: true
                    text: settingsView.settings.startupError
                    visible: text !== ""
                }
            }

            SettingsSection {
                title: qsTr("Privacy")

                SettingsIconLine {
                    objectName: "privacyChats"
                    Layout.fillWidth: true
                    icon: "icons/hand-raised.svg"
                    text: settingsView.settings.privacyLines[0]
                }
                SettingsIconLine {
                    objectName: "privacyData"
                    Layout.fillWidth: true
                    icon: "icons/drive.svg"
                    text: settingsView.settings.privacyLines[1]
                }
                SettingsSwitchRow {
                    objectName: "keepHistory"
                    Layout.fillWidth: true
                    checked: settingsView.settings.keepsUsageHistory
                    text: qsTr("Keep usage history")

                    onToggled: checked => settingsView.settings.setKeepsUsageHistory(checked)
                }
                SettingsCaption {
                    text: qsTr("The history holds only percentages and times, for 90 days.")
                }
                SettingsButton {
                    objectName: "clearHistoryButton"
                    destructive: true
                    text: qsTr("Clear History")
                    visible: settingsView.settings.keepsUsageHistory

                    onClicked: settingsView.settings.clearHistory()
                }
            }

            Item {
                Layout.preferredHeight: 2
            }
        }
    }

    ColorDialog {
        id: colorDialog

        objectName: "colorDialog"
        // The view is put into its window only after it has been made.
        parentWindow: settingsView.Window.window
        title: qsTr("Text Color")

        onAccepted: settingsView.settings.setTextColor(colorDialog.selectedColor)
    }
}
