#include "AppTestSupport.h"
#include "ViewTestSupport.h"

#include "history/HistoryStore.h"
#include "views/PopoverWindow.h"

#include <QDir>
#include <QQuickView>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

// The popover's cards with a kept history, one PNG per state in build/screenshots/popover, to be
// looked at: the sparkline, its projection, the pace line and the weekly row.
TEST(HistoryScreenshots, PaceStates) {
    const QDateTime now = usage("codex", Availability::ready, 0).capturedAt;
    const QDateTime inTwoHours = now.addSecs(2 * 3600 + 15 * 60 + 30);
    // A climb of `perHour` through the last `minutes`, ending at `used`, one figure every 5 min.
    const auto climb = [&](HistoryStore& store, const QString& provider, double used,
                           double perHour, int minutes, const QDateTime& reset) {
        for (int ago = minutes; ago > 0; ago -= 5) {
            store.record({provider, UsageWindow::Kind::session, used - perHour * ago / 60.0, reset,
                          now.addSecs(-60 * ago), SnapshotSource::officialCLI});
        }
    };
    const struct {
        QString name;
        double codexUsed, claudeUsed, claudePerHour;
        int minutes; // of history
    } states[] = {
        {"pace-93-58", 0.07, 0.42, 0.08, 150},
        {"pace-limit-before-reset", 0.07, 0.78, 0.33, 90},
        {"pace-at-limit", 0.07, 1.0, 0.3, 120},
        {"pace-no-history", 0.07, 0.42, 0, 0},
    };
    for (const auto& state : states) {
        SCOPED_TRACE(state.name.toStdString());
        ModelHarness harness;
        {
            HistoryStore store(HistoryStore::defaultPath(harness.home.path()),
                               HistoryStore::Access::readWrite);
            climb(store, "codex", state.codexUsed, 0.01, state.minutes, inTwoHours.addSecs(3600));
            climb(store, "claude-code", state.claudeUsed, state.claudePerHour, state.minutes,
                  inTwoHours);
        }
        harness.storePreference("providerEnabled", true);
        harness.storePreference("codexEnabled", true);
        harness.codex->script->setSnapshot(
            usage("codex", Availability::ready, state.codexUsed, inTwoHours.addSecs(3600)));
        UsageSnapshot claude = usage(
            "claude-code", state.claudeUsed >= 1 ? Availability::blocked : Availability::ready,
            state.claudeUsed, inTwoHours);
        claude.windows.append(UsageWindow(UsageWindow::Kind::weekly, 0.36, now.addDays(4)));
        harness.claude->script->setSnapshot(claude);

        const auto model = harness.makeModel();
        PopoverWindow popover(model.get());
        popover.show(QPoint(0, 0));
        ASSERT_TRUE(waitUntil([&] { return popover.window()->isExposed(); }));
        ASSERT_TRUE(waitFor(model->refresh(false)));
        settle();
        const QDateTime until = QDateTime::currentDateTimeUtc().addMSecs(400);
        waitUntil([&] { return QDateTime::currentDateTimeUtc() >= until; });
        const QString folder = QStringLiteral(LUMORA_TEST_BIN_DIR "/../screenshots/popover");
        QDir().mkpath(folder);
        EXPECT_TRUE(saveScreenshot(*popover.window(), folder + "/" + state.name + ".png"));
    }
}
