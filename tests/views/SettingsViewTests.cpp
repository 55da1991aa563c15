#include "SettingsTestSupport.h"

#include "core/RelativeTime.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonArray>
#include <QPalette>

using namespace lumora;
using namespace lumora::test;

namespace {

using SettingsViewTest = SettingsWindowTest;

} // namespace

TEST_F(SettingsViewTest, DisconnectedProvidersShowTheirStatusWithoutDisconnectButtons) {
    open();
    ASSERT_TRUE(waitFor(model->refresh(true)));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    EXPECT_FALSE(shown("disconnectCodexButton"));
    EXPECT_FALSE(shown("disconnectClaudeButton"));
    ASSERT_TRUE(shown("codexStatus") && shown("claudeStatus"));
    EXPECT_EQ(item("codexStatus")->property("value").toString(),
              AppModel::statusTitle(model->codexSnapshot(), now));
    EXPECT_EQ(item("claudeStatus")->property("value").toString(),
              AppModel::statusTitle(model->snapshot(), now));
    EXPECT_EQ(item("lastChecked")->property("value").toString(),
              relativeTimeText(model->snapshot().capturedAt, now));
    screenshot("disconnected");
}

TEST_F(SettingsViewTest, RefreshNowWaitsForTheRefreshAndDisconnectButtonsSwitchProvidersOff) {
    harness.enableBoth(usage("claude-code", Availability::ready, 0.4),
                       usage("codex", Availability::limited, 0.85));
    open();

    harness.claude->script->fetchGate.close();
    click("refreshButton");
    ASSERT_TRUE(waitUntil([&] { return model->isRefreshing(); }));
    EXPECT_FALSE(item("refreshButton")->isEnabled());
    EXPECT_EQ(harness.claude->script->lastForceLive(), std::nullopt) << "still held at the gate";
    harness.claude->script->fetchGate.open();
    ASSERT_TRUE(waitUntil([&] { return item("refreshButton")->isEnabled(); }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);
    EXPECT_EQ(item("claudeStatus")->property("value").toString(), "Claude Code is available");
    EXPECT_EQ(item("codexStatus")->property("value").toString(), "Approaching the limit");
    EXPECT_EQ(item("lastChecked")->property("value").toString(), "just now");
    screenshot("connected", "codexStatus");

    click("disconnectCodexButton");
    EXPECT_EQ(harness.storedPreference("codexEnabled"), QJsonValue(false));
    EXPECT_FALSE(shown("disconnectCodexButton"));
    click("disconnectClaudeButton");
    ASSERT_TRUE(waitUntil([&] { return !shown("disconnectClaudeButton"); }));
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(false));
}

