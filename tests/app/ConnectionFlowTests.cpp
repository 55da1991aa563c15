#include "AppTestSupport.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = ProviderConnectionState::Kind;
using Readiness = LocalProviderReadiness;

namespace {

class ConnectionFlowTest : public ::testing::Test {
protected:
    std::unique_ptr<AppModel> model(int checks = 90) const {
        AppTiming timing;
        timing.connectionCheckInterval = std::chrono::milliseconds(1);
        timing.connectionChecks = checks;
        return harness.makeModel(timing);
    }
    ModelHarness harness;
};

struct ReadinessRow {
    Readiness readiness;
    ProviderConnectionState claude;
    ProviderConnectionState codex;
};

} // namespace

TEST_F(ConnectionFlowTest, ReadinessVerdictsSetTheStatesOfBothProviders) {
    const QList<ReadinessRow> table{
        {Readiness::executableMissing(), ProviderConnectionState::executableMissing(),
         ProviderConnectionState::executableMissing()},
        {Readiness::loginRequired(), ProviderConnectionState::loginRequired(),
         ProviderConnectionState::loginRequired()},
        {Readiness::setupRequired(), ProviderConnectionState::setupRequired(),
         ProviderConnectionState::failed("Codex setup is incomplete.")},
        {Readiness::unavailable("codex login status timed out."),
         ProviderConnectionState::failed("codex login status timed out."),
         ProviderConnectionState::failed("codex login status timed out.")},
    };
    const auto m = model();
    for (const ReadinessRow& row : table) {
        m->handleClaudeReadiness(row.readiness);
        m->handleCodexReadiness(row.readiness);
        EXPECT_EQ(m->connections()->claudeConnectionState(), row.claude);
        EXPECT_EQ(m->connections()->codexConnectionState(), row.codex);
    }
    settle();
    EXPECT_FALSE(m->preferences()->claudeEnabled());
    EXPECT_FALSE(m->preferences()->codexEnabled());
    EXPECT_FALSE(QFileInfo::exists(harness.preferencesPath()));
}

TEST_F(ConnectionFlowTest, AReadyVerdictConnectsTheProviderAndRefreshes) {
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.5));
    harness.codex->script->setSnapshot(usage("codex", Availability::ready, 0.25));
    const auto m = model();
    m->handleClaudeReadiness(Readiness::loginRequired());

    m->handleClaudeReadiness(Readiness::ready());
    EXPECT_EQ(m->connections()->claudeConnectionState().kind(), Kind::disconnected);
    EXPECT_TRUE(m->preferences()->claudeEnabled());
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(true));
    m->handleCodexReadiness(Readiness::ready());
    EXPECT_TRUE(m->preferences()->codexEnabled());
    EXPECT_EQ(harness.storedPreference("codexEnabled"), QJsonValue(true));

    // The switches started a refresh, which fetched both providers.
    ASSERT_TRUE(waitUntil([&] { return m->codexSnapshot().availability == Availability::ready; }));
    settle();
    EXPECT_EQ(m->snapshot().availability, Availability::ready);
    EXPECT_GE(harness.claude->script->fetches(), 1);
}

TEST_F(ConnectionFlowTest, InstallingTheHookConnectsClaudeAndForcesLiveData) {
    // The real provider and installer, in a home with Claude Code (a script) and no hook.
    writeScript(harness.home.filePath(".local/bin/claude"), "exit 0\n");
    ClaudeUsageProvider::Options options;
    options.homeDirectory = harness.home.path();
    options.hookHelper = builtExecutable("lumora-json");
    const auto real = std::make_shared<ClaudeUsageProvider>(options);
    AppModel::Services services = harness.services();
    services.claudeProvider = real;
    AppModel m(services);

    // The connection button first checks: the hook is missing.
    m.continueClaudeSetup();
    EXPECT_EQ(m.connections()->claudeConnectionState().kind(), Kind::checking);
    ASSERT_TRUE(waitUntil(
        [&] { return m.connections()->claudeConnectionState().kind() == Kind::setupRequired; }));

    // The second press installs it.
    QList<Kind> states;
    QObject::connect(m.connections(), &ProviderConnections::claudeConnectionStateChanged,
                     [&] { states << m.connections()->claudeConnectionState().kind(); });
    m.continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return m.preferences()->claudeEnabled(); }));
    ASSERT_TRUE(waitUntil([&] { return !m.isRefreshing(); }));
    settle();
    EXPECT_EQ(states, QList<Kind>({Kind::waiting, Kind::disconnected}));
    EXPECT_TRUE(real->statusLineInstaller().isInstalled());
    const QJsonObject settings =
        QJsonDocument::fromJson(readFile(harness.home.filePath(".claude/settings.json"))).object();
    EXPECT_TRUE(settings.value("statusLine")
                    .toObject()
                    .value("command")
                    .toString()
                    .contains("claude-statusline.sh"));
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(true));
    // One refresh ran (the forced one); the switch's own refresh found it busy.
    EXPECT_EQ(m.snapshot().statusMessage,
              "Open Claude Code and send a message once to sync usage.");
}

