// The settings window clicked as a user would, on the real preferences, history and autostart
// files; build/screenshots/settings/*.png to look at.
#include "ViewTestSupport.h"
#include "history/HistoryStore.h"
#include "views/AppWindows.h"
#include "views/SettingsViewModel.h"
#include <QApplication>
#include <QFileDialog>
#include <QJsonArray>

namespace lumora::test {

using SettingsTest = ViewTest;

// One fixed window: wins back the focus taken right after showing, hides on close, Tab walks it;
// each style's description and photo controls; a file that is no image is refused in red.
TEST_F(SettingsTest, OneFixedWindowRaisedAgainAfterItIsShownWithTheStylesAndThePhoto) {
    openSettings();
    EXPECT_FALSE(shown("disconnectCodexButton") || shown("disconnectClaudeButton"));
    EXPECT_EQ(value("codexStatus"),
              AppModel::statusTitle(model->codexSnapshot(), QDateTime::currentDateTimeUtc()));
    screenshot("disconnected");
    EXPECT_EQ(std::tuple(view->title(), view->minimumSize(), view->maximumSize(),
                         item("scroller")->size().toSize(),
                         view->flags() & (Qt::WindowStaysOnTopHint | Qt::WindowMinimizeButtonHint)),
              std::tuple("Lumora Settings", QSize(520, 520), QSize(520, 520), QSize(520, 520),
                         Qt::WindowStaysOnTopHint));
    QSignalSpy raised(settings.get(), &SettingsWindow::raised);
    QWindow other;
    other.resize(200, 200);
    settings->show();
    other.show();
    other.requestActivate();
    EXPECT_EQ(raised.size(), 1);
    ASSERT_TRUE(
        waitUntil([&] { return raised.size() == 2 && QGuiApplication::focusWindow() == view; }));
    view->close();
    EXPECT_EQ(settings->visibleWindow(), nullptr);
    settings->show();
    EXPECT_TRUE(settings->visibleWindow() == view && settings->window() == view);
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
    const auto controls = [&](const char* file = nullptr) { // after choosing `file` if given
        if (file) {
            harness.desktop->chosenImage = harness.home.filePath(file);
            click("choosePhotoButton");
        }
        QStringList names; // the photo's shown controls, and the description
        for (const QString name :
             {"photoPreview", "choosePhotoButton", "deletePhotoButton", "photoError"}) {
            names << (shown(name) ? name : "");
        }
        return names.join(' ').simplified() + ": " + text("styleDescription");
    };
    const QString photo = "Your photo is copied into Lumora and stays only on this computer.";
    EXPECT_FALSE(shown("choosePhotoButton"));
    click("styleButtonPhoto");
    EXPECT_EQ(controls(), "choosePhotoButton: " + photo);
    EXPECT_EQ(std::tuple(harness.storedPreference("breakScreenStyle"),
                         item("styleButtonPhoto")->property("accessibilityValue"),
                         item("styleButtonMotion")->property("accessibilityValue")),
              std::tuple(QJsonValue("photo"), "Selected", "Not selected"));
    screenshot("style-photo-empty", "styleButtonPhoto");
    writeFile(harness.home.filePath("notes.png"), "not a picture");
    EXPECT_EQ(controls("notes.png"), "choosePhotoButton photoError: " + photo);
    EXPECT_EQ(std::tuple(text("photoError"), item("photoError")->property("color")),
              std::tuple(BreakBackgroundPhoto::unusablePhotoMessage, QColor("#d70015")));
    screenshot("photo-error", "styleButtonPhoto");
    writePhoto(harness.home.filePath("beach.png"), QSize(640, 400));
    EXPECT_EQ(controls("beach.png"), "photoPreview choosePhotoButton deletePhotoButton: " + photo);
    EXPECT_EQ(text("choosePhotoButton"), "Change Photo…");
    EXPECT_TRUE(waitUntil([&] { return item("photoPreview")->height() == 120; }));
    screenshot("style-photo", "styleButtonPhoto");
    click("styleButtonMotion"); // hides the photo's controls though it is stored
    EXPECT_EQ(controls(), ": A slow, wind-driven stainless-steel surface.");
    screenshot("style-motion", "styleButtonMotion");
    click("styleButtonMinimal");
    EXPECT_EQ(controls(), ": A black screen with white time and reset information.");
    screenshot("style-minimal", "styleButtonMinimal");
    click("styleButtonPhoto");
    click("deletePhotoButton");
    EXPECT_FALSE(QFileInfo::exists(harness.data("break-background-image")));
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("minimal"));
}

