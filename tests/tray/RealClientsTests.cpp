// The real Claude Code and Codex CLI, signed in with made-up data, hand the tray and the command
// line the figures of a stand-in of their services in a network namespace with only a loopback.
#include "TraySupport.h"

#include "core/AtomicFile.h"

#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

#include <span>

using namespace lumora;
using namespace lumora::test;

namespace {

// JSON written with single quotes, with these values for %1, %2...
template <typename... Values> QByteArray json(QString text, const Values&... values) {
    ((text = text.arg(values)), ...);
    return text.replace('\'', '"').toUtf8();
}

// An unsigned JSON web token with these claims: the clients read the claims, nobody checks them.
QString token(const QByteArray& claims) {
    const auto base64 = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;
    return "eyJhbGciOiJub25lIiwidHlwIjoiSldUIn0." + claims.toBase64(base64) + ".c2lnbmF0dXJl";
}

// The steps both clients go through: the session's share used and how much later than in two
// hours it resets; what the tray then shows after the tool's name, and the notification it brings.
using Step = std::tuple<double, qint64, QString, QString>;
const Step steps[] = {{0.42, 0, "58%", ""},
                      {0.85, 0, "15%", " usage reached 80%"},
                      {1.0, 0, "02hr 01min", " is resting"},
                      {0.05, 5 * 3600, "95%", " is ready"}};

class RealClientsTest : public TrayTest {
protected:
    void SetUp() override {
        const QString deps =
            LUMORA_DEPS_DIR + QString(qgetenv("LUMORA_REAL_CLIENTS") == "latest" ? "/latest" : "");
        claudeCode = deps + "/claude/node_modules/.bin/claude";
        codex = deps + "/codex/node_modules/.bin/codex";
        const bool found = QFileInfo(claudeCode).isExecutable() && QFileInfo(codex).isExecutable();
        requireRealClient(found ? "" : "a real client is missing (scripts/setup.sh installs it)");
        if (IsSkipped() || HasFailure()) {
            return;
        }
        TrayTest::SetUp();
        // The stand-in in a network namespace of its own, loopback up; the clients join it.
        setFigures(0.42, inTwoHours);
        const QString script = "ip link set lo up && exec python3 \"$0\" \"$1\" \"$2\"";
        standIn.start("unshare", {"--net", "--map-root-user", "sh", "-c", script, LUMORA_STANDIN,
                                  home.filePath("port"), home.filePath("stand-in.json")});
        if (!waitUntil([&] { return QFileInfo::exists(home.filePath("port")); })) {
            GTEST_SKIP() << "no network namespace for the stand-in: " << standIn.readAll().data();
        }
        port = QString::fromUtf8(readFile(home.filePath("port")));
        ASSERT_TRUE(watcher.start());
        ASSERT_TRUE(notifications.registerOn(notificationBus));
    }
    void TearDown() override {
        standIn.kill(), standIn.waitForFinished(5000);
        runProgram("tmux", tmux.mid(1) + QStringList{"kill-server"});
    }

