// The providers: Claude Code's on the hook's cache and saved snapshot, Codex's on fake scripts.
#include "core/ClaudeRateLimitCacheParser.h"
#include "core/ClaudeUsageProvider.h"
#include "core/CodexUsageProvider.h"
#include "core/ExecutableSearch.h"
#include "core/SnapshotCache.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;

namespace {

struct ProviderTest : ::testing::Test {
    // Installs of either tool on fixed paths of this machine would shadow the test's home folder.
    static std::optional<QString> systemInstall(const QString& tool) {
        return firstExecutable({"/Applications/ChatGPT.app/Contents/Resources/" + tool,
                                "/opt/homebrew/bin/" + tool, "/usr/local/bin/" + tool,
                                "/usr/bin/" + tool});
    }
    static QDateTime clock() { return now; }
    static QDateTime codexClock() { return codexNow; }
    ClaudeUsageProvider claude() const {
        return ClaudeUsageProvider({home.path(), builtExecutable("lumora-json"), {}, {}, clock});
    }
    CodexUsageProvider codex(std::optional<QString> override = {}, int milliseconds = 5000) const {
        return CodexUsageProvider(
            {home.path(), override, {}, 5.0, {.timeoutMilliseconds = milliseconds}, codexClock});
    }
    // A fake codex that also logs each call's arguments to "calls".
    QString install(const QByteArray& login, const QByteArray& app, const char* at = "bin/codex") {
        writeScript(home.filePath(at), "echo \"$*\" >> '" + home.filePath("calls").toUtf8() +
                                           "'\n" + fakeCodex(login, app));
        return home.filePath(at);
    }
    QStringList calls() const {
        const QString log = home.filePath("calls");
        const QByteArray lines = QFileInfo::exists(log) ? readFile(log) : "";
        QFile::remove(log);
        return QString::fromUtf8(lines).split('\n', Qt::SkipEmptyParts);
    }
    // What a provider says when it has no figures: the message alone.
    static void expectUnavailable(const UsageSnapshot& got, const QString& text) {
        const bool codex = got.providerID == "codex";
        EXPECT_EQ(got, (UsageSnapshot{.providerID = codex ? "codex" : "claude-code",
                                      .providerName = codex ? "Codex" : "Claude Code",
                                      .capturedAt = got.capturedAt,
                                      .windows = {},
                                      .statusMessage = text}));
    }
    static inline const QDateTime now = // whole seconds, like the files
        QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), Qt::UTC);
    static inline const QDateTime codexNow = QDateTime::fromSecsSinceEpoch(1767200000, Qt::UTC);
    TemporaryHome home;
};
using ExecutableSearch = ProviderTest;
using ClaudeProviderTest = ProviderTest;
using CodexProviderTest = ProviderTest;

} // namespace

// Each place beats those before it; only executables count; the environment variable comes first.
TEST_F(ExecutableSearch, BothToolsAreFoundInTheDocumentedOrder) {
    const QStringList nvm{".nvm/versions/node/v9.0.0/bin/", ".nvm/versions/node/v20.9.0/bin/",
                          ".nvm/versions/node/V20.11.1/bin/", ".nvm/versions/node/v22.3.0/bin/"};
    const std::tuple<QString, const char*, QStringList> tools[] = {
        {"claude", "LUMORA_CLAUDE_PATH",
         nvm + QStringList{".claude/local/", ".npm-global/bin/", ".local/bin/"}},
        {"codex", "LUMORA_CODEX_PATH", nvm + QStringList{".npm-global/bin/", ".local/bin/"}},
    };
    for (const auto& [tool, variable, places] : tools) {
        SCOPED_TRACE(tool.toStdString());
        const bool isClaude = tool == "claude";
        const auto locate = [&] {
            return isClaude ? claude().locateClaudeExecutable() : codex().locateCodexExecutable();
        };
        if (const auto installed = systemInstall(tool)) {
            GTEST_SKIP() << "a system-wide " << installed->toStdString() << " comes first";
        }
        QDir(home.path()).removeRecursively();
        // Plain files and hidden entries in nvm's folder do not count.
        writeFile(home.filePath(".nvm/versions/node/v99.0.0"), "not a folder");
        writeScript(home.filePath(".nvm/versions/node/.v100/bin/" + tool), "exit 0\n");
        EXPECT_EQ(locate(), std::nullopt);
        QString winner;
        for (const QString& place : places) {
            const QString path = home.filePath(place + tool);
            writeFile(path, "#!/bin/sh\n");
            EXPECT_EQ(locate().value_or(""), winner) << "not executable: " << path.toStdString();
            writeScript(path, "exit 0\n");
            EXPECT_EQ(locate().value_or(""), winner = path);
        }
        const QString custom = home.filePath("tools/my-" + tool);
        writeScript(custom, "exit 0\n");
        for (const auto& [value, found] :
             {std::pair{custom, custom}, {home.filePath("tools"), winner}, {QString(), winner}}) {
            qputenv(variable, value.toLocal8Bit());
            EXPECT_EQ(locate().value_or(""), found) << value.toStdString();
        }
        if (tool == "codex") { // the provider's own override first, unless it is not executable
            qputenv(variable, custom.toLocal8Bit());
            EXPECT_EQ(codex(winner).locateCodexExecutable(), winner);
            EXPECT_EQ(codex("/no/codex").locateCodexExecutable(), custom);
        }
        qunsetenv(variable);
    }
    EXPECT_EQ(std::pair(naturalCompare("v010", "v10"), naturalCompare("v1", "v1.0") < 0),
              std::pair(0, true));
    EXPECT_TRUE(nvmCandidates("/nowhere", "codex").isEmpty());
}

