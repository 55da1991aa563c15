// Every view in the states worth looking at after a change of it, one PNG each in
// build/screenshots/<folder>/<name>.png; the German and French ones show clipped or overlapping
// texts (`ctest -R TranslationScreenshots`).
#include "ViewTestSupport.h"
#include "cubefield/AmbientCubeField.h"
#include "history/HistoryStore.h"
#include "views/BreakViewModel.h"
#include "views/BreakWindows.h"
#include "views/PopoverViewModel.h"
#include <QQmlEngine>
#include <QTest>

namespace lumora::test {
namespace {

using Readiness = LocalProviderReadiness;
enum class View { popover, breakView, breakScreen, settings };
enum class Then { nothing, continueSetup, check, offerUpdate, drag };
struct Shot {
    QString path = QString();                                                 // folder/name
    std::optional<UsageSnapshot> claude = std::nullopt, codex = std::nullopt; // both on when set
    Then then = Then::nothing;                                                // once it is open
    double perHour = 0; // a history of a climb at this rate through the last `minutes`
    int minutes = 0;
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
UsageSnapshot withWeekly(UsageSnapshot snapshot, bool weekly = true, int olderBy = 0) {
    if (weekly) {
        snapshot.windows.append({UsageWindow::Kind::weekly, 0.36, snapshot.capturedAt.addDays(4)});
    }
    snapshot.capturedAt = snapshot.capturedAt.addSecs(-olderBy);
    return snapshot;
}

// A climb of `perHour` through the last `minutes`, ending at `used`, one figure every 5 minutes.
void climb(HistoryStore& store, const UsageSnapshot& now, double perHour, int minutes) {
    const UsageWindow& window = now.windows.first();
    for (int ago = minutes; ago > 0; ago -= 5) {
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
    std::vector<Shot> shots = {
        {"popover/fresh-user"},
        {"popover/connected-93-58", claude(0.42),
         codex(0.07, Availability::ready, inTwoHours.addDays(3))},
        {"popover/stale-and-exhausted", withWeekly(claude(0.42), false, 12 * 60),
         codex(1.0, Availability::blocked, inTwoHours)},
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

class Screenshots : public ViewTest, public ::testing::WithParamInterface<Shot> {
public:
    void TearDown() override {
        breakView.reset();
        breakWindows.reset();
        breakModel.reset();
        ViewTest::TearDown();
    }
    std::unique_ptr<BreakViewModel> breakModel;
    QQmlEngine engine;
    std::unique_ptr<QQuickView> breakView;
    std::unique_ptr<BreakWindows> breakWindows;
};

TEST_P(Screenshots, Render) {
    const Shot& shot = GetParam();
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
    const qsizetype slash = shot.path.indexOf('/');
    test::screenshot(*window, shot.path.left(slash), shot.path.mid(slash + 1), !afterwards);
}

const auto shotName = [](const ::testing::TestParamInfo<Shot>& info) {
    const QString name = (info.param.locale ? "TranslationScreenshots_" : "") + info.param.path;
    return QString(name).replace('/', '_').replace('-', '_').toStdString();
};
INSTANTIATE_TEST_SUITE_P(Views, Screenshots, ::testing::ValuesIn(views()), shotName);

} // namespace lumora::test