    // A script that runs a program inside the stand-in's network namespace.
    QString inNamespace(const QString& name, const QString& program, const QString& settings = {}) {
        const QString path = home.filePath("bin/" + name),
                      pid = QString::number(standIn.processId());
        const QString line =
            "exec nsenter -t %1 -n -U --preserve-credentials -- env %2 '%3' \"$@\"\n";
        writeScript(path, line.arg(pid, settings, program).toUtf8());
        return path;
    }
    // The stand-in's figures: the session window's share and reset, with a fault of its answer
    // ("", "no-figures", "garbage" or "no-window"); the weekly window's are 31% and four days.
    void setFigures(double used, qint64 reset, const QString& fault = {}) {
        writeFileAtomically(
            home.filePath("stand-in.json"),
            json("{'used': %1, 'reset': %2, 'weekly': 0.31, 'weeklyReset': %3, 'fault': '%4'}",
                 used, reset, now + 4 * 86400, fault));
        nextRefresh.setRemainingTime(0);
    }
    // The tray with one tool connected (the other one's path is /nowhere), its alerts on.
    void startTray(const QString& claudePath, const QString& codexPath) {
        tool = codexPath == "/nowhere" ? "Claude Code" : "Codex";
        const QStringList on{tool == "Codex" ? "false" : "true",
                             tool == "Codex" ? "true" : "false"};
        writeFile(home.preferencesFile(),
                  json("{'alertsEnabled': true, 'providerEnabled': %1, 'codexEnabled': %2, "
                       "'showClaudeInMenuBar': true, 'showCodexInMenuBar': true}",
                       on[0], on[1]));
        tray = std::make_unique<LumoraProcess>(
            home.path(), bus.address(),
            QStringList{"LUMORA_CLAUDE_PATH=" + claudePath, "LUMORA_CODEX_PATH=" + codexPath});
        tray->start();
        ASSERT_TRUE(waitUntil([&] { return !watcher.registrations().isEmpty(); }));
    }
    QString label() {
        QDBusMessage m =
            QDBusMessage::createMethodCall(watcher.registrations().value(0), "/StatusNotifierItem",
                                           "org.freedesktop.DBus.Properties", "Get");
        m.setArguments({"org.kde.StatusNotifierItem", "XAyatanaLabel"});
        const QVariant value = PrivateBus::call(notificationBus, m).arguments().value(0);
        return value.value<QDBusVariant>().variant().toString();
    }
    // Waits for `shown` after the tool's name on the label, asking the Codex tray to refresh.
    void expectLabel(const QString& shown) {
        const QString want = tool + ' ' + shown;
        EXPECT_TRUE(waitUntil([&] { return refresh(), label() == want; }, std::chrono::seconds(20)))
            << "the label shows " << label().toStdString() << ", not " << want.toStdString();
    }
    // Walks these steps: sets each one's figures, sends Claude Code a message, and waits for the
    // label and for the notifications it brings.
    void walk(std::span<const Step> some) {
        for (const auto& [used, later, shown, notification] : some) {
            SCOPED_TRACE(shown.toStdString());
            setFigures(used, inTwoHours + later);
            tool == "Claude Code" ? send() : void();
            expectLabel(shown);
            expected << (notification.isEmpty() ? QStringList() : QStringList{tool + notification});
            EXPECT_TRUE(waitUntil([&] { return notifications.summaries() == expected; }))
                << notifications.summaries().join(", ").toStdString();
        }
    }
    // What the command line reports of one tool's windows (kind, share used, reset time) against
    // the stand-in's figures at the start.
    void expectWindowsInStatus(const QString& provider) const {
        const QList<QPair<QString, QString>> paths{{"LUMORA_CODEX_PATH", codexInNamespace},
                                                   {"LUMORA_CLAUDE_PATH", claudeCode}};
        const QString out = runLumora(home.path(), {"status", "--json", "--all"}, paths).out;
        QStringList windows;
        for (const QJsonValue s : QJsonDocument::fromJson(out.toUtf8())["snapshots"].toArray()) {
            for (const QJsonValue w : s["windows"].toArray()) {
                const QString used = QString::number(w["usedRatio"].toDouble());
                windows << QStringList{s["providerID"].toString(), w["kind"].toString(), used,
                                       w["resetsAt"].toString()}
                               .join(' ');
            }
        }
        EXPECT_EQ(windows.filter(provider + ' '),
                  QStringList({provider + " session 0.42 " + iso(inTwoHours),
                               provider + " weekly 0.31 " + iso(now + 4 * 86400)}));
    }
    // Asks the Codex tray to refresh, at once after new figures and then each second: a refresh
    // asked for while one is in flight (that may have read the figures before) is dropped.
    void refresh() {
        if (tool == "Codex" && nextRefresh.hasExpired()) {
            nextRefresh.setRemainingTime(1000);
            const QString name = "io.github.lumora.Lumora", path = "/io/github/lumora/Lumora";
            PrivateBus::call(notificationBus,
                             QDBusMessage::createMethodCall(name, path, name, "Refresh"));
        }
    }
    // Claude Code's terminal: what it shows, and a message typed into it.
    QString screen() { return runProgram("env", tmux + QStringList{"capture-pane", "-p"}).out; }
    void send() { runProgram("env", tmux + QStringList{"send-keys", "What is left?", "Enter"}); }
    static QString iso(qint64 t) {
        return isoDateTimeText(QDateTime::fromSecsSinceEpoch(t, Qt::UTC));
    }

    QDBusConnection notificationBus = bus.connect("notifications");
    FakeNotificationService notifications;
    QProcess standIn;
    std::unique_ptr<LumoraProcess> tray;
    QString port, claudeCode, codex, codexInNamespace, tool;
    const QStringList tmux{"tmux", "-S", home.filePath("tmux.sock"), "-f", "/dev/null"};
    QStringList expected; // the notifications so far
    QDeadlineTimer nextRefresh;
    // Whole seconds, half a minute past the minute, so that a countdown reads the same for 30 s.
    const qint64 now = QDateTime::currentSecsSinceEpoch(), inTwoHours = now + 2 * 3600 + 30;
};

} // namespace

