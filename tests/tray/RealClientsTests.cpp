// The real Claude Code and Codex CLI, signed in with made-up data, hand the tray and the command
// line the figures of a stand-in of their services in a network namespace with only a loopback.
#include "TrayTests.h"

#include "core/AtomicFile.h"

#include <QDBusVariant>
#include <QDeadlineTimer>
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
    return "eyJhbGciOiJub25lIiwidHlwIjoiSldUIn0." +
           claims.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals) +
           ".c2lnbmF0dXJl";
}

// Each step: the session's share used, its reset later than in two hours, what the tray shows and
// the notification it brings (a share below nothing counts as nothing used).
using Step = std::tuple<double, qint64, QString, QString>;
const Step steps[] = {{0.42, 0, "58%", ""},
                      {0.85, 0, "15%", " usage reached 80%"},
                      {1.0, 0, "02hr 01min", " is resting"},
                      {0.05, 5 * 3600, "95%", " is ready"},
                      {-0.05, 5 * 3600, "100%", ""}};

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
        // The stand-in in a network namespace of its own, loopback up; the clients join it.
        setFigures(0.42, inTwoHours);
        const QString script = "ip link set lo up && exec python3 \"$0\" \"$1\" \"$2\"";
        standIn.start(networkIsolation[0],
                      networkIsolation.mid(1) + QStringList{"sh", "-c", script, LUMORA_STANDIN,
                                                            home.filePath("port"),
                                                            home.filePath("stand-in.json")});
        ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(home.filePath("port")); }))
            << "the stand-in did not start: " << standIn.readAllStandardError().data();
        port = QString::fromUtf8(readFile(home.filePath("port")));
        ASSERT_TRUE(watcher.start(bus.connect("watcher")));
        ASSERT_TRUE(notifications.registerOn(notificationBus));
    }
    void TearDown() override {
        standIn.kill(), standIn.waitForFinished(5000);
        runProgram("tmux", tmux.mid(1) + QStringList{"kill-server"});
    }
    // A script that runs a program inside the stand-in's network namespace.
    QString inNamespace(const QString& name, const QString& program, const QString& settings = {}) {
        const QString line =
            R"(exec nsenter -t %1 -n -U --preserve-credentials -- env %2 '%3' "$@")";
        writeScript(home.filePath("bin/" + name),
                    line.arg(standIn.processId()).arg(settings, program).toUtf8());
        return home.filePath("bin/" + name);
    }
    // The stand-in's session window and fault (see standin.py); the week's: 31%, four days.
    void setFigures(double used, qint64 reset, const QString& fault = {}) {
        writeFileAtomically(
            home.filePath("stand-in.json"),
            json("{'used': %1, 'reset': %2, 'weekly': 0.31, 'weeklyReset': %3, 'fault': '%4'}",
                 used, reset, now + 4 * 86400, fault));
        nextRefresh.setRemainingTime(0);
    }
    // Waits for these figures on the label, asking for a refresh at once and then each second (one
    // asked for while another is in flight, that may have read the figures before, is dropped).
    void expectLabel(const QString& codex, const QString& claude) {
        const QString want = "Codex " + codex + " · Claude Code " + claude,
                      name = "io.github.lumora.Lumora";
        QDBusMessage get =
            QDBusMessage::createMethodCall(watcher.registrations.value(0), "/StatusNotifierItem",
                                           "org.freedesktop.DBus.Properties", "Get");
        get.setArguments({"org.kde.StatusNotifierItem", "XAyatanaLabel"});
        QString label;
        EXPECT_TRUE(waitUntil(
            [&] {
                if (nextRefresh.hasExpired()) {
                    nextRefresh.setRemainingTime(1000);
                    PrivateBus::call(notificationBus,
                                     QDBusMessage::createMethodCall(
                                         name, "/io/github/lumora/Lumora", name, "Refresh"));
                }
                const QVariant value = PrivateBus::call(notificationBus, get).arguments().value(0);
                return (label = value.value<QDBusVariant>().variant().toString()) == want;
            },
            std::chrono::seconds(20)))
            << "the label shows " << label.toStdString() << ", not " << want.toStdString();
    }
    // Each step's figures, a message to Claude Code, then the label and the notifications.
    void walk(std::span<const Step> some) {
        for (const auto& [used, later, shown, notification] : some) {
            setFigures(used, inTwoHours + later);
            send();
            expectLabel(shown, shown);
            if (!notification.isEmpty()) {
                expected << "Claude Code" + notification << "Codex" + notification;
            }
            expected.sort();
            QStringList sent; // in the order of their texts
            EXPECT_TRUE(waitUntil([&] {
                return sent = notifications.summaries(), sent.sort(), sent == expected;
            })) << sent.join(", ").toStdString();
        }
    }
    // Claude Code's terminal: what it shows, and a message typed into it.
    QString screen() { return runProgram("env", tmux + QStringList{"capture-pane", "-p"}).out; }
    void send() { runProgram("env", tmux + QStringList{"send-keys", "What is left?", "Enter"}); }

    QDBusConnection notificationBus = bus.connect("notifications");
    FakeNotificationService notifications;
    QProcess standIn;
    QString port, claudeCode, codex;
    const QStringList tmux{"tmux", "-S", home.filePath("tmux.sock"), "-f", "/dev/null"};
    QStringList expected; // the notifications so far
    QDeadlineTimer nextRefresh;
    // Whole seconds, half a minute past the minute, so that a countdown reads the same for 30 s.
    const qint64 now = QDateTime::currentSecsSinceEpoch(), inTwoHours = now + 2 * 3600 + 30;
};

} // namespace