TEST_F(SettingsViewTest, PhotoControlsFollowTheStyleTheStoredImageAndImportFailures) {
    open();
    const auto shownPhotoControls = [&] {
        QStringList names;
        for (const QString name :
             {"photoPreview", "choosePhotoButton", "deletePhotoButton", "photoError"}) {
            if (shown(name)) {
                names << name;
            }
        }
        return names;
    };
    EXPECT_EQ(item("styleButtonMotion")->property("accessibilityValue"), "Selected");
    EXPECT_EQ(shownPhotoControls(), QStringList{});

    // Photo without an image: only the button that chooses one.
    click("styleButtonPhoto");
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("photo"));
    EXPECT_EQ(item("styleButtonPhoto")->property("accessibilityValue"), "Selected");
    EXPECT_EQ(item("styleButtonMotion")->property("accessibilityValue"), "Not selected");
    EXPECT_EQ(text("styleDescription"),
              "Your photo is copied into Lumora and stays only on this computer.");
    EXPECT_EQ(shownPhotoControls(), QStringList{"choosePhotoButton"});
    EXPECT_EQ(text("choosePhotoButton"), "Choose Photo…");
    screenshot("style-photo-empty", "styleButtonPhoto");

    // A file that is no image: the message in red, until a good photo clears it.
    const QString notes = harness.home.filePath("notes.png");
    writeFile(notes, "not a picture");
    harness.desktop->chosenImage = notes;
    click("choosePhotoButton");
    EXPECT_EQ(shownPhotoControls(), (QStringList{"choosePhotoButton", "photoError"}));
    EXPECT_EQ(text("photoError"), BreakBackgroundPhoto::unusablePhotoMessage);
    EXPECT_EQ(item("photoError")->property("color").value<QColor>(), QColor("#d70015"));
    screenshot("photo-error", "styleButtonPhoto");

    harness.desktop->chosenImage = writeImage("beach.png");
    click("choosePhotoButton");
    EXPECT_EQ(shownPhotoControls(),
              (QStringList{"photoPreview", "choosePhotoButton", "deletePhotoButton"}));
    EXPECT_EQ(text("choosePhotoButton"), "Change Photo…");
    EXPECT_EQ(text("deletePhotoButton"), "Delete Photo");
    EXPECT_TRUE(waitUntil([&] { return item("photoPreview")->height() == 120; }));
    screenshot("style-photo", "styleButtonPhoto");

    // Motion hides every photo control though the photo is stored.
    click("styleButtonMotion");
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("motion"));
    EXPECT_EQ(shownPhotoControls(), QStringList{});
    EXPECT_EQ(text("styleDescription"), "A slow, wind-driven stainless-steel surface.");
    screenshot("style-motion", "styleButtonMotion");
    click("styleButtonMinimal");
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("minimal"));
    EXPECT_EQ(text("styleDescription"), "A black screen with white time and reset information.");
    screenshot("style-minimal", "styleButtonMinimal");

    click("styleButtonPhoto");
    click("deletePhotoButton");
    EXPECT_FALSE(QFileInfo::exists(harness.data("break-background-image")));
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("minimal"));
    EXPECT_EQ(shownPhotoControls(), QStringList{});
}

TEST_F(SettingsViewTest, TextColorNotificationsAndStartAtLoginWriteThroughTheModel) {
    open();
    // The colour as the next start reads it from the preferences file.
    const auto storedColor = [&] {
        return AppPreferences::loadBreakTextColor(
                   JsonFilePreferencesStore(harness.preferencesPath()))
            .toRgb();
    };

    click("colorWell");
    QObject* dialog = window->window()->findChild<QObject*>("colorDialog");
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(waitUntil([&] { return dialog->property("visible").toBool(); }));
    dialog->setProperty("selectedColor", QColor(255, 204, 0));
    screenshot("color-dialog");
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitUntil([&] { return storedColor() != QColor(Qt::white); }));
    EXPECT_EQ(storedColor(), QColor(255, 204, 0));
    EXPECT_EQ(item("colorWell")->property("color").value<QColor>(), QColor(255, 204, 0));
    click("resetColorButton");
    EXPECT_EQ(storedColor(), QColor(Qt::white));
    EXPECT_EQ(harness.storedPreference("breakTextColor"),
              QJsonValue(QJsonArray{1.0, 1.0, 1.0, 1.0}));

    EXPECT_FALSE(item("alertsSwitch")->property("checked").toBool());
    click("alertsSwitch");
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(true));
    EXPECT_TRUE(item("alertsSwitch")->property("checked").toBool());
    click("alertsSwitch");
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(false));

    EXPECT_FALSE(item("startAtLoginSwitch")->property("checked").toBool());
    click("startAtLoginSwitch");
    EXPECT_TRUE(QFileInfo::exists(entryPath()));
    EXPECT_TRUE(item("startAtLoginSwitch")->property("checked").toBool());
    click("startAtLoginSwitch");
    EXPECT_FALSE(QFileInfo::exists(entryPath()));
    EXPECT_FALSE(item("startAtLoginSwitch")->property("checked").toBool());

    // The switch reads the entry again whenever the window is shown anew.
    writeFile(entryPath(), "[Desktop Entry]\nType=Application\nName=Lumora\nExec=lumora\n");
    window->hide();
    window->show();
    EXPECT_TRUE(item("startAtLoginSwitch")->property("checked").toBool());
}

