// The Claude Code provider (the hook's cache and the saved snapshot in a temporary home) and the
// Codex provider (fake codex scripts as real child processes).
#include "core/ClaudeUsageProvider.h"
#include "core/CodexUsageProvider.h"
#include "core/ExecutableSearch.h"
#include "core/SnapshotCache.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <functional>
#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;

namespace {

const QDateTime codexNow = QDateTime::fromSecsSinceEpoch(1767200000, Qt::UTC);
const QByteArray usageAnswer =
    R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300,"resetsAt":1767225600},"secondary":{"usedPercent":7,"windowDurationMins":10080,"resetsAt":1767657600}}}})";

// Installs of either tool on fixed paths of this machine would shadow the per-test home folder.
std::optional<QString> systemInstall(const QString& tool) {
    return firstExecutable({"/Applications/ChatGPT.app/Contents/Resources/" + tool,
                            "/opt/homebrew/bin/" + tool, "/usr/local/bin/" + tool,
                            "/usr/bin/" + tool});
}

ClaudeUsageProvider claudeProvider(const QString& home, const QDateTime& now) {
    ClaudeUsageProvider::Options options;
    options.homeDirectory = home;
    options.hookHelper = builtExecutable("lumora-json");
    options.now = [now] {
        return now;
    };
    return ClaudeUsageProvider(options);
}

CodexUsageProvider codexProvider(const QString& home, std::optional<QString> override = {},
                                 int sessionMilliseconds = 5000) {
    CodexUsageProvider::Options options;
    options.homeDirectory = home;
    options.executableOverride = std::move(override);
    options.session.timeoutMilliseconds = sessionMilliseconds;
    options.now = [] {
        return codexNow;
    };
    return CodexUsageProvider(options);
}

// What a provider says when it has no figures: the message alone, unknown and quickly stale.
void expectUnavailable(const UsageSnapshot& snapshot, const QString& text,
                       const QString& id = "codex", const QString& name = "Codex") {
    EXPECT_EQ(snapshot, (UsageSnapshot{.providerID = id,
                                       .providerName = name,
                                       .capturedAt = snapshot.capturedAt,
                                       .windows = {},
                                       .statusMessage = text}));
}

} // namespace

// Each place in `places` comes before the ones listed above it; a file without the execute bit is
// no candidate; the environment variable comes first unless it names no executable.
TEST(ExecutableSearch, BothToolsAreFoundInTheDocumentedOrder) {
    const QStringList nvm{".nvm/versions/node/v9.0.0/bin/", ".nvm/versions/node/v20.9.0/bin/",
                          ".nvm/versions/node/V20.11.1/bin/", ".nvm/versions/node/v22.3.0/bin/"};
    const struct {
        QString tool;
        const char* variable;
        QStringList places;
        std::function<std::optional<QString>(const QString&)> locate;
    } tools[] = {
        {"claude", "LUMORA_CLAUDE_PATH",
         nvm + QStringList{".claude/local/", ".npm-global/bin/", ".local/bin/"},
         [](const QString& home) {
             return claudeProvider(home, {}).locateClaudeExecutable();
         }},
        {"codex", "LUMORA_CODEX_PATH", nvm + QStringList{".npm-global/bin/", ".local/bin/"},
         [](const QString& home) {
             return codexProvider(home).locateCodexExecutable();
         }},
    };
    for (const auto& t : tools) {
        SCOPED_TRACE(t.tool.toStdString());
        if (const auto installed = systemInstall(t.tool)) {
            GTEST_SKIP() << "a system-wide " << installed->toStdString()
                         << " comes before the test's home folder";
        }
        TemporaryHome home;
        // Plain files and hidden entries in nvm's folder do not count.
        writeFile(home.filePath(".nvm/versions/node/v99.0.0"), "not a folder");
        writeScript(home.filePath(".nvm/versions/node/.v100/bin/" + t.tool), "exit 0\n");
        EXPECT_EQ(t.locate(home.path()), std::nullopt);
        QString winner;
        for (const QString& place : t.places) {
            const QString path = home.filePath(place + t.tool);
            writeFile(path, "#!/bin/sh\n");
            EXPECT_EQ(t.locate(home.path()).value_or(""), winner)
                << "not executable: " << path.toStdString();
            writeScript(path, "exit 0\n");
            winner = path;
            EXPECT_EQ(t.locate(home.path()).value_or(""), winner);
        }
        const QString custom = home.filePath("tools/my-" + t.tool);
        writeScript(custom, "exit 0\n");
        for (const auto& [value, found] :
             {std::pair{custom, custom}, {home.filePath("tools"), winner}, {QString(), winner}}) {
            qputenv(t.variable, value.toLocal8Bit());
            EXPECT_EQ(t.locate(home.path()).value_or(""), found) << value.toStdString();
        }
        if (t.tool == "codex") {
            // The provider's own override comes first; one that is not executable is skipped.
            qputenv(t.variable, custom.toLocal8Bit());
            EXPECT_EQ(codexProvider(home.path(), winner).locateCodexExecutable(), winner);
            EXPECT_EQ(codexProvider(home.path(), home.filePath("no/codex")).locateCodexExecutable(),
                      custom);
        }
        qunsetenv(t.variable);
    }
    EXPECT_EQ(naturalCompare("v010", "v10"), 0);
    EXPECT_LT(naturalCompare("v1", "v1.0"), 0);
    EXPECT_TRUE(nvmCandidates("/nowhere", "codex").isEmpty());
}