// Each missing step has its message; the newer of cache and saved snapshot wins; corrupt ones stay.
TEST_F(ClaudeProviderTest, FromNotInstalledToFiguresAndBackToTheSavedSnapshot) {
    const QString cache = home.dataFile("claude-rate-limits.json");
    const QString saved = home.dataFile("claude-code-snapshot.json");
    const auto fetch = [&](const QByteArray& json, const QDateTime& modified) {
        writeFile(cache, json);
        setModificationTime(cache, modified);
        return claude().fetch();
    };
    const auto save = [&](int percent, const QDateTime& capturedAt, const QString& name) {
        UsageSnapshot snapshot = ClaudeRateLimitCacheParser().parse(
            R"({"five_hour":{"used_percentage":)" + QByteArray::number(percent) + "}}", capturedAt,
            now);
        snapshot.providerName = name;
        SnapshotCache("claude-code", std::nullopt, home.path()).save(snapshot);
    };
    const auto used = [&](const UsageSnapshot& snapshot) {
        return snapshot.windows.isEmpty() ? -1.0 : snapshot.windows.first().usedRatio.value();
    };
    const QString sendOnce = "Open Claude Code and send a message once to sync usage.";
    EXPECT_EQ(claude().readiness(), LocalProviderReadiness::executableMissing());
    expectUnavailable(claude().fetch(), "Claude Code is not installed.");
    home.installClaude();
    // An old cache alone does not count: the hook must be installed.
    EXPECT_EQ(fetch(R"({"five_hour":{"used_percentage":42}})", now).statusMessage,
              "Enable official Claude Code status sync.");
    EXPECT_EQ(claude().readiness(), LocalProviderReadiness::setupRequired());
    claude().installStatusLineSync();
    EXPECT_EQ(claude().readiness(), LocalProviderReadiness::ready());
    QFile::remove(cache);
    expectUnavailable(claude().fetch(), sendOnce);
    save(10, now.addSecs(-60), "Claude Code");
    EXPECT_EQ(used(fetch(R"({"five_hour":{"used_percentage":42}})", now.addSecs(-60))), 0.10);
    auto snapshot = fetch(R"({"five_hour":{"used_percentage":42}})", now); // the newer cache
    EXPECT_EQ(std::tuple(used(snapshot), snapshot.capturedAt), std::tuple(0.42, now));
    // A cache without figures falls back to an hour-old saved snapshot, which shows as stale.
    save(30, now.addSecs(-3600), "Something Else");
    snapshot = fetch("{}", now);
    EXPECT_EQ(std::tuple(used(snapshot), snapshot.providerName, snapshot.compactRemainingText(now)),
              std::tuple(0.30, "Claude Code", "--%"));
    const QByteArray corruptCache = "{\"five_hour\":{\"used_percentage\":";
    writeFile(saved, "\x00\x01 not json");
    EXPECT_EQ(fetch(corruptCache, now).statusMessage, sendOnce);
    EXPECT_EQ(readFile(cache) + readFile(saved), corruptCache + "\x00\x01 not json");
    // A corrupt cache, or one that cannot be read (a folder in its place), falls back too.
    save(50, now, "Claude Code");
    EXPECT_EQ(used(claude().fetch()), 0.5);
    QFile::remove(cache);
    QDir().mkpath(cache);
    EXPECT_EQ(used(claude().fetch()), 0.5);
}

