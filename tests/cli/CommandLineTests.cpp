// The command line driven as a user would: the built lumora in a scratch home, with a stand-in
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
#include <QUrl>

#include <gtest/gtest.h>
#include <tuple>

using namespace lumora;
using namespace lumora::test;

namespace {

class CommandLineTest : public ::testing::Test {
protected:
    // Runs lumora ARGUMENTS with the fake codex and more VARIABLES ("NAME=VALUE").
    CommandOutcome lumora(const QStringList& arguments, const QStringList& variables = {}) const {
        Environment environment{{"LUMORA_CODEX_PATH", codex()}};
        for (const QString& variable : variables) {
            environment.append({variable.section('=', 0, 0), variable.section('=', 1)});
        }
        return runLumora(home.path(), arguments, environment);
    }
    // The exit code and what lumora ARGUMENTS printed, as "CODE OUTPUT".
    QString outcome(const QStringList& arguments) const {
        const CommandOutcome run = lumora(arguments);
        return QString::number(run.exitCode) + ' ' + run.out;
    }
    // What lumora ARGUMENTS printed: one JSON object on one line, as waybar needs.
    QJsonObject json(const QStringList& arguments, const QStringList& variables = {}) const {
        const CommandOutcome run = lumora(arguments, variables);
        EXPECT_TRUE(run.exitCode == 0 && run.out.startsWith('{') && run.out.endsWith("}\n") &&
                    run.out.count('\n') == 1)
            << run.out.toStdString() << run.err.toStdString();
        return QJsonDocument::fromJson(run.out.toUtf8()).object();
    }
    QJsonArray snapshots() const { return json({"status", "--json"})["snapshots"].toArray(); }
    QJsonObject waybar(const QStringList& v = {}) const { return json({"status", "--waybar"}, v); }
    // The waybar module's text and tooltip start so; its classes, its percentage (-1: none).
    QJsonObject expectWaybar(const QString& text, const QStringList& classes, int percentage,
                             const QString& tooltip) const {
        const QJsonObject shown = waybar();
        EXPECT_TRUE(shown["text"].toString().startsWith(text) &&
                    shown["tooltip"].toString().startsWith(tooltip) &&
                    shown["class"].toVariant().toStringList() == classes &&
                    shown["percentage"].toInt(-1) == percentage)
            << QJsonDocument(shown).toJson().toStdString();
        return shown;
    }
    // A fake codex: `login status` runs `login`; the app server reports 42% used.
    void installCodex(const QByteArray& login) const {
        writeScript(codex(),
                    fakeCodex(login, answeringAppServer(R"({"id":2,"result":{"rateLimits":)"
                                                        R"({"primary":{"usedPercent":42,)"
                                                        R"("windowDurationMins":300}}}})")));
    }
    void connectClaude() const {
        home.installClaude();
        EXPECT_EQ(outcome({"connect", "claude"}),
                  "0 Open Claude Code and send a message once to sync usage.\n");
    }
    void cache(QByteArray j) const { writeFile(home.dataFile("claude-rate-limits.json"), j); }
    // Claude Code's last snapshot as the tray left it, taken AGE seconds ago.
    void saveClaude(Availability availability, double usedRatio, qint64 age = 0) const {
        const auto at = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch() - age);
        const UsageWindow window(UsageWindow::Kind::session, usedRatio, at.addSecs(9000));
        const UsageSnapshot snapshot{"claude-code",     "Claude Code", at,
                                     availability,      {window},      SnapshotSource::officialCLI,
                                     Confidence::exact, 150,           {}};
        writeFile(home.dataFile("claude-code-snapshot.json"), snapshot.encode());
    }
    QString codex() const { return home.filePath("tools/codex"); }
    QJsonObject preferences() const { return readJsonObject(home.preferencesFile()); }

    TemporaryHome home;
};

} // namespace

