// The command line, driven as a user would: the built lumora in a scratch home, with a stand-in
// claude, a fake codex named by LUMORA_CODEX_PATH and local update feeds.
#include "core/AppUpdate.h"
#include "core/BuildInfo.h"
#include "core/ClaudeUsageProvider.h"
#include "core/ExecutableSearch.h"
#include "core/UsageSnapshot.h"
#include "history/HistoryStore.h"
#include "support/TestSupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// Whether a run ended with that exit code, having printed exactly that.
testing::AssertionResult printed(const CommandOutcome& run, int exitCode, const QString& out) {
    if (run.exitCode == exitCode && run.out == out) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "exit code " << run.exitCode << ", printed \""
                                       << run.out.toStdString() << "\", " << run.err.toStdString();
}

class CommandLineTest : public ::testing::Test {
protected:
    CommandOutcome lumora(const QStringList& arguments) const {
        return runLumora(home.path(), arguments, {{"LUMORA_CODEX_PATH", codex()}});
    }
    QJsonObject status(const QStringList& more = {}) const {
        return QJsonDocument::fromJson(lumora(QStringList{"status", "--json"} + more).out.toUtf8())
            .object();
    }
    QJsonArray snapshots(const QStringList& more = {}) const {
        return status(more)["snapshots"].toArray();
    }
    // A fake codex: `login status` runs `login`; the app server reports 42% used.
    void installCodex(const QByteArray& login) const {
        writeScript(codex(),
                    fakeCodex(login, answeringAppServer(R"({"id":2,"result":{"rateLimits":)"
                                                        R"({"primary":{"usedPercent":42,)"
                                                        R"("windowDurationMins":300}}}})")));
    }
    void connectClaude(int usedPercent) const {
        home.installClaude();
        EXPECT_TRUE(printed(lumora({"connect", "claude"}), 0,
                            "Open Claude Code and send a message once to sync usage.\n"));
        writeFile(home.dataFile("claude-rate-limits.json"),
                  QString(R"({"five_hour":{"used_percentage":%1}})").arg(usedPercent).toUtf8());
    }
    QString codex() const { return home.filePath("tools/codex"); }
    QJsonObject preferences() const { return readJsonObject(home.preferencesFile()); }
    void writeFeed(const QByteArray& version) const {
        writeFile(home.filePath("feed.json"),
                  R"({"version": ")" + version + R"(", "downloadURL": "https://e.com/get?v=1"})");
    }

    TemporaryHome home;
};

} // namespace

// Connect Claude Code, read its hook's cache, follow the order and switches the tray stored,
// switch Codex off and Claude Code off again; settings that cannot be rewritten safely are kept.
TEST_F(CommandLineTest, ConnectClaudeFollowTheStoredChoicesAndDisconnect) {
    EXPECT_TRUE(printed(lumora({"connect", "claude"}), 1,
                        "Claude Code is not installed.\n" +
                            ClaudeUsageProvider::checkedVersionMessage + "\n"));
    EXPECT_FALSE(QFileInfo::exists(home.preferencesFile()));
    connectClaude(42);
    EXPECT_TRUE(QFileInfo::exists(home.dataFile("claude-statusline.sh")));
    EXPECT_EQ(preferences()["providerEnabled"], true);
    EXPECT_TRUE(printed(lumora({"status"}), 0, "Claude Code 58%\n"));
    const auto saved = UsageSnapshot::decode(readFile(home.dataFile("claude-code-snapshot.json")));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->windows.first().usedRatio, 0.42);

    // Claude Code first, Codex on, and the panel's switches, which the command line ignores.
    QJsonObject stored = preferences();
    stored["providerOrder"] = QJsonArray{"claude-code", "codex"};
    stored["codexEnabled"] = true;
    stored["showCodexInMenuBar"] = false;
    stored["showClaudeInMenuBar"] = false;
    writeFile(home.preferencesFile(), QJsonDocument(stored).toJson());
    EXPECT_TRUE(printed(lumora({"status"}), 0, "Claude Code 58% \u00B7 Codex --%\n"));
    EXPECT_EQ(snapshots()[0].toObject()["providerID"], "claude-code");
    EXPECT_TRUE(printed(lumora({"disconnect", "codex"}), 0, "Codex is disconnected.\n"));
    EXPECT_EQ(preferences()["codexEnabled"], false);
    EXPECT_EQ(preferences()["providerOrder"], (QJsonArray{"claude-code", "codex"}));
    EXPECT_TRUE(printed(lumora({"status"}), 0, "Claude Code 58%\n"));

    EXPECT_EQ(lumora({"disconnect", "claude"}).exitCode, 0);
    EXPECT_FALSE(QFileInfo::exists(home.dataFile("claude-statusline.sh")));
    EXPECT_EQ(preferences()["providerEnabled"], false);
    EXPECT_TRUE(printed(lumora({"status"}), 0, "Lumora\n"));
    EXPECT_TRUE(lumora({"status", "--all"}).out.contains("Claude Code --%"));
    writeFile(home.filePath(".claude/settings.json"), "[1, 2, 3]\n");
    EXPECT_TRUE(printed(lumora({"connect", "claude"}), 1,
                        "Claude Code settings could not be updated safely.\n"));
    EXPECT_EQ(readFile(home.filePath(".claude/settings.json")), "[1, 2, 3]\n");
}