TEST_F(ConnectionFlowTest, TheForcedRefreshAfterInstallingWinsOverTheSwitchRefresh) {
    const auto m = model();
    m->handleClaudeReadiness(Readiness::setupRequired());
    m->continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return harness.claude->script->fetches() >= 1; }));
    settle();
    EXPECT_EQ(harness.claude->installs, 1);
    EXPECT_EQ(harness.claude->script->fetches(), 1);
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);
}

TEST_F(ConnectionFlowTest, AFailedInstallationShowsTheInstallersText) {
    harness.claude->installFails = true;
    const auto m = model();
    m->handleClaudeReadiness(Readiness::setupRequired());
    m->continueClaudeSetup();
    EXPECT_EQ(m->connections()->claudeConnectionState().kind(), Kind::waiting);
    ASSERT_TRUE(waitUntil(
        [&] { return m->connections()->claudeConnectionState().kind() == Kind::failed; }));
    EXPECT_EQ(m->connections()->claudeConnectionState().message(),
              "Claude Code settings could not be updated safely.");
    EXPECT_FALSE(m->preferences()->claudeEnabled());

    // In the failed state the button checks readiness again; it does not reinstall.
    harness.claude->script->setReadiness({Readiness::setupRequired()});
    m->continueClaudeSetup();
    ASSERT_TRUE(waitUntil(
        [&] { return m->connections()->claudeConnectionState().kind() == Kind::setupRequired; }));
    EXPECT_EQ(harness.claude->installs, 1);
    EXPECT_EQ(harness.claude->script->readinessChecks(), 1);
}

TEST_F(ConnectionFlowTest, AFailedInstallationOfTheRealHookKeepsTheSettings) {
    writeScript(harness.home.filePath(".local/bin/claude"), "exit 0\n");
    const QByteArray foreign = "[\"not\", \"an object\"]\n";
    writeFile(harness.home.filePath(".claude/settings.json"), foreign);
    ClaudeUsageProvider::Options options;
    options.homeDirectory = harness.home.path();
    options.hookHelper = builtExecutable("lumora-json");
    AppModel::Services services = harness.services();
    services.claudeProvider = std::make_shared<ClaudeUsageProvider>(options);
    AppModel m(services);

    m.handleClaudeReadiness(Readiness::setupRequired());
    m.continueClaudeSetup();
    ASSERT_TRUE(
        waitUntil([&] { return m.connections()->claudeConnectionState().kind() == Kind::failed; }));
    EXPECT_EQ(m.connections()->claudeConnectionState().message(),
              "Claude Code settings could not be updated safely.");
    EXPECT_EQ(readFile(harness.home.filePath(".claude/settings.json")), foreign);
    EXPECT_FALSE(m.preferences()->claudeEnabled());
}

TEST_F(ConnectionFlowTest, ClaudeSetupSendsTheUserToTheRightPageAndWatches) {
    const auto m = model();
    harness.claude->script->setReadiness({Readiness::executableMissing()});

    m->handleClaudeReadiness(Readiness::loginRequired());
    m->continueClaudeSetup();
    EXPECT_EQ(m->connections()->claudeConnectionState().kind(), Kind::waiting);
    EXPECT_TRUE(m->connections()->isClaudeMonitorRunning());
    EXPECT_EQ(harness.desktop->openedUrls.last(),
              QUrl("https://code.claude.com/docs/en/authentication"));

    m->handleClaudeReadiness(Readiness::executableMissing());
    m->continueClaudeSetup();
    EXPECT_EQ(m->connections()->claudeConnectionState().kind(), Kind::waiting);
    EXPECT_EQ(harness.desktop->openedUrls.last(), QUrl("https://code.claude.com/docs/en/setup"));
    EXPECT_EQ(harness.desktop->openedUrls.size(), 2);
    EXPECT_FALSE(harness.desktop->clipboard.has_value());
}

