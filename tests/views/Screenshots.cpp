// Every view in the states worth looking at, one PNG each in build/screenshots/<folder>/<name>.png
// (German and French: `ctest -R TranslationScreenshots`); the texts easy to get wrong translated.
#include "ViewTestSupport.h"
#include "core/CodexUsageProvider.h"
#include "core/Messages.h"
#include "core/RelativeTime.h"
#include "cubefield/AmbientCubeField.h"
#include "history/HistoryStore.h"
#include "model/UsageNotifications.h"
#include "views/BreakViewModel.h"
#include "views/BreakWindows.h"
#include "views/PopoverViewModel.h"
#include "views/SettingsViewModel.h"
#include <QQmlEngine>

namespace lumora::test {
namespace {

using Readiness = LocalProviderReadiness;
enum class View { popover, breakView, breakScreen, settings };
enum class Then { nothing, continueSetup, offerUpdate, check, drag }; // from check on: unsettled
struct Shot {
    QString path = QString();                                                 // folder/name
    std::optional<UsageSnapshot> claude = std::nullopt, codex = std::nullopt; // both on when set
    Then then = Then::nothing;                                                // once it is open
    double perHour = 0, minutes = 0; // a history of a climb at this rate through the last minutes
    std::optional<std::pair<Readiness, Readiness>> verdicts = std::nullopt; // Codex's, Claude's
    View view = View::popover;
    int providers = 2;
    BreakScreenStyle style = BreakScreenStyle::motion;
    QSize size = QSize();
    const char* locale = nullptr;
};

void PrintTo(const Shot& shot, std::ostream* out) {
    *out << shot.path.toStdString();
}

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

// A climb of `perHour` through the last `minutes`, ending at `used`, one figure every 5 minutes.
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
                          Then then = Then::nothing) {
        return Shot{.path = QString("popover/state-") + name,
                    .then = then,
                    .verdicts = std::pair{codex, claude}};
    };
    UsageSnapshot stale = claude(0.42);
    stale.capturedAt = stale.capturedAt.addSecs(-12 * 60);
    std::vector<Shot> shots = {
        {"popover/fresh-user"},
        {"popover/connected-93-58", claude(0.42),
         codex(0.07, Availability::ready, inTwoHours.addDays(3))},
        {"popover/stale-and-exhausted", stale, codex(1.0, Availability::blocked, inTwoHours)},
        {"popover/update-offered",
         UsageSnapshot::unavailable("claude-code", "Claude Code", "Claude Code is starting."),
         codex(0.81, Availability::ready, inTwoHours), Then::offerUpdate},
        state("executable-missing", Readiness::executableMissing(), Readiness::executableMissing()),
        state("login-required", Readiness::loginRequired(), Readiness::loginRequired()),
        state("setup-required", Readiness::setupRequired(), Readiness::setupRequired()),
        state("failed", Readiness::unavailable("Codex did not answer within 8 seconds."),
              Readiness::unavailable("Claude Code settings could not be updated safely.")),
        state("waiting", Readiness::executableMissing(), Readiness::loginRequired(),
              Then::continueSetup),
        {.path = "popover/state-checking", .then = Then::check},
        {"popover/dragging", claude(0.42), codex(0.07), Then::drag}, // Codex's halfway over
        // A kept history: the sparkline, its projection, the pace line and the weekly row.
        {"popover/pace-93-58", withWeekly(claude(0.42)), codex(0.07), Then::nothing, 0.08, 150},
        {"popover/pace-limit-before-reset", withWeekly(claude(0.78)), codex(0.07), Then::nothing,
         0.33, 90},
        {"popover/pace-at-limit", withWeekly(claude(1.0)), codex(0.07), Then::nothing, 0.3, 120},
        {"popover/pace-no-history", withWeekly(claude(0.42)), codex(0.07)}};
    // The break view in every style, at two screen sizes, with two, one and no providers on.
    for (const auto style :
         {BreakScreenStyle::photo, BreakScreenStyle::motion, BreakScreenStyle::minimal}) {
        for (const QSize size : {QSize(1440, 900), QSize(3840, 2160)}) {
            for (const auto& [providers, set] : {std::pair{2, "both"}, {1, "one"}, {0, "none"}}) {
                shots.push_back({"break/break-" + AppPreferences::rawValue(style) +
                                     QString("-%1x%2-").arg(size.width()).arg(size.height()) + set,
                                 claude(0.42), usage("codex", Availability::ready, 0.07),
                                 Then::nothing, 0, 0, std::nullopt, View::breakView, providers,
                                 style, size});
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
            shots.push_back({path, limited, weekly, Then::nothing, 0, 0, std::nullopt, view, 2,
                             BreakScreenStyle::minimal, QSize(), code == "de" ? "de_DE" : "fr_FR"});
        }
    }
    return shots;
}

} // namespace

