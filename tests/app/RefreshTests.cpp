#include "AppTestSupport.h"

#include "core/BuildInfo.h"
#include "core/SnapshotCache.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class RefreshTest : public ::testing::Test {
protected:
    ModelHarness h;
    ProviderScript& claude = *h.claude->script;
    const QString claudeCache = h.data("claude-code-snapshot.json");
    const QString codexCache = h.data("codex-snapshot.json");
};

void refresh(AppModel& model, bool forceClaudeLive = false) {
    ASSERT_TRUE(waitFor(model.refresh(forceClaudeLive)));
}

// Runs one check to its end and returns the status line.
QString check(AppModel& model, bool userInitiated) {
    EXPECT_TRUE(waitFor(model.checkForUpdates(userInitiated)));
    return model.updates()->updateStatusMessage();
}

} // namespace

TEST_F(RefreshTest, BothProvidersOffGiveDisconnectedSnapshotsAndNothingElse) {
    h.storePreference("alertsEnabled", true);
    claude.setSnapshot(usage("claude-code", Availability::blocked, 1.0));
    const auto model = h.makeModel();
    const auto texts = [&] {
        return *model->snapshot().statusMessage + " | " + *model->codexSnapshot().statusMessage;
    };
    EXPECT_EQ(texts(), "Claude Code status is unavailable. | Codex status is unavailable.");
    refresh(*model);
    EXPECT_EQ(texts(), "Claude Code is disconnected. | Codex is disconnected.");
    EXPECT_EQ(model->snapshot().availability, Availability::unknown);
    EXPECT_EQ(claude.fetches() + h.codex->script->fetches() + h.notifier->sent.size(), 0);
    EXPECT_FALSE(QFile::exists(claudeCache) || QFile::exists(codexCache) || model->isRefreshing());
}

// Observers see Claude Code's snapshot change first; a refresh during a refresh is dropped; a late
// result never reaches a destroyed model.
TEST_F(RefreshTest, ARefreshDuringARefreshIsDroppedAndALateResultNeverReachesADestroyedModel) {
    h.enableBoth(usage("claude-code", Availability::ready, 0.3));
    auto model = h.makeModel();
    QStringList seen;
    QObject::connect(model.get(), &AppModel::isRefreshingChanged,
                     [&] { seen << (model->isRefreshing() ? "refreshing" : "done"); });
    QObject::connect(model.get(), &AppModel::snapshotChanged, [&] {
        seen << "claude, codex still " + model->codexSnapshot().statusMessage.value_or("new");
    });
    QObject::connect(model.get(), &AppModel::codexSnapshotChanged, [&] {
        seen << "codex, claude already " + model->snapshot().statusMessage.value_or("new");
    });
    claude.fetchGate.close();
    const QFuture<void> first = model->refresh(false);
    ASSERT_TRUE(waitUntil([&] { return claude.fetchGate.waiting() == 1; }));
    EXPECT_TRUE(model->refresh(true).isFinished()); // absorbed at once, not queued
    EXPECT_FALSE(first.isFinished());
    claude.fetchGate.open();
    ASSERT_TRUE(waitFor(first));
    settle();
    EXPECT_EQ(std::pair(claude.fetches(), claude.lastForceLive()),
              std::pair(1, std::optional(false)));
    EXPECT_EQ(seen, QStringList({"refreshing", "claude, codex still Codex status is unavailable.",
                                 "codex, claude already new", "done"}));
    refresh(*model, true); // once finished, the next one runs
    EXPECT_EQ(std::pair(claude.fetches(), claude.lastForceLive()),
              std::pair(2, std::optional(true)));

    const QByteArray cached = readFile(claudeCache);
    claude.setSnapshot(usage("claude-code", Availability::ready, 0.6));
    claude.fetchGate.close();
    const QFuture<void> pending = model->refresh(false);
    ASSERT_TRUE(waitUntil([&] { return claude.fetchGate.waiting() == 1; }));
    model.reset();
    claude.fetchGate.open();
    settle();
    // Whoever waited was released.
    EXPECT_EQ(std::tuple(claude.fetches(), pending.isFinished(), readFile(claudeCache)),
              std::tuple(3, true, cached));
}

