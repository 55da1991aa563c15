// Connecting and disconnecting the providers: readiness verdicts, set-up steps, the monitors that
// watch for the user to finish, on fakes, the real Claude Code hook and a real `codex` child.
#include "AppTestSupport.h"
#include "core/CodexUsageProvider.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = ProviderConnectionState::Kind;
using Readiness = LocalProviderReadiness;
using State = ProviderConnectionState;

namespace {

class ConnectionFlowTest : public ::testing::Test {
protected:
    std::unique_ptr<AppModel> model(int checks = 90) const {
        AppTiming timing;
        timing.connectionCheckInterval = std::chrono::milliseconds(1);
        timing.connectionChecks = checks;
        return h.makeModel(timing);
    }
    QJsonObject claudeSettings() const {
        return readJsonObject(h.home.filePath(".claude/settings.json"));
    }

    ModelHarness h;
    ProviderScript& claude = *h.claude->script;
    ProviderScript& codex = *h.codex->script;
};

Kind claudeState(const AppModel& m) {
    return m.connections()->claudeConnectionState().kind();
}
Kind codexState(const AppModel& m) {
    return m.connections()->codexConnectionState().kind();
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
    settle();
    EXPECT_FALSE(h.storedPreference("providerEnabled"));
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
    EXPECT_TRUE(
        real->statusLineInstaller().isInstalled() &&
        claudeSettings().value("statusLine")["command"].toString().contains("statusline.sh") &&
        claudeSettings().value("theme") == QJsonValue("dark"));
    ASSERT_TRUE(waitFor(m.disconnectClaude()));
    EXPECT_EQ(std::tuple(real->statusLineInstaller().isInstalled(), claudeSettings(),
                         *h.storedPreference("providerEnabled"), claudeState(m),
                         *m.snapshot().statusMessage),
              std::tuple(false, QJsonObject({{"theme", "dark"}}), QJsonValue(false),
                         Kind::disconnected, QString("Claude Code is disconnected.")));
}

// The browser opens the right page, Codex's sign-in a terminal; a monitor then watches.
TEST_F(ConnectionFlowTest, SetUpSendsTheUserToTheRightPlaceAndWatches) {
    const auto m = model();
    claude.setReadiness({Readiness::executableMissing()});
    codex.setReadiness({Readiness::executableMissing()});
    codex.readinessGate.close(); // keep the Codex monitor waiting
    m->handleClaudeReadiness(Readiness::loginRequired());
    m->continueClaudeSetup();
    EXPECT_EQ(std::pair(claudeState(*m), m->connections()->isClaudeMonitorRunning()),
              std::pair(Kind::waiting, true));
    m->handleClaudeReadiness(Readiness::executableMissing());
    m->continueClaudeSetup();
    m->handleCodexReadiness(Readiness::executableMissing());
    m->continueCodexSetup();
    EXPECT_EQ(std::tuple(codexState(*m), h.desktop->terminalsStarted, h.desktop->openedUrls),
              std::tuple(Kind::waiting, 0,
                         QList<QUrl>({QUrl("https://code.claude.com/docs/en/authentication"),
                                      QUrl("https://code.claude.com/docs/en/setup"),
                                      QUrl("https://openai.com/codex/")})));
    m->handleCodexReadiness(Readiness::loginRequired());
    m->continueCodexSetup();
    EXPECT_EQ(std::tuple(*h.desktop->clipboard, h.desktop->terminalsStarted, codexState(*m),
                         m->connections()->isCodexMonitorRunning()),
              std::tuple(QString("codex login"), 1, Kind::waiting, true));
    codex.readinessGate.open();
}

// Monitors end on their verdict, after the last check, or switched off (a late "ready" too).
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
    const auto patient = model(90);
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
}

// The real provider starts `codex` from the pool with vfork semantics, which ThreadSanitizer
// cannot follow: a fixture of its own keeps it out of the sanitizer run.
using RealCodexSignInTest = ConnectionFlowTest;

// Signing in to a real `codex` child is watched until it answers with figures.
TEST_F(RealCodexSignInTest, IsWatchedUntilTheToolIsReady) {
    const QString tool = h.home.filePath("tools/codex"); // signed out until a file appears
    const QString signedIn = h.home.filePath("signed-in");
    writeScript(tool, fakeCodex("[ -e '" + signedIn.toUtf8() + "' ]",
                                answeringAppServer(R"({"id":2,"result":{"rateLimits":)"
                                                   R"({"primary":{"usedPercent":42,)"
                                                   R"("windowDurationMins":300}}}})")));
    CodexUsageProvider::Options options;
    options.homeDirectory = h.home.path();
    options.executableOverride = tool;
    AppTiming timing;
    timing.connectionCheckInterval = std::chrono::milliseconds(20);
    AppModel::Services services = h.services(timing);
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
}
