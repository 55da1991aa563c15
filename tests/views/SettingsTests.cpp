// The settings window clicked as a user would, on the real preferences, history and autostart
// files; build/screenshots/settings/*.png to look at.
#include "ViewTestSupport.h"

#include "core/RelativeTime.h"
#include "history/HistoryStore.h"
#include "views/AppWindows.h"
#include "views/SettingsViewModel.h"

#include <QApplication>
#include <QFileDialog>
#include <QJsonArray>
#include <QPalette>
#include <QSignalSpy>
#include <QTest>

namespace lumora::test {
namespace {

using SettingsTest = ViewTest;

QFileDialog* openFileDialog() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<QFileDialog*>(widget); dialog && dialog->isVisible()) {
            return dialog;
        }
    }
    return nullptr;
}

} // namespace

TEST_F(SettingsTest, OneFixedWindowRaisedAgainAfterItIsShown) {
    openSettings();
    EXPECT_EQ(view->title(), "Lumora Settings");
    EXPECT_EQ(view->minimumSize(), QSize(520, 520));
    EXPECT_EQ(view->maximumSize(), QSize(520, 520));
    EXPECT_TRUE(view->flags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(view->flags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_EQ(item("scroller")->size(), QSizeF(520, 520));
    // Another window takes the focus right after the settings window was shown (as a popover
    // closing at that moment does); the second raise wins it back.
    int raised = 0;
    QObject::connect(settings.get(), &SettingsWindow::raised, [&] { ++raised; });
    QWindow other;
    other.resize(200, 200);
    settings->show();
    other.show();
    other.requestActivate();
    EXPECT_EQ(raised, 1);
    ASSERT_TRUE(waitUntil([&] { return raised == 2 && QGuiApplication::focusWindow() == view; }));
    // Closing only hides it; the next show brings back the same window.
    view->close();
    EXPECT_EQ(settings->visibleWindow(), nullptr);
    settings->show();
    EXPECT_EQ(settings->visibleWindow(), view);
    EXPECT_EQ(settings->window(), view);

    // Tab reaches each control, from the first; the form scrolls each into sight.
    ASSERT_TRUE(waitUntil([&] { return view->activeFocusItem() != nullptr; }));
    EXPECT_EQ(view->activeFocusItem()->objectName(), "refreshButton");
    for (const QString name : {"styleButtonMinimal", "colorWell", "resetColorButton",
                               "startAtLoginSwitch", "keepHistorySwitch"}) {
        for (int step = 0; step < 40 && view->activeFocusItem()->objectName() != name; ++step) {
            QTest::keyClick(view, Qt::Key_Tab);
        }
        const QQuickItem* control = view->activeFocusItem();
        ASSERT_EQ(control->objectName(), name);
        const QRectF shown = control->mapRectToScene(control->boundingRect());
        EXPECT_TRUE(shown.top() >= 0 && shown.bottom() <= view->height()) << name.toStdString();
        screenshot("focus-" + name);
    }
}

TEST_F(SettingsTest, StatusRowsFollowTheClockAndDisconnectSwitchesProvidersOff) {
    openSettings();
    EXPECT_FALSE(shown("disconnectCodexButton") || shown("disconnectClaudeButton"));
    EXPECT_EQ(item("codexStatus")->property("value").toString(),
              AppModel::statusTitle(model->codexSnapshot(), QDateTime::currentDateTimeUtc()));
    screenshot("disconnected");
    TearDown();

    harness.enableBoth(usage("claude-code", Availability::ready, 0.4),
                       usage("codex", Availability::limited, 0.85));
    model.reset();
    openSettings();
    const QDateTime capturedAt = model->snapshot().capturedAt;
    QDateTime now = capturedAt.addSecs(3 * 60 + 20);
    settings->viewModel()->setClock([&] { return now; });
    EXPECT_EQ(settings->viewModel()->lastChecked(), "3 min ago");
    now = capturedAt.addDays(2);
    EXPECT_EQ(settings->viewModel()->claudeStatus(), "Claude Code usage needs sync");
    EXPECT_EQ(settings->viewModel()->lastChecked(), "2 days ago");
    settings->viewModel()->setClock([] { return QDateTime::currentDateTimeUtc(); });
    // Showing the window re-reads the rows once (and the times go on being re-read while shown).
    QSignalSpy changes(settings->viewModel(), &SettingsViewModel::changed);
    settings->viewModel()->setTicking(false);
    settings->viewModel()->setTicking(true);
    settings->viewModel()->setTicking(true);
    EXPECT_EQ(changes.size(), 1);

    harness.claude->script->fetchGate.close();
    click("refreshButton");
    ASSERT_TRUE(waitUntil([&] { return model->isRefreshing(); }));
    EXPECT_FALSE(item("refreshButton")->isEnabled());
    harness.claude->script->fetchGate.open();
    ASSERT_TRUE(waitUntil([&] { return item("refreshButton")->isEnabled(); }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);
    EXPECT_EQ(item("claudeStatus")->property("value").toString(), "Claude Code is available");
    EXPECT_EQ(item("codexStatus")->property("value").toString(), "Approaching the limit");
    EXPECT_EQ(item("lastChecked")->property("value").toString(), "just now");
    screenshot("connected", "codexStatus");
    click("disconnectCodexButton");
    EXPECT_EQ(harness.storedPreference("codexEnabled"), QJsonValue(false));
    click("disconnectClaudeButton");
    ASSERT_TRUE(waitUntil([&] { return !shown("disconnectClaudeButton"); }));
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(false));
}

TEST_F(SettingsTest, StylesAndThePhotoWithItsImportFailures) {
    openSettings();
    const auto photoControls = [&] {
        QStringList names;
        for (const QString name :
             {"photoPreview", "choosePhotoButton", "deletePhotoButton", "photoError"}) {
            if (shown(name)) {
                names << name;
            }
        }
        return names;
    };
    EXPECT_EQ(photoControls(), QStringList{});
    click("styleButtonPhoto");
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("photo"));
    EXPECT_EQ(item("styleButtonPhoto")->property("accessibilityValue"), "Selected");
    EXPECT_EQ(item("styleButtonMotion")->property("accessibilityValue"), "Not selected");
    EXPECT_EQ(text("styleDescription"),
              "Your photo is copied into Lumora and stays only on this computer.");
    EXPECT_EQ(photoControls(), QStringList{"choosePhotoButton"});
    screenshot("style-photo-empty", "styleButtonPhoto");

    // A file that is no image: the message in red, until a good photo clears it.
    writeFile(harness.home.filePath("notes.png"), "not a picture");
    harness.desktop->chosenImage = harness.home.filePath("notes.png");
    click("choosePhotoButton");
    EXPECT_EQ(photoControls(), (QStringList{"choosePhotoButton", "photoError"}));
    EXPECT_EQ(text("photoError"), BreakBackgroundPhoto::unusablePhotoMessage);
    EXPECT_EQ(item("photoError")->property("color").value<QColor>(), QColor("#d70015"));
    screenshot("photo-error", "styleButtonPhoto");
    writePhoto(harness.home.filePath("beach.png"), QSize(640, 400));
    harness.desktop->chosenImage = harness.home.filePath("beach.png");
    click("choosePhotoButton");
    EXPECT_EQ(photoControls(),
              (QStringList{"photoPreview", "choosePhotoButton", "deletePhotoButton"}));
    EXPECT_EQ(text("choosePhotoButton"), "Change Photo…");
    EXPECT_TRUE(waitUntil([&] { return item("photoPreview")->height() == 120; }));
    screenshot("style-photo", "styleButtonPhoto");

    click("styleButtonMotion"); // hides the photo's controls though it is stored
    EXPECT_EQ(photoControls(), QStringList{});
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
    settings->viewModel()->selectStyle(7);
    EXPECT_EQ(settings->viewModel()->selectedStyle(), 2) << "an unknown index changes nothing";
    EXPECT_EQ(settings->viewModel()->privacyLines().at(1),
              "Usage data stays on this computer and is never shared with advertisers.");
}

TEST_F(SettingsTest, TextColourNotificationsStartAtLoginAndHistoryWriteTheirFiles) {
    writeFile(harness.home.filePath(".config/autostart"), "a file where the folder should be");
    harness.storePreference("providerEnabled", true);
    openSettings();
    const auto storedColor = [&] {
        return AppPreferences::loadBreakTextColor(
                   JsonFilePreferencesStore(harness.preferencesPath()))
            .toRgb();
    };
    click("colorWell");
    QObject* dialog = view->findChild<QObject*>("colorDialog");
    ASSERT_TRUE(waitUntil([&] { return dialog->property("visible").toBool(); }));
    dialog->setProperty("selectedColor", QColor(255, 204, 0));
    screenshot("color-dialog");
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitUntil([&] { return storedColor() == QColor(255, 204, 0); }));
    EXPECT_EQ(item("colorWell")->property("color").value<QColor>(), QColor(255, 204, 0));
    click("resetColorButton");
    EXPECT_EQ(harness.storedPreference("breakTextColor"),
              QJsonValue(QJsonArray{1.0, 1.0, 1.0, 1.0}));

    click("alertsSwitch");
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(true));
    click("alertsSwitch");
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(false));

    // An autostart folder that cannot be made: the switch stays off and says why.
    click("startAtLoginSwitch");
    EXPECT_TRUE(text("startupError").startsWith("Lumora could not be set to start at login."));
    EXPECT_FALSE(item("startAtLoginSwitch")->property("checked").toBool());
    screenshot("startup-error", "startAtLogin");
    const QPalette light = QGuiApplication::palette();
    QPalette dark;
    for (const auto& [role, colour] : {std::pair{QPalette::Window, QColor(45, 45, 48)},
                                       {QPalette::Base, QColor(30, 30, 32)},
                                       {QPalette::WindowText, QColor(230, 230, 230)},
                                       {QPalette::Text, QColor(230, 230, 230)},
                                       {QPalette::ButtonText, QColor(230, 230, 230)},
                                       {QPalette::Button, QColor(60, 60, 64)},
                                       {QPalette::PlaceholderText, QColor(160, 160, 165)},
                                       {QPalette::Mid, QColor(80, 80, 84)},
                                       {QPalette::Highlight, QColor(42, 130, 218)}}) {
        dark.setColor(role, colour);
    }
    QGuiApplication::setPalette(dark);
    screenshot("startup-error-dark", "startAtLogin");
    QGuiApplication::setPalette(light);
    QFile::remove(harness.home.filePath(".config/autostart"));
    click("startAtLoginSwitch");
    EXPECT_FALSE(shown("startupError"));
    EXPECT_TRUE(QFileInfo::exists(entryPath()));
    click("startAtLoginSwitch");
    EXPECT_FALSE(QFileInfo::exists(entryPath()));
    // The switch reads the entry again whenever the window is shown anew.
    writeFile(entryPath(), AutostartEntry::entryContent("/usr/bin/lumora"));
    settings->hide();
    settings->show();
    EXPECT_TRUE(item("startAtLoginSwitch")->property("checked").toBool());

    // The pace switch and the history, on the real file.
    const QString file = HistoryStore::defaultPath(harness.home.path());
    const auto rows = [&] {
        return HistoryStore(file, HistoryStore::Access::readOnly)
            .figures(QDateTime::currentDateTimeUtc().addDays(-1))
            .size();
    };
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.4));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    ASSERT_EQ(rows(), 1) << "the refresh recorded its figure";
    screenshot("pace-warnings", "paceAlerts");
    click("paceAlertsSwitch");
    EXPECT_EQ(harness.storedPreference("paceAlertsEnabled"), QJsonValue(false));
    screenshot("history", "clearHistoryButton");
    click("clearHistoryButton");
    EXPECT_EQ(rows(), 0);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.5));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_EQ(rows(), 1) << "a cleared history goes on recording";
    click("keepHistorySwitch");
    EXPECT_EQ(harness.storedPreference("keepUsageHistory"), QJsonValue(false));
    EXPECT_FALSE(QFileInfo::exists(file)) << "turning the history off deletes it";
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.6));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_FALSE(QFileInfo::exists(file)) << "nothing is recorded while it is off";
    screenshot("history-off", "keepHistory");
}