TEST_F(SettingsViewTest, AnAutostartFolderThatCannotBeWrittenShowsWhy) {
    writeFile(harness.home.filePath(".config/autostart"), "a file where the folder should be");
    open();
    click("startAtLoginSwitch");
    ASSERT_TRUE(shown("startupError"));
    EXPECT_TRUE(text("startupError").startsWith("Lumora could not be set to start at login."));
    EXPECT_FALSE(item("startAtLoginSwitch")->property("checked").toBool());
    screenshot("startup-error", "startAtLogin");
    // The same on a dark desktop.
    QPalette dark;
    dark.setColor(QPalette::Window, QColor(45, 45, 48));
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    dark.setColor(QPalette::Base, QColor(30, 30, 32));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    dark.setColor(QPalette::PlaceholderText, QColor(160, 160, 165));
    dark.setColor(QPalette::Button, QColor(60, 60, 64));
    dark.setColor(QPalette::ButtonText, QColor(230, 230, 230));
    dark.setColor(QPalette::Mid, QColor(80, 80, 84));
    dark.setColor(QPalette::Highlight, QColor(42, 130, 218));
    const QPalette light = QGuiApplication::palette();
    QGuiApplication::setPalette(dark);
    settle();
    screenshot("startup-error-dark", "startAtLogin");
    QGuiApplication::setPalette(light);
    // Once the folder can be made, the switch works and the message goes.
    QFile::remove(harness.home.filePath(".config/autostart"));
    click("startAtLoginSwitch");
    EXPECT_FALSE(shown("startupError"));
    EXPECT_TRUE(item("startAtLoginSwitch")->property("checked").toBool());
}

TEST_F(SettingsViewTest, TheUpdatesSectionShowsTheCheckThenTheOffer) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    // Both switches on, for the pictures.
    harness.storePreference("alertsEnabled", true);
    writeFile(entryPath(), AutostartEntry::entryContent("/usr/bin/lumora"));
    open();
    EXPECT_TRUE(item("alertsSwitch")->property("checked").toBool());
    EXPECT_TRUE(item("startAtLoginSwitch")->property("checked").toBool());
    EXPECT_EQ(item("version")->property("value").toString(), "1.0.0");
    EXPECT_FALSE(shown("downloadButton"));
    EXPECT_FALSE(shown("updateStatus"));

    harness.updateChecker->gate.close();
    click("checkForUpdatesButton");
    ASSERT_TRUE(waitUntil([&] { return shown("checkingIndicator"); }));
    EXPECT_FALSE(item("checkForUpdatesButton")->isEnabled());
    EXPECT_EQ(text("checkForUpdatesLabel"), "Checking…");
    screenshot("checking", "version");
    harness.updateChecker->gate.open();
    ASSERT_TRUE(waitUntil([&] { return item("checkForUpdatesButton")->isEnabled(); }));
    EXPECT_FALSE(shown("checkingIndicator"));
    EXPECT_EQ(text("checkForUpdatesLabel"), "Check for Updates");
    EXPECT_EQ(text("updateStatus"), UpdateChecks::upToDateMessage);

    const QUrl download("https://example.com/lumora-1.2.0.tar.gz");
    harness.updateChecker->offer = AppUpdateManifest{"1.2.0", download, std::nullopt, std::nullopt};
    click("checkForUpdatesButton");
    ASSERT_TRUE(waitUntil([&] { return shown("downloadButton"); }));
    EXPECT_EQ(text("downloadButton"), "Download Lumora 1.2.0");
    EXPECT_FALSE(shown("checkForUpdatesButton"));
    screenshot("update-offered", "version");
    click("downloadButton");
    EXPECT_EQ(harness.desktop->openedUrls, QList<QUrl>{download});
}
