// The process runner, the app-server conversation and both providers, on real child processes.
#include "core/BuildInfo.h"
#include "core/ClaudeRateLimitCacheParser.h"
#include "core/ClaudeUsageProvider.h"
#include "core/CodexAppServerSession.h"
#include "core/CodexUsageProvider.h"
#include "core/ExecutableSearch.h"
#include "core/ProcessRunner.h"
#include "core/SnapshotCache.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <gtest/gtest.h>
#include <thread>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;
using SessionError = CodexAppServerSession::SessionError;

namespace {

const QByteArray initializeAnswer =
    R"({"id":1,"result":{"userAgent":"codex/0.1","platformFamily":"unix"}})";
const QByteArray notification = R"({"method":"remoteControl/status/changed","params":{}})";
const QByteArray rateLimitAnswer =
    R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300}}}})";

struct ChildProcessTest : ::testing::Test {
    // A fake app server logging its input: `take N` reads N lines, `drain` whatever else comes.
    CodexAppServerSession session(const QByteArray& body,
                                  CodexAppServerSession::Limits limits = {5000}) const {
        writeScript(home.filePath("bin/codex"),
                    "log='" + home.filePath("received").toUtf8() + "'\n" +
                        "take() { for _ in $(seq \"$1\"); do IFS= read -r line || exit 0; "
                        "printf '%s\\n' \"$line\" >> \"$log\"; done; }\n"
                        "drain() { timeout 0.3 cat >> \"$log\"; }\n" +
                        body);
        return CodexAppServerSession(home.filePath("bin/codex"), limits);
    }
    // The lines a fake wrote to the log `name`; the log is gone after.
    QStringList logged(const QString& name) const {
        const QString path = home.filePath(name);
        const QByteArray lines = QFileInfo::exists(path) ? readFile(path) : "";
        QFile::remove(path);
        return QString::fromUtf8(lines).split('\n', Qt::SkipEmptyParts);
    }
    static QByteArray say(const QByteArray& line) { return "printf '%s\\n' '" + line + "'\n"; }
    static QByteArray initialized() { return "take 1\n" + say(initializeAnswer) + "take 2\n"; }
    static SessionError failure(const CodexAppServerSession& session) {
        try {
            ADD_FAILURE() << "unexpected success: " << session.readRateLimits().toStdString();
        } catch (const SessionError& error) {
            return error;
        }
        return SessionError::timedOut();
    }
    QString script(const QByteArray& body) const {
        writeScript(home.filePath("bin/tool"), body);
        return home.filePath("bin/tool");
    }
    // Installs of either tool on fixed paths of this machine would shadow the test's home folder.
    static std::optional<QString> systemInstall(const QString& tool) {
        return firstExecutable({"/Applications/ChatGPT.app/Contents/Resources/" + tool,
                                "/opt/homebrew/bin/" + tool, "/usr/local/bin/" + tool,
                                "/usr/bin/" + tool});
    }
    static QDateTime clock() { return now; }
    static QDateTime codexClock() { return QDateTime::fromSecsSinceEpoch(1767200000, Qt::UTC); }
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
    // What Codex's provider says when it has no figures: the message alone.
    static void expectUnavailable(const UsageSnapshot& got, const QString& text) {
        EXPECT_EQ(got, (UsageSnapshot{.providerID = "codex",
                                      .providerName = "Codex",
                                      .capturedAt = got.capturedAt,
                                      .windows = {},
                                      .statusMessage = text}));
    }
    static inline const QDateTime now = // whole seconds, like the files
        QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), Qt::UTC);
    TemporaryHome home;
};
using AppServerSessionTest = ChildProcessTest;
using ProcessRunnerTest = ChildProcessTest;
using ExecutableSearch = ChildProcessTest;
using ClaudeProviderTest = ChildProcessTest;
using CodexProviderTest = ChildProcessTest;
using RealCodexTest = ChildProcessTest;

} // namespace