TEST_F(SettingsTest, TheUpdatesSectionShowsTheCheckThenTheOffer) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.storePreference("alertsEnabled", true); // both switches on, for the pictures
    writeFile(entryPath(), AutostartEntry::entryContent("/usr/bin/lumora"));
    openSettings();
    EXPECT_EQ(item("version")->property("value").toString(), "1.0.0");
    EXPECT_FALSE(shown("downloadButton") || shown("updateStatus"));
    harness.updateChecker->gate.close();
    click("checkForUpdatesButton");
    ASSERT_TRUE(waitUntil([&] { return shown("checkingIndicator"); }));
    EXPECT_FALSE(item("checkForUpdatesButton")->isEnabled());
    EXPECT_EQ(text("checkForUpdatesLabel"), "Checking…");
    screenshot("checking", "version");
    harness.updateChecker->gate.open();
    ASSERT_TRUE(waitUntil([&] { return item("checkForUpdatesButton")->isEnabled(); }));
    EXPECT_EQ(text("updateStatus"), UpdateChecks::upToDateMessage);

    const QUrl download("https://example.com/lumora-1.2.0.tar.gz");
    harness.updateChecker->offer = AppUpdateManifest{"1.2.0", download, std::nullopt, std::nullopt};
    click("checkForUpdatesButton");
    ASSERT_TRUE(waitUntil([&] { return shown("downloadButton"); }));
    EXPECT_EQ(text("downloadButton"), "Download Lumora 1.2.0");
    screenshot("update-offered", "version");
    click("downloadButton");
    EXPECT_EQ(harness.desktop->openedUrls, QList<QUrl>{download});
}