// A user's walk: a desktop is needed only for the tray, no tool is shown until one is connected;
// Codex and Claude Code connected, read, ordered and switched off as stored; unsafe settings kept.
TEST_F(CommandLineTest, AUserConnectsTheToolsFollowsTheStoredChoicesAndDisconnects) {
    const CommandOutcome tray = lumora({}, {"DISPLAY=", "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM="});
    EXPECT_EQ(QString::number(tray.exitCode) + ' ' + tray.err,
              "1 Lumora needs a desktop session to show its tray. `lumora status` works without "
              "one.\n");
    EXPECT_EQ(outcome({"status"}), "0 Lumora\n");
    EXPECT_EQ(outcome({"status", "--all"}), "0 Codex --% \u00B7 Claude Code --%\n");
    const QJsonArray both = json({"status", "--json", "--all"})["snapshots"].toArray();
    EXPECT_EQ(both[0]["providerID"].toString() + ": " + both[1]["statusMessage"].toString(),
              "codex: Claude Code is not installed.");
    EXPECT_EQ(outcome({"connect", "claude"}), "1 Claude Code is not installed.\n" +
                                                  ClaudeUsageProvider::checkedVersionMessage +
                                                  "\n");
    if (!firstExecutable({"/usr/local/bin/codex", "/usr/bin/codex", "/opt/homebrew/bin/codex"})) {
        EXPECT_EQ(outcome({"connect", "codex"}), "1 Codex is not installed.\n");
    }
    installCodex("echo 'Not logged in'; exit 1");
    EXPECT_EQ(
        outcome({"connect", "codex"}),
        "1 Sign in to Codex to continue.\nRun `codex login` in a terminal, then try again.\n");
    // Nothing without a verdict is remembered; status and failed connections write no settings.
    EXPECT_FALSE(QFileInfo::exists(home.dataFile("claude-code-snapshot.json")));
    EXPECT_FALSE(QFileInfo::exists(home.preferencesFile()));
    // Codex ready: switched on, as the tray does when it finds Codex ready, read and remembered.
    installCodex("exit 0");
    EXPECT_EQ(outcome({"connect", "codex"}), "0 Codex is connected.\n");
    EXPECT_EQ(preferences()["codexEnabled"], true);
    EXPECT_EQ(outcome({"status"}), "0 Codex 58%\n");
    const UsageSnapshot read = UsageSnapshot::fromJson(snapshots()[0].toObject());
    EXPECT_EQ(std::tuple(read.source, read.windows.first().usedRatio),
              std::tuple(SnapshotSource::officialAppServer, 0.42));
    const auto saved = UsageSnapshot::decode(readFile(home.dataFile("codex-snapshot.json")));
    ASSERT_TRUE(saved && saved->windows == read.windows);
    // Signed out: the status says so and nothing new is remembered.
    installCodex("exit 1");
    EXPECT_EQ(snapshots()[0].toObject()["statusMessage"], "Sign in to Codex to continue.");
    EXPECT_EQ(UsageSnapshot::decode(readFile(home.dataFile("codex-snapshot.json"))), saved);
    // Claude Code connected and read from its hook's cache, after Codex in the default order.
    connectClaude();
    cache(R"({"five_hour":{"used_percentage":42}})");
    EXPECT_TRUE(QFileInfo::exists(home.dataFile("claude-statusline.sh")));
    EXPECT_EQ(preferences()["providerEnabled"], true);
    EXPECT_EQ(outcome({"status"}), "0 Codex --% \u00B7 Claude Code 58%\n");
    const auto claude = UsageSnapshot::decode(readFile(home.dataFile("claude-code-snapshot.json")));
    EXPECT_EQ(claude ? claude->windows.first().usedRatio : -1, 0.42);
    // Claude Code first, and the panel's switches, which the command line ignores.
    writeFile(home.preferencesFile(),
              R"({"providerEnabled": true, "codexEnabled": true, "showCodexInMenuBar": false,
                  "showClaudeInMenuBar": false, "providerOrder": ["claude-code", "codex"]})");
    EXPECT_EQ(outcome({"status"}), "0 Claude Code 58% \u00B7 Codex --%\n");
    EXPECT_EQ(outcome({"disconnect", "codex"}), "0 Codex is disconnected.\n");
    EXPECT_EQ(preferences()["codexEnabled"], false);
    EXPECT_EQ(preferences()["providerOrder"], (QJsonArray{"claude-code", "codex"}));
    EXPECT_EQ(outcome({"status"}), "0 Claude Code 58%\n");
    EXPECT_EQ(lumora({"disconnect", "claude"}).exitCode, 0);
    EXPECT_FALSE(QFileInfo::exists(home.dataFile("claude-statusline.sh")));
    EXPECT_EQ(preferences()["providerEnabled"], false);
    EXPECT_EQ(outcome({"status"}), "0 Lumora\n");
    writeFile(home.filePath(".claude/settings.json"), "[1, 2, 3]\n");
    EXPECT_EQ(outcome({"connect", "claude"}),
              "1 Claude Code settings could not be updated safely.\n");
    EXPECT_EQ(readFile(home.filePath(".claude/settings.json")), "[1, 2, 3]\n");
}