// The handshake once, every line until the answer; every way a server ends it ends it once.
TEST_F(AppServerSessionTest, FromTheHandshakeToTheAnswerAndEveryWayTheConversationEnds) {
    const QByteArray chunked =
        "take 1\nprintf '%s\\n\\n' '" + initializeAnswer + "'\ntake 2\nprintf '  %s \\r\\n' '" +
        notification + "'\necho 'not json at all'\n" + say(rateLimitAnswer) + "exec sleep 30\n";
    EXPECT_EQ(session(chunked).readRateLimits(), initializeAnswer + "\n" + notification +
                                                     "\nnot json at all\n" + rateLimitAnswer +
                                                     "\n");
    EXPECT_EQ(
        logged("received"),
        QStringList({R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"lumora",)"
                     R"("title":"Lumora","version":")" +
                         QString(buildinfo::version) + "\"}}}",
                     R"({"method":"initialized"})",
                     R"({"id":2,"method":"account/rateLimits/read"})"}));
    // A repeated id 1 sends nothing again; an error answer ends it.
    const QByteArray errorAnswer = R"({"id":2,"error":{"code":-32600,"message":"no"}})";
    EXPECT_EQ(session("take 1\n" + say(initializeAnswer) + say(initializeAnswer) +
                      "take 2\ndrain\n" + say(errorAnswer) + "exec sleep 30\n")
                  .readRateLimits(),
              initializeAnswer + "\n" + initializeAnswer + "\n" + errorAnswer + "\n");
    EXPECT_EQ(logged("received").size(), 3);
    // A clean exit waits for the time limit.
    const std::tuple<QByteArray, int, SessionError> cases[] = {
        {"take 1\nexit 3\n", 5000, SessionError::serverExited(3)},
        {"exit 3\n", 5000, SessionError::serverExited(3)},
        {"take 1\nkill -9 $$\n", 5000, SessionError::serverExited(9)},
        {"take 1\nexec 0<&-\n" + say(initializeAnswer) + "exit 3\n", 5000,
         SessionError::serverExited(3)}, // our next request meets a closed pipe
        {initialized() + "exit 0\n", 600, SessionError::timedOut()},
        {"exec sleep 30\n", 500, SessionError::timedOut()},
    };
    for (const auto& [body, milliseconds, expected] : cases) {
        QElapsedTimer clock;
        clock.start();
        EXPECT_EQ(failure(session(body, {milliseconds})), expected) << body.toStdString();
        const qint64 took = clock.elapsed();
        EXPECT_TRUE(expected != SessionError::timedOut() || (took >= milliseconds && took < 5000));
        EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    }
    writeFile(home.filePath("bin/not-executable"), "#!/bin/sh\n");
    EXPECT_THROW(CodexAppServerSession(home.filePath("bin/not-executable")).readRateLimits(),
                 ProcessError);
    // An answer and an error exit right at the time limit: one outcome, one request, no server.
    logged("received");
    const QByteArray answerThenExit = say(rateLimitAnswer) + "exit 3";
    int answers = 0, exits = 0, timeouts = 0;
    for (const char* delay : {"0.15", "0.2", "0.25"}) {
        for (const QByteArray& ending : {answerThenExit, QByteArray("exit 3")}) {
            const auto subject =
                session(initialized() + "sleep " + QByteArray(delay) + "\n" + ending + "\n", {200});
            bool timedOut = false;
            try {
                EXPECT_EQ(subject.readRateLimits(),
                          initializeAnswer + "\n" + rateLimitAnswer + "\n");
                EXPECT_EQ(ending, answerThenExit);
                ++answers;
            } catch (const SessionError& error) {
                timedOut = error.kind() != SessionError::Case::serverExited;
                EXPECT_TRUE(timedOut || error.exitCode() == 3);
                ++(timedOut ? timeouts : exits);
            }
            // Never sent twice; a loaded machine may time out before the server read all three.
            const qsizetype sent = logged("received").size();
            EXPECT_TRUE(sent == 3 || (timedOut && sent < 3)) << sent;
            EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
        }
    }
    EXPECT_GT(timeouts, 0) << answers << " answers, " << exits << " exits";
    // Oversized lines, split across reads or whole, are dropped; an endless one ends by the limit.
    const QString transcript =
        session("read -r _\nhead -c 5000 /dev/zero | tr '\\0' x; sleep 0.2; echo\n" +
                    say(initializeAnswer) +
                    "awk 'BEGIN { while (n++ < 1500) printf \"x\"; print \"\" }'\n" +
                    "read -r _; read -r _\nfor i in $(seq 100); do " + say(notification) +
                    "done\n" + say(rateLimitAnswer) + "exec sleep 30\n",
                {5000, 1000, 2000})
            .readRateLimits();
    EXPECT_TRUE(transcript.startsWith(initializeAnswer + "\n" + notification + "\n") &&
                transcript.endsWith(notification + "\n" + rateLimitAnswer + "\n") &&
                !transcript.contains("xxx"));
    EXPECT_LE(transcript.toUtf8().size(), 2000 + rateLimitAnswer.size() + 1);
    resetPeakMemory();
    const qint64 before = peakMemoryBytes();
    EXPECT_EQ(failure(session("take 1\nexec tr -d '\\n' < /dev/zero\n", {1500})),
              SessionError::timedOut());
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    if (residentMemoryIsMeaningful) { // not under AddressSanitizer's quarantine
        EXPECT_LT(peakMemoryBytes() - before, 13 * 1024 * 1024); // line, transcript, allocator
    }
}

