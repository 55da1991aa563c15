// The real Claude Code and the real Codex CLI (the versions scripts/setup.sh pins in .deps, or
// the newest published ones with LUMORA_REAL_CLIENTS=latest) hand Lumora the figures that a local
// stand-in of their vendors' services reports (tests/realclients/standin.py), with made-up
// sign-in data. The stand-in and the clients share a network namespace of their own with only a
// loopback device, so nothing leaves the machine. Lumora runs as users run it: the tray on a
// private bus with a watcher and a notification service of the test's, and the command line.
#include "TraySupport.h"

#include "core/AtomicFile.h"

#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <span>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// An unsigned JSON web token with these claims: the clients read the claims, nobody checks it.
QByteArray token(const QJsonObject& claims) {
    const auto part = [](const QJsonObject& object) {
        return QJsonDocument(object)
            .toJson(QJsonDocument::Compact)
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    };
    return part({{"alg", "none"}, {"typ", "JWT"}}) + '.' + part(claims) + ".c2lnbmF0dXJl";
}

// The steps both clients go through (the session's share used and how much later than in two
// hours it resets), what the tray shows after each and the notification it brings, after the
// tool's name.
const struct Step {
    double used;
    qint64 later;
    QString label, notification;
} steps[] = {
    {0.42, 0, "58%", ""},
    {0.85, 0, "15%", " usage reached 80%"},
    {1.0, 0, "02hr 01min", " is resting"},
    {0.05, 5 * 3600, "95%", " is ready"},
};

class RealClientsTest : public ::testing::Test {
protected:
    void SetUp() override {
        const bool latest = qEnvironmentVariable("LUMORA_REAL_CLIENTS") == "latest";
        const QString deps = QStringLiteral(LUMORA_DEPS_DIR) + (latest ? "/latest" : "");
        claudeCode = deps + "/claude/node_modules/.bin/claude";
        codex = deps + "/codex/node_modules/.bin/codex";
        std::string missing;
        for (const QString& tool : {claudeCode, codex}) {
            if (!QFileInfo(tool).isExecutable()) {
                missing = tool.toStdString() + " is not installed (scripts/setup.sh installs it)";
            }
        }
        requireRealClient(missing);
        if (IsSkipped() || HasFailure()) {
            return;
        }
        ASSERT_TRUE(bus.isRunning());
        // The stand-in in a network namespace of its own, loopback up; the clients join it.
        setFigures(0.42, inTwoHours);
        standIn.start("unshare", {"--net", "--map-root-user", "sh", "-c",
                                  "ip link set lo up && exec python3 \"$0\" \"$1\" \"$2\"",
                                  QStringLiteral(LUMORA_STANDIN), home.filePath("port"),
                                  home.filePath("stand-in.json")});
        if (!waitUntil([&] { return QFileInfo::exists(home.filePath("port")); })) {
            GTEST_SKIP() << "SKIPPED: no network namespace for the stand-in here (unshare --net "
                            "--map-root-user with ip and python3): "
                         << standIn.readAll().toStdString();
        }
        port = QString::fromUtf8(readFile(home.filePath("port")));
        ASSERT_TRUE(watcher.start());
        ASSERT_TRUE(notifications.registerOn(notificationBus));
    }
    void TearDown() override {
        standIn.kill();
        standIn.waitForFinished(5000);
        runProgram("tmux", {"-S", home.filePath("tmux.sock"), "kill-server"});
    }

