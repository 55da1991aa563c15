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
        return QJsonDocument::fromJson(readFile(h.home.filePath(".claude/settings.json"))).object();
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

TEST_F(ConnectionFlowTest, ReadinessVerdictsSetTheStatesOfBothProviders) {
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
    EXPECT_FALSE(h.storedPreference("providerEnabled")); // none of these connects
    // Ready connects: state back to rest, the switch on and stored, and a refresh of both.
    codex.setSnapshot(usage("codex", Availability::ready, 0.25));
    m->handleClaudeReadiness(Readiness::ready());
    m->handleCodexReadiness(Readiness::ready());
    EXPECT_EQ(std::pair(claudeState(*m), codexState(*m)),
              std::pair(Kind::disconnected, Kind::disconnected));
    EXPECT_EQ(h.storedPreferences(),
              QJsonObject({{"providerEnabled", true}, {"codexEnabled", true}}));
    ASSERT_TRUE(waitUntil([&] { return m->codexSnapshot().availability == Availability::ready; }));
    EXPECT_EQ(claude.fetches(), 1);
}

// Set-up checks first, then installs the hook and forces live data; a hook that cannot be
// removed keeps Claude Code on and says why.
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
    settle();
    EXPECT_EQ(states, QList<Kind>({Kind::waiting, Kind::disconnected}));
    // The forced refresh ran; the switch's own refresh came second and was dropped.
    EXPECT_EQ(std::tuple(h.claude->installs.load(), m.preferences()->claudeEnabled(),
                         claude.lastForceLive(), claude.fetches()),
              std::tuple(1, true, std::optional(true), 1));

    h.claude->uninstallFails = true;
    ASSERT_TRUE(waitFor(m.disconnectClaude()));
    EXPECT_TRUE(m.preferences()->claudeEnabled());
    EXPECT_EQ(m.connections()->claudeConnectionState(),
              State::failed("The hook could not be removed."));
}

TEST_F(ConnectionFlowTest, TheRealHookIsInstalledAndRemovedAndAFailureKeepsTheSettings) {
    const auto real = h.useRealClaude();
    AppModel m(h.services());
    const QString settings = h.home.filePath(".claude/settings.json");
    const QByteArray foreign = "[\"not\", \"an object\"]\n";
    writeFile(settings, foreign);
    m.handleClaudeReadiness(Readiness::setupRequired());
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::failed; }));
    EXPECT_EQ(m.connections()->claudeConnectionState().message(),
              "Claude Code settings could not be updated safely.");
    EXPECT_EQ(std::pair(readFile(settings), m.preferences()->claudeEnabled()),
              std::pair(foreign, false));
    // From the failed state the button checks readiness again instead of installing.
    writeFile(settings, R"({"theme": "dark"})");
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::setupRequired; }));
    EXPECT_FALSE(real->statusLineInstaller().isInstalled());
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return m.preferences()->claudeEnabled() && !m.isRefreshing(); }));
    EXPECT_TRUE(real->statusLineInstaller().isInstalled());
    EXPECT_TRUE(
        claudeSettings().value("statusLine")["command"].toString().contains("statusline.sh"));
    EXPECT_EQ(claudeSettings().value("theme"), "dark");
    EXPECT_EQ(m.snapshot().statusMessage,
              "Open Claude Code and send a message once to sync usage.");
    // Disconnecting removes the hook, switches Claude Code off and stores that.
    ASSERT_TRUE(waitFor(m.disconnectClaude()));
    EXPECT_FALSE(real->statusLineInstaller().isInstalled());
    EXPECT_EQ(claudeSettings(), QJsonObject({{"theme", "dark"}}));
    EXPECT_EQ(h.storedPreference("providerEnabled"), QJsonValue(false));
    EXPECT_EQ(std::pair(claudeState(m), *m.snapshot().statusMessage),
              std::pair(Kind::disconnected, QString("Claude Code is disconnected.")));
}

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
    EXPECT_EQ(codexState(*m), Kind::waiting);
    EXPECT_EQ(h.desktop->openedUrls,
              QList<QUrl>({QUrl("https://code.claude.com/docs/en/authentication"),
                           QUrl("https://code.claude.com/docs/en/setup"),
                           QUrl("https://openai.com/codex/")}));
    EXPECT_EQ(h.desktop->terminalsStarted, 0);
    // Signing in to Codex happens in a terminal, with the command on the clipboard.
    m->handleCodexReadiness(Readiness::loginRequired());
    m->continueCodexSetup();
    EXPECT_EQ(std::tuple(*h.desktop->clipboard, h.desktop->terminalsStarted, codexState(*m),
                         m->connections()->isCodexMonitorRunning()),
              std::tuple(QString("codex login"), 1, Kind::waiting, true));
    codex.readinessGate.open();
}

TEST_F(ConnectionFlowTest, MonitorsEndOnTheirVerdictAfterTheLastCheckOrWhenSwitchedOff) {
    const auto m = model();
    // Claude Code: anything but a missing tool ends the watch; Codex: only ready does.
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

    // Waiting for nothing: after 90 checks the state returns to rest.
    const auto patient = model(90);
    codex.setReadiness({Readiness::loginRequired()});
    patient->handleCodexReadiness(Readiness::loginRequired());
    patient->continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return !patient->connections()->isCodexMonitorRunning(); }));
    EXPECT_EQ(std::pair(codex.readinessChecks(), codexState(*patient)),
              std::pair(3 + 90, Kind::disconnected));

    // The user switches Codex off while a check runs; that check then answers "ready".
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
    // The late answer does not switch it on.
    EXPECT_EQ(std::pair(codex.readinessChecks(), gives->preferences()->codexEnabled()),
              std::pair(3 + 90 + 1, false));
}

// The real provider starts `codex` from the thread pool with vfork semantics, which
// ThreadSanitizer cannot follow: a fixture of its own keeps it out of the sanitizer run.
using RealCodexSignInTest = ConnectionFlowTest;

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