// The desktop's file dialog sits on the settings window while that is shown, and stands alone in
// front of everything otherwise; a file accepted in it becomes the photo.
TEST_F(SettingsTest, ImageDialogOpensOverTheSettingsWindowOrInFrontOfEverything) {
    AppModel::Services services = harness.services();
    auto windows = std::make_shared<AppWindows>();
    services.windows = windows;
    services.imageChooser = std::make_shared<FileDialogImageChooser>();
    model = std::make_unique<AppModel>(services);
    windows->setModel(model.get());
    model->showSettingsWindow();
    QWindow* shownSettings = windows->visibleSettingsWindow();
    ASSERT_TRUE(waitUntil([&] { return shownSettings->isExposed(); }));
    model->chooseBreakBackgroundImage();
    QFileDialog* dialog = openFileDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), "Choose a Break Background");
    EXPECT_EQ(dialog->labelText(QFileDialog::Accept), "Choose Photo");
    EXPECT_EQ(dialog->fileMode(), QFileDialog::ExistingFile);
    EXPECT_TRUE(dialog->nameFilters().join(' ').contains("*.png"));
    EXPECT_EQ(dialog->windowHandle()->transientParent(), shownSettings);
    EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
    dialog->reject();
    ASSERT_TRUE(waitUntil([&] { return openFileDialog() == nullptr; }));

    windows->settingsWindow().hide();
    model->chooseBreakBackgroundImage();
    ASSERT_NE(dialog = openFileDialog(), nullptr);
    EXPECT_EQ(dialog->windowHandle()->transientParent(), nullptr);
    EXPECT_TRUE(dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    writePhoto(harness.home.filePath("lake.png"), QSize(32, 24));
    dialog->selectFile(harness.home.filePath("lake.png"));
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitUntil([&] { return model->photo()->hasBreakBackgroundImage(); }));
    EXPECT_EQ(model->photo()->breakBackgroundImage().size(), QSize(32, 24));
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::photo);
}

} // namespace lumora::test