    // A script that runs a program inside the stand-in's network namespace.
    QString inNamespace(const QString& name, const QString& program, const QString& settings = {}) {
        const QString path = home.filePath("bin/" + name);
        writeScript(path, QString("exec nsenter -t %1 -n -U --preserve-credentials -- env %2 '%3' "
                                  "\"$@\"\n")
                              .arg(standIn.processId())
                              .arg(settings, program)
                              .toUtf8());
        return path;
    }
    // The stand-in's figures: the session window's share and reset, with a fault of its answer
    // ("", "no-figures", "garbage" or "no-window"); the weekly window's are 31% and four days.
    void setFigures(double used, qint64 reset, const QString& fault = {}) {
        const QJsonObject figures{{"used", used},
                                  {"reset", reset},
                                  {"weekly", 0.31},
                                  {"weeklyReset", inFourDays},
                                  {"fault", fault}};
        writeFileAtomically(home.filePath("stand-in.json"), QJsonDocument(figures).toJson());
    }
    // The tray with one tool connected, its alerts on.
    void startTray(const QString& claudePath, const QString& codexPath) {
        QJsonObject preferences{{"alertsEnabled", true},
                                {"providerEnabled", !claudePath.isEmpty()},
                                {"codexEnabled", !codexPath.isEmpty()},
                                {"showClaudeInMenuBar", true},
                                {"showCodexInMenuBar", true}};
        writeFile(home.filePath(".config/Lumora/preferences.json"),
                  QJsonDocument(preferences).toJson());
        tray = std::make_unique<LumoraProcess>(
            home.path(), bus.address(),
            QStringList{"LUMORA_CLAUDE_PATH=" + (claudePath.isEmpty() ? "/nowhere" : claudePath),
                        "LUMORA_CODEX_PATH=" + (codexPath.isEmpty() ? "/nowhere" : codexPath)});
        tray->start();
        ASSERT_TRUE(waitUntil([&] { return !watcher.registrations().isEmpty(); }));
    }
    QString label() {
        const QDBusMessage reply = PrivateBus::call(
            notificationBus,
            QDBusMessage::createMethodCall(watcher.registrations().value(0), "/StatusNotifierItem",
                                           "org.freedesktop.DBus.Properties", "Get")
                << "org.kde.StatusNotifierItem"
                << "XAyatanaLabel");
        return reply.arguments().value(0).value<QDBusVariant>().variant().toString();
    }
    // Waits for the label, meanwhile calling `poke` (if any); the failure says what it showed.
    void expectLabel(const QString& expected, std::chrono::seconds within,
                     const std::function<void()>& poke = {}) {
        EXPECT_TRUE(
            waitUntil([&] { return (poke ? poke() : void()), label() == expected; }, within))
            << "the label shows \"" << label().toStdString() << "\", not \""
            << expected.toStdString() << "\"";
    }
    // Walks these steps: sets each one's figures, calls `ask` and waits for the label (calling
    // `poke` meanwhile) and for the notifications it brings.
    void walk(std::span<const Step> some, const QString& tool, const std::function<void()>& ask,
              const std::function<void()>& poke = {}) {
        for (const Step& step : some) {
            SCOPED_TRACE(step.label.toStdString());
            setFigures(step.used, inTwoHours + step.later);
            ask();
            expectLabel(tool + " " + step.label, std::chrono::seconds(20), poke);
            if (!step.notification.isEmpty()) {
                expected << tool + step.notification;
            }
            EXPECT_TRUE(waitUntil([&] { return notifications.summaries() == expected; }))
                << notifications.summaries().join(", ").toStdString();
        }
    }
    // What the command line reports of one tool's windows: kind, share used, reset time.
    QStringList windowsInStatus(const QString& provider) const {
        const CommandOutcome status = runLumora(
            home.path(), {"status", "--json", "--all"},
            {{"LUMORA_CODEX_PATH", codexInNamespace}, {"LUMORA_CLAUDE_PATH", claudeCode}});
        QStringList windows;
        for (const QJsonValue snapshot :
             QJsonDocument::fromJson(status.out.toUtf8())["snapshots"].toArray()) {
            for (const QJsonValue window : snapshot["windows"].toArray()) {
                if (snapshot["providerID"] == provider) {
                    windows << QString("%1 %2 %3")
                                   .arg(window["kind"].toString())
                                   .arg(window["usedRatio"].toDouble())
                                   .arg(window["resetsAt"].toString());
                }
            }
        }
        return windows;
    }
    static QString iso(qint64 epoch) {
        return isoDateTimeText(QDateTime::fromSecsSinceEpoch(epoch, Qt::UTC));
    }

    TemporaryHome home;
    PrivateBus bus;
    QDBusConnection notificationBus = bus.connect("notifications");
    FakeNotificationService notifications;
    WatcherProcess watcher{bus.address(), home.path()};
    QProcess standIn;
    std::unique_ptr<LumoraProcess> tray;
    QString port, claudeCode, codex, codexInNamespace;
    QStringList expected; // the notifications so far
    // Whole seconds, half a minute past the minute, so that a countdown reads the same for 30 s.
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const qint64 inTwoHours = now + 2 * 3600 + 30;
    const qint64 inFourDays = now + 4 * 86400;
};

} // namespace

TEST_F(RealClientsTest, CodexReportsTheStandInsFiguresToLumora) {
    codexInNamespace = inNamespace("codex", codex, "CODEX_HOME=" + home.filePath("codex"));
    const QDateTime signedIn = QDateTime::currentDateTimeUtc();
    const QByteArray jwt = token(
        {{"email", "someone@example.org"},
         {"exp", signedIn.toSecsSinceEpoch() + 86400},
         {"https://api.openai.com/auth", QJsonObject{{"chatgpt_plan_type", "plus"},
                                                     {"chatgpt_user_id", "user-standin"},
                                                     {"chatgpt_account_id", "acct-standin"}}}});
    writeFile(home.filePath("codex/auth.json"),
              QJsonDocument(QJsonObject{{"auth_mode", "chatgpt"},
                                        {"OPENAI_API_KEY", QJsonValue::Null},
                                        {"last_refresh", isoDateTimeText(signedIn)},
                                        {"tokens", QJsonObject{{"id_token", QString(jwt)},
                                                               {"access_token", QString(jwt)},
                                                               {"refresh_token", "standin"},
                                                               {"account_id", "acct-standin"}}}})
                  .toJson());
    writeFile(home.filePath("codex/config.toml"),
              "chatgpt_base_url = \"http://127.0.0.1:" + port.toUtf8() + "/backend-api/\"\n");
    EXPECT_EQ(windowsInStatus("codex"),
              (QStringList{"session 0.42 " + iso(inTwoHours), "weekly 0.31 " + iso(inFourDays)}));

    startTray({}, codexInNamespace);
    // Asks the tray to refresh, again each second while the label is not there yet: a refresh
    // asked for while one is in flight (that may have read the figures before) is dropped.
    QDeadlineTimer nextRefresh;
    const auto ask = [&] {
        nextRefresh.setRemainingTime(0);
    };
    const auto refresh = [&] {
        if (nextRefresh.hasExpired()) {
            nextRefresh.setRemainingTime(1000);
            PrivateBus::call(notificationBus,
                             QDBusMessage::createMethodCall("io.github.lumora.Lumora",
                                                            "/io/github/lumora/Lumora",
                                                            "io.github.lumora.Lumora", "Refresh"));
        }
    };
    walk(steps, "Codex", ask, refresh);
    // Bad answers (no window, no figures, not JSON): no figure at all rather than a wrong one.
    for (const char* fault : {"no-window", "no-figures", "garbage"}) {
        SCOPED_TRACE(fault);
        setFigures(0.3, inTwoHours, fault);
        ask();
        expectLabel("Codex --%", std::chrono::seconds(20), refresh);
    }
    // A share below nothing counts as nothing used.
    setFigures(-0.05, inTwoHours);
    ask();
    expectLabel("Codex 100%", std::chrono::seconds(20), refresh);
    EXPECT_EQ(notifications.summaries(), expected);
}

