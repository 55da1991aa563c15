// The model on fake and real providers in temporary homes: connecting and disconnecting (readiness
// verdicts, set-up steps, the monitors that watch the user finish), refreshes, caches, updates.
#include "AppTestSupport.h"
#include "core/CodexUsageProvider.h"
#include "support/ProcessInspection.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = ProviderConnectionState::Kind;
using Readiness = LocalProviderReadiness;
using State = ProviderConnectionState;
using namespace std::chrono_literals;

namespace {

class ModelTest : public ::testing::Test {
protected:
    std::unique_ptr<AppModel> model() const { // monitors that check every millisecond, 90 times
        return h.makeModel({.connectionCheckInterval = 1ms});
    }

    ModelHarness h;
    ProviderScript& claude = *h.claude->script;
    ProviderScript& codex = *h.codex->script;
    const QString claudeCache = h.data("claude-code-snapshot.json");
    const QString codexCache = h.data("codex-snapshot.json");
};
using ConnectionFlowTest = ModelTest;
using RefreshTest = ModelTest;

Kind claudeState(const AppModel& m) {
    return m.connections()->claudeConnectionState().kind();
}
Kind codexState(const AppModel& m) {
    return m.connections()->codexConnectionState().kind();
}

QString check(AppModel& model, bool userInitiated) { // runs one check, returns the status line
    EXPECT_TRUE(waitFor(model.checkForUpdates(userInitiated)));
    return model.updates()->updateStatusMessage();
}

} // namespace

// Verdicts set both states, ready connects; Claude Code's two messages then move it while it is on.
TEST_F(ConnectionFlowTest, ReadinessVerdictsAndClaudeCodesMessagesSetTheStates) {
    const auto m = model();
    const std::tuple<Readiness, State, State> rows[] = {
        {Readiness::executableMissing(), State::executableMissing(), State::executableMissing()},
        {Readiness::loginRequired(), State::loginRequired(), State::loginRequired()},
        {Readiness::setupRequired(), State::setupRequired(),
         State::failed("Codex setup is incomplete.")},
        {Readiness::unavailable("timed out"), State::failed("timed out"),
         State::failed("timed out")}};
    for (const auto& [readiness, forClaude, forCodex] : rows) {
        m->handleClaudeReadiness(readiness);
        m->handleCodexReadiness(readiness);
        EXPECT_EQ(std::pair(m->connections()->claudeConnectionState(),
                            m->connections()->codexConnectionState()),
                  std::pair(forClaude, forCodex));
    }
    codex.setSnapshot(usage("codex", Availability::ready, 0.25));
    m->handleClaudeReadiness(Readiness::ready());
    m->handleCodexReadiness(Readiness::ready());
    EXPECT_EQ(std::tuple(claudeState(*m), codexState(*m), h.storedPreferences()),
              std::tuple(Kind::disconnected, Kind::disconnected,
                         QJsonObject({{"providerEnabled", true}, {"codexEnabled", true}})));
    ASSERT_TRUE(waitUntil([&] { return m->codexSnapshot().availability == Availability::ready; }));
    settle();
    EXPECT_EQ(claude.fetches(), 1);
    const auto stateAfter = [&](const QString& text, std::optional<Availability> a = {}) {
        claude.setSnapshot(a ? usage("claude-code", *a, 0.5)
                             : UsageSnapshot::unavailable("claude-code", "Claude Code", text));
        EXPECT_TRUE(waitFor(m->refresh(false)));
        return claudeState(*m);
    };
    EXPECT_EQ(
        QList({stateAfter("Claude Code is not installed."), stateAfter("", Availability::ready),
               stateAfter("Enable official Claude Code status sync."),
               stateAfter("Claude Code is not installed "), // other texts: no change
               stateAfter("", Availability::blocked)}),
        QList({Kind::executableMissing, Kind::disconnected, Kind::setupRequired,
               Kind::setupRequired, Kind::disconnected}));
    m->preferences()->setClaudeEnabled(false); // off: verdicts no longer move the state
    settle();
    EXPECT_EQ(stateAfter("Claude Code is not installed."), Kind::disconnected);
}