// check-updates: an offer or what went wrong; a feed cannot send control sequences to a terminal.
TEST_F(CommandLineTest, CheckUpdatesReportsAnOfferOrWhatWentWrong) {
    const QString feed = home.filePath("feed.json"), missing = home.filePath("missing.json");
    const QString current = "--current-version", url = "https://e.com/get?v=1";
    const auto offer = [&](const QString& version) {
        return "0 Lumora " + version + " is available.\n" + url + "\n";
    };
    const QString upToDate = "0 Lumora is up to date.\n", noFile = ": No such file or directory\n";
    const QByteArray v = "1.5.0", hostile = "9.0.0-\\u001b[2J\\u009b31m+\\u0007";
    const std::tuple<QByteArray, QStringList, QString> rows[] = {
        {v, {"--feed", feed, current, "1.4.2"}, offer("1.5.0")},
        {v, {"--feed", QUrl::fromLocalFile(feed).toString(), current, "1.4.2"}, offer("1.5.0")},
        {v, {"--feed", "feed.json", current, "1.4.2"}, offer("1.5.0")},
        {v, {current, "1.5.0", "--feed", feed}, upToDate},
        {v, {"--feed", feed}, offer("1.5.0")}, // against the build's own version
        {buildinfo::version, {"--feed", feed}, upToDate},
        {v, {"--feed", feed, current, "not a version"}, "1 The update version is invalid.\n"},
        {v, {"--feed", "http://127.0.0.1:1/feed.json"}, "1 The update feed must use HTTPS.\n"},
        {v, {"--feed", missing}, "1 Could not read \u201c" + missing + "\u201d" + noFile},
        {hostile, {"--feed", feed}, offer("9.0.0-\uFFFD[2J\uFFFD31m+\uFFFD")},
    };
    for (const auto& [version, options, said] : rows) {
        SCOPED_TRACE(version.toStdString() + " " + options.join(' ').toStdString());
        writeFile(feed,
                  R"({"version": ")" + version + R"(", "downloadURL": ")" + url.toUtf8() + "\"}");
        EXPECT_EQ(outcome(QStringList{"check-updates"} + options), said);
    }
    if (!configuredUpdateFeedURL(buildinfo::updateFeedUrl)) {
        EXPECT_EQ(outcome({"check-updates"}),
                  "1 The update channel is not configured in this build.\n");
    }
}

