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
#include <QQuickView>
#include <QTest>

namespace lumora::test {
namespace {

using Readiness = LocalProviderReadiness;
enum class View { popover, breakView, breakScreen, settings };
enum class Then { nothing, continueSetup, check, offerUpdate, drag };
struct Shot {
    QString path = QString(); // folder/name
    View view = View::popover;
    std::optional<UsageSnapshot> claude = std::nullopt, codex = std::nullopt; // both on when set
    std::optional<std::pair<Readiness, Readiness>> verdicts = std::nullopt;   // Codex's, Claude's
    Then then = Then::nothing; // once the view is open
    double perHour = 0;        // a history of a climb at this rate through the last `minutes`
    int minutes = 0, providers = 2;
    BreakScreenStyle style = BreakScreenStyle::motion;
    QSize size = QSize();
    const char* locale = nullptr;
};

void PrintTo(const Shot& shot, std::ostream* out) {
    *out << shot.path.toStdString();
}

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

const QDateTime inTwoHours = QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 15 * 60 + 30);
UsageSnapshot claude(double used) {
    return usage("claude-code", used >= 1 ? Availability::blocked : Availability::ready, used,
                 inTwoHours);
}
UsageSnapshot codex(double used, Availability availability = Availability::ready,
                    const QDateTime& reset = inTwoHours.addSecs(3600)) {
    return usage("codex", availability, used, reset);
}
UsageSnapshot olderBy(UsageSnapshot snapshot, int seconds) {
    snapshot.capturedAt = snapshot.capturedAt.addSecs(-seconds);
    return snapshot;
}
UsageSnapshot withWeekly(UsageSnapshot snapshot) {
    snapshot.windows.append({UsageWindow::Kind::weekly, 0.36, snapshot.capturedAt.addDays(4)});
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
    const auto both = [](const Readiness& verdict) {
        return std::pair{verdict, verdict};
    };
    const auto failed = std::pair{Readiness::unavailable("Codex did not answer within 8 seconds."),
                                  Readiness::unavailable("Claude Code settings could not be "
                                                         "updated safely.")};
    const auto starting =
        UsageSnapshot::unavailable("claude-code", "Claude Code", "Claude Code is starting.");
    std::vector<Shot> shots = {
        {.path = "popover/fresh-user"},
        {.path = "popover/connected-93-58",
         .claude = claude(0.42),
         .codex = codex(0.07, Availability::ready, inTwoHours.addDays(3))},
        {.path = "popover/stale-and-exhausted",
         .claude = olderBy(claude(0.42), 12 * 60),
         .codex = codex(1.0, Availability::blocked, inTwoHours)},
        {.path = "popover/update-offered",
         .claude = starting,
         .codex = codex(0.81, Availability::ready, inTwoHours),
         .then = Then::offerUpdate},
        {.path = "popover/state-executable-missing",
         .verdicts = both(Readiness::executableMissing())},
        {.path = "popover/state-login-required", .verdicts = both(Readiness::loginRequired())},
        {.path = "popover/state-setup-required", .verdicts = both(Readiness::setupRequired())},
        {.path = "popover/state-failed", .verdicts = failed},
        {.path = "popover/state-waiting",
         .verdicts = std::pair{Readiness::executableMissing(), Readiness::loginRequired()},
         .then = Then::continueSetup},
        {.path = "popover/state-checking", .then = Then::check},
        // The Codex card halfway through a drag over Claude Code's.
        {.path = "popover/dragging",
         .claude = claude(0.42),
         .codex = codex(0.07),
         .then = Then::drag},
        // A kept history: the sparkline, its projection, the pace line and the weekly row.
        {.path = "popover/pace-93-58",
         .claude = withWeekly(claude(0.42)),
         .codex = codex(0.07),
         .perHour = 0.08,
         .minutes = 150},
        {.path = "popover/pace-limit-before-reset",
         .claude = withWeekly(claude(0.78)),
         .codex = codex(0.07),
         .perHour = 0.33,
         .minutes = 90},
        {.path = "popover/pace-at-limit",
         .claude = withWeekly(claude(1.0)),
         .codex = codex(0.07),
         .perHour = 0.3,
         .minutes = 120},
        {.path = "popover/pace-no-history",
         .claude = withWeekly(claude(0.42)),
         .codex = codex(0.07)},
    };
    // The break view in every style, at two screen sizes, with two, one and no providers on.
    for (const auto style :
         {BreakScreenStyle::photo, BreakScreenStyle::motion, BreakScreenStyle::minimal}) {
        for (const QSize size : {QSize(1440, 900), QSize(3840, 2160)}) {
            for (const auto& [providers, set] : {std::pair{2, "both"}, {1, "one"}, {0, "none"}}) {
                shots.push_back({QStringLiteral("break/break-%1-%2x%3-%4")
                                     .arg(AppPreferences::rawValue(style))
                                     .arg(size.width())
                                     .arg(size.height())
                                     .arg(set),
                                 View::breakView, claude(0.42),
                                 usage("codex", Availability::ready, 0.07), std::nullopt,
                                 Then::nothing, 0, 0, providers, style, size});
            }
        }
    }
    for (const char* locale : {"de_DE", "fr_FR"}) {
        const QString code = QString::fromLatin1(locale).left(2);
        const auto claude = usage("claude-code", Availability::limited, 0.86, inTwoHours);
        const auto codex =
            withWeekly(usage("codex", Availability::ready, 0.07,
                             QDateTime::currentDateTimeUtc().addSecs(3 * 86400 + 600)));
        for (const auto& [view, path] : {std::pair{View::popover, "languages/popover-"},
                                         {View::breakScreen, "languages/break-"},
                                         {View::settings, "settings/%1-break-screen"}}) {
            shots.push_back({QString(path).contains('%') ? QString(path).arg(code) : path + code,
                             view, claude, codex, std::nullopt, Then::nothing, 0, 0, 2,
                             BreakScreenStyle::minimal, QSize(), locale});
        }
    }
    return shots;
}

} // namespace

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
        window = view;
    } else if (shot.view == View::settings) {
        openSettings();
        scrollTo("styleDescription"); // the longest texts
        window = view;
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