class ClaudeProviderTest : public ::testing::Test {
protected:
    ClaudeUsageProvider provider() const { return claudeProvider(home.path(), now); }
    void writeCache(const QByteArray& json, const QDateTime& modified) const {
        writeFile(home.dataFile("claude-rate-limits.json"), json);
        setModificationTime(home.dataFile("claude-rate-limits.json"), modified);
    }
    void save(double used, const QDateTime& capturedAt, const QString& name = "Claude Code") const {
        SnapshotCache("claude-code", std::nullopt, home.path())
            .save({"claude-code",
                   name,
                   capturedAt,
                   Availability::ready,
                   {UsageWindow(Kind::session, used, now.addSecs(7200))},
                   SnapshotSource::officialCLI,
                   Confidence::exact,
                   150,
                   std::nullopt});
    }
    std::optional<double> used() const {
        const UsageSnapshot snapshot = provider().fetch();
        return snapshot.windows.isEmpty() ? std::nullopt : snapshot.windows.first().usedRatio;
    }

    TemporaryHome home;
    const QDateTime now = QDateTime::fromSecsSinceEpoch( // whole seconds, like the files
        QDateTime::currentSecsSinceEpoch(), Qt::UTC);
};

TEST_F(ClaudeProviderTest, EachMissingStepHasItsOwnMessage) {
    EXPECT_EQ(provider().readiness(), LocalProviderReadiness::executableMissing());
    expectUnavailable(provider().fetch(), "Claude Code is not installed.", "claude-code",
                      "Claude Code");
    home.installClaude();
    // An old cache alone does not count: the hook must be installed.
    writeCache(R"({"five_hour":{"used_percentage":42}})", now);
    EXPECT_EQ(provider().readiness(), LocalProviderReadiness::setupRequired());
    EXPECT_EQ(provider().fetch().statusMessage, "Enable official Claude Code status sync.");
    provider().installStatusLineSync();
    EXPECT_EQ(provider().readiness(), LocalProviderReadiness::ready());
    QFile::remove(home.dataFile("claude-rate-limits.json"));
    expectUnavailable(provider().fetch(), "Open Claude Code and send a message once to sync usage.",
                      "claude-code", "Claude Code");
}

TEST_F(ClaudeProviderTest, TheNewerOfCacheAndSavedSnapshotWinsAndCorruptFilesStayAsTheyAre) {
    home.installClaude();
    provider().installStatusLineSync();
    writeCache(R"({"five_hour":{"used_percentage":42}})", now.addSecs(-60));
    save(0.10, now.addSecs(-60));
    EXPECT_EQ(used(), 0.10); // same second: the saved snapshot wins
    writeCache(R"({"five_hour":{"used_percentage":42}})", now);
    const auto fresh = provider().fetch();
    EXPECT_EQ(fresh.windows.first().usedRatio, 0.42);
    EXPECT_EQ(fresh.capturedAt, now);
    // A cache without figures falls back to an hour-old saved snapshot, which shows as stale.
    writeCache("{}", now);
    save(0.30, now.addSecs(-3600), "Something Else");
    const auto fallback = provider().fetch();
    EXPECT_EQ(fallback.windows.first().usedRatio, 0.30);
    EXPECT_EQ(fallback.providerName, "Claude Code");
    EXPECT_EQ(fallback.compactRemainingText(now), "--%");

    const QByteArray corruptCache = "{\"five_hour\":{\"used_percentage\":";
    const QByteArray corruptSaved = "\x00\x01 not json";
    writeCache(corruptCache, now);
    writeFile(home.dataFile("claude-code-snapshot.json"), corruptSaved);
    EXPECT_EQ(provider().fetch().statusMessage,
              "Open Claude Code and send a message once to sync usage.");
    EXPECT_EQ(readFile(home.dataFile("claude-rate-limits.json")), corruptCache);
    EXPECT_EQ(readFile(home.dataFile("claude-code-snapshot.json")), corruptSaved);
    // A corrupt cache, or one that cannot be read (a folder in its place), falls back too.
    save(0.5, now);
    EXPECT_EQ(used(), 0.5);
    QFile::remove(home.dataFile("claude-rate-limits.json"));
    QDir().mkpath(home.dataFile("claude-rate-limits.json"));
    EXPECT_EQ(used(), 0.5);
}