// Status rows follow the clock; Refresh asks for live data; Disconnect switches a provider off;
// checking for updates: the indicator while it runs, "up to date", then an offer to download.
TEST_F(SettingsTest, StatusRowsFollowTheClockDisconnectSwitchesOffAndUpdatesAreOffered) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.storePreference("alertsEnabled", true); // both switches on, for the pictures
    writeFile(entryPath(), AutostartEntry::entryContent("/usr/bin/lumora"));
    harness.enableBoth(usage("claude-code", Availability::ready, 0.4),
                       usage("codex", Availability::limited, 0.85));
    openSettings();
    SettingsViewModel& rows = *settings->viewModel();
    const QDateTime capturedAt = model->snapshot().capturedAt;
    QDateTime now = capturedAt.addSecs(3 * 60 + 20);
    rows.setClock([&] { return now; });
    EXPECT_EQ(rows.lastChecked(), "3 min ago");
    now = capturedAt.addDays(2);
    EXPECT_EQ(rows.claudeStatus() + ", " + rows.lastChecked(),
              "Claude Code usage needs sync, 2 days ago");
    rows.setClock([] { return QDateTime::currentDateTimeUtc(); });
    harness.claude->script->fetchGate.close();
    click("refreshButton");
    ASSERT_TRUE(waitUntil([&] { return model->isRefreshing(); }));
    EXPECT_FALSE(item("refreshButton")->isEnabled());
    harness.claude->script->fetchGate.open();
    ASSERT_TRUE(waitUntil([&] { return item("refreshButton")->isEnabled(); }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);
    EXPECT_EQ(QStringList({value("claudeStatus"), value("codexStatus"), value("lastChecked")}),
              QStringList({"Claude Code is available", "Approaching the limit", "just now"}));
    screenshot("connected", "codexStatus");
    click("disconnectCodexButton");
    EXPECT_EQ(harness.storedPreference("codexEnabled"), QJsonValue(false));
    click("disconnectClaudeButton");
    ASSERT_TRUE(waitUntil([&] { return !shown("disconnectClaudeButton"); }));
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(false));
    EXPECT_TRUE(value("version") == "1.0.0" && !shown("downloadButton") && !shown("updateStatus"));
    harness.updateChecker->gate.close();
    click("checkForUpdatesButton");
    ASSERT_TRUE(waitUntil([&] { return shown("checkingIndicator"); }));
    EXPECT_EQ(std::tuple(item("checkForUpdatesButton")->isEnabled(), text("checkForUpdatesLabel")),
              std::tuple(false, "Checking…"));
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