TEST_F(RealClientsTest, CodexReportsTheStandInsFiguresToLumora) {
    codexInNamespace = inNamespace("codex", codex, "CODEX_HOME=" + home.filePath("codex"));
    const QDateTime signedIn = QDateTime::currentDateTimeUtc();
    const QString jwt =
        token(json("{'email': 'someone@example.org', 'exp': %1, 'https://api.openai.com/auth': "
                   "{'chatgpt_plan_type': 'plus', 'chatgpt_user_id': 'user-standin', "
                   "'chatgpt_account_id': 'acct-standin'}}",
                   signedIn.toSecsSinceEpoch() + 86400));
    writeFile(home.filePath("codex/auth.json"),
              json("{'auth_mode': 'chatgpt', 'OPENAI_API_KEY': null, 'last_refresh': '%1', "
                   "'tokens': {'id_token': '%2', 'access_token': '%2', 'refresh_token': 'standin', "
                   "'account_id': 'acct-standin'}}",
                   isoDateTimeText(signedIn), jwt));
    writeFile(home.filePath("codex/config.toml"),
              "chatgpt_base_url = \"http://127.0.0.1:" + port.toUtf8() + "/backend-api/\"\n");
    expectWindowsInStatus("codex");

    startTray("/nowhere", codexInNamespace);
    walk(steps);
    // Bad answers (no window, no figures, not JSON): no figure at all rather than a wrong one; a
    // share below nothing counts as nothing used.
    for (const QString fault : {"no-window", "no-figures", "garbage", ""}) {
        SCOPED_TRACE(fault.toStdString());
        setFigures(fault.isEmpty() ? -0.05 : 0.3, inTwoHours, fault);
        expectLabel(fault.isEmpty() ? "100%" : "--%");
    }
    EXPECT_EQ(notifications.summaries(), expected);
}

TEST_F(RealClientsTest, ClaudeCodeReportsTheStandInsFiguresToLumora) {
    const QList<QPair<QString, QString>> claude{{"LUMORA_CLAUDE_PATH", claudeCode}};
    ASSERT_EQ(runLumora(home.path(), {"connect", "claude"}, claude).exitCode, 0);
    // Onboarding done and the project trusted, so Claude Code goes straight to its prompt; it
    // takes the token for a gateway's and then reads the rate-limit headers.
    const QString project = home.filePath("project");
    QDir().mkpath(project);
    writeFile(home.filePath(".claude.json"), json("{'hasCompletedOnboarding': true, 'projects': "
                                                  "{'%1': {'hasTrustDialogAccepted': true}}}",
                                                  QFileInfo(project).canonicalFilePath()));
    startTray(claudeCode, "/nowhere");
    // In a terminal with nothing of this process's environment.
    const QString gateway = token(json("{'aud': 'claude-gateway', 'sub': 'standin'}"));
    const auto terminal = QStringList(
        {"-i", "HOME=" + home.path(), "PATH=/usr/bin:/bin", "LANG=C.UTF-8",
         "ANTHROPIC_BASE_URL=http://127.0.0.1:" + port, "ANTHROPIC_AUTH_TOKEN=" + gateway});
    const auto session = QStringList({"new-session", "-d", "-x", "120", "-y", "40", "-c", project,
                                      inNamespace("claude", claudeCode)});
    ASSERT_EQ(runProgram("env", terminal + tmux + session).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return screen().contains("❯"); }, std::chrono::seconds(30)))
        << screen().toStdString();
    // Each setting reaches Lumora with the answer to the next message.
    walk(std::span(steps).first(1));
    expectWindowsInStatus("claude-code");
    walk(std::span(steps).subspan(1));
    // Bad answers: Claude Code hands over nothing, so the cache and the label keep the last
    // figures (until they grow old and need a sync); a share below nothing counts as nothing used.
    const QByteArray lastGood = readFile(home.dataFile("claude-rate-limits.json"));
    for (const char* fault : {"no-figures", "garbage"}) {
        SCOPED_TRACE(fault);
        setFigures(0.3, inTwoHours, fault);
        const QString log = home.filePath("port.log");
        const qsizetype before = readFile(log).count("POST /v1/");
        send();
        // The status line runs again after the answer, now without figures: the hook says so.
        const QString waiting = "Lumora · waiting for Claude Code usage";
        EXPECT_TRUE(waitUntil(
            [&] { return readFile(log).count("POST /v1/") > before && screen().contains(waiting); },
            std::chrono::seconds(20)))
            << screen().toStdString();
        EXPECT_EQ(readFile(home.dataFile("claude-rate-limits.json")), lastGood);
        EXPECT_EQ(label(), "Claude Code 95%");
    }
    setFigures(-0.2, inTwoHours);
    send();
    expectLabel("100%");
    EXPECT_EQ(notifications.summaries(), expected);
}