// Checks, then installs the hook and forces live data; a hook that stays keeps Claude Code on.
TEST_F(ConnectionFlowTest, ClaudeSetUpChecksThenInstallsTheHookAndForcesLiveData) {
    AppModel m(h.services());
    claude.setReadiness({Readiness::setupRequired()});
    m.continueClaudeSetup(); // resting state: the button checks first
    EXPECT_EQ(claudeState(m), Kind::checking);
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::setupRequired; }));
    EXPECT_EQ(h.claude->installs, 0);
    QList<Kind> states;
    QObject::connect(m.connections(), &ProviderConnections::claudeConnectionStateChanged,
                     [&] { states << claudeState(m); });
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return claude.fetches() == 1; }));
    settle(); // the forced refresh ran; the switch's own refresh came second and was dropped
    EXPECT_EQ(std::tuple(states, h.claude->installs.load(), m.preferences()->claudeEnabled(),
                         claude.lastForceLive(), claude.fetches()),
              std::tuple(QList<Kind>({Kind::waiting, Kind::disconnected}), 1, true,
                         std::optional(true), 1));
    h.claude->uninstallFails = true;
    ASSERT_TRUE(waitFor(m.disconnectClaude()));
    EXPECT_EQ(std::pair(m.preferences()->claudeEnabled(), m.connections()->claudeConnectionState()),
              std::pair(true, State::failed("The hook could not be removed.")));
}

// The real hook goes in beside the user's keys and out again; foreign settings are left alone.
TEST_F(ConnectionFlowTest, TheRealHookIsInstalledAndRemovedAndAFailureKeepsTheSettings) {
    const auto real = h.useRealClaude();
    AppModel m(h.services());
    const QString settings = h.home.filePath(".claude/settings.json");
    const QByteArray foreign = "[\"not\", \"an object\"]\n";
    writeFile(settings, foreign);
    m.handleClaudeReadiness(Readiness::setupRequired());
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::failed; }));
    EXPECT_EQ(std::pair(readFile(settings), m.preferences()->claudeEnabled()),
              std::pair(foreign, false));
    writeFile(settings, R"({"theme": "dark"})");
    m.continueClaudeSetup(); // from the failed state the button checks again instead of installing
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::setupRequired; }));
    EXPECT_FALSE(real->statusLineInstaller().isInstalled());
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return m.preferences()->claudeEnabled() && !m.isRefreshing(); }));
    const QJsonObject hooked = readJsonObject(settings);
    EXPECT_TRUE(real->statusLineInstaller().isInstalled() && hooked["theme"] == "dark" &&
                hooked["statusLine"]["command"].toString().contains("statusline.sh"));
    ASSERT_TRUE(waitFor(m.disconnectClaude()));
    EXPECT_EQ(std::tuple(real->statusLineInstaller().isInstalled(), readJsonObject(settings),
                         *h.storedPreference("providerEnabled"), claudeState(m),
                         *m.snapshot().statusMessage),
              std::tuple(false, QJsonObject({{"theme", "dark"}}), QJsonValue(false),
                         Kind::disconnected, QString("Claude Code is disconnected.")));
}