// Both streams, the exit status, input, a plain terminal, any thread; late children reaped.
TEST_F(ProcessRunnerTest, CollectsBothStreamsTheExitStatusForcesAPlainTerminalAndReaps) {
    const QByteArray show = "echo \"TERM=$TERM NO_COLOR=$NO_COLOR FOO=$FOO HOME=$HOME\"\n";
    QProcessEnvironment base;
    base.insert("TERM", "xterm-256color");
    base.insert("NO_COLOR", "0");
    base.insert("FOO", "bar");
    qputenv("FOO", "inherited");
    const QString text = QString::fromUtf8("sk-test\nzwei Zeilen é\n");
    const QtProcessRunner plain;
    const QString inherited = "TERM=dumb NO_COLOR=1 FOO=inherited HOME=" + home.path() + "\n" +
                              qEnvironmentVariable("PATH") + "\n";
    const std::tuple<QByteArray, QString, QtProcessRunner, ProcessResult> cases[] = {
        {"echo a; echo b >&2; echo c\n", {}, plain, {"a\nb\nc\n", 0}},
        {"kill -9 $$\n", {}, plain, {"", 9}},
        {"cat\n", text, plain, {text, 0}},
        {show, {}, QtProcessRunner(base), {"TERM=dumb NO_COLOR=1 FOO=bar HOME=\n", 0}},
        {show + "echo \"$PATH\"\n", {}, plain, {inherited, 0}},
    };
    for (const auto& [body, input, runner, expected] : cases) {
        EXPECT_EQ(runner.run(script(body), {}, input, 5.0), expected) << body.toStdString();
    }
    qunsetenv("FOO");
    ProcessResult result; // ThreadSanitizer sees this join, unlike Qt's waits
    std::thread([&, tool = script("echo from a worker\n")] {
        result = QtProcessRunner().run(tool, {}, {}, 5.0);
    }).join();
    EXPECT_EQ(result, (ProcessResult{"from a worker\n", 0}));
    EXPECT_THROW(QtProcessRunner().run(script("trap '' TERM\nexec sleep 30\n"), {}, {}, 0.2),
                 QtProcessRunner::RunnerError);
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    writeFile(home.filePath("plain"), "echo hi\n");
    for (const auto& [executable, reason] : {std::pair{home.filePath("missing"), "No such file"},
                                             {home.filePath("plain"), "Permission denied"},
                                             {QString("sh"), "No such file"}}) {
        try {
            QtProcessRunner().run(executable, {}, {}, 1.0);
            ADD_FAILURE() << executable.toStdString() << " started";
        } catch (const ProcessError& error) {
            EXPECT_TRUE(error.description().contains(reason)) << error.description().toStdString();
        }
    }
}

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
        const auto locate = [&] {
            return tool == "claude" ? claude().locateClaudeExecutable()
                                    : codex().locateCodexExecutable();
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

// Found, then set up; the newer of cache and saved snapshot wins, the saved one a tie.
TEST_F(ClaudeProviderTest, ReadinessAndTheNewerOfCacheAndSavedSnapshot) {
    const QString cache = home.dataFile("claude-rate-limits.json");
    const auto used = [&] {
        const UsageSnapshot snapshot = claude().fetch();
        return snapshot.windows.isEmpty() ? -1.0 : snapshot.windows.first().usedRatio.value();
    };
    EXPECT_EQ(claude().readiness(), LocalProviderReadiness::executableMissing());
    home.installClaude();
    EXPECT_EQ(claude().readiness(), LocalProviderReadiness::setupRequired());
    claude().installStatusLineSync();
    EXPECT_EQ(claude().readiness(), LocalProviderReadiness::ready());
    SnapshotCache("claude-code", std::nullopt, home.path())
        .save(ClaudeRateLimitCacheParser().parse(R"({"five_hour":{"used_percentage":10}})",
                                                 now.addSecs(-60), now));
    writeFile(cache, R"({"five_hour":{"used_percentage":42}})");
    setModificationTime(cache, now.addSecs(-60));
    const double tie = used();
    setModificationTime(cache, now);
    EXPECT_EQ(std::pair(tie, used()), std::pair(0.10, 0.42));
    QFile::remove(cache);
    QDir().mkpath(cache);
    EXPECT_EQ(used(), 0.10);
}

// Each failing step has its message; a good answer its figures; nothing leaks.
TEST_F(CodexProviderTest, EachFailingStepHasItsMessageAndNothingLeaks) {
    // A login status that hangs times out; no app server is started then.
    expectUnavailable(codex(install("exec sleep 30", {})).fetch(),
                      "The local status check timed out.");
    EXPECT_EQ(logged("calls"), QStringList{"login status"});
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    const QByteArray usage = answeringAppServer(
        R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300,)"
        R"("resetsAt":1767225600},"secondary":{"usedPercent":7,"windowDurationMins":10080,)"
        R"("resetsAt":1767657600}}}})");
    const QList<UsageWindow> windows{UsageWindow(Kind::session, 0.42, codexClock().addSecs(25600)),
                                     UsageWindow(Kind::weekly, 0.07, codexClock().addSecs(457600))};
    const CodexUsageProvider working = codex(install("exit 0", usage));
    EXPECT_EQ(working.fetch(), (UsageSnapshot{"codex", "Codex", codexClock(), Availability::ready,
                                              windows, SnapshotSource::officialAppServer,
                                              Confidence::exact, 120, std::nullopt}));
    EXPECT_EQ(logged("calls"), (QStringList{"login status", "app-server --listen stdio://"}));
    if (!systemInstall("codex")) { // Codex removed between the readiness check and the conversation
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
    logged("calls");
    const QList<ChildProcess> childrenBefore = childProcesses();
    const qsizetype descriptorsBefore = openFileDescriptorCount();
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(working.fetch().statusMessage, std::nullopt) << "round " << round;
    }
    EXPECT_EQ(std::tuple(childProcesses(), openFileDescriptorCount(), logged("calls").size()),
              std::tuple(childrenBefore, descriptorsBefore, 2 * 50));
}