// Cached snapshots load as the last known local status; only snapshots with a verdict are saved,
// and a save that fails never stops a refresh.
TEST_F(RefreshTest, CachedSnapshotsLoadAndOnlySnapshotsWithAVerdictAreSaved) {
    UsageSnapshot cached = usage("claude-code", Availability::limited, 0.85);
    cached.windows.first().resetsAt = cached.capturedAt.addSecs(3600);
    cached.statusMessage = "whatever the provider said";
    SnapshotCache("claude-code", claudeCache).save(cached);
    SnapshotCache("codex", codexCache).save(usage("codex", Availability::ready, 0.2));
    const QByteArray earlierCodex = readFile(codexCache);
    const UsageSnapshot fetched = usage("claude-code", Availability::ready, 0.25);
    h.enableBoth(fetched, UsageSnapshot::unavailable("codex", "Codex", "Codex is not signed in."));
    const auto model = h.makeModel();
    ASSERT_TRUE(waitFor(model->loadCache()));
    UsageSnapshot expected = cached;
    expected.source = SnapshotSource::localCache;
    expected.confidence = Confidence::lastKnown;
    expected.statusMessage = "Last known local status";
    EXPECT_EQ(model->snapshot(), expected);
    EXPECT_EQ(std::pair(model->codexSnapshot().source, model->codexSnapshot().confidence),
              std::pair(SnapshotSource::localCache, Confidence::lastKnown));
    refresh(*model);
    EXPECT_EQ(SnapshotCache("claude-code", claudeCache).load(), fetched);
    EXPECT_EQ(readFile(codexCache), earlierCodex); // the failed refresh keeps it byte for byte

    QFile::remove(claudeCache);
    QDir().mkpath(claudeCache); // a folder where the file should be
    model->preferences()->setAlertsEnabled(true);
    claude.setSnapshot(usage("claude-code", Availability::limited, 0.9));
    settle();
    refresh(*model);
    EXPECT_EQ(h.notifier->sent.size(), 1); // the notifications still went out
}

TEST_F(RefreshTest, ClaudeConnectionStateFollowsTheProvidersTwoMessages) {
    h.storePreference("providerEnabled", true);
    const auto model = h.makeModel();
    using Kind = ProviderConnectionState::Kind;
    const auto stateAfter = [&](const UsageSnapshot& fetched) {
        claude.setSnapshot(fetched);
        refresh(*model);
        return model->connections()->claudeConnectionState().kind();
    };
    const auto message = [](const QString& text) {
        return UsageSnapshot::unavailable("claude-code", "Claude Code", text);
    };
    const std::pair<UsageSnapshot, Kind> rows[] = {
        {message("Claude Code is not installed."), Kind::executableMissing},
        {usage("claude-code", Availability::ready, 0.1), Kind::disconnected},
        {message("Enable official Claude Code status sync."), Kind::setupRequired},
        {message("Claude Code is not installed "), Kind::setupRequired}, // other texts: no change
        {usage("claude-code", Availability::blocked, 1.0), Kind::disconnected}};
    for (const auto& [fetched, kind] : rows) {
        EXPECT_EQ(stateAfter(fetched), kind) << fetched.statusMessage.value_or("").toStdString();
    }
    model->preferences()->setClaudeEnabled(false); // off: verdicts no longer move the state
    settle();
    EXPECT_EQ(stateAfter(message("Claude Code is not installed.")), Kind::disconnected);
}

TEST_F(RefreshTest, StartRunsOneRefreshLoopAndOneUpdateLoop) {
    h.enableBoth();
    h.updateChecker = std::make_shared<FakeUpdateChecker>();
    AppTiming timing;
    timing.refreshInterval = std::chrono::milliseconds(20);
    const auto model = h.makeModel(timing);
    model->start();
    model->start();
    ASSERT_TRUE(waitUntil([&] { return h.codex->script->fetches() >= 4; }));
    settle();
    // The next update check is hours away.
    EXPECT_EQ(std::pair(h.updateChecker->checks.load(), claude.fetches()),
              std::pair(1, h.codex->script->fetches()));
}