// Monitors end on their verdict, after the last check, or switched off (a late "ready" too); set-up
// sends the user to the right page, Codex's sign-in to a terminal, and a monitor then watches.
TEST_F(ConnectionFlowTest, MonitorsEndOnTheirVerdictAfterTheLastCheckOrWhenSwitchedOff) {
    const auto m = model(); // Claude Code's ends on anything but a missing tool, Codex's on ready
    claude.setReadiness({Readiness::executableMissing(), Readiness::executableMissing(),
                         Readiness::setupRequired()});
    codex.setReadiness(
        {Readiness::loginRequired(), Readiness::unavailable("not yet"), Readiness::ready()});
    m->beginClaudeConnectionMonitoring();
    m->beginCodexConnectionMonitoring();
    ASSERT_TRUE(waitUntil([&] {
        return !m->connections()->isClaudeMonitorRunning() &&
               !m->connections()->isCodexMonitorRunning();
    }));
    EXPECT_EQ(std::tuple(claude.readinessChecks(), codex.readinessChecks(), claudeState(*m),
                         m->preferences()->codexEnabled()),
              std::tuple(3, 3, Kind::setupRequired, true));
    const auto patient = model();
    codex.setReadiness({Readiness::loginRequired()});
    patient->handleCodexReadiness(Readiness::loginRequired());
    patient->continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return !patient->connections()->isCodexMonitorRunning(); }));
    EXPECT_EQ(std::pair(codex.readinessChecks(), codexState(*patient)),
              std::pair(3 + 90, Kind::disconnected));
    const auto gives = model();
    codex.readinessGate.close();
    gives->handleCodexReadiness(Readiness::loginRequired());
    gives->continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return codex.readinessGate.waiting() == 1; }));
    codex.setReadiness({Readiness::ready()});
    gives->preferences()->setCodexEnabled(false);
    EXPECT_EQ(std::pair(gives->connections()->isCodexMonitorRunning(), codexState(*gives)),
              std::pair(false, Kind::disconnected));
    codex.readinessGate.open();
    settle();
    EXPECT_EQ(std::pair(codex.readinessChecks(), gives->preferences()->codexEnabled()),
              std::pair(3 + 90 + 1, false));
    const auto sends = model(); // set-up sends the user on and watches
    claude.setReadiness({Readiness::executableMissing()});
    codex.setReadiness({Readiness::executableMissing()});
    codex.readinessGate.close(); // keep the Codex monitor waiting
    sends->handleClaudeReadiness(Readiness::loginRequired());
    sends->continueClaudeSetup();
    EXPECT_EQ(std::pair(claudeState(*sends), sends->connections()->isClaudeMonitorRunning()),
              std::pair(Kind::waiting, true));
    sends->handleClaudeReadiness(Readiness::executableMissing());
    sends->continueClaudeSetup();
    sends->handleCodexReadiness(Readiness::executableMissing());
    sends->continueCodexSetup();
    EXPECT_EQ(std::tuple(codexState(*sends), h.desktop->terminalsStarted, h.desktop->openedUrls),
              std::tuple(Kind::waiting, 2, // the two sign-ins above
                         QList<QUrl>({QUrl("https://code.claude.com/docs/en/authentication"),
                                      QUrl("https://code.claude.com/docs/en/setup"),
                                      QUrl("https://openai.com/codex/")})));
    sends->handleCodexReadiness(Readiness::loginRequired());
    sends->continueCodexSetup();
    EXPECT_EQ(std::tuple(*h.desktop->clipboard, h.desktop->terminalsStarted, codexState(*sends),
                         sends->connections()->isCodexMonitorRunning()),
              std::tuple(QString("codex login"), 3, Kind::waiting, true));
}

// The real provider starts `codex` from the pool with vfork semantics, which ThreadSanitizer
// cannot follow: a fixture of its own keeps it out of the sanitizer run.
using RealCodexSignInTest = ModelTest;