TEST_F(RealClientsTest, ClaudeCodeReportsTheStandInsFiguresToLumora) {
    ASSERT_EQ(runLumora(home.path(), {"connect", "claude"}, {{"LUMORA_CLAUDE_PATH", claudeCode}})
                  .exitCode,
              0);
    // Onboarding done and the project trusted, so Claude Code goes straight to its prompt; it
    // takes the token for a gateway's and then reads the rate-limit headers.
    QDir().mkpath(home.filePath("project"));
    writeFile(home.filePath(".claude.json"),
              QJsonDocument(
                  QJsonObject{{"hasCompletedOnboarding", true},
                              {"projects",
                               QJsonObject{{QFileInfo(home.filePath("project")).canonicalFilePath(),
                                            QJsonObject{{"hasTrustDialogAccepted", true}}}}}})
                  .toJson());
    startTray(claudeCode, {});
    // A terminal with nothing of this process's environment.
    const QStringList tmux{"tmux", "-S", home.filePath("tmux.sock"), "-f", "/dev/null"};
    const QStringList terminal{"-i",
                               "HOME=" + home.path(),
                               "PATH=/usr/bin:/bin",
                               "LANG=C.UTF-8",
                               "ANTHROPIC_BASE_URL=http://127.0.0.1:" + port,
                               "ANTHROPIC_AUTH_TOKEN=" +
                                   token({{"aud", "claude-gateway"}, {"sub", "standin"}})};
    ASSERT_EQ(runProgram("env", terminal + tmux +
                                    QStringList{"new-session", "-d", "-x", "120", "-y", "40", "-c",
                                                home.filePath("project"),
                                                inNamespace("claude", claudeCode)})
                  .exitCode,
              0);
    const auto tmuxDoes = [&](const QStringList& arguments) {
        return runProgram("env", tmux + arguments).out;
    };
    const auto screen = [&] {
        return tmuxDoes({"capture-pane", "-p"});
    };
    ASSERT_TRUE(waitUntil([&] { return screen().contains("\u276F"); }, std::chrono::seconds(30)))
        << screen().toStdString();
    // Each setting reaches Lumora with the answer to the next message.
    const auto send = [&] {
        tmuxDoes({"send-keys", "What is left?", "Enter"});
    };

    walk(std::span(steps).first(1), "Claude Code", send);
    EXPECT_EQ(windowsInStatus("claude-code"),
              (QStringList{"session 0.42 " + iso(inTwoHours), "weekly 0.31 " + iso(inFourDays)}));
    walk(std::span(steps).subspan(1), "Claude Code", send);
    // Bad answers: Claude Code hands over nothing, so the cache and the label keep the last
    // figures (until they grow old and need a sync); a share below nothing counts as nothing used.
    const QString cache = home.filePath(".local/share/Lumora/claude-rate-limits.json");
    const QByteArray lastGood = readFile(cache);
    const auto requests = [&] {
        return readFile(home.filePath("port.log")).count("POST /v1/");
    };
    for (const char* fault : {"no-figures", "garbage"}) {
        SCOPED_TRACE(fault);
        setFigures(0.3, inTwoHours, fault);
        const qsizetype before = requests();
        send();
        // The status line runs again after the answer, now without figures: the hook says so.
        EXPECT_TRUE(waitUntil(
            [&] {
                return requests() > before &&
                       screen().contains("Lumora \u00B7 waiting for Claude Code usage");
            },
            std::chrono::seconds(20)))
            << screen().toStdString();
        EXPECT_EQ(readFile(cache), lastGood);
        EXPECT_EQ(label(), "Claude Code 95%");
    }
    setFigures(-0.2, inTwoHours);
    send();
    expectLabel("Claude Code 100%", std::chrono::seconds(20));
    EXPECT_EQ(notifications.summaries(), expected);
}
