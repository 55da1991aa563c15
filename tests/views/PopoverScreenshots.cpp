#include "AppTestSupport.h"
#include "ViewTestSupport.h"

#include "views/PopoverViewModel.h"
#include "views/PopoverWindow.h"

#include <QDir>

#include <QQuickItem>
#include <QQuickView>
#include <QTest>
#include <functional>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Readiness = LocalProviderReadiness;

namespace {

// The popover as people see it, one PNG per state, in build/screenshots/popover (or in
// $LUMORA_SCREENSHOT_DIR): to be looked at after a change of the popover.
class PopoverScreenshots : public ::testing::Test {
protected:
    static QString folder() {
        const QString chosen = qEnvironmentVariable("LUMORA_SCREENSHOT_DIR");
        const QString path = chosen.isEmpty()
                                 ? QStringLiteral(LUMORA_TEST_BIN_DIR "/../screenshots/popover")
                                 : chosen;
        QDir().mkpath(path);
        return QDir(path).absolutePath();
    }
    // Both providers on, with these figures.
    void connect(const UsageSnapshot& codex, const UsageSnapshot& claude) {
        harness.storePreference("providerEnabled", true);
        harness.storePreference("codexEnabled", true);
        harness.codex->script->setSnapshot(codex);
        harness.claude->script->setSnapshot(claude);
    }
    void open() {
        model = harness.makeModel();
        popover = std::make_unique<PopoverWindow>(model.get());
        popover->show(QPoint(0, 0));
        ASSERT_TRUE(waitUntil([&] { return popover->window()->isExposed(); }));
        ASSERT_TRUE(waitUntil([&] { return !model->isRefreshing(); }));
    }
    // `settled`: wait for background work first (not while a test holds some at a gate).
    void save(const QString& name, bool settled = true) {
        WarningLog warnings;
        if (settled) {
            settle();
        }
        // Let animations (bars, opacity) finish before the picture is taken.
        const QDateTime until = QDateTime::currentDateTimeUtc().addMSecs(400);
        waitUntil([&] { return QDateTime::currentDateTimeUtc() >= until; });
        const QString path = folder() + "/" + name + ".png";
        EXPECT_TRUE(saveScreenshot(*popover->window(), path)) << path.toStdString();
        EXPECT_TRUE(warnings.messages().isEmpty()) << warnings.messages().join('\n').toStdString();
    }
    static QDateTime inTwoHours() {
        return QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 15 * 60 + 30);
    }

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
    connect(usage("codex", Availability::ready, 0.07, inTwoHours().addSecs(3 * 86400)),
            usage("claude-code", Availability::ready, 0.42, inTwoHours()));
    open();
    save("connected-93-58");

    // Halfway through a drag of the Codex card by its handle, over the Claude Code card.
    QQuickView* window = popover->window();
    const std::function<QQuickItem*(QQuickItem*, const QString&)> find =
        [&](QQuickItem* item, const QString& name) -> QQuickItem* {
        if (item->objectName() == name) {
            return item;
        }
        for (QQuickItem* child : item->childItems()) {
            if (QQuickItem* found = find(child, name)) {
                return found;
            }
        }
        return nullptr;
    };
    QQuickItem* codex = find(window->contentItem(), "card-codex");
    QQuickItem* claude = find(window->contentItem(), "card-claude-code");
    ASSERT_TRUE(codex && claude);
    QQuickItem* handle = find(codex, "dragHandle");
    ASSERT_NE(handle, nullptr);
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
    connect(usage("codex", Availability::blocked, 1.0, inTwoHours()), stale);
    open();
    save("stale-and-exhausted");
}

TEST_F(PopoverScreenshots, UpdateOffered) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.updateChecker->offer =
        AppUpdateManifest{"1.2.0", QUrl("https://example.org/lumora.deb"), {}, {}};
    connect(usage("codex", Availability::ready, 0.81, inTwoHours()),
            UsageSnapshot::unavailable("claude-code", "Claude Code", "Claude Code is starting."));
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