// Signing in to a real `codex` child is watched until it answers with figures; then a thousand
// refreshes through the real providers and that `codex`: nothing kept grows.
TEST_F(RealCodexSignInTest, IsWatchedUntilTheToolIsReadyAndAThousandRefreshesKeepNothing) {
    const QString percent = h.home.filePath("percent"), signedIn = h.home.filePath("signed-in");
    CodexUsageProvider::Options options; // signed out until a file appears, answers `percent`
    options.homeDirectory = h.home.path();
    options.executableOverride = h.home.filePath("tools/codex");
    // The answer leaves answeringAppServer's quotes to read the file.
    const QByteArray answer =
        R"x({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":'"$(cat ')x" +
        percent.toUtf8() + R"x(')"',"windowDurationMins":300,"resetsAt":1900000000}}}})x";
    writeScript(*options.executableOverride,
                fakeCodex("[ -e '" + signedIn.toUtf8() + "' ]", answeringAppServer(answer)));
    writeFile(percent, "42");
    AppModel::Services services = h.services({.connectionCheckInterval = 20ms});
    services.codexProvider = std::make_shared<CodexUsageProvider>(options);
    AppModel m(services);
    m.continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return codexState(m) == Kind::loginRequired; }));
    m.continueCodexSetup();
    EXPECT_EQ(std::pair(*h.desktop->clipboard, m.connections()->isCodexMonitorRunning()),
              std::pair(QString("codex login"), true));
    writeFile(signedIn, "yes"); // the user signs in in the terminal
    ASSERT_TRUE(waitUntil([&] {
        return m.preferences()->codexEnabled() &&
               m.codexSnapshot().availability == Availability::ready;
    }));
    EXPECT_EQ(std::pair(codexState(m), m.menuBarDisplayText()),
              std::pair(Kind::disconnected, QString("Codex 58%")));
    h.useRealClaude(true);
    h.enableBoth();
    h.storePreference("showClaudeInMenuBar", true);
    h.storePreference("alertsEnabled", true);
    services = h.services();
    services.codexProvider = std::make_shared<CodexUsageProvider>(options);
    AppModel model(services);
    qsizetype descriptors = 0;
    qint64 memory = 0;
    for (int round = 0; round < 1000; ++round) {
        // Usage swings across 80% and the limit, so notifications are decided and sent too.
        const int used = (round * 37) % 101;
        writeFile(percent, QByteArray::number(used));
        writeFile(h.data("claude-rate-limits.json"),
                  R"({"five_hour":{"used_percentage":)" + QByteArray::number(100 - used) + "}}");
        ASSERT_TRUE(waitFor(model.refresh(round % 2 == 0))) << "round " << round;
        ASSERT_EQ(model.codexSnapshot().statusMessage, std::nullopt) << "round " << round;
        if (round == 99) {
            settle();
            descriptors = openFileDescriptorCount();
            memory = residentMemoryBytes();
        }
    }
    settle();
    EXPECT_TRUE(openFileDescriptorCount() == descriptors && childProcesses().isEmpty() &&
                h.notifier->sent.size() > 100);
    // Nine hundred more refreshes may not cost more than a few pages of allocator slack.
    EXPECT_TRUE(!residentMemoryIsMeaningful || residentMemoryBytes() - memory < 4 * 1024 * 1024)
        << (residentMemoryBytes() - memory) / 1024 << " KiB more";
}

// Both off, a refresh fetches, caches and tells nothing; started twice, one loop of each runs.
TEST_F(RefreshTest, BothProvidersOffGiveDisconnectedSnapshotsAndStartRunsOneLoopOfEach) {
    h.storePreference("alertsEnabled", true);
    claude.setSnapshot(usage("claude-code", Availability::blocked, 1.0));
    const auto model = h.makeModel();
    const auto texts = [&] {
        return *model->snapshot().statusMessage + " | " + *model->codexSnapshot().statusMessage;
    };
    EXPECT_EQ(texts(), "Claude Code status is unavailable. | Codex status is unavailable.");
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_EQ(std::tuple(texts(), model->snapshot().availability,
                         claude.fetches() + h.codex->script->fetches() + h.notifier->sent.size()),
              std::tuple(QString("Claude Code is disconnected. | Codex is disconnected."),
                         Availability::unknown, 0));
    EXPECT_FALSE(QFile::exists(claudeCache) || QFile::exists(codexCache) || model->isRefreshing());
    h.enableBoth();
    h.updateChecker = std::make_shared<FakeUpdateChecker>();
    const auto looping = h.makeModel({.refreshInterval = 20ms});
    looping->start();
    looping->start();
    ASSERT_TRUE(waitUntil([&] { return h.codex->script->fetches() >= 4; }));
    settle(); // the next update check is hours away
    EXPECT_EQ(std::pair(h.updateChecker->checks.load(), claude.fetches()),
              std::pair(1, h.codex->script->fetches()));
}