class CodexProviderTest : public ::testing::Test {
protected:
    CodexUsageProvider provider(std::optional<QString> override = {}, int milliseconds = 5000) {
        return codexProvider(home.path(), std::move(override), milliseconds);
    }
    // A fake codex that also logs each call's arguments to "calls".
    QString installCodex(const QByteArray& login, const QByteArray& appServer,
                         const QString& relative = "bin/codex") const {
        writeScript(home.filePath(relative), "echo \"$*\" >> '" + home.filePath("calls").toUtf8() +
                                                 "'\n" + fakeCodex(login, appServer));
        return home.filePath(relative);
    }
    QStringList calls() const {
        const QString path = home.filePath("calls");
        const QStringList lines =
            QFileInfo::exists(path)
                ? QString::fromUtf8(readFile(path)).split('\n', Qt::SkipEmptyParts)
                : QStringList();
        QFile::remove(path);
        return lines;
    }

    TemporaryHome home;
};

TEST_F(CodexProviderTest, ReadinessComesFromTheLoginStatusExitCode) {
    EXPECT_EQ(provider(home.filePath("missing")).readiness(),
              systemInstall("codex") ? LocalProviderReadiness::ready()
                                     : LocalProviderReadiness::executableMissing());
    // Only the exit status counts, not what is printed.
    const QString signedIn =
        installCodex("echo 'Not logged in'; [ \"$TERM\" = dumb ] && [ \"$2\" = status ]", {});
    EXPECT_EQ(provider(signedIn).readiness(), LocalProviderReadiness::ready());
    const QString signedOut = installCodex("echo 'Logged in using ChatGPT'; exit 1", {}, "b/codex");
    EXPECT_EQ(provider(signedOut).readiness(), LocalProviderReadiness::loginRequired());
    EXPECT_EQ(calls(), (QStringList{"login status", "login status"}));

    // A login status that hangs times out after five seconds; no app server is started then.
    QElapsedTimer clock;
    clock.start();
    expectUnavailable(provider(installCodex("exec sleep 30", {})).fetch(),
                      "The local status check timed out.");
    EXPECT_GE(clock.elapsed(), 5000);
    EXPECT_LT(clock.elapsed(), 7500);
    EXPECT_EQ(calls(), QStringList{"login status"});
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
}

TEST_F(CodexProviderTest, FetchReadsUsageThroughTheAppServerOrSaysWhatFailed) {
    const UsageSnapshot expected{
        "codex",
        "Codex",
        codexNow,
        Availability::ready,
        {UsageWindow(Kind::session, 0.42, QDateTime::fromSecsSinceEpoch(1767225600, Qt::UTC)),
         UsageWindow(Kind::weekly, 0.07, QDateTime::fromSecsSinceEpoch(1767657600, Qt::UTC))},
        SnapshotSource::officialAppServer,
        Confidence::exact,
        120,
        std::nullopt};
    EXPECT_EQ(provider(installCodex("exit 0", answeringAppServer(usageAnswer))).fetch(), expected);
    EXPECT_EQ(calls(), (QStringList{"login status", "app-server --listen stdio://"}));
    if (!systemInstall("codex")) {
        expectUnavailable(provider().fetch(), "Codex is not installed.");
        // Codex removed between the readiness check and the conversation.
        expectUnavailable(
            provider(installCodex("rm -f \"$0\"", answeringAppServer(usageAnswer))).fetch(),
            "Codex is not installed.");
        calls();
    }
    expectUnavailable(provider(installCodex("exit 1", "exit 0")).fetch(),
                      "Sign in to Codex to continue.");
    EXPECT_EQ(calls(), QStringList{"login status"}); // the app server was not started
    for (const auto& [appServer, text, milliseconds] :
         std::initializer_list<std::tuple<QByteArray, const char*, int>>{
             {"read -r _; exit 3", "Codex app-server exited with code 3.", 5000},
             {"exec sleep 30", "Codex usage check timed out.", 300},
             {answeringAppServer(R"({"id":2,"error":{"code":-32600}})"),
              "The Codex app-server did not return usage data.", 5000},
             {answeringAppServer(R"({"id":2,"result":{"rateLimits":{}}})"),
              "The Codex response did not include a usage window.", 5000}}) {
        expectUnavailable(provider(installCodex("exit 0", appServer), milliseconds).fetch(), text);
    }

    // Many fetches leave no process, zombie or descriptor behind.
    const CodexUsageProvider codex =
        provider(installCodex("exit 0", answeringAppServer(usageAnswer)));
    ASSERT_EQ(codex.fetch(), expected); // also warms up Qt's lazy set-up
    calls();
    const QList<ChildProcess> childrenBefore = childProcesses();
    const qsizetype descriptorsBefore = openFileDescriptorCount();
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(codex.fetch().statusMessage, std::nullopt) << "round " << round;
    }
    EXPECT_EQ(childProcesses(), childrenBefore);
    EXPECT_EQ(openFileDescriptorCount(), descriptorsBefore);
    EXPECT_EQ(calls().size(), 2 * 50);
}