// A fresh user sees no tool unless all are asked for; then Codex is connected and read.
TEST_F(CommandLineTest, AFreshUserThenConnectCodex) {
    // Without a command lumora is the tray, which needs a display; the status line does not.
    const CommandOutcome tray = runLumora(
        home.path(), {}, {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}});
    EXPECT_EQ(tray.exitCode, 1);
    EXPECT_EQ(tray.err, "Lumora needs a desktop session to show its tray. `lumora status` works "
                        "without one.\n");
    EXPECT_TRUE(printed(lumora({"status"}), 0, "Lumora\n"));
    EXPECT_TRUE(snapshots().isEmpty());
    EXPECT_TRUE(printed(lumora({"status", "--all"}), 0, "Codex --% \u00B7 Claude Code --%\n"));
    EXPECT_EQ(status({"--all"})["title"], "Codex --% \u00B7 Claude Code --%");
    const QJsonArray both = snapshots({"--all"});
    ASSERT_EQ(both.size(), 2);
    EXPECT_EQ(both[0]["providerID"], "codex");
    EXPECT_EQ(both[1]["statusMessage"], "Claude Code is not installed.");
    // Snapshots without a verdict are not remembered, and status writes no preferences.
    EXPECT_FALSE(QFileInfo::exists(home.dataFile("claude-code-snapshot.json")));
    EXPECT_FALSE(QFileInfo::exists(home.preferencesFile()));
    if (!firstExecutable({"/usr/local/bin/codex", "/usr/bin/codex", "/opt/homebrew/bin/codex"})) {
        EXPECT_TRUE(printed(lumora({"connect", "codex"}), 1, "Codex is not installed.\n"));
    }
    installCodex("echo 'Not logged in'; exit 1");
    EXPECT_TRUE(printed(lumora({"connect", "codex"}), 1,
                        "Sign in to Codex to continue.\nRun `codex login` in a terminal, then try "
                        "again.\n"));
    EXPECT_FALSE(QFileInfo::exists(home.preferencesFile()));

    // Ready: Codex is switched on, as the tray does when it finds Codex ready.
    installCodex("exit 0");
    EXPECT_TRUE(printed(lumora({"connect", "codex"}), 0, "Codex is connected.\n"));
    EXPECT_EQ(preferences()["codexEnabled"], true);
    EXPECT_TRUE(printed(lumora({"status", "--all"}), 0, "Codex 58% \u00B7 Claude Code --%\n"));
    const UsageSnapshot read = UsageSnapshot::fromJson(snapshots()[0].toObject());
    EXPECT_EQ(read.source, SnapshotSource::officialAppServer);
    EXPECT_EQ(read.windows.first().usedRatio, 0.42);
    const auto saved = UsageSnapshot::decode(readFile(home.dataFile("codex-snapshot.json")));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->windows, read.windows);

    // Signed out: the status says so and nothing new is remembered.
    installCodex("exit 1");
    EXPECT_EQ(snapshots()[0].toObject()["statusMessage"], "Sign in to Codex to continue.");
    EXPECT_EQ(UsageSnapshot::decode(readFile(home.dataFile("codex-snapshot.json"))), saved);
    EXPECT_EQ(lumora({"disconnect", "codex"}).exitCode, 0);
    EXPECT_EQ(preferences()["codexEnabled"], false);
    EXPECT_TRUE(printed(lumora({"status"}), 0, "Lumora\n"));
}

