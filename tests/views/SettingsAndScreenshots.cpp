// Every view's states as build/screenshots/<folder>/<name>.png (`ctest -R TranslationScreenshots`:
// German, French); texts translated; the settings window clicked as a user would, on real files.
#include "ViewTestSupport.h"
#include "core/CodexUsageProvider.h"
#include "core/Messages.h"
#include "core/RelativeTime.h"
#include "cubefield/AmbientCubeField.h"
#include "history/HistoryStore.h"
#include "model/UsageNotifications.h"
#include "views/AppWindows.h"
#include "views/BreakViewModel.h"
#include "views/BreakWindows.h"
#include "views/SettingsViewModel.h"
#include <QFileDialog>

namespace lumora::test {
namespace {

using Readiness = LocalProviderReadiness;
enum class View { popover, breakScreen, settings };
struct Shot {
    QString path = QString();                                                 // folder/name
    std::optional<UsageSnapshot> claude = std::nullopt, codex = std::nullopt; // both on when set
    bool continuesSetup = false;                                              // once it is open
    double perHour = 0, minutes = 0; // a history of a climb at this rate through the last minutes
    std::optional<std::pair<Readiness, Readiness>> verdicts = std::nullopt; // Codex's, Claude's
    View view = View::popover;
    int providers = 2;
    BreakScreenStyle style = BreakScreenStyle::motion;
    QSize size = QSize();
    const char* locale = nullptr;
};

const QDateTime inTwoHours = QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 15 * 60 + 30);
UsageSnapshot claude(double used) {
    return usage("claude-code", used >= 1 ? Availability::blocked : Availability::ready, used,
                 inTwoHours);
}
UsageSnapshot codex(double used, Availability availability = Availability::ready,
                    const QDateTime& reset = inTwoHours.addSecs(3600)) {
    return usage("codex", availability, used, reset);
}
UsageSnapshot withWeekly(UsageSnapshot snapshot) {
    snapshot.windows.append({UsageWindow::Kind::weekly, 0.36, snapshot.capturedAt.addDays(4)});
    return snapshot;
}

// A climb of `perHour` through the last `minutes` to `now`'s figure, one figure every 5 minutes.
void climb(HistoryStore& store, const UsageSnapshot& now, double perHour, double minutes) {
    const UsageWindow& window = now.windows.first();
    for (int ago = int(minutes); ago > 0; ago -= 5) {
        store.record({now.providerID, window.kind, *window.usedRatio - perHour * ago / 60.0,
                      window.resetsAt, now.capturedAt.addSecs(-60 * ago),
                      SnapshotSource::officialCLI});
    }
}

std::vector<Shot> views() {
    const auto state = [](const char* name, Readiness codex, Readiness claude,
                          bool continuesSetup = false) {
        return Shot{.path = QString("popover/state-") + name,
                    .continuesSetup = continuesSetup,
                    .verdicts = std::pair{codex, claude}};
    };
    UsageSnapshot stale = claude(0.42);
    stale.capturedAt = stale.capturedAt.addSecs(-12 * 60);
    std::vector<Shot> shots = {
        {"popover/fresh-user"},
        {"popover/connected-93-58", claude(0.42),
         codex(0.07, Availability::ready, inTwoHours.addDays(3))},
        {"popover/stale-and-exhausted", stale, codex(1.0, Availability::blocked, inTwoHours)},
        state("executable-missing", Readiness::executableMissing(), Readiness::executableMissing()),
        state("login-required", Readiness::loginRequired(), Readiness::loginRequired()),
        state("setup-required", Readiness::setupRequired(), Readiness::setupRequired()),
        state("failed", Readiness::unavailable("Codex did not answer within 8 seconds."),
              Readiness::unavailable("Claude Code settings could not be updated safely.")),
        state("waiting", Readiness::executableMissing(), Readiness::loginRequired(), true),
        // A kept history: the sparkline, its projection, the pace line and the weekly row.
        {"popover/pace-93-58", withWeekly(claude(0.42)), codex(0.07), false, 0.08, 150},
        {"popover/pace-limit-before-reset", withWeekly(claude(0.78)), codex(0.07), false, 0.33, 90},
        {"popover/pace-at-limit", withWeekly(claude(1.0)), codex(0.07), false, 0.3, 120},
        {"popover/pace-no-history", withWeekly(claude(0.42)), codex(0.07)}};
    // The break view in every style, at two screen sizes, with two, one and no providers on.
    for (const auto style :
         {BreakScreenStyle::photo, BreakScreenStyle::motion, BreakScreenStyle::minimal}) {
        for (const QSize size : {QSize(1440, 900), QSize(3840, 2160)}) {
            for (const auto& [providers, set] : {std::pair{2, "both"}, {1, "one"}, {0, "none"}}) {
                shots.push_back({"break/break-" + AppPreferences::rawValue(style) +
                                     QString("-%1x%2-").arg(size.width()).arg(size.height()) + set,
                                 claude(0.42), usage("codex", Availability::ready, 0.07), false, 0,
                                 0, std::nullopt, View::breakScreen, providers, style, size});
            }
        }
    }
    const auto limited = usage("claude-code", Availability::limited, 0.86, inTwoHours);
    const auto weekly = withWeekly(usage("codex", Availability::ready, 0.07,
                                         QDateTime::currentDateTimeUtc().addSecs(3 * 86400 + 600)));
    for (const QString code : {"de", "fr"}) {
        for (const auto& [view, path] : {std::pair{View::popover, "languages/popover-" + code},
                                         {View::breakScreen, "languages/break-" + code},
                                         {View::settings, "settings/" + code + "-break-screen"}}) {
            shots.push_back({path, limited, weekly, false, 0, 0, std::nullopt, view, 2,
                             BreakScreenStyle::minimal, QSize(), code == "de" ? "de_DE" : "fr_FR"});
        }
    }
    return shots;
}

} // namespace

