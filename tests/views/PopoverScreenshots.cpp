#include "AppTestSupport.h"
#include "ViewTestSupport.h"

#include "history/HistoryStore.h"
#include "views/PopoverViewModel.h"
#include "views/PopoverWindow.h"

#include <QQuickItem>
#include <QQuickView>
#include <QTest>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Readiness = LocalProviderReadiness;

namespace {

// Shows the popover of `model` and waits until it has drawn and its opening refresh is over.
std::unique_ptr<PopoverWindow> openPopover(AppModel& model) {
    auto popover = std::make_unique<PopoverWindow>(&model);
    popover->show(QPoint(0, 0));
    EXPECT_TRUE(waitUntil([&] { return popover->window()->isExposed(); }));
    EXPECT_TRUE(waitUntil([&] { return !model.isRefreshing(); }));
    return popover;
}

// `settled`: wait for background work first (not while a test holds some at a gate).
void save(PopoverWindow& popover, const QString& name, bool settled = true) {
    WarningLog warnings;
    if (settled) {
        settle();
    }
    runEventsFor(std::chrono::milliseconds(400)); // bars and fades come to rest
    const QString path = screenshotFolder("popover") + "/" + name + ".png";
    EXPECT_TRUE(saveScreenshot(*popover.window(), path)) << path.toStdString();
    EXPECT_TRUE(warnings.messages().isEmpty()) << warnings.messages().join('\n').toStdString();
}

QDateTime inTwoHours() {
    return QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 15 * 60 + 30);
}

// The popover as people see it, one PNG per state in the screenshot folder "popover": to be
// looked at after a change of the popover.
class PopoverScreenshots : public ::testing::Test {
protected:
    void open() {
        model = harness.makeModel();
        popover = openPopover(*model);
    }
    void save(const QString& name, bool settled = true) { ::save(*popover, name, settled); }

    ModelHarness harness;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<PopoverWindow> popover;
};

} // namespace

TEST_F(PopoverScreenshots, FreshUser) {
    open();
    save("fresh-user");
}

TEST_F(PopoverScreenshots, BothConnected) {
    harness.enableBoth(usage("claude-code", Availability::ready, 0.42, inTwoHours()),
                       usage("codex", Availability::ready, 0.07, inTwoHours().addSecs(3 * 86400)));
    open();
    save("connected-93-58");

    // Halfway through a drag of the Codex card by its handle, over the Claude Code card.
    QQuickView* window = popover->window();
    QQuickItem* handle = findItem(findItem(window->contentItem(), "card-codex"), "dragHandle");
    QQuickItem* claude = findItem(window->contentItem(), "card-claude-code");
    ASSERT_TRUE(handle && claude);
    const QPoint from = handle->mapToScene(QPointF(8, 9)).toPoint();
    const QPoint to = claude->mapToScene(QPointF(60, 20)).toPoint();
    QTest::mousePress(window, Qt::LeftButton, {}, from);
    for (int step = 1; step <= 10; ++step) {
        QTest::mouseMove(window, from + (to - from) * step / 10);
    }
    save("dragging");
    QTest::mouseRelease(window, Qt::LeftButton, {}, to);
}

TEST_F(PopoverScreenshots, StaleAndExhausted) {
    UsageSnapshot stale = usage("claude-code", Availability::ready, 0.42);
    stale.capturedAt = stale.capturedAt.addSecs(-12 * 60);
    harness.enableBoth(stale, usage("codex", Availability::blocked, 1.0, inTwoHours()));
    open();
    save("stale-and-exhausted");
}

TEST_F(PopoverScreenshots, UpdateOffered) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.updateChecker->offer =
        AppUpdateManifest{"1.2.0", QUrl("https://example.org/lumora.deb"), {}, {}};
    harness.enableBoth(
        UsageSnapshot::unavailable("claude-code", "Claude Code", "Claude Code is starting."),
        usage("codex", Availability::ready, 0.81, inTwoHours()));
    open();
    ASSERT_TRUE(waitFor(model->checkForUpdates(true)));
    save("update-offered");
}