// The clients' figures in the tray, status and alerts; after bad answers none, or the last kept.
TEST_F(RealClientsTest, BothReportTheStandInsFiguresToLumora) {
    const QString codexInNamespace =
        inNamespace("codex", codex, "CODEX_HOME=" + home.filePath("codex"));
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
    ASSERT_EQ(runLumora(home.path(), {"connect", "claude"}, {{"LUMORA_CLAUDE_PATH", claudeCode}})
                  .exitCode,
              0);
    // Onboarded and trusting the project, Claude Code goes to its prompt (a gateway's token).
    const QString project = home.filePath("project");
    QDir().mkpath(project);
    writeFile(home.filePath(".claude.json"), json("{'hasCompletedOnboarding': true, 'projects': "
                                                  "{'%1': {'hasTrustDialogAccepted': true}}}",
                                                  QFileInfo(project).canonicalFilePath()));
    writeFile(home.preferencesFile(), // both tools connected, their alerts on
              json("{'alertsEnabled': true, 'providerEnabled': true, 'codexEnabled': true, "
                   "'showClaudeInMenuBar': true, 'showCodexInMenuBar': true}"));
    LumoraProcess tray(
        home.path(), bus.address(),
        {"LUMORA_CLAUDE_PATH=" + claudeCode, "LUMORA_CODEX_PATH=" + codexInNamespace});
    tray.start();
    ASSERT_TRUE(waitUntil([&] { return !watcher.registrations.isEmpty(); }));
    // In a terminal with nothing of this process's environment.
    const auto terminal = QStringList(
        {"-i", "HOME=" + home.path(), "PATH=/usr/bin:/bin", "LANG=C.UTF-8",
         "ANTHROPIC_BASE_URL=http://127.0.0.1:" + port,
         "ANTHROPIC_AUTH_TOKEN=" + token(json("{'aud': 'claude-gateway', 'sub': 'standin'}"))});
    const auto session = QStringList({"new-session", "-d", "-x", "120", "-y", "40", "-c", project,
                                      inNamespace("claude", claudeCode)});
    ASSERT_EQ(runProgram("env", terminal + tmux + session).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return screen().contains("❯"); }, std::chrono::seconds(30)))
        << screen().toStdString();
    walk(std::span(steps).first(1));
    // What the command line reports of the tools' windows: kind, share used, reset.
    const Environment tools{{"LUMORA_CODEX_PATH", codexInNamespace},
                            {"LUMORA_CLAUDE_PATH", claudeCode}};
    const QString status = runLumora(home.path(), {"status", "--json", "--all"}, tools).out;
    QStringList windows;
    for (const QJsonValue s : QJsonDocument::fromJson(status.toUtf8())["snapshots"].toArray()) {
        for (const QJsonValue w : s["windows"].toArray()) {
            const QDateTime reset = QDateTime::fromString(w["resetsAt"].toString(), Qt::ISODate);
            windows << QString("%1 %2 %3 %4")
                           .arg(s["providerID"].toString(), w["kind"].toString(),
                                QString::number(w["usedRatio"].toDouble()),
                                QString::number(reset.toSecsSinceEpoch()));
        }
    }
    const QString first = " session 0.42 " + QString::number(inTwoHours),
                  weekly = " weekly 0.31 " + QString::number(now + 4 * 86400);
    EXPECT_EQ(windows, QStringList({"codex" + first, "codex" + weekly, "claude-code" + first,
                                    "claude-code" + weekly}));
    walk(std::span(steps).subspan(1));
    const QByteArray lastGood = readFile(home.dataFile("claude-rate-limits.json"));
    for (const char* fault : {"no-figures", "garbage"}) {
        setFigures(0.3, inTwoHours, fault);
        const qsizetype before = readFile(home.filePath("port.log")).count("POST /v1/");
        send();
        EXPECT_TRUE(waitUntil(
            [&] {
                return readFile(home.filePath("port.log")).count("POST /v1/") > before &&
                       screen().contains("Lumora · waiting for Claude Code usage");
            },
            std::chrono::seconds(20)))
            << screen().toStdString();
        expectLabel("--%", "100%");
        EXPECT_EQ(readFile(home.dataFile("claude-rate-limits.json")), lastGood);
    }
    setFigures(0.3, inTwoHours, "no-window");
    expectLabel("--%", "100%");
    EXPECT_EQ(notifications.summaries().size(), expected.size());
}