class Screenshots : public ViewTest, public ::testing::WithParamInterface<Shot> {};

TEST_P(Screenshots, Render) {
    const Shot& shot = GetParam();
    std::unique_ptr<BreakWindows> breakWindows;
    if (shot.locale) {
        language.emplace(shot.locale);
    }
    shot.style == BreakScreenStyle::photo ? writePhoto(harness.data("break-background-image"))
                                          : void();
    harness.storePreference("breakScreenStyle", AppPreferences::rawValue(shot.style));
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    if (shot.claude) {
        harness.enableBoth(shot.claude, shot.codex);
        harness.storePreference("codexEnabled", shot.providers == 2);
        harness.storePreference("providerEnabled", shot.providers > 0);
    }
    if (shot.minutes > 0) {
        HistoryStore store(HistoryStore::defaultPath(harness.home.path()),
                           HistoryStore::Access::readWrite);
        climb(store, *shot.codex, 0.01, shot.minutes);
        climb(store, *shot.claude, shot.perHour, shot.minutes);
    }
    model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    if (shot.view == View::popover) {
        openPopover();
    } else if (shot.view == View::settings) {
        openSettings();
        scrollTo("styleDescription"); // the longest texts
    } else { // the break's window with the text, at the given size in place of the full screen
        breakWindows = std::make_unique<BreakWindows>(model.get());
        breakWindows->show();
        auto* shown = qobject_cast<QQuickView*>(breakWindows->textWindow());
        if (shot.size.isValid()) {
            shown->showNormal();
            shown->resize(shot.size);
            ASSERT_TRUE(
                waitUntil([&] { return shown->rootObject()->size() == QSizeF(shot.size); }));
        }
        EXPECT_EQ(shown->findChild<QQuickItem*>("statusRow")->isVisible(), shot.providers > 0);
        // A first frame at 4K takes long in an unoptimised build on a busy machine.
        auto* field = shown->findChild<AmbientCubeField*>();
        ASSERT_TRUE(
            shot.style != BreakScreenStyle::motion ||
            waitUntil([&] { return field->framesRendered() > 0; }, std::chrono::seconds(90)));
    }
    QQuickWindow* window = breakWindows ? breakWindows->textWindow() : view;
    if (shot.verdicts) {
        model->handleCodexReadiness(shot.verdicts->first);
        model->handleClaudeReadiness(shot.verdicts->second);
    }
    if (shot.continuesSetup) {
        model->continueClaudeSetup();
        model->continueCodexSetup();
    }
    ASSERT_TRUE(window && waitUntil([&] { return window->isExposed(); }));
    const auto at = shot.path.indexOf('/');
    test::screenshot(*window, shot.path.left(at), shot.path.mid(at + 1));
}

const auto shotName = [](const ::testing::TestParamInfo<Shot>& info) {
    const QString name = (info.param.locale ? "TranslationScreenshots_" : "") + info.param.path;
    return QString(name).replace('/', '_').replace('-', '_').toStdString();
};
INSTANTIATE_TEST_SUITE_P(Views, Screenshots, ::testing::ValuesIn(views()), shotName);