// The version; texts in the desktop's language (LANGUAGE, LC_ALL, LC_MESSAGES, LANG; a country
// falls back to its language, an untranslated one to English); wrong usage exits with 2 and why.
TEST_F(CommandLineTest, VersionHelpInTheDesktopsLanguageAndWrongUsage) {
    EXPECT_EQ(outcome({"--version"}), "0 Lumora 0.1.0\n");
    const QString nbsp(QChar(0x00A0));
    const std::tuple<QString, QString, QString> languages[] = {
        {"LANG=en_US.UTF-8", "Usage: lumora [COMMAND] [OPTIONS]", "No tool is shown."},
        {"LANG=de_DE.UTF-8", "Aufruf: lumora [BEFEHL] [OPTIONEN]", "Kein Tool wird angezeigt."},
        {"LANG=fr_FR.UTF-8", "Utilisation" + nbsp + ": lumora [COMMANDE] [OPTIONS]",
         "Aucun outil n\u2019est affich\u00e9."},
        {"LANG=de_DE.UTF-8 LANGUAGE=fr", "Utilisation", "Aucun outil"},
        {"LANG=de_DE.UTF-8 LANGUAGE=en_GB:de", "Usage: lumora", "No tool"},
        {"LANG=de_AT.UTF-8", "Aufruf", "Kein Tool"},
        {"LANG=C.UTF-8 LC_MESSAGES=de_DE.UTF-8", "Aufruf", "Kein Tool"},
        {"LANG=es_ES.UTF-8", "Usage: lumora", "No tool is shown."},
    };
    for (const auto& [variables, help, tooltip] : languages) {
        SCOPED_TRACE(variables.toStdString());
        EXPECT_TRUE(lumora({"--help"}, variables.split(' ')).out.startsWith(help));
        EXPECT_TRUE(waybar(variables.split(' '))["tooltip"].toString().startsWith(tooltip));
    }
    for (const char* line :
         {"frobnicate", "--frobnicate", "status --xml", "status --json --waybar", "connect",
          "connect gemini", "disconnect", "disconnect claude codex", "check-updates --feed",
          "check-updates --feed \t", "check-updates --current-version", "check-updates --json",
          "history --since 7x", "history --provider gemini", "history --json --csv",
          "history --since", "history --all"}) {
        SCOPED_TRACE(line);
        const QStringList wrong = QString(line).split(' ');
        const CommandOutcome run = lumora(wrong);
        EXPECT_TRUE(run.exitCode == 2 && run.out.isEmpty() && run.err.startsWith("lumora: ") &&
                    (wrong[0] == "history" || run.err.contains("Usage: lumora")))
            << run.exitCode << run.out.toStdString() << run.err.toStdString();
    }
}