TEST_F(ConnectionFlowTest, OtherClaudeStatesRunAReadinessCheck) {
    for (const Readiness& start :
         {Readiness::unavailable("broken"), Readiness::ready()}) { // failed, disconnected
        const auto m = model();
        m->handleClaudeReadiness(start);
        harness.claude->script->setReadiness({Readiness::loginRequired()});
        m->continueClaudeSetup();
        EXPECT_EQ(m->connections()->claudeConnectionState().kind(), Kind::checking);
        ASSERT_TRUE(waitUntil([&] {
            return m->connections()->claudeConnectionState().kind() == Kind::loginRequired;
        }));
        EXPECT_TRUE(harness.desktop->openedUrls.isEmpty());
        EXPECT_FALSE(m->connections()->isClaudeMonitorRunning());
        settle();
    }
    EXPECT_EQ(harness.claude->installs, 0);
}

TEST_F(ConnectionFlowTest, CodexSignInCopiesTheCommandAndOpensATerminal) {
    const auto m = model();
    harness.codex->script->setReadiness({Readiness::loginRequired()});
    m->handleCodexReadiness(Readiness::loginRequired());
    m->continueCodexSetup();
    EXPECT_EQ(harness.desktop->clipboard, "codex login");
    EXPECT_EQ(harness.desktop->terminalsStarted, 1);
    EXPECT_EQ(m->connections()->codexConnectionState().kind(), Kind::waiting);
    EXPECT_TRUE(m->connections()->isCodexMonitorRunning());
    EXPECT_TRUE(harness.desktop->openedUrls.isEmpty());

    // Without any terminal the command still waits on the clipboard.
    const auto other = model();
    harness.desktop->hasTerminal = false;
    harness.desktop->clipboard.reset();
    other->handleCodexReadiness(Readiness::loginRequired());
    other->continueCodexSetup();
    EXPECT_EQ(harness.desktop->clipboard, "codex login");
    EXPECT_EQ(other->connections()->codexConnectionState().kind(), Kind::waiting);
}

TEST_F(ConnectionFlowTest, CodexMissingOpensTheProductPageOthersCheck) {
    const auto m = model();
    harness.codex->script->setReadiness({Readiness::executableMissing()});
    m->handleCodexReadiness(Readiness::executableMissing());
    m->continueCodexSetup();
    EXPECT_EQ(harness.desktop->openedUrls, QList<QUrl>({QUrl("https://openai.com/codex/")}));
    EXPECT_EQ(m->connections()->codexConnectionState().kind(), Kind::waiting);
    EXPECT_TRUE(m->connections()->isCodexMonitorRunning());

    // A failed state (an incomplete set-up) runs a new check.
    const auto checking = model();
    checking->handleCodexReadiness(Readiness::setupRequired());
    harness.codex->script->setReadiness({Readiness::ready()});
    checking->continueCodexSetup();
    EXPECT_EQ(checking->connections()->codexConnectionState().kind(), Kind::checking);
    ASSERT_TRUE(waitUntil([&] { return checking->preferences()->codexEnabled(); }));
    EXPECT_EQ(checking->connections()->codexConnectionState().kind(), Kind::disconnected);
}

TEST_F(ConnectionFlowTest, TheClaudeMonitorEndsOnAnythingButAMissingTool) {
    const auto m = model();
    harness.claude->script->setReadiness({Readiness::executableMissing(),
                                          Readiness::executableMissing(),
                                          Readiness::setupRequired()});
    m->handleClaudeReadiness(Readiness::executableMissing());
    m->continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return !m->connections()->isClaudeMonitorRunning(); }));
    settle();
    EXPECT_EQ(harness.claude->script->readinessChecks(), 3);
    EXPECT_EQ(m->connections()->claudeConnectionState().kind(), Kind::setupRequired);
}

TEST_F(ConnectionFlowTest, TheCodexMonitorWaitsForReadyOnly) {
    const auto m = model();
    harness.codex->script->setReadiness({Readiness::executableMissing(), Readiness::loginRequired(),
                                         Readiness::unavailable("not yet"), Readiness::ready()});
    m->handleCodexReadiness(Readiness::executableMissing());
    m->continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return !m->connections()->isCodexMonitorRunning(); }));
    EXPECT_EQ(harness.codex->script->readinessChecks(), 4);
    EXPECT_EQ(m->connections()->codexConnectionState().kind(), Kind::disconnected);
    EXPECT_TRUE(m->preferences()->codexEnabled());
}