TEST_F(CommandLineTest, CheckUpdatesReportsAnOfferOrWhatWentWrong) {
    writeFeed("1.5.0");
    const QString feed = home.filePath("feed.json"), missing = home.filePath("missing.json");
    const QString offer = "Lumora 1.5.0 is available.\nhttps://e.com/get?v=1\n";
    const struct {
        QStringList options;
        int exitCode;
        QString out;
    } rows[] = {
        {{"--feed", feed, "--current-version", "1.4.2"}, 0, offer},
        {{"--feed", QUrl::fromLocalFile(feed).toString(), "--current-version", "1.4.2"}, 0, offer},
        {{"--feed", "feed.json", "--current-version", "1.4.2"}, 0, offer},
        {{"--current-version", "1.5.0", "--feed", feed}, 0, "Lumora is up to date.\n"},
        {{"--feed", feed, "--current-version", "not a version"},
         1,
         "The update version is invalid.\n"},
        {{"--feed", "http://127.0.0.1:1/feed.json"}, 1, "The update feed must use HTTPS.\n"},
        {{"--feed", missing},
         1,
         QString("Could not read \u201c%1\u201d: No such file or directory\n").arg(missing)},
        {{},
         configuredUpdateFeedURL(buildinfo::updateFeedUrl) ? -1 : 1,
         "The update channel is not configured in this build.\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.options.join(' ').toStdString());
        if (row.exitCode >= 0) {
            EXPECT_TRUE(
                printed(lumora(QStringList{"check-updates"} + row.options), row.exitCode, row.out));
        }
    }
    // Without --current-version the build's own version is compared.
    writeFeed(buildinfo::version);
    EXPECT_TRUE(printed(lumora({"check-updates", "--feed", feed}), 0, "Lumora is up to date.\n"));
    // A feed cannot send control sequences to the terminal.
    writeFeed("9.0.0-\\u001b[2J\\u009b31m+\\u0007");
    EXPECT_TRUE(lumora({"check-updates", "--feed", feed})
                    .out.startsWith("Lumora 9.0.0-\uFFFD[2J\uFFFD31m+\uFFFD is available.\n"));
}

TEST_F(CommandLineTest, VersionHelpAndWrongUsage) {
    EXPECT_TRUE(printed(lumora({"--version"}), 0, "Lumora 0.1.0\n"));
    const CommandOutcome help = lumora({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith("Usage: lumora"));
    QList<QStringList> wrongs{{"check-updates", "--feed", " "}};
    for (const char* wrong :
         {"frobnicate", "--frobnicate", "status --xml", "status --json --waybar", "connect",
          "connect gemini", "disconnect", "disconnect claude codex", "check-updates --feed",
          "check-updates --current-version", "check-updates --json", "history --since 7x",
          "history --provider gemini", "history --json --csv", "history --since",
          "history --all"}) {
        wrongs << QString(wrong).split(' ');
    }
    for (const QStringList& wrong : wrongs) {
        const CommandOutcome run = lumora(wrong);
        EXPECT_TRUE(printed(run, 2, "")) << wrong.join(' ').toStdString();
        EXPECT_TRUE(run.err.startsWith("lumora: ")) << run.err.toStdString();
        EXPECT_TRUE(wrong[0] == "history" || run.err.contains("Usage: lumora"))
            << run.err.toStdString();
    }
}

// The kept history as the command line shows it: the pace and the weekly window in status --json
// and the waybar tooltip, and the history command's table.
TEST_F(CommandLineTest, StatusCarriesThePaceAndTheWeeklyWindow) {
    connectClaude(0);
    const qint64 reset = QDateTime::currentSecsSinceEpoch() + 3 * 3600;
    writeFile(home.dataFile("claude-rate-limits.json"),
              QString(R"({"five_hour":{"used_percentage":60,"resets_at":%1},)"
                      R"("seven_day":{"used_percentage":36,"resets_at":%2}})")
                  .arg(reset)
                  .arg(reset + 4 * 86400)
                  .toUtf8());
    {
        // 30 points in the last 40 minutes: the limit in about 53 minutes, before the reset.
        HistoryStore store(HistoryStore::defaultPath(home.path()), HistoryStore::Access::readWrite);
        for (int ago = 40; ago >= 10; ago -= 10) {
            store.record({"claude-code", UsageWindow::Kind::session, 0.6 - ago * 0.0075,
                          QDateTime::fromSecsSinceEpoch(reset, Qt::UTC),
                          QDateTime::currentDateTimeUtc().addSecs(-60 * ago),
                          SnapshotSource::officialCLI});
        }
    }
    const QJsonObject claude = snapshots()[0].toObject();
    const QJsonObject pace = claude["pace"].toObject();
    EXPECT_EQ(pace["verdict"], "limit_before_reset");
    EXPECT_NEAR(pace["ratePerHour"].toDouble(), 0.45, 0.01);
    const QDateTime limit = QDateTime::fromString(pace["limitAt"].toString(), Qt::ISODate);
    EXPECT_NEAR(QDateTime::currentDateTimeUtc().secsTo(limit), 53 * 60, 120);
    EXPECT_TRUE(pace["leftAtReset"].isNull());
    EXPECT_TRUE(pace["text"].toString().startsWith("At this pace: limit in "));
    EXPECT_EQ(claude["weeklyWindow"].toObject(),
              (QJsonObject{{"kind", "weekly"},
                           {"usedRatio", 0.36},
                           {"resetsAt", isoDateTimeText(QDateTime::fromSecsSinceEpoch(
                                            reset + 4 * 86400, Qt::UTC))}}));
    const QString tooltip =
        QJsonDocument::fromJson(lumora({"status", "--waybar"}).out.toUtf8())["tooltip"].toString();
    EXPECT_TRUE(tooltip.contains("\n  At this pace: limit in ")) << tooltip.toStdString();
    const CommandOutcome table = lumora({"history", "--provider", "claude"});
    EXPECT_EQ(table.out.count('\n'), 5) << table.out.toStdString(); // a header and four rows
}