class Screenshots : public ViewTest, public ::testing::WithParamInterface<Shot> {};

TEST_P(Screenshots, Render) {
    const Shot& shot = GetParam();
    std::unique_ptr<BreakViewModel> breakModel; // gone before the model
    QQmlEngine engine;
    std::unique_ptr<QQuickView> breakView;
    std::unique_ptr<BreakWindows> breakWindows;
    if (shot.locale) {
        language.emplace(shot.locale);
    }
    writePhoto(harness.data("break-background-image"));
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
    QQuickWindow* window = nullptr;
    if (shot.view == View::popover) {
        openPopover();
    } else if (shot.view == View::settings) {
        openSettings();
        scrollTo("styleDescription"); // the longest texts
    } else if (shot.view == View::breakScreen) {
        breakWindows = std::make_unique<BreakWindows>(model.get());
        breakWindows->show();
        window = breakWindows->textWindow();
    } else {
        breakModel = std::make_unique<BreakViewModel>(model.get());
        breakModel->setActive(true);
        engine.addImportPath("qrc:/qt/qml");
        breakView = std::make_unique<QQuickView>(&engine, nullptr);
        breakView->setResizeMode(QQuickView::SizeRootObjectToView);
        breakView->setInitialProperties(
            {{"viewModel", QVariant::fromValue(breakModel.get())}, {"showsText", true}});
        breakView->setSource(QUrl("qrc:/qt/qml/Lumora/BreakView.qml"));
        breakView->resize(shot.size);
        breakView->show();
        window = breakView.get();
        ASSERT_TRUE(
            waitUntil([&] { return breakView->rootObject()->size() == QSizeF(shot.size); }));
        EXPECT_EQ(breakView->findChild<QQuickItem*>("statusRow")->isVisible(), shot.providers > 0);
        // A first frame at 4K takes long in an unoptimised build on a busy machine.
        auto* field = breakView->findChild<AmbientCubeField*>();
        ASSERT_TRUE(
            shot.style != BreakScreenStyle::motion ||
            waitUntil([&] { return field->framesRendered() > 0; }, std::chrono::seconds(90)));
    }
    window = window ? window : view;
    if (shot.verdicts) {
        model->handleCodexReadiness(shot.verdicts->first);
        model->handleClaudeReadiness(shot.verdicts->second);
    }
    if (shot.then == Then::continueSetup) {
        model->continueClaudeSetup();
        model->continueCodexSetup();
    } else if (shot.then == Then::check) {
        harness.claude->script->readinessGate.close();
        harness.codex->script->readinessGate.close();
        afterwards = [this] {
            harness.claude->script->readinessGate.open();
            harness.codex->script->readinessGate.open();
        };
        popover->viewModel()->card("claude-code")->pressConnectionButton();
        popover->viewModel()->card("codex")->pressConnectionButton();
    } else if (shot.then == Then::offerUpdate) {
        harness.updateChecker->offer =
            AppUpdateManifest{"1.2.0", QUrl("https://example.org/lumora.deb"), {}, {}};
        ASSERT_TRUE(waitFor(model->checkForUpdates(true)));
    } else if (shot.then == Then::drag) {
        const QPoint over = item("card-claude-code")->mapToScene(QPointF(60, 20)).toPoint();
        drag(item("dragHandle", item("card-codex")), over, false);
        afterwards = [this] {
            QTest::mouseRelease(view, Qt::LeftButton);
        };
    }
    ASSERT_TRUE(window && waitUntil([&] { return window->isExposed(); }));
    const auto at = shot.path.indexOf('/');
    test::screenshot(*window, shot.path.left(at), shot.path.mid(at + 1), shot.then < Then::check);
}