TEST_F(ConnectionFlowTest, MonitorsGiveUpAfterTheirLastCheck) {
    const auto m = model(90);
    harness.codex->script->setReadiness({Readiness::loginRequired()});
    harness.claude->script->setReadiness({Readiness::executableMissing()});
    m->handleCodexReadiness(Readiness::loginRequired());
    m->continueCodexSetup();
    m->handleClaudeReadiness(Readiness::executableMissing());
    m->continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] {
        return !m->connections()->isCodexMonitorRunning() &&
               !m->connections()->isClaudeMonitorRunning();
    }));
    settle();
    EXPECT_EQ(harness.codex->script->readinessChecks(), 90);
    EXPECT_EQ(harness.claude->script->readinessChecks(), 90);
    EXPECT_EQ(m->connections()->codexConnectionState().kind(), Kind::disconnected);
    EXPECT_EQ(m->connections()->claudeConnectionState().kind(), Kind::disconnected);
    EXPECT_FALSE(m->preferences()->codexEnabled());
}

TEST_F(ConnectionFlowTest, SwitchingAProviderOffCancelsItsMonitor) {
    const auto m = model();
    harness.codex->script->setReadiness({Readiness::loginRequired()});
    harness.codex->script->readinessGate.close();
    m->handleCodexReadiness(Readiness::loginRequired());
    m->continueCodexSetup();
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->readinessGate.waiting() == 1; }));

    // The user gives up while a check runs; that check then answers "ready".
    harness.codex->script->setReadiness({Readiness::ready()});
    m->preferences()->setCodexEnabled(false);
    EXPECT_FALSE(m->connections()->isCodexMonitorRunning());
    EXPECT_EQ(m->connections()->codexConnectionState().kind(), Kind::disconnected);
    harness.codex->script->readinessGate.open();
    settle();
    EXPECT_EQ(harness.codex->script->readinessChecks(), 1);
    EXPECT_FALSE(m->preferences()->codexEnabled()); // the late answer does not switch it on
    EXPECT_EQ(m->connections()->codexConnectionState().kind(), Kind::disconnected);
}

TEST_F(ConnectionFlowTest, ANewSetUpReplacesTheRunningMonitor) {
    AppTiming timing;
    timing.connectionCheckInterval = std::chrono::milliseconds(1);
    timing.connectionChecks = 5;
    const auto m = harness.makeModel(timing);
    harness.claude->script->setReadiness({Readiness::executableMissing()});
    m->handleClaudeReadiness(Readiness::executableMissing());
    m->continueClaudeSetup();
    ASSERT_TRUE(waitUntil([&] { return harness.claude->script->readinessChecks() >= 3; }));
    m->beginClaudeConnectionMonitoring(); // starts counting afresh
    ASSERT_TRUE(waitUntil([&] { return !m->connections()->isClaudeMonitorRunning(); }));
    settle();
    EXPECT_GE(harness.claude->script->readinessChecks(), 8);
}

TEST_F(ConnectionFlowTest, DisconnectingClaudeRemovesTheHookAndSwitchesItOff) {
    writeScript(harness.home.filePath(".local/bin/claude"), "exit 0\n");
    writeFile(harness.home.filePath(".claude/settings.json"),
              R"({"statusLine": {"type": "command", "command": "echo mine"}, "theme": "dark"})");
    ClaudeUsageProvider::Options options;
    options.homeDirectory = harness.home.path();
    options.hookHelper = builtExecutable("lumora-json");
    const auto real = std::make_shared<ClaudeUsageProvider>(options);
    real->installStatusLineSync();
    harness.storePreference("providerEnabled", true);
    AppModel::Services services = harness.services();
    services.claudeProvider = real;
    AppModel m(services);
    ASSERT_TRUE(waitFor(m.refresh(false)));

    ASSERT_TRUE(waitFor(m.disconnectClaude()));
    EXPECT_FALSE(m.preferences()->claudeEnabled());
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(false));
    EXPECT_EQ(m.connections()->claudeConnectionState().kind(), Kind::disconnected);
    EXPECT_EQ(m.snapshot().statusMessage, "Claude Code is disconnected.");
    EXPECT_FALSE(real->statusLineInstaller().isInstalled());
    const QJsonObject settings =
        QJsonDocument::fromJson(readFile(harness.home.filePath(".claude/settings.json"))).object();
    EXPECT_EQ(settings.value("statusLine").toObject().value("command"), "echo mine");
    EXPECT_EQ(settings.value("theme"), "dark");
}

TEST_F(ConnectionFlowTest, AFailedDisconnectKeepsClaudeOnAndShowsWhy) {
    harness.storePreference("providerEnabled", true);
    harness.claude->uninstallFails = true;
    const auto m = model();
    ASSERT_TRUE(waitFor(m->disconnectClaude()));
    EXPECT_TRUE(m->preferences()->claudeEnabled());
    EXPECT_EQ(m->connections()->claudeConnectionState(),
              ProviderConnectionState::failed("The hook could not be removed."));
}