// Times, plurals, the clock at 21:05, a reset, the 80% alert, styles, a message per language.
TEST(Translation, TextsTimesAndPluralsInEachLanguage) {
    // English, German and French: each language's texts joined by "|".
    const QString expected[] = {
        "in 2 hr 15 min|in 1 day 4 hr|in 3 days|1 day ago|3 min ago|in 3 hr|in 1 min|"
        "in under a minute|just now|1 day 2 hr ago|in 3 days 2 hr|3 days 2 hr ago|"
        "2 hr 15 min ago|3 hr ago|2 days ago|1 minute|1 hour 1 minute|2 hours 5 minutes|09:05|PM|"
        "Expected reset: 4:05 PM|Codex usage reached 80%|Photo, Motion, Minimal|"
        "Codex is not installed.",
        "in 2 Std. 15 Min.|in 1 Tag 4 Std.|in 3 Tagen|vor 1 Tag|vor 3 Min.|in 3 Std.|in 1 Min.|"
        "in weniger als einer Minute|gerade eben|vor 1 Tag 2 Std.|in 3 Tagen 2 Std.|"
        "vor 3 Tagen 2 Std.|vor 2 Std. 15 Min.|vor 3 Std.|vor 2 Tagen|1 Minute|1 Stunde 1 Minute|"
        "2 Stunden 5 Minuten|21:05||Voraussichtliche Zurücksetzung: 16:05|"
        "Codex: 80\u00a0% des Kontingents genutzt|Foto, Bewegung, Minimal|"
        "Codex ist nicht installiert.",
        "dans 2 h 15 min|dans 1 jour 4 h|dans 3 jours|il y a 1 jour|il y a 3 min|dans 3 h|"
        "dans 1 min|dans moins d\u2019une minute|\u00e0 l\u2019instant|il y a 1 jour 2 h|"
        "dans 3 jours 2 h|il y a 3 jours 2 h|il y a 2 h 15 min|il y a 3 h|il y a 2 jours|1 minute|"
        "1 heure 1 minute|2 heures 5 minutes|21:05||"
        "R\u00e9initialisation pr\u00e9vue\u00a0: 16:05|"
        "Codex\u00a0: 80\u00a0% du quota utilis\u00e9s|Photo, Mouvement, Minimal|"
        "Codex n\u2019est pas install\u00e9."};
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime evening(QDate(2026, 5, 1), QTime(21, 5)), reset(evening.addSecs(-5 * 3600));
    for (const int column : {0, 1, 2}) {
        const char* locale = std::array{"en_US", "de_DE", "fr_FR"}[column];
        const Language language(locale);
        QStringList texts;
        for (const int seconds :
             {8130, 28 * 3600 + 60, 3 * 86400, -86400 - 30, -3 * 60 - 59, 3 * 3600, 60, 59, 0,
              -26 * 3600, 3 * 86400 + 7230, -3 * 86400 - 7200, -8100, -3 * 3600, -2 * 86400}) {
            texts << relativeTimeText(now.addSecs(seconds), now);
        }
        for (const int minutes : {1, 61, 125}) {
            texts << BreakViewModel::resetCountdown(now.addSecs(minutes * 60), now);
        }
        const UsageSnapshot high = usage("codex", Availability::ready, 0.85, reset);
        const auto notification = usageNotification(usage("codex", Availability::ready, 0.5), high);
        texts << BreakViewModel::clockTime(evening) << BreakViewModel::meridiem(evening)
              << resetDescription(high) << (notification ? notification->title : "none")
              << SettingsViewModel::styleTitles().join(", ")
              << shownMessage(CodexUsageProvider::notInstalledMessage);
        EXPECT_EQ(texts.join('|'), expected[column]) << locale;
    }
}

// One fixed window that wins back the focus, walked by Tab; each control reaches model and file.
TEST_F(ViewTest, SettingsWindowRaisedAgainWhoseControlsReachTheModelAndTheirFiles) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    openSettings();
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
    // Text colour, notifications, start at login (failing, then not) and history in their files.
    writeFile(harness.home.filePath(".config/autostart"), "a file where the folder should be");
    model->preferences()->setClaudeEnabled(true);
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
    EXPECT_TRUE(text("startupError").startsWith("Lumora could not be set to start at login.") &&
                !item("startAtLoginSwitch")->property("checked").toBool());
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
    // Refresh asks for live data and fills the status rows; Disconnect switches a provider off;
    // checking for updates: the indicator while it runs, "up to date", then an offer to download.
    model->preferences()->setAlertsEnabled(true); // both switches on, for the pictures
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.4));
    harness.codex->script->setSnapshot(usage("codex", Availability::limited, 0.85));
    model->preferences()->setCodexEnabled(true);
    ASSERT_TRUE(waitUntil([&] { return !model->isRefreshing(); })); // the switch's own refresh
    harness.claude->script->fetchGate.close();
    click("refreshButton");
    ASSERT_TRUE(
        waitUntil([&] { return model->isRefreshing() && !item("refreshButton")->isEnabled(); }));
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

// The file dialog sits on the shown settings window; the file chosen in it is the photo.
TEST_F(ViewTest, SettingsImageDialogOpensOverTheSettingsWindow) {
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
    writePhoto(harness.home.filePath("lake.png"), QSize(32, 24));
    dialog->selectFile(harness.home.filePath("lake.png"));
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitUntil([&] { return model->photo()->hasBreakBackgroundImage(); }));
    EXPECT_EQ(std::tuple(model->photo()->breakBackgroundImage().size(),
                         model->preferences()->breakScreenStyle()),
              std::tuple(QSize(32, 24), BreakScreenStyle::photo));
}

} // namespace lumora::test