// Claude Code's change is seen first; a refresh during one is dropped; a late result is dropped.
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
    EXPECT_TRUE(model->refresh(true).isFinished() && !first.isFinished()); // absorbed, not queued
    claude.fetchGate.open();
    ASSERT_TRUE(waitFor(first));
    settle();
    EXPECT_EQ(
        std::tuple(claude.fetches(), claude.lastForceLive(), seen),
        std::tuple(1, std::optional(false),
                   QStringList({"refreshing", "claude, codex still Codex status is unavailable.",
                                "codex, claude already new", "done"})));
    ASSERT_TRUE(waitFor(model->refresh(true))); // once finished, the next one runs
    EXPECT_EQ(std::pair(claude.fetches(), claude.lastForceLive()),
              std::pair(2, std::optional(true)));
    const QByteArray cached = readFile(claudeCache);
    claude.setSnapshot(usage("claude-code", Availability::ready, 0.6));
    claude.fetchGate.close();
    const QFuture<void> pending = model->refresh(false);
    ASSERT_TRUE(waitUntil([&] { return claude.fetchGate.waiting() == 1; }));
    model.reset();
    claude.fetchGate.open();
    settle(); // whoever waited was released
    EXPECT_EQ(std::tuple(claude.fetches(), pending.isFinished(), readFile(claudeCache)),
              std::tuple(3, true, cached));
}

// Caches load as the last known status; only verdicts are saved; a failed save stops nothing.
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
    EXPECT_EQ(std::tuple(model->snapshot(), model->codexSnapshot().source,
                         model->codexSnapshot().confidence),
              std::tuple(expected, SnapshotSource::localCache, Confidence::lastKnown));
    ASSERT_TRUE(waitFor(model->refresh(false))); // the failed refresh keeps Codex's byte for byte
    EXPECT_EQ(std::pair(SnapshotCache("claude-code", claudeCache).load(), readFile(codexCache)),
              std::pair(std::optional(fetched), earlierCodex));
    QFile::remove(claudeCache);
    QDir().mkpath(claudeCache); // a folder where the file should be
    model->preferences()->setAlertsEnabled(true);
    claude.setSnapshot(usage("claude-code", Availability::limited, 0.9));
    settle();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_EQ(h.notifier->sent.size(), 1); // the notifications still went out
}

// The title by age (stale after 300 seconds), then availability; the panel text from the real
// hook, rounded, in order.
TEST(StatusTitle, DependsOnAgeThenAvailabilityAndTheRealProviderFeedsThePanelText) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const std::tuple<int, Availability, const char*> rows[] = {
        {301, Availability::blocked, "Codex usage needs sync"},
        {300, Availability::blocked, "Codex is resting"}, // exactly at the limit: current
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
    const QString hook = real->statusLineInstaller().hookScriptPath();
    for (const double used : {85.0, 42.4}) {
        const QByteArray input = R"({"rate_limits":{"five_hour":{"used_percentage":)" +
                                 QByteArray::number(used) + R"(,"resets_at":)" +
                                 QByteArray::number(QDateTime::currentSecsSinceEpoch() + 3600) +
                                 "}}}";
        ASSERT_EQ(runProgram("/bin/sh", {hook}, input).exitCode, 0);
        const QString label = QStringLiteral("Claude Code %1%").arg(qRound(100 - used));
        EXPECT_TRUE(waitUntil([&] { return model.menuBarDisplayText() == label; }))
            << model.menuBarDisplayText().toStdString();
    }
    ASSERT_TRUE(waitFor(model.refresh(true)));
    EXPECT_EQ(model.menuBarDisplayText() + " | " + model.statusTitle(model.snapshot()),
              "Claude Code 58% | Claude Code is available");
    EXPECT_TRUE(SnapshotCache("claude-code", h.data("claude-code-snapshot.json")).load());
    model.preferences()->setCodexEnabled(true);
    model.swapProviders("codex", "claude-code");
    EXPECT_EQ(model.menuBarDisplayText(), "Claude Code 58% \u00B7 Codex --%");
}

