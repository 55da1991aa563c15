// The process runner and the app-server conversation, against scripts run as real child processes.
#include "core/BuildInfo.h"
#include "core/CodexAppServerSession.h"
#include "core/ProcessRunner.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QJsonDocument>

#include <thread>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using SessionError = CodexAppServerSession::SessionError;

namespace {

const QByteArray initializeAnswer =
    R"({"id":1,"result":{"userAgent":"codex/0.1","platformFamily":"unix"}})";
const QByteArray notification = R"({"method":"remoteControl/status/changed","params":{}})";
const QByteArray rateLimitAnswer =
    R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300}}}})";

// A fake app server logging what it receives: `take N` reads N lines, `drain` whatever else comes.
struct ChildProcessTest : ::testing::Test {
    CodexAppServerSession session(const QByteArray& body, int milliseconds = 5000) const {
        writeScript(home.filePath("bin/codex"),
                    "log='" + home.filePath("received").toUtf8() + "'\n" +
                        "take() { for _ in $(seq \"$1\"); do IFS= read -r line || exit 0; "
                        "printf '%s\\n' \"$line\" >> \"$log\"; done; }\n"
                        "drain() { timeout 0.3 cat >> \"$log\"; }\n" +
                        body);
        return CodexAppServerSession(home.filePath("bin/codex"),
                                     {.timeoutMilliseconds = milliseconds});
    }
    QList<QJsonObject> received() const {
        QList<QJsonObject> messages;
        const QString path = home.filePath("received");
        for (const QString& line : QString::fromUtf8(QFile::exists(path) ? readFile(path) : "")
                                       .split('\n', Qt::SkipEmptyParts)) {
            messages.append(QJsonDocument::fromJson(line.toUtf8()).object());
        }
        QFile::remove(path);
        return messages;
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
        const QString path = home.filePath(QStringLiteral("bin/tool-%1").arg(++scripts));
        writeScript(path, body);
        return path;
    }
    TemporaryHome home;
    mutable int scripts = 0;
};
using AppServerSessionTest = ChildProcessTest;
using ProcessRunnerTest = ChildProcessTest;

} // namespace

// Every line is collected however chunked; a repeated id 1 sends nothing again; an error ends it.
TEST_F(AppServerSessionTest, SendsTheHandshakeOnceAndCollectsEveryLineUntilTheAnswer) {
    const QByteArray chunked =
        "take 1\nprintf '%s\\n\\n' '" + initializeAnswer + "'\ntake 2\nprintf '  %s \\r\\n' '" +
        notification + "'\necho 'not json at all'\n" + say(rateLimitAnswer) + "exec sleep 30\n";
    EXPECT_EQ(session(chunked).readRateLimits(), initializeAnswer + "\n" + notification +
                                                     "\nnot json at all\n" + rateLimitAnswer +
                                                     "\n");
    const QJsonObject client{
        {"name", "lumora"}, {"title", "Lumora"}, {"version", buildinfo::version}};
    EXPECT_EQ(received(), (QList<QJsonObject>{{{"id", 1},
                                               {"method", "initialize"},
                                               {"params", QJsonObject{{"clientInfo", client}}}},
                                              {{"method", "initialized"}},
                                              {{"id", 2}, {"method", "account/rateLimits/read"}}}));
    const QByteArray errorAnswer = R"({"id":2,"error":{"code":-32600,"message":"no"}})";
    EXPECT_EQ(session("take 1\n" + say(initializeAnswer) + say(initializeAnswer) +
                      "take 2\ndrain\n" + say(errorAnswer) + "exec sleep 30\n")
                  .readRateLimits(),
              initializeAnswer + "\n" + initializeAnswer + "\n" + errorAnswer + "\n");
    EXPECT_EQ(received().size(), 3);
}

// Exiting (killed: the signal's number) or silent servers end it and are reaped; a clean exit waits
// for the time limit; an answer then an error exit is an answer.
TEST_F(AppServerSessionTest, AServerThatExitsOrNeverAnswersEndsTheConversation) {
    const std::tuple<QByteArray, int, SessionError> cases[] = {
        {"take 1\nexit 3\n", 5000, SessionError::serverExited(3)},
        {"exit 3\n", 5000, SessionError::serverExited(3)},
        {"take 1\nkill -9 $$\n", 5000, SessionError::serverExited(9)},
        {initialized() + "exit 0\n", 600, SessionError::timedOut()},
        {"exec sleep 30\n", 500, SessionError::timedOut()},
    };
    for (const auto& [body, milliseconds, expected] : cases) {
        QElapsedTimer clock;
        clock.start();
        EXPECT_EQ(failure(session(body, milliseconds)), expected) << body.toStdString();
        const qint64 took = clock.elapsed();
        EXPECT_TRUE(expected != SessionError::timedOut() || (took >= milliseconds && took < 5000));
        EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    }
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(session(initialized() + say(rateLimitAnswer) + "exit 3\n").readRateLimits(),
                  initializeAnswer + "\n" + rateLimitAnswer + "\n");
    }
    writeFile(home.filePath("bin/not-executable"), "#!/bin/sh\n");
    EXPECT_THROW(CodexAppServerSession(home.filePath("bin/not-executable")).readRateLimits(),
                 ProcessError);
}