// The real CLI, cut off from the network: signed out, then the whole conversation to no usage.
TEST_F(RealCodexTest, SignInStatusAndTheAppServerHandshake) {
    const QString realCodex = LUMORA_REAL_CODEX_PATH, codex = home.filePath("bin/codex");
    requireRealClient(QFileInfo(realCodex).isExecutable() ? "" : "scripts/setup.sh installs it");
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    for (const char* name : {"CODEX_HOME", "OPENAI_API_KEY", "CODEX_API_KEY", "OPENAI_BASE_URL"}) {
        qunsetenv(name); // nothing from the developer's own Codex set-up may reach the tool
    }
    writeScript(codex, "exec " + networkIsolation.join(' ').toUtf8() + " '" + realCodex.toUtf8() +
                           "' \"$@\"\n");
    const CodexAppServerSession::Limits limits{60000};
    const CodexUsageProvider provider({home.path(), codex, {}, 60, limits, {}});
    EXPECT_EQ(std::tuple(provider.readiness(), provider.fetch().statusMessage),
              std::tuple(LocalProviderReadiness::loginRequired(), "Sign in to Codex to continue."));
    const ProcessResult login = QtProcessRunner().run(codex, {"login", "--with-api-key"},
                                                      "sk-lumora-test-not-a-real-key\n", 60);
    ASSERT_EQ(login.exitCode, 0) << login.output.toStdString();
    EXPECT_TRUE(QFileInfo::exists(home.filePath(".codex/auth.json")));
    ASSERT_EQ(provider.readiness(), LocalProviderReadiness::ready())
        << provider.readiness().message().toStdString();
    const QString transcript = CodexAppServerSession(codex, limits).readRateLimits();
    QList<int> answered; // the ids of the answers: the server's requests to the client have ids too
    for (const QString& line : transcript.split('\n', Qt::SkipEmptyParts)) {
        const QJsonObject message = QJsonDocument::fromJson(line.toUtf8()).object();
        if (message.contains("id") && !message.contains("method") &&
            (message["id"] != 1 || message["result"].isObject())) {
            answered.append(message["id"].toInt());
        }
    }
    EXPECT_EQ(answered, QList({1, 2})) << transcript.toStdString();
    const UsageSnapshot snapshot = provider.fetch();
    EXPECT_EQ(
        std::tuple(snapshot.statusMessage, snapshot.source),
        std::tuple("The Codex app-server did not return usage data.", SnapshotSource::unavailable));
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
}