// Background checks are quiet on failure, a user's says why, one runs at a time; the loop repeats
// with the core checker on a real feed file, and a plain-HTTP download is refused.
TEST(UpdateCheckTest, BackgroundChecksAreQuietUserChecksSayWhyOneRunsAtATimeAndTheLoopRepeats) {
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
    checker.offer = AppUpdateManifest{"1.2.0", QUrl("https://dl.example/lumora-1.2.0"), {}, {}};
    EXPECT_EQ(check(*model, false) + checker.lastVersion, "Lumora 1.2.0 is available.1.0.0");
    checker.failure = "The update server did not return a valid response.";
    EXPECT_EQ(check(*model, false), "Lumora 1.2.0 is available."); // silent, the offer kept
    QStringList lines;
    QObject::connect(&updates, &UpdateChecks::updateStatusMessageChanged,
                     [&] { lines << updates.updateStatusMessage(); });
    check(*model, true); // cleared first, then the reason
    EXPECT_EQ(lines, QStringList({"", "The update server did not return a valid response."}));
    checker.failure.reset();
    checker.offer.reset();
    EXPECT_EQ(check(*model, false), UpdateChecks::upToDateMessage);
    model->openAvailableUpdate(); // none: nothing opens
    EXPECT_TRUE(!updates.hasAvailableUpdate() && h.desktop->openedUrls.isEmpty());
    checker.gate.close();
    const QFuture<void> background = model->checkForUpdates(false);
    ASSERT_TRUE(waitUntil([&] { return checker.gate.waiting() == 1; }));
    // A user's check meanwhile is dropped at once and leaves the line untouched.
    EXPECT_TRUE(updates.isCheckingForUpdates() && model->checkForUpdates(true).isFinished());
    EXPECT_EQ(updates.updateStatusMessage(), UpdateChecks::upToDateMessage);
    checker.gate.open();
    ASSERT_TRUE(waitFor(background));
    EXPECT_EQ(std::pair(updates.isCheckingForUpdates(), checker.checks.load()),
              std::pair(false, 5));
    const QString feed = h.home.filePath("feed/manifest.json");
    const auto publish = [&](const char* version, const char* scheme) {
        writeFile(feed, QStringLiteral(R"({"version": "%1", "downloadURL": "%2://dl.example/%1"})")
                            .arg(version, scheme)
                            .toUtf8());
    };
    publish("1.4.0", "https");
    AppModel::Services services = h.services({.refreshInterval = 1h, .updateCheckInterval = 10ms});
    services.updateChecker = std::make_shared<FeedUpdateChecker>(QUrl::fromLocalFile(feed));
    AppModel looping(services);
    looping.start();
    ASSERT_TRUE(waitUntil([&] { return looping.updates()->hasAvailableUpdate(); }));
    EXPECT_EQ(looping.updates()->updateStatusMessage(), "Lumora 1.4.0 is available.");
    publish("1.5.0", "https"); // found by the loop itself
    ASSERT_TRUE(waitUntil([&] { return looping.updates()->availableUpdateVersion() == "1.5.0"; }));
    publish("1.6.0", "http"); // a user check that meets a loop check is dropped: retried
    EXPECT_TRUE(
        waitUntil([&] { return check(looping, true) == "The update download must use HTTPS."; }));
    settle();
    EXPECT_FALSE(QFile::exists(h.preferencesPath()));
}
