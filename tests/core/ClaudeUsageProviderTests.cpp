#include "core/ClaudeUsageProvider.h"
#include "core/ExecutableSearch.h"
#include "core/SnapshotCache.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;

namespace {

class ClaudeProviderTest : public ::testing::Test {
protected:
    void SetUp() override {
        qunsetenv("LUMORA_CLAUDE_PATH");
        now = QDateTime::currentDateTimeUtc();
        now = now.addMSecs(-(now.toMSecsSinceEpoch() % 1000)); // whole seconds, like the files
    }
    void TearDown() override { qunsetenv("LUMORA_CLAUDE_PATH"); }

    ClaudeUsageProvider provider() const {
        ClaudeUsageProvider::Options options;
        options.homeDirectory = home.path();
        options.hookHelper = builtExecutable("lumora-json");
        options.now = [this] {
            return now;
        };
        return ClaudeUsageProvider(options);
    }
    QString installClaude(const QString& relative = ".local/bin/claude") const {
        writeScript(home.filePath(relative), "exit 0\n");
        return home.filePath(relative);
    }
    QString data(const QString& name) const { return home.path() + "/.local/share/Lumora/" + name; }
    void writeCache(const QByteArray& json, const QDateTime& modified) const {
        writeFile(data("claude-rate-limits.json"), json);
        setModificationTime(data("claude-rate-limits.json"), modified);
    }
    UsageSnapshot savedSnapshot(double used, const QDateTime& capturedAt) const {
        UsageSnapshot s{"claude-code",
                        "Claude Code",
                        capturedAt,
                        Availability::ready,
                        {UsageWindow(Kind::session, used, now.addSecs(7200))},
                        SnapshotSource::officialCLI,
                        Confidence::exact,
                        150,
                        std::nullopt};
        return s;
    }

    TemporaryHome home;
    QDateTime now;
};

} // namespace

TEST_F(ClaudeProviderTest, FindsTheExecutableInTheDocumentedOrder) {
    EXPECT_FALSE(provider().locateClaudeExecutable());
    EXPECT_EQ(provider().readiness(), LocalProviderReadiness::executableMissing());

    // Only nvm installs: the newest Node version wins, plain files and hidden entries don't count.
    installClaude(".nvm/versions/node/v18.19.0/bin/claude");
    installClaude(".nvm/versions/node/v20.11.1/bin/claude");
    writeFile(home.filePath(".nvm/versions/node/v99.0.0"), "not a folder");
    installClaude(".nvm/versions/node/.v100/bin/claude");
    EXPECT_EQ(provider().locateClaudeExecutable(),
              home.filePath(".nvm/versions/node/v20.11.1/bin/claude"));

    // Fixed locations come before nvm; a file without the execute bit is not a candidate.
    writeFile(home.filePath(".npm-global/bin/claude"), "#!/bin/sh\n");
    EXPECT_EQ(provider().locateClaudeExecutable(),
              home.filePath(".nvm/versions/node/v20.11.1/bin/claude"));
    const QString local = installClaude(".claude/local/claude");
    EXPECT_EQ(provider().locateClaudeExecutable(), local);

    // The environment variable comes first; when it names no executable the search goes on.
    const QString custom = installClaude("tools/my-claude");
    qputenv("LUMORA_CLAUDE_PATH", custom.toLocal8Bit());
    EXPECT_EQ(provider().locateClaudeExecutable(), custom);
    qputenv("LUMORA_CLAUDE_PATH", home.filePath("tools").toLocal8Bit()); // a folder
    EXPECT_EQ(provider().locateClaudeExecutable(), local);
    qputenv("LUMORA_CLAUDE_PATH", "");
    EXPECT_EQ(provider().locateClaudeExecutable(), local);
}

TEST(ExecutableSearch, NaturalDescendingOrderOfNodeVersions) {
    TemporaryHome home;
    for (const char* version : {"v9.0.0", "v22.3.0", "V20.11.1", "v20.9.0"}) {
        QDir().mkpath(home.filePath(QString(".nvm/versions/node/") + version));
    }
    const QString base = home.path() + "/.nvm/versions/node/";
    EXPECT_EQ(nvmCandidates(home.path(), "codex"),
              (QStringList{base + "v22.3.0/bin/codex", base + "V20.11.1/bin/codex",
                           base + "v20.9.0/bin/codex", base + "v9.0.0/bin/codex"}));
    EXPECT_EQ(naturalCompare("v010", "v10"), 0);
    EXPECT_LT(naturalCompare("v9", "v10"), 0);
    EXPECT_LT(naturalCompare("v1", "v1.0"), 0);
    EXPECT_TRUE(nvmCandidates(home.filePath("nowhere"), "codex").isEmpty());
}

