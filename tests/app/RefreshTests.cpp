#include "AppTestSupport.h"

#include "core/SnapshotCache.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class RefreshTest : public ::testing::Test {
protected:
    static void refresh(AppModel& model, bool forceClaudeLive = false) {
        ASSERT_TRUE(waitFor(model.refresh(forceClaudeLive)));
    }

    ModelHarness harness;
};

} // namespace

TEST_F(RefreshTest, BothProvidersOffGiveDisconnectedSnapshotsAndNothingElse) {
    harness.storePreference("alertsEnabled", true);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::blocked, 1.0));
    const auto model = harness.makeModel();
    EXPECT_EQ(model->snapshot().statusMessage, "Claude Code status is unavailable.");
    EXPECT_EQ(model->codexSnapshot().statusMessage, "Codex status is unavailable.");

    refresh(*model);
    EXPECT_EQ(model->snapshot().statusMessage, "Claude Code is disconnected.");
    EXPECT_EQ(model->snapshot().availability, Availability::unknown);
    EXPECT_EQ(model->codexSnapshot().statusMessage, "Codex is disconnected.");
    EXPECT_EQ(harness.claude->script->fetches() + harness.codex->script->fetches(), 0);
    EXPECT_FALSE(QFileInfo::exists(harness.claudeCachePath()) ||
                 QFileInfo::exists(harness.codexCachePath()));
    EXPECT_TRUE(harness.notifier->sent.isEmpty());
    EXPECT_FALSE(model->isRefreshing());
}

TEST_F(RefreshTest, ARefreshDuringARefreshIsDroppedAndALateResultNeverReachesADestroyedModel) {
    harness.enableBoth(usage("claude-code", Availability::ready, 0.3));
    auto model = harness.makeModel();
    QList<bool> refreshing;
    QObject::connect(model.get(), &AppModel::isRefreshingChanged,
                     [&] { refreshing.append(model->isRefreshing()); });

    harness.claude->script->fetchGate.close();
    const QFuture<void> first = model->refresh(false);
    ASSERT_TRUE(waitUntil([&] { return harness.claude->script->fetchGate.waiting() == 1; }));
    const QFuture<void> second = model->refresh(true);
    EXPECT_TRUE(second.isFinished()); // absorbed at once, not queued
    EXPECT_FALSE(first.isFinished());
    harness.claude->script->fetchGate.open();
    ASSERT_TRUE(waitFor(first));
    settle();
    EXPECT_EQ(harness.claude->script->fetches(), 1);
    EXPECT_EQ(harness.claude->script->lastForceLive(), false);
    EXPECT_EQ(refreshing, QList<bool>({true, false}));

    refresh(*model, true); // once finished, the next one runs
    EXPECT_EQ(harness.claude->script->fetches(), 2);
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);

    const QByteArray cached = readFile(harness.claudeCachePath());
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.6));
    harness.claude->script->fetchGate.close();
    const QFuture<void> pending = model->refresh(false);
    ASSERT_TRUE(waitUntil([&] { return harness.claude->script->fetchGate.waiting() == 1; }));
    model.reset();
    harness.claude->script->fetchGate.open();
    settle();
    EXPECT_EQ(harness.claude->script->fetches(), 3);
    EXPECT_TRUE(pending.isFinished()); // whoever waited was released
    EXPECT_EQ(readFile(harness.claudeCachePath()), cached);
}

TEST_F(RefreshTest, ObserversSeeBothSnapshotsChangeTogetherClaudeFirst) {
    harness.enableBoth(usage("claude-code", Availability::ready, 0.3),
                       usage("codex", Availability::ready, 0.1));
    const auto model = harness.makeModel();
    QStringList seen;
    QObject::connect(model.get(), &AppModel::snapshotChanged, [&] {
        seen << "claude, codex still " + model->codexSnapshot().statusMessage.value_or("new");
    });
    QObject::connect(model.get(), &AppModel::codexSnapshotChanged, [&] {
        seen << "codex, claude already " + model->snapshot().statusMessage.value_or("new");
    });
    refresh(*model);
    EXPECT_EQ(seen, QStringList({"claude, codex still Codex status is unavailable.",
                                 "codex, claude already new"}));
}

TEST_F(RefreshTest, CachedSnapshotsLoadAsLastKnownLocalStatus) {
    UsageSnapshot claude = usage("claude-code", Availability::limited, 0.85);
    claude.windows.first().resetsAt = claude.capturedAt.addSecs(3600);
    claude.statusMessage = "whatever the provider said";
    SnapshotCache("claude-code", harness.claudeCachePath()).save(claude);
    SnapshotCache("codex", harness.codexCachePath()).save(usage("codex", Availability::ready, 0.2));

    const auto model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->loadCache()));
    UsageSnapshot expected = claude;
    expected.source = SnapshotSource::localCache;
    expected.confidence = Confidence::lastKnown;
    expected.statusMessage = "Last known local status";
    EXPECT_EQ(model->snapshot(), expected);
    EXPECT_EQ(std::pair(model->codexSnapshot().source, model->codexSnapshot().confidence),
              std::pair(SnapshotSource::localCache, Confidence::lastKnown));
}