// Waybar's module: the class is the worst verdict shown, the percentage the lowest share left; bad
// files and hostile texts still give one line of JSON, its tooltip escaped for Pango. The kept
// history: the pace and the weekly window in status --json and the tooltip, the history table.
TEST_F(CommandLineTest, WaybarStatusJsonAndHistoryShowVerdictsPaceAndWeeklyWindow) {
    expectWaybar("Lumora", {"unknown"}, -1, "No tool is shown.");
    connectClaude();
    const std::tuple<Availability, double, QString, QString, int> rows[] = {
        {Availability::ready, 0.42, "Claude Code 58%", "ready", 58},
        {Availability::limited, 0.855, "Claude Code 15%", "limited", 15},
        {Availability::blocked, 1.0, "Claude Code 02hr ", "blocked", 0},
    };
    for (const auto& [availability, usedRatio, text, verdict, left] : rows) {
        saveClaude(availability, usedRatio);
        const QString tooltip = QString("Claude Code · Session limit: %1% left, resets ").arg(left);
        EXPECT_FALSE(
            expectWaybar(text, {verdict}, left, tooltip)["tooltip"].toString().contains('\n'));
    }
    // Codex first but signed out: its line says so; it changes neither verdict nor percentage.
    writeScript(codex(), fakeCodex("echo 'Not logged in'; exit 1", "exit 1"));
    writeFile(home.preferencesFile(), R"({"providerEnabled": true, "codexEnabled": true})");
    saveClaude(Availability::limited, 0.9);
    expectWaybar("Codex --% · Claude Code 10%", {"limited"}, 10,
                 "Codex: Sign in to Codex to continue.\nClaude Code · Session limit: 10% left");
    // A stale snapshot keeps its verdict, adds "stale" and gives no percentage.
    saveClaude(Availability::limited, 0.9, 3600);
    EXPECT_TRUE(
        expectWaybar("Codex --% · Claude Code --%", {"limited", "stale"}, -1, "Codex: ")["tooltip"]
            .toString()
            .contains("\nClaude Code: usage needs sync (last update "));
    // Only the signed-out Codex shown: nothing is known.
    writeFile(home.preferencesFile(), R"({"codexEnabled": true})");
    EXPECT_EQ(expectWaybar("Codex --%", {"unknown"}, -1, "")["tooltip"],
              "Codex: Sign in to Codex to continue.");
    writeFile(home.preferencesFile(), R"({"providerEnabled": true})");
    for (const QByteArray& corrupt : {QByteArray("{\"availability\": \"ready\", \"windows\": [{"),
                                      QByteArray("\x00\xff\n\x1b[2J", 6), QByteArray("[]")}) {
        writeFile(home.dataFile("claude-code-snapshot.json"), corrupt);
        cache(corrupt);
        EXPECT_EQ(expectWaybar("Claude Code --%", {"unknown"}, -1, "")["tooltip"],
                  "Claude Code: Open Claude Code and send a message once to sync usage.");
    }
    QJsonObject hostile = UsageSnapshot::unavailable("claude-code", "Claude Code", "x").toJson();
    hostile["availability"] = "limited";
    hostile["staleAfterSeconds"] = 86400;
    hostile["statusMessage"] = "<span size='99999'>&</span>\nline\x01";
    cache("");
    writeFile(home.dataFile("claude-code-snapshot.json"), QJsonDocument(hostile).toJson());
    EXPECT_EQ(expectWaybar("Claude Code", {"limited"}, -1, "")["tooltip"],
              "Claude Code: &lt;span size='99999'&gt;&amp;&lt;/span&gt;\nline\x01");
    const qint64 reset = QDateTime::currentSecsSinceEpoch() + 3 * 3600, weekly = reset + 4 * 86400;
    cache(QString::asprintf(R"({"five_hour":{"used_percentage":60,"resets_at":%lld},)"
                            R"("seven_day":{"used_percentage":36,"resets_at":%lld}})",
                            reset, weekly)
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
    const QJsonObject claude = snapshots()[0].toObject(), pace = claude["pace"].toObject();
    const QDateTime limit = QDateTime::fromString(pace["limitAt"].toString(), Qt::ISODate);
    EXPECT_EQ(pace["verdict"], "limit_before_reset");
    EXPECT_NEAR(pace["ratePerHour"].toDouble(), 0.45, 0.01);
    EXPECT_NEAR(QDateTime::currentDateTimeUtc().secsTo(limit), 53 * 60, 120);
    EXPECT_TRUE(pace["leftAtReset"].isNull());
    EXPECT_TRUE(pace["text"].toString().startsWith("At this pace: limit in "));
    EXPECT_EQ(QJsonDocument(claude["weeklyWindow"].toObject()).toJson(QJsonDocument::Compact),
              R"({"kind":"weekly","resetsAt":")" +
                  isoDateTimeText(QDateTime::fromSecsSinceEpoch(weekly, Qt::UTC)) +
                  R"(","usedRatio":0.36})");
    EXPECT_TRUE(waybar()["tooltip"].toString().contains("\n  At this pace: limit in "));
    const CommandOutcome table = lumora({"history", "--provider", "claude"});
    EXPECT_EQ(table.out.count('\n'), 5) << table.out.toStdString(); // a header and four rows
}