// An answer and an error exit right at the time limit: one outcome, one request, no server left.
TEST_F(AppServerSessionTest, AnswerExitAndTimeLimitRacingEndTheConversationOnce) {
    const QByteArray answerThenExit = "printf '%s\\n' '" + rateLimitAnswer + "'; exit 3";
    int answers = 0, exits = 0, timeouts = 0;
    for (const char* delay : {"0.15", "0.2", "0.25"}) {
        for (const QByteArray& ending : {answerThenExit, QByteArray("exit 3")}) {
            const auto subject =
                session(initialized() + "sleep " + QByteArray(delay) + "\n" + ending + "\n", 200);
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
            const qsizetype sent = received().size();
            EXPECT_TRUE(sent == 3 || (timedOut && sent < 3)) << sent;
            EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
        }
    }
    EXPECT_TRUE(answers + exits + timeouts == 6 && timeouts > 0) << answers << exits << timeouts;
}

// Oversized lines are dropped, the transcript is bounded, and an endless line ends by the limit.
TEST_F(AppServerSessionTest, OversizedLinesAreDroppedAndMemoryStaysBounded) {
    writeScript(home.filePath("bin/big"),
                "read -r _\nhead -c 5000 /dev/zero | tr '\\0' x; echo\n" + say(initializeAnswer) +
                    "read -r _; read -r _\nfor i in $(seq 100); do " + say(notification) +
                    "done\n" + say(rateLimitAnswer) + "exec sleep 30\n");
    const QString transcript =
        CodexAppServerSession(home.filePath("bin/big"), {5000, 1000, 2000}).readRateLimits();
    EXPECT_TRUE(transcript.startsWith(initializeAnswer + "\n" + notification + "\n") &&
                transcript.endsWith(notification + "\n" + rateLimitAnswer + "\n") &&
                !transcript.contains("xxx"));
    EXPECT_LE(transcript.toUtf8().size(), 2000 + rateLimitAnswer.size() + 1);
    resetPeakMemory();
    const qint64 before = peakMemoryBytes();
    EXPECT_EQ(failure(session("take 1\nexec tr -d '\\n' < /dev/zero\n", 1500)),
              SessionError::timedOut());
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    if (residentMemoryIsMeaningful) { // not under AddressSanitizer's quarantine
        EXPECT_LT(peakMemoryBytes() - before, 13 * 1024 * 1024); // line, transcript, allocator
    }
}

// Both streams, the exit status (a signal's number), input, output past a pipe's size, a plain
// terminal on the given or inherited environment, and a run from a thread without an event loop.
TEST_F(ProcessRunnerTest, CollectsBothStreamsTheExitStatusAndForcesAPlainTerminal) {
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
        {"echo 'Not logged in'\nexit 1\n", {}, plain, {"Not logged in\n", 1}},
        {"kill -9 $$\n", {}, plain, {"", 9}},
        {"printf 'caf\\303\\251 \\377\\n'\n", {}, plain, {QString::fromUtf8("café \uFFFD\n"), 0}},
        {"cat\n", text, plain, {text, 0}},
        {show, {}, QtProcessRunner(base), {"TERM=dumb NO_COLOR=1 FOO=bar HOME=\n", 0}},
        {show + "echo \"$PATH\"\n", {}, plain, {inherited, 0}},
    };
    for (const auto& [body, input, runner, expected] : cases) {
        EXPECT_EQ(runner.run(script(body), {}, input, 5.0), expected) << body.toStdString();
    }
    qunsetenv("FOO");
    const ProcessResult talkative = QtProcessRunner().run(
        script("head -c 5000000 /dev/zero | tr '\\0' x\nexit 4\n"), {}, {}, 5);
    EXPECT_EQ(std::tuple(talkative.exitCode, talkative.output.size()),
              std::tuple(4, QtProcessRunner::maxOutputBytes));
    ProcessResult result; // ThreadSanitizer sees this join, unlike Qt's waits
    std::thread([&, tool = script("echo from a worker\n")] {
        result = QtProcessRunner().run(tool, {}, {}, 5.0);
    }).join();
    EXPECT_EQ(result, (ProcessResult{"from a worker\n", 0}));
}

// Killed after the grace period and reaped; launch failures are the system's; no PATH lookup.
TEST_F(ProcessRunnerTest, AChildPastItsTimeLimitIsEndedAndReaped) {
    EXPECT_THROW(QtProcessRunner().run(script("trap '' TERM\nexec sleep 30\n"), {}, {}, 0.2),
                 QtProcessRunner::RunnerError);
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    writeFile(home.filePath("plain"), "echo hi\n");
    const std::pair<QString, const char*> failures[] = {
        {home.filePath("missing"), "No such file"},
        {home.filePath("plain"), "Permission denied"},
        {"sh", "No such file"}};
    for (const auto& [executable, text] : failures) {
        try {
            QtProcessRunner().run(executable, {}, {}, 1.0);
            ADD_FAILURE() << executable.toStdString() << " started";
        } catch (const ProcessError& error) {
            EXPECT_TRUE(error.description().contains(text)) << error.description().toStdString();
        }
    }
}