TEST_F(ClaudeProviderTest, EachMissingStepHasItsOwnMessage) {
    const auto message = [this] {
        return provider().fetch().statusMessage.value_or("(none)");
    };
    EXPECT_EQ(message(), "Claude Code is not installed.");

    installClaude();
    // An old cache alone does not count: the hook must be installed.
    writeCache(R"({"five_hour":{"used_percentage":42}})", now);
    EXPECT_EQ(provider().readiness(), LocalProviderReadiness::setupRequired());
    EXPECT_EQ(message(), "Enable official Claude Code status sync.");

    provider().installStatusLineSync();
    EXPECT_EQ(provider().readiness(), LocalProviderReadiness::ready());
    QFile::remove(data("claude-rate-limits.json"));
    const auto waiting = provider().fetch();
    EXPECT_EQ(waiting.statusMessage, "Open Claude Code and send a message once to sync usage.");
    EXPECT_EQ(waiting.availability, Availability::unknown);
    EXPECT_EQ(waiting.source, SnapshotSource::unavailable);
    EXPECT_EQ(waiting.confidence, Confidence::unknown);
    EXPECT_EQ(waiting.staleAfterSeconds, 30);
    EXPECT_TRUE(waiting.windows.isEmpty());
}

TEST_F(ClaudeProviderTest, PrefersTheNewerOfCacheAndSavedSnapshot) {
    installClaude();
    provider().installStatusLineSync();
    SnapshotCache saved("claude-code", std::nullopt, home.path());
    const QDateTime ten = now.addSecs(-60);

    // Same second: the saved snapshot wins.
    writeCache(R"({"five_hour":{"used_percentage":42}})", ten);
    saved.save(savedSnapshot(0.10, ten));
    EXPECT_EQ(provider().fetch().windows.first().usedRatio, 0.10);

    // The hook wrote again a minute later: the fresh cache wins.
    writeCache(R"({"five_hour":{"used_percentage":42}})", now);
    const auto fresh = provider().fetch();
    EXPECT_EQ(fresh.windows.first().usedRatio, 0.42);
    EXPECT_EQ(fresh.capturedAt, now);
    EXPECT_EQ(fresh.source, SnapshotSource::officialCLI);
    EXPECT_EQ(fresh.compactRemainingText(now), "58%");

    // A cache without figures falls back to an hour-old saved snapshot, which shows as stale.
    writeCache("{}", now);
    auto old = savedSnapshot(0.30, now.addSecs(-3600));
    old.providerName = "Something Else";
    saved.save(old);
    const auto fallback = provider().fetch();
    EXPECT_EQ(fallback.windows.first().usedRatio, 0.30);
    EXPECT_EQ(fallback.providerName, "Claude Code");
    EXPECT_EQ(fallback.compactRemainingText(now), "--%");
}

TEST_F(ClaudeProviderTest, CorruptFilesAreNeitherFatalNorRewritten) {
    installClaude();
    provider().installStatusLineSync();
    const QByteArray corruptCache = "{\"five_hour\":{\"used_percentage\":";
    const QByteArray corruptSaved = "\x00\x01 not json";
    writeCache(corruptCache, now);
    writeFile(data("claude-code-snapshot.json"), corruptSaved);
    EXPECT_EQ(provider().fetch().statusMessage,
              "Open Claude Code and send a message once to sync usage.");
    EXPECT_EQ(readFile(data("claude-rate-limits.json")), corruptCache);
    EXPECT_EQ(readFile(data("claude-code-snapshot.json")), corruptSaved);

    // A corrupt cache still falls back to a good saved snapshot.
    SnapshotCache("claude-code", std::nullopt, home.path()).save(savedSnapshot(0.5, now));
    EXPECT_EQ(provider().fetch().windows.first().usedRatio, 0.5);

    // A cache that cannot be read at all (a folder in its place).
    QFile::remove(data("claude-rate-limits.json"));
    QDir().mkpath(data("claude-rate-limits.json"));
    EXPECT_EQ(provider().fetch().windows.first().usedRatio, 0.5);
}