// The title depends on age, then availability; the panel text comes from the real Claude Code
// provider and its hook, rounded to the nearest point, in the stored order.
TEST(StatusTitle, DependsOnAgeThenAvailabilityAndTheRealProviderFeedsThePanelText) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const std::tuple<int, Availability, const char*> rows[] = {
        // age in seconds: stale after 300
        {301, Availability::blocked, "Codex usage needs sync"},
        {300, Availability::blocked, "Codex is resting"}, // exactly at the limit: current
        {0, Availability::ready, "Codex is available"},
        {0, Availability::limited, "Approaching the limit"},
        {0, Availability::unknown, "Status unavailable"}};
    for (const auto& [age, availability, title] : rows) {
        UsageSnapshot snapshot = usage("codex", availability, 1.0);
        snapshot.capturedAt = now.addSecs(-age);
        snapshot.staleAfterSeconds = 300;
        EXPECT_EQ(AppModel::statusTitle(snapshot, now), title);
    }

    // The first refresh finds no figures; each run of the hook brings its own to the label.
    ModelHarness h;
    const auto real = h.useRealClaude(true);
    h.storePreference("providerEnabled", true);
    h.storePreference("showClaudeInMenuBar", true);
    AppModel model(h.services());
    model.start();
    ASSERT_TRUE(waitUntil(
        [&] { return model.snapshot().statusMessage == ClaudeUsageProvider::sendMessageMessage; }));
    for (const double used : {85.0, 42.4}) {
        QProcess hook;
        hook.start("/bin/sh", {real->statusLineInstaller().hookScriptPath()});
        hook.write(QString(R"({"rate_limits":{"five_hour":{"used_percentage":%1,"resets_at":%2}}})")
                       .arg(used)
                       .arg(QDateTime::currentSecsSinceEpoch() + 3600)
                       .toUtf8());
        hook.closeWriteChannel();
        ASSERT_TRUE(hook.waitForFinished(10000));
        const QString label = QStringLiteral("Claude Code %1%").arg(qRound(100 - used));
        EXPECT_TRUE(waitUntil([&] { return model.menuBarDisplayText() == label; }))
            << model.menuBarDisplayText().toStdString();
    }
    refresh(model, true);
    EXPECT_EQ(model.menuBarDisplayText() + " | " + model.statusTitle(model.snapshot()),
              "Claude Code 58% | Claude Code is available");
    EXPECT_TRUE(SnapshotCache("claude-code", h.data("claude-code-snapshot.json")).load());
    model.preferences()->setCodexEnabled(true);
    model.swapProviders("codex", "claude-code");
    EXPECT_EQ(model.menuBarDisplayText(), "Claude Code 58% \u00B7 Codex --%");
    model.preferences()->setShowClaudeInMenuBar(false);
    EXPECT_EQ(model.menuBarDisplayText(), "Codex --%");
}