TEST_F(RefreshTest, OnlySnapshotsWithAVerdictAreSavedAndSavingNeverStopsARefresh) {
    SnapshotCache("codex", harness.codexCachePath()).save(usage("codex", Availability::ready, 0.4));
    const QByteArray earlierCodex = readFile(harness.codexCachePath());
    const UsageSnapshot claude = usage("claude-code", Availability::ready, 0.25);
    harness.enableBoth(claude,
                       UsageSnapshot::unavailable("codex", "Codex", "Codex is not signed in."));
    const auto model = harness.makeModel();
    refresh(*model);
    EXPECT_EQ(SnapshotCache("claude-code", harness.claudeCachePath()).load(), claude);
    // The failed Codex refresh keeps the last good snapshot on disk, byte for byte.
    EXPECT_EQ(readFile(harness.codexCachePath()), earlierCodex);

    // A save that fails (a folder where the file should be) is passed over.
    QFile::remove(harness.claudeCachePath());
    QDir().mkpath(harness.claudeCachePath());
    model->preferences()->setAlertsEnabled(true);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::limited, 0.9));
    settle();
    refresh(*model);
    EXPECT_EQ(harness.notifier->sent.size(), 1); // the notifications still went out
}

TEST_F(RefreshTest, ClaudeConnectionStateFollowsTheProvidersTwoMessages) {
    harness.storePreference("providerEnabled", true);
    const auto model = harness.makeModel();
    using Kind = ProviderConnectionState::Kind;
    const auto stateAfter = [&](const UsageSnapshot& fetched) {
        harness.claude->script->setSnapshot(fetched);
        refresh(*model);
        return model->connections()->claudeConnectionState().kind();
    };
    const auto message = [](const QString& text) {
        return UsageSnapshot::unavailable("claude-code", "Claude Code", text);
    };
    EXPECT_EQ(stateAfter(message("Claude Code is not installed.")), Kind::executableMissing);
    EXPECT_EQ(stateAfter(usage("claude-code", Availability::ready, 0.1)), Kind::disconnected);
    EXPECT_EQ(stateAfter(message("Enable official Claude Code status sync.")), Kind::setupRequired);
    // Any other message without a verdict leaves the state alone.
    EXPECT_EQ(stateAfter(message("Claude Code is not installed ")), Kind::setupRequired);
    EXPECT_EQ(stateAfter(usage("claude-code", Availability::blocked, 1.0)), Kind::disconnected);

    model->preferences()->setClaudeEnabled(false); // off: verdicts no longer move the state
    settle();
    EXPECT_EQ(stateAfter(message("Claude Code is not installed.")), Kind::disconnected);
}

TEST_F(RefreshTest, TheRealClaudeProviderFeedsTheTitleInTheStoredOrder) {
    const auto real = harness.realClaudeProvider();
    real->installStatusLineSync();
    writeFile(harness.data("claude-rate-limits.json"), R"({"five_hour":{"used_percentage":42}})");
    harness.storePreference("providerEnabled", true);
    harness.storePreference("showClaudeInMenuBar", true);
    AppModel::Services services = harness.services();
    services.claudeProvider = real;
    AppModel model(services);
    refresh(model, true);
    EXPECT_EQ(model.menuBarDisplayText(), "Claude Code 58%");
    EXPECT_EQ(model.statusTitle(model.snapshot()), "Claude Code is available");
    EXPECT_TRUE(SnapshotCache("claude-code", harness.claudeCachePath()).load().has_value());

    model.preferences()->setCodexEnabled(true);
    model.swapProviders("codex", "claude-code");
    EXPECT_EQ(model.menuBarDisplayText(), "Claude Code 58% \u00B7 Codex --%");
    model.preferences()->setShowClaudeInMenuBar(false);
    EXPECT_EQ(model.menuBarDisplayText(), "Codex --%");
}

TEST(StatusTitle, DependsOnAgeThenAvailability) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const struct {
        int age; // seconds; stale after 300
        Availability availability;
        const char* title;
    } rows[] = {{301, Availability::blocked, "Codex usage needs sync"},
                {300, Availability::blocked, "Codex is resting"}, // exactly at the limit: current
                {0, Availability::ready, "Codex is available"},
                {0, Availability::limited, "Approaching the limit"},
                {0, Availability::unknown, "Status unavailable"}};
    for (const auto& row : rows) {
        UsageSnapshot snapshot = usage("codex", row.availability, 1.0);
        snapshot.capturedAt = now.addSecs(-row.age);
        snapshot.staleAfterSeconds = 300;
        EXPECT_EQ(AppModel::statusTitle(snapshot, now), row.title);
    }
}

TEST_F(RefreshTest, StartRunsOneRefreshLoopAndOneUpdateLoop) {
    harness.enableBoth();
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    AppTiming timing;
    timing.refreshInterval = std::chrono::milliseconds(20);
    const auto model = harness.makeModel(timing);
    model->start();
    model->start();
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->fetches() >= 4; }));
    settle();
    EXPECT_EQ(harness.updateChecker->checks, 1); // the next one is hours away
    EXPECT_EQ(harness.claude->script->fetches(), harness.codex->script->fetches());
}
