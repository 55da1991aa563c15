#include "AppTestSupport.h"

#include "core/CodexUsageProvider.h"

#include <QJsonDocument>
#include <QJsonObject>

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
        return harness.makeModel(timing);
    }
    static Kind claudeState(const AppModel& m) {
        return m.connections()->claudeConnectionState().kind();
    }
    static Kind codexState(const AppModel& m) {
        return m.connections()->codexConnectionState().kind();
    }
    QJsonObject claudeSettings() const {
        return QJsonDocument::fromJson(readFile(harness.home.filePath(".claude/settings.json")))
            .object();
    }

    ModelHarness harness;
};

} // namespace

TEST_F(ConnectionFlowTest, ReadinessVerdictsSetTheStatesOfBothProviders) {
    const auto m = model();
    const struct {
        Readiness readiness;
        State claude;
        State codex;
    } table[] = {
        {Readiness::executableMissing(), State::executableMissing(), State::executableMissing()},
        {Readiness::loginRequired(), State::loginRequired(), State::loginRequired()},
        {Readiness::setupRequired(), State::setupRequired(),
         State::failed("Codex setup is incomplete.")},
        {Readiness::unavailable("timed out"), State::failed("timed out"),
         State::failed("timed out")},
    };
    for (const auto& row : table) {
        m->handleClaudeReadiness(row.readiness);
        m->handleCodexReadiness(row.readiness);
        EXPECT_EQ(m->connections()->claudeConnectionState(), row.claude);
        EXPECT_EQ(m->connections()->codexConnectionState(), row.codex);
    }
    settle();
    EXPECT_FALSE(harness.storedPreference("providerEnabled")); // none of these connects

    // Ready connects: state back to rest, the switch on and stored, and a refresh of both.
    harness.codex->script->setSnapshot(usage("codex", Availability::ready, 0.25));
    m->handleClaudeReadiness(Readiness::ready());
    m->handleCodexReadiness(Readiness::ready());
    EXPECT_EQ(claudeState(*m), Kind::disconnected);
    EXPECT_EQ(codexState(*m), Kind::disconnected);
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(true));
    EXPECT_EQ(harness.storedPreference("codexEnabled"), QJsonValue(true));
    ASSERT_TRUE(waitUntil([&] { return m->codexSnapshot().availability == Availability::ready; }));
    EXPECT_EQ(harness.claude->script->fetches(), 1);
}

TEST_F(ConnectionFlowTest, ClaudeSetUpChecksThenInstallsTheHookAndForcesLiveData) {
    AppModel m(harness.services());
    harness.claude->script->setReadiness({Readiness::setupRequired()});
    m.continueClaudeSetup(); // resting state: the button checks first
    EXPECT_EQ(claudeState(m), Kind::checking);
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::setupRequired; }));
    EXPECT_EQ(harness.claude->installs, 0);

    QList<Kind> states;
    QObject::connect(m.connections(), &ProviderConnections::claudeConnectionStateChanged,
                     [&] { states << claudeState(m); });
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return harness.claude->script->fetches() == 1; }));
    settle();
    EXPECT_EQ(states, QList<Kind>({Kind::waiting, Kind::disconnected}));
    EXPECT_EQ(harness.claude->installs, 1);
    EXPECT_TRUE(m.preferences()->claudeEnabled());
    // The forced refresh ran; the switch's own refresh came second and was dropped.
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);
    EXPECT_EQ(harness.claude->script->fetches(), 1);
}

TEST_F(ConnectionFlowTest, TheRealHookIsInstalledAndRemovedAndAFailureKeepsTheSettings) {
    AppModel::Services services = harness.services();
    const auto real = harness.realClaudeProvider();
    services.claudeProvider = real;
    AppModel m(services);

    const QByteArray foreign = "[\"not\", \"an object\"]\n";
    writeFile(harness.home.filePath(".claude/settings.json"), foreign);
    m.handleClaudeReadiness(Readiness::setupRequired());
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::failed; }));
    EXPECT_EQ(m.connections()->claudeConnectionState().message(),
              "Claude Code settings could not be updated safely.");
    EXPECT_EQ(readFile(harness.home.filePath(".claude/settings.json")), foreign);
    EXPECT_FALSE(m.preferences()->claudeEnabled());

    // From the failed state the button checks readiness again instead of installing.
    writeFile(harness.home.filePath(".claude/settings.json"), R"({"theme": "dark"})");
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return claudeState(m) == Kind::setupRequired; }));
    EXPECT_FALSE(real->statusLineInstaller().isInstalled());

    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return m.preferences()->claudeEnabled(); }));
    ASSERT_TRUE(waitUntil([&] { return !m.isRefreshing(); }));
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
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(false));
    EXPECT_EQ(claudeState(m), Kind::disconnected);
    EXPECT_EQ(m.snapshot().statusMessage, "Claude Code is disconnected.");
}