// Background checks are quiet on failure, a user's check says why, one check runs at a time.
TEST(UpdateCheckTest, BackgroundChecksAreQuietOnFailureUserChecksSayWhyOneRunsAtATime) {
    ModelHarness h;
    const auto none = h.makeModel(); // no feed: only the user hears about it
    EXPECT_FALSE(none->updates()->updateFeedConfigured());
    check(*none, false);
    EXPECT_EQ(none->updates()->statusMessage(), std::nullopt);
    EXPECT_EQ(check(*none, true), "The update channel is not configured in this build.");

    h.updateChecker = std::make_shared<FakeUpdateChecker>();
    FakeUpdateChecker& checker = *h.updateChecker;
    const auto model = h.makeModel();
    UpdateChecks& updates = *model->updates();
    checker.offer = AppUpdateManifest{"1.2.0", QUrl("https://downloads.example/lumora-1.2.0"),
                                      std::nullopt, std::nullopt};
    EXPECT_EQ(check(*model, false) + checker.lastVersion, "Lumora 1.2.0 is available.1.0.0");
    model->openAvailableUpdate();
    EXPECT_EQ(h.desktop->openedUrls, QList<QUrl>({checker.offer->downloadURL}));
    checker.failure = "The update server did not return a valid response.";
    EXPECT_EQ(check(*model, false), "Lumora 1.2.0 is available."); // silent, the offer kept
    QStringList lines;
    QObject::connect(&updates, &UpdateChecks::updateStatusMessageChanged,
                     [&] { lines << updates.updateStatusMessage(); });
    check(*model, true); // cleared first, then the reason
    EXPECT_EQ(lines, QStringList({"", "The update server did not return a valid response."}));
    checker.failure.reset();
    checker.offer.reset();
    EXPECT_EQ(check(*model, false), "Lumora is up to date.");
    model->openAvailableUpdate();
    EXPECT_EQ(std::pair(updates.hasAvailableUpdate(), h.desktop->openedUrls.size()),
              std::pair(false, qsizetype(1)));

    checker.gate.close();
    const QFuture<void> background = model->checkForUpdates(false);
    ASSERT_TRUE(waitUntil([&] { return checker.gate.waiting() == 1; }));
    EXPECT_TRUE(updates.isCheckingForUpdates());
    EXPECT_TRUE(model->checkForUpdates(true).isFinished()); // dropped at once, line untouched
    EXPECT_EQ(updates.updateStatusMessage(), "Lumora is up to date.");
    checker.gate.open();
    ASSERT_TRUE(waitFor(background));
    EXPECT_EQ(std::pair(updates.isCheckingForUpdates(), checker.checks.load()),
              std::pair(false, 5));
}

// The core checker reads a real feed file, the loop repeats, and a plain-HTTP download is refused.
TEST(UpdateCheckTest, TheCoreCheckerReadsARealFeedAndTheLoopRepeats) {
    ModelHarness h;
    const QString feed = h.home.filePath("feed/manifest.json");
    const auto publish = [&](const char* version, const char* scheme) {
        writeFile(feed, QStringLiteral(R"({"version": "%1", "downloadURL": "%2://dl.example/%1"})")
                            .arg(version, scheme)
                            .toUtf8());
    };
    publish("1.4.0", "https");
    AppTiming timing;
    timing.updateCheckInterval = std::chrono::milliseconds(10);
    timing.refreshInterval = std::chrono::hours(1);
    AppModel::Services services = h.services(timing);
    services.updateChecker = std::make_shared<FeedUpdateChecker>(QUrl::fromLocalFile(feed));
    AppModel model(services);
    model.start();
    ASSERT_TRUE(waitUntil([&] { return model.updates()->hasAvailableUpdate(); }));
    EXPECT_EQ(model.updates()->updateStatusMessage(), "Lumora 1.4.0 is available.");
    publish("1.5.0", "https"); // found by the loop itself
    ASSERT_TRUE(waitUntil([&] { return model.updates()->availableUpdateVersion() == "1.5.0"; }));
    publish("1.6.0", "http"); // a user check that meets a loop check is dropped: retried
    EXPECT_TRUE(
        waitUntil([&] { return check(model, true) == "The update download must use HTTPS."; }));

    // The standard services take the feed and version from the build unless given.
    AppModel built(AppModel::Services::standard());
    EXPECT_EQ(built.updates()->updateFeedConfigured(),
              configuredUpdateFeedURL(QString::fromUtf8(buildinfo::updateFeedUrl)).has_value());
    EXPECT_EQ(built.updates()->currentVersion(), QString::fromUtf8(buildinfo::version));
    AppModel given(
        AppModel::Services::standard(QUrl("https://updates.example/lumora.json"), "2.5.0"));
    EXPECT_EQ(std::pair(given.updates()->updateFeedConfigured(), given.updates()->currentVersion()),
              std::pair(true, QString("2.5.0")));
    settle();
    EXPECT_FALSE(QFile::exists(h.home.preferencesFile()));
}