const auto shotName = [](const ::testing::TestParamInfo<Shot>& info) {
    const QString name = (info.param.locale ? "TranslationScreenshots_" : "") + info.param.path;
    return QString(name).replace('/', '_').replace('-', '_').toStdString();
};
INSTANTIATE_TEST_SUITE_P(Views, Screenshots, ::testing::ValuesIn(views()), shotName);

// Times (whole minutes), plurals, the clock at 21:05, a reset at 16:05, the notification at 80%,
// the styles and a stored message in each language.
TEST(Translation, TextsTimesAndPluralsInEachLanguage) {
    const QString nb(QChar(0x00A0));
    const QStringList rows[] = {
        {"in 2 hr 15 min", "in 2 Std. 15 Min.", "dans 2 h 15 min"},
        {"in 1 day 4 hr", "in 1 Tag 4 Std.", "dans 1 jour 4 h"},
        {"in 3 days", "in 3 Tagen", "dans 3 jours"},
        {"1 day ago", "vor 1 Tag", "il y a 1 jour"},
        {"3 min ago", "vor 3 Min.", "il y a 3 min"},
        {"in 3 hr", "in 3 Std.", "dans 3 h"},
        {"in 1 min", "in 1 Min.", "dans 1 min"},
        {"in under a minute", "in weniger als einer Minute", "dans moins d\u2019une minute"},
        {"just now", "gerade eben", "\u00e0 l\u2019instant"},
        {"1 day 2 hr ago", "vor 1 Tag 2 Std.", "il y a 1 jour 2 h"},
        {"in 3 days 2 hr", "in 3 Tagen 2 Std.", "dans 3 jours 2 h"},
        {"3 days 2 hr ago", "vor 3 Tagen 2 Std.", "il y a 3 jours 2 h"},
        {"2 hr 15 min ago", "vor 2 Std. 15 Min.", "il y a 2 h 15 min"},
        {"3 hr ago", "vor 3 Std.", "il y a 3 h"},
        {"1 minute", "1 Minute", "1 minute"},
        {"1 hour 1 minute", "1 Stunde 1 Minute", "1 heure 1 minute"},
        {"2 hours 5 minutes", "2 Stunden 5 Minuten", "2 heures 5 minutes"},
        {"09:05", "21:05", "21:05"},
        {"PM", "", ""},
        {"Expected reset: 4:05 PM", "Voraussichtliche Zurücksetzung: 16:05",
         "Réinitialisation prévue" + nb + ": 16:05"},
        {"Codex usage reached 80%", "Codex: 80" + nb + "% des Kontingents genutzt",
         "Codex" + nb + ": 80" + nb + "% du quota utilisés"},
        {"Photo, Motion, Minimal", "Foto, Bewegung, Minimal", "Photo, Mouvement, Minimal"},
        {"Codex is not installed.", "Codex ist nicht installiert.",
         "Codex n\u2019est pas installé."}};
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime evening(QDate(2026, 5, 1), QTime(21, 5)), reset(evening.addSecs(-5 * 3600));
    for (const int column : {0, 1, 2}) {
        const char* locale = std::array{"en_US", "de_DE", "fr_FR"}[column];
        const Language language(locale);
        QStringList texts, expected;
        for (const int seconds :
             {8130, 28 * 3600 + 60, 3 * 86400, -86400 - 30, -3 * 60 - 59, 3 * 3600, 60, 59, 0,
              -26 * 3600, 3 * 86400 + 7230, -3 * 86400 - 7200, -8100, -3 * 3600}) {
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
        for (const QStringList& row : rows) {
            expected << row[column];
        }
        EXPECT_EQ(texts, expected) << locale;
    }
}

} // namespace lumora::test