// Readiness is the login status's exit code; each failing step has its message; nothing leaks.
TEST_F(CodexProviderTest, ReadinessAndUsageThroughFakeCodexProcesses) {
    const bool systemCodex = systemInstall("codex").has_value();
    EXPECT_EQ(codex(home.filePath("missing")).readiness(),
              systemCodex ? LocalProviderReadiness::ready()
                          : LocalProviderReadiness::executableMissing());
    const QString signedIn =
        install("echo 'Not logged in'; [ \"$TERM\" = dumb ] && [ \"$2\" = status ]", {});
    EXPECT_EQ(codex(signedIn).readiness(), LocalProviderReadiness::ready());
    const QString signedOut = install("echo 'Logged in using ChatGPT'; exit 1", {}, "b/codex");
    EXPECT_EQ(codex(signedOut).readiness(), LocalProviderReadiness::loginRequired());
    EXPECT_EQ(calls(), (QStringList{"login status", "login status"}));
    expectUnavailable(codex(signedOut).fetch(), "Sign in to Codex to continue.");
    EXPECT_EQ(calls(), QStringList{"login status"}); // the app server was not started
    // A login status that hangs times out after five seconds; no app server is started then.
    QElapsedTimer clock;
    clock.start();
    expectUnavailable(codex(install("exec sleep 30", {})).fetch(),
                      "The local status check timed out.");
    EXPECT_TRUE(clock.elapsed() >= 5000 && clock.elapsed() < 7500) << clock.elapsed();
    EXPECT_EQ(calls(), QStringList{"login status"});
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    const QByteArray usage = answeringAppServer(
        R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300,)"
        R"("resetsAt":1767225600},"secondary":{"usedPercent":7,"windowDurationMins":10080,)"
        R"("resetsAt":1767657600}}}})");
    const QList<UsageWindow> windows{UsageWindow(Kind::session, 0.42, codexNow.addSecs(25600)),
                                     UsageWindow(Kind::weekly, 0.07, codexNow.addSecs(457600))};
    const CodexUsageProvider working = codex(install("exit 0", usage));
    EXPECT_EQ(working.fetch(), (UsageSnapshot{"codex", "Codex", codexNow, Availability::ready,
                                              windows, SnapshotSource::officialAppServer,
                                              Confidence::exact, 120, std::nullopt}));
    EXPECT_EQ(calls(), (QStringList{"login status", "app-server --listen stdio://"}));
    if (!systemCodex) {
        expectUnavailable(codex().fetch(), "Codex is not installed.");
        // Codex removed between the readiness check and the conversation.
        expectUnavailable(codex(install("rm -f \"$0\"", usage, "c/codex")).fetch(),
                          "Codex is not installed.");
    }
    for (const auto& [appServer, text, milliseconds] :
         std::initializer_list<std::tuple<QByteArray, const char*, int>>{
             {"read -r _; exit 3", "Codex app-server exited with code 3.", 5000},
             {"exec sleep 30", "Codex usage check timed out.", 300},
             {answeringAppServer(R"({"id":2,"error":{"code":-32600}})"),
              "The Codex app-server did not return usage data.", 5000},
             {answeringAppServer(R"({"id":2,"result":{"rateLimits":{}}})"),
              "The Codex response did not include a usage window.", 5000}}) {
        expectUnavailable(codex(install("exit 0", appServer, "d/codex"), milliseconds).fetch(),
                          text);
    }
    // Many fetches leave no process, zombie or descriptor behind.
    calls();
    const QList<ChildProcess> childrenBefore = childProcesses();
    const qsizetype descriptorsBefore = openFileDescriptorCount();
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(working.fetch().statusMessage, std::nullopt) << "round " << round;
    }
    EXPECT_EQ(std::tuple(childProcesses(), openFileDescriptorCount(), calls().size()),
              std::tuple(childrenBefore, descriptorsBefore, 2 * 50));
}