TEST_F(PopoverScreenshots, EveryConnectionState) {
    open();
    const struct {
        QString name;
        Readiness codex;
        Readiness claude;
    } verdicts[] = {
        {"state-executable-missing", Readiness::executableMissing(),
         Readiness::executableMissing()},
        {"state-login-required", Readiness::loginRequired(), Readiness::loginRequired()},
        {"state-setup-required", Readiness::setupRequired(), Readiness::setupRequired()},
        {"state-failed", Readiness::unavailable("Codex did not answer within 8 seconds."),
         Readiness::unavailable("Claude Code settings could not be updated safely.")},
    };
    for (const auto& verdict : verdicts) {
        model->handleClaudeReadiness(verdict.claude);
        model->handleCodexReadiness(verdict.codex);
        save(verdict.name);
    }
    model->handleClaudeReadiness(Readiness::loginRequired());
    model->continueClaudeSetup();
    harness.codex->script->setReadiness({Readiness::executableMissing()});
    model->continueCodexSetup(); // from the failed state: a check that finds Codex missing
    ASSERT_TRUE(waitUntil([&] {
        return model->connections()->codexConnectionState().kind() ==
               ProviderConnectionState::Kind::executableMissing;
    }));
    model->continueCodexSetup();
    save("state-waiting");
    harness.claude->script->readinessGate.close();
    harness.codex->script->readinessGate.close();
    popover->viewModel()->card("claude-code")->pressConnectionButton();
    popover->viewModel()->card("codex")->pressConnectionButton();
    save("state-checking", false);
    harness.claude->script->readinessGate.open();
    harness.codex->script->readinessGate.open();
}

// The cards with a kept history: the sparkline, its projection, the pace line and the weekly row.
TEST(HistoryScreenshots, PaceStates) {
    const QDateTime now = usage("codex", Availability::ready, 0).capturedAt;
    const QDateTime reset = now.addSecs(2 * 3600 + 15 * 60 + 30);
    // A climb of `perHour` through the last `minutes`, ending at `used`, one figure every 5 min.
    const auto climb = [&](HistoryStore& store, const QString& provider, double used,
                           double perHour, int minutes, const QDateTime& resetsAt) {
        for (int ago = minutes; ago > 0; ago -= 5) {
            store.record({provider, UsageWindow::Kind::session, used - perHour * ago / 60.0,
                          resetsAt, now.addSecs(-60 * ago), SnapshotSource::officialCLI});
        }
    };
    const struct {
        QString name;
        double claudeUsed, claudePerHour;
        int minutes; // of history
    } states[] = {
        {"pace-93-58", 0.42, 0.08, 150},
        {"pace-limit-before-reset", 0.78, 0.33, 90},
        {"pace-at-limit", 1.0, 0.3, 120},
        {"pace-no-history", 0.42, 0, 0},
    };
    for (const auto& state : states) {
        SCOPED_TRACE(state.name.toStdString());
        ModelHarness harness;
        {
            HistoryStore store(HistoryStore::defaultPath(harness.home.path()),
                               HistoryStore::Access::readWrite);
            climb(store, "codex", 0.07, 0.01, state.minutes, reset.addSecs(3600));
            climb(store, "claude-code", state.claudeUsed, state.claudePerHour, state.minutes,
                  reset);
        }
        UsageSnapshot claude = usage(
            "claude-code", state.claudeUsed >= 1 ? Availability::blocked : Availability::ready,
            state.claudeUsed, reset);
        claude.windows.append(UsageWindow(UsageWindow::Kind::weekly, 0.36, now.addDays(4)));
        harness.enableBoth(claude, usage("codex", Availability::ready, 0.07, reset.addSecs(3600)));
        const auto model = harness.makeModel();
        const auto popover = openPopover(*model);
        ASSERT_TRUE(waitFor(model->refresh(false)));
        save(*popover, state.name);
    }
}