TEST_F(ConnectionFlowTest, SetUpSendsTheUserToTheRightPlaceAndWatches) {
    const auto m = model();
    harness.claude->script->setReadiness({Readiness::executableMissing()});
    harness.codex->script->setReadiness({Readiness::executableMissing()});
    harness.codex->script->readinessGate.close(); // keep the Codex monitor waiting

    m->handleClaudeReadiness(Readiness::loginRequired());
    m->continueClaudeSetup();
    EXPECT_EQ(claudeState(*m), Kind::waiting);
    EXPECT_TRUE(m->connections()->isClaudeMonitorRunning());
    m->handleClaudeReadiness(Readiness::executableMissing());
    m->continueClaudeSetup();
    m->handleCodexReadiness(Readiness::executableMissing());
    m->continueCodexSetup();
    EXPECT_EQ(codexState(*m), Kind::waiting);
    EXPECT_EQ(harness.desktop->openedUrls,
              QList<QUrl>({QUrl("https://code.claude.com/docs/en/authentication"),
                           QUrl("https://code.claude.com/docs/en/setup"),
                           QUrl("https://openai.com/codex/")}));
    EXPECT_EQ(harness.desktop->terminalsStarted, 0);

    // Signing in to Codex happens in a terminal, with the command on the clipboard.
    m->handleCodexReadiness(Readiness::loginRequired());
    m->continueCodexSetup();
    EXPECT_EQ(harness.desktop->clipboard, "codex login");
    EXPECT_EQ(harness.desktop->terminalsStarted, 1);
    EXPECT_EQ(codexState(*m), Kind::waiting);
    EXPECT_TRUE(m->connections()->isCodexMonitorRunning());
    harness.codex->script->readinessGate.open();
}

TEST_F(ConnectionFlowTest, MonitorsEndOnTheirVerdictAfterTheLastCheckOrWhenSwitchedOff) {
    const auto m = model();
    // Claude Code: anything but a missing tool ends the watch.
    harness.claude->script->setReadiness({Readiness::executableMissing(),
                                          Readiness::executableMissing(),
                                          Readiness::setupRequired()});
    // Codex: only ready does.
    harness.codex->script->setReadiness(
        {Readiness::loginRequired(), Readiness::unavailable("not yet"), Readiness::ready()});
    m->beginClaudeConnectionMonitoring();
    m->beginCodexConnectionMonitoring();
    ASSERT_TRUE(waitUntil([&] {
        return !m->connections()->isClaudeMonitorRunning() &&
               !m->connections()->isCodexMonitorRunning();
    }));
    EXPECT_EQ(harness.claude->script->readinessChecks(), 3);
    EXPECT_EQ(claudeState(*m), Kind::setupRequired);
    EXPECT_EQ(harness.codex->script->readinessChecks(), 3);
    EXPECT_TRUE(m->preferences()->codexEnabled());

    // Waiting for nothing: after 90 checks the state returns to rest.
    const auto patient = model(90);
    harness.codex->script->setReadiness({Readiness::loginRequired()});
    patient->handleCodexReadiness(Readiness::loginRequired());
    patient->continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return !patient->connections()->isCodexMonitorRunning(); }));
    EXPECT_EQ(harness.codex->script->readinessChecks(), 3 + 90);
    EXPECT_EQ(codexState(*patient), Kind::disconnected);

    // Switching a provider off cancels its monitor, even with a check running.
    const auto gives = model();
    harness.codex->script->setReadiness({Readiness::loginRequired()});
    harness.codex->script->readinessGate.close();
    gives->handleCodexReadiness(Readiness::loginRequired());
    gives->continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->readinessGate.waiting() == 1; }));

    // The user gives up while a check runs; that check then answers "ready".
    harness.codex->script->setReadiness({Readiness::ready()});
    gives->preferences()->setCodexEnabled(false);
    EXPECT_FALSE(gives->connections()->isCodexMonitorRunning());
    EXPECT_EQ(codexState(*gives), Kind::disconnected);
    harness.codex->script->readinessGate.open();
    settle();
    EXPECT_EQ(harness.codex->script->readinessChecks(), 3 + 90 + 1);
    EXPECT_FALSE(gives->preferences()->codexEnabled()); // the late answer does not switch it on
}

TEST_F(ConnectionFlowTest, AHookThatCannotBeRemovedKeepsClaudeOnAndSaysWhy) {
    harness.storePreference("providerEnabled", true);
    harness.claude->uninstallFails = true;
    const auto failing = model();
    ASSERT_TRUE(waitFor(failing->disconnectClaude()));
    EXPECT_TRUE(failing->preferences()->claudeEnabled());
    EXPECT_EQ(failing->connections()->claudeConnectionState(),
              State::failed("The hook could not be removed."));
}

// The real provider starts `codex` from the thread pool with vfork semantics, which
// ThreadSanitizer cannot follow: a fixture of its own keeps it out of the sanitizer run.
using RealCodexSignInTest = ConnectionFlowTest;

TEST_F(RealCodexSignInTest, IsWatchedUntilTheToolIsReady) {
    // A fake codex: signed out until a file appears.
    const QString codex = harness.home.filePath("tools/codex");
    const QString signedIn = harness.home.filePath("signed-in");
    writeScript(codex, fakeCodex("[ -e '" + signedIn.toUtf8() + "' ]",
                                 answeringAppServer(R"({"id":2,"result":{"rateLimits":)"
                                                    R"({"primary":{"usedPercent":42,)"
                                                    R"("windowDurationMins":300}}}})")));
    CodexUsageProvider::Options options;
    options.homeDirectory = harness.home.path();
    options.executableOverride = codex;
    AppTiming timing;
    timing.connectionCheckInterval = std::chrono::milliseconds(20);
    AppModel::Services services = harness.services(timing);
    services.codexProvider = std::make_shared<CodexUsageProvider>(options);
    AppModel m(services);

    m.continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return codexState(m) == Kind::loginRequired; }));
    m.continueCodexSetup();
    EXPECT_EQ(harness.desktop->clipboard, "codex login");
    EXPECT_TRUE(m.connections()->isCodexMonitorRunning());

    writeFile(signedIn, "yes"); // the user signs in in the terminal
    ASSERT_TRUE(waitUntil([&] { return m.preferences()->codexEnabled(); }));
    ASSERT_TRUE(waitUntil([&] { return m.codexSnapshot().availability == Availability::ready; }));
    EXPECT_EQ(codexState(m), Kind::disconnected);
    EXPECT_EQ(m.menuBarDisplayText(), "Codex 58%");
}