// Text colour, notifications, start at login (failing, then not) and history in their files.
TEST_F(SettingsTest, TextColourNotificationsStartAtLoginAndHistoryWriteTheirFiles) {
    writeFile(harness.home.filePath(".config/autostart"), "a file where the folder should be");
    harness.storePreference("providerEnabled", true);
    openSettings();
    const auto clickStores = [&](const char* name, const char* key, const QJsonValue& value) {
        click(name);
        EXPECT_EQ(harness.storedPreference(key), value) << name;
    };
    click("colorWell");
    QObject* dialog = view->findChild<QObject*>("colorDialog");
    ASSERT_TRUE(waitUntil([&] { return dialog->property("visible").toBool(); }));
    dialog->setProperty("selectedColor", QColor(255, 204, 0));
    screenshot("color-dialog");
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitUntil([&] {
        return AppPreferences::loadBreakTextColor(
                   JsonFilePreferencesStore(harness.preferencesPath()))
                   .toRgb() == QColor(255, 204, 0);
    }));
    EXPECT_EQ(item("colorWell")->property("color").value<QColor>(), QColor(255, 204, 0));
    clickStores("resetColorButton", "breakTextColor", QJsonArray{1.0, 1.0, 1.0, 1.0});
    clickStores("alertsSwitch", "alertsEnabled", true);
    clickStores("alertsSwitch", "alertsEnabled", false);
    click("startAtLoginSwitch");
    EXPECT_TRUE(text("startupError").startsWith("Lumora could not be set to start at login."));
    EXPECT_FALSE(item("startAtLoginSwitch")->property("checked").toBool());
    screenshot("startup-error", "startAtLogin");
    const QPalette light = QGuiApplication::palette();
    QGuiApplication::setPalette(QPalette(QColor(60, 60, 64), QColor(45, 45, 48))); // dark
    screenshot("startup-error-dark", "startAtLogin");
    QGuiApplication::setPalette(light);
    QFile::remove(harness.home.filePath(".config/autostart"));
    click("startAtLoginSwitch");
    EXPECT_TRUE(!shown("startupError") && QFileInfo::exists(entryPath()));
    click("startAtLoginSwitch");
    EXPECT_FALSE(QFileInfo::exists(entryPath()));
    writeFile(entryPath(), AutostartEntry::entryContent("/usr/bin/lumora"));
    settings->hide();
    settings->show();
    EXPECT_TRUE(item("startAtLoginSwitch")->property("checked").toBool())
        << "the entry is read again when shown anew";
    const QString file = HistoryStore::defaultPath(harness.home.path());
    const auto rows = [&](std::optional<double> refreshedAt = {}) { // after a refresh at this use
        if (refreshedAt) {
            harness.claude->script->setSnapshot(
                usage("claude-code", Availability::ready, *refreshedAt));
            EXPECT_TRUE(waitFor(model->refresh(false)));
        }
        return QFileInfo::exists(file) ? HistoryStore(file, HistoryStore::Access::readOnly)
                                             .figures(QDateTime::currentDateTimeUtc().addDays(-1))
                                             .size()
                                       : -1;
    };
    ASSERT_EQ(rows(0.4), 1);
    screenshot("pace-warnings", "paceAlerts");
    clickStores("paceAlertsSwitch", "paceAlertsEnabled", false);
    screenshot("history", "clearHistoryButton");
    click("clearHistoryButton");
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(rows(0.5), 1);
    clickStores("keepHistorySwitch", "keepUsageHistory", false);
    EXPECT_EQ(rows(), -1);
    EXPECT_EQ(rows(0.6), -1);
    screenshot("history-off", "keepHistory");
}

// The file dialog sits on the shown settings window, else alone on top; its file is the photo.
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
    auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(std::tuple(dialog->windowTitle(), dialog->labelText(QFileDialog::Accept),
                         dialog->fileMode(), dialog->windowModality(),
                         dialog->nameFilters().join(' ').contains("*.png"),
                         dialog->windowHandle()->transientParent()),
              std::tuple("Choose a Break Background", "Choose Photo", QFileDialog::ExistingFile,
                         Qt::WindowModal, true, shownSettings));
    dialog->reject();
    ASSERT_TRUE(waitUntil([&] { return !QApplication::activeModalWidget(); }));
    windows->settingsWindow().hide();
    model->chooseBreakBackgroundImage();
    ASSERT_NE(dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget()), nullptr);
    EXPECT_TRUE(!dialog->windowHandle()->transientParent() &&
                dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    writePhoto(harness.home.filePath("lake.png"), QSize(32, 24));
    dialog->selectFile(harness.home.filePath("lake.png"));
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitUntil([&] { return model->photo()->hasBreakBackgroundImage(); }));
    EXPECT_EQ(std::tuple(model->photo()->breakBackgroundImage().size(),
                         model->preferences()->breakScreenStyle()),
              std::tuple(QSize(32, 24), BreakScreenStyle::photo));
}

} // namespace lumora::test
