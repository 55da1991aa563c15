#include "core/BuildInfo.h"
#include "core/CodexAppServerSession.h"
#include "core/ProcessRunner.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

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

// A fake `codex app-server`: a shell script that logs every line it receives to "received" and
// talks as the body says. `take N` reads N requests; `drain` also logs whatever else arrives
// within a moment (to catch requests sent twice).
class AppServerSessionTest : public ::testing::Test {
protected:
    QString server(const QByteArray& body) const {
        const QString path = home.filePath("bin/codex");
        writeScript(path, "log='" + received().toUtf8() + "'\n" +
                              "take() { for _ in $(seq \"$1\"); do IFS= read -r line || exit 0; "
                              "printf '%s\\n' \"$line\" >> \"$log\"; done; }\n"
                              "drain() { timeout 0.3 cat >> \"$log\"; }\n" +
                              body);
        return path;
    }
    QString received() const { return home.filePath("received"); }
    QList<QJsonObject> receivedMessages() const {
        QList<QJsonObject> messages;
        for (const QByteArray& line :
             QFile::exists(received()) ? readFile(received()).split('\n') : QList<QByteArray>()) {
            if (!line.isEmpty()) {
                messages.append(QJsonDocument::fromJson(line).object());
            }
        }
        QFile::remove(received());
        return messages;
    }
    static CodexAppServerSession::Limits quick(int milliseconds) {
        return {.timeoutMilliseconds = milliseconds};
    }
    static QByteArray initialized() {
        return "take 1\nprintf '%s\\n' '" + initializeAnswer + "'\ntake 2\n";
    }
    static SessionError sessionFailure(const CodexAppServerSession& session) {
        try {
            const QString transcript = session.readRateLimits();
            ADD_FAILURE() << "unexpected success: " << transcript.toStdString();
        } catch (const SessionError& error) {
            return error;
        } catch (const Error& error) {
            ADD_FAILURE() << "unexpected error: " << error.what();
        }
        return SessionError::timedOut();
    }

    TemporaryHome home;
};

} // namespace

TEST_F(AppServerSessionTest, SendsTheHandshakeAndCollectsEveryLineHoweverTheOutputIsChunked) {
    const QString expected = QString::fromUtf8(initializeAnswer + "\n" + notification + "\n" +
                                               "not json at all\n" + rateLimitAnswer + "\n");
    const QList<QByteArray> bodies{
        "take 1\nprintf '%s\\n\\n' '" + initializeAnswer + "'\ntake 2\nprintf '  %s \\r\\n' '" +
            notification + "'\necho 'not json at all'\nprintf '%s\\n' '" + rateLimitAnswer +
            "'\nexec sleep 30\n",
    };
    QList<QJsonObject> messages;
    for (const QByteArray& body : bodies) {
        EXPECT_EQ(CodexAppServerSession(server(body), quick(5000)).readRateLimits(), expected)
            << body.toStdString();
        const QList<QJsonObject> got = receivedMessages();
        messages = messages.isEmpty() ? got : messages; // the first server reads every request
    }
    ASSERT_EQ(messages.size(), 3);
    const QJsonObject clientInfo{
        {"name", "lumora"}, {"title", "Lumora"}, {"version", QString(buildinfo::version)}};
    EXPECT_EQ(messages[0], (QJsonObject{{"id", 1},
                                        {"method", "initialize"},
                                        {"params", QJsonObject{{"clientInfo", clientInfo}}}}));
    EXPECT_EQ(messages[1], (QJsonObject{{"method", "initialized"}}));
    EXPECT_EQ(messages[2], (QJsonObject{{"id", 2}, {"method", "account/rateLimits/read"}}));
}

TEST_F(AppServerSessionTest, ResponsesThatDoNotEndTheConversation) {
    // A repeated id 1 does not send the request again; an error answer to id 2 still ends it.
    const QByteArray errorAnswer = R"({"id":2,"error":{"code":-32600,"message":"no"}})";
    EXPECT_EQ(CodexAppServerSession(server("take 1\nprintf '%s\\n%s\\n' '" + initializeAnswer +
                                           "' '" + initializeAnswer + "'\ntake 2\ndrain\n" +
                                           "printf '%s\\n' '" + errorAnswer + "'\nexec sleep 30\n"),
                                    quick(5000))
                  .readRateLimits(),
              initializeAnswer + "\n" + initializeAnswer + "\n" + errorAnswer + "\n");
    EXPECT_EQ(receivedMessages().size(), 3);
}

TEST_F(AppServerSessionTest, AServerThatExitsOrNeverAnswersEndsTheConversation) {
    const struct {
        QByteArray body;
        int milliseconds;
        SessionError expected;
    } cases[] = {
        // Exiting before answering; killed by a signal, whose number is the status; exiting
        // cleanly without an answer is not an answer: the time limit decides.
        {"take 1\nexit 3\n", 5000, SessionError::serverExited(3)},
        {"exit 3\n", 5000, SessionError::serverExited(3)},
        {"take 1\nkill -9 $$\n", 5000, SessionError::serverExited(9)},
        {initialized() + "exit 0\n", 600, SessionError::timedOut()},
        {"exec sleep 30\n", 500, SessionError::timedOut()},
    };
    for (const auto& c : cases) {
        QElapsedTimer clock;
        clock.start();
        EXPECT_EQ(sessionFailure(CodexAppServerSession(server(c.body), quick(c.milliseconds))),
                  c.expected)
            << c.body.toStdString();
        if (c.expected == SessionError::timedOut()) {
            EXPECT_GE(clock.elapsed(), c.milliseconds);
            EXPECT_LT(clock.elapsed(), 5000);
        }
        EXPECT_EQ(childProcesses(), QList<ChildProcess>{}); // ended and reaped, never a zombie
    }
    // An answer followed at once by an error exit is an answer.
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(CodexAppServerSession(
                      server(initialized() + "printf '%s\\n' '" + rateLimitAnswer + "'\nexit 3\n"),
                      quick(5000))
                      .readRateLimits(),
                  initializeAnswer + "\n" + rateLimitAnswer + "\n");
    }
    // A server that cannot start is a process error.
    writeFile(home.filePath("bin/not-executable"), "#!/bin/sh\n");
    EXPECT_THROW(CodexAppServerSession(home.filePath("bin/not-executable")).readRateLimits(),
                 ProcessError);
}

TEST_F(AppServerSessionTest, AnswerExitAndTimeLimitRacingEndTheConversationOnce) {
    // The answer and an error exit land right around the time limit. Whatever wins, the call
    // ends once with one of the three outcomes, the request was sent once and the server is gone.
    const QByteArray answerThenExit = "printf '%s\\n' '" + rateLimitAnswer + "'; exit 3";
    int answers = 0;
    int exits = 0;
    int timeouts = 0;
    for (const char* delay : {"0.15", "0.2", "0.25"}) {
        for (const QByteArray& ending : {answerThenExit, QByteArray("exit 3")}) {
            const QString codex =
                server(initialized() + "sleep " + QByteArray(delay) + "\n" + ending + "\n");
            bool timedOut = false;
            try {
                EXPECT_EQ(CodexAppServerSession(codex, quick(200)).readRateLimits(),
                          initializeAnswer + "\n" + rateLimitAnswer + "\n");
                EXPECT_EQ(ending, answerThenExit);
                ++answers;
            } catch (const SessionError& error) {
                if (error.kind() == SessionError::Case::serverExited) {
                    EXPECT_EQ(error.exitCode(), 3);
                    ++exits;
                } else {
                    ++timeouts;
                    timedOut = true;
                }
            }
            // Never sent twice; on a loaded machine the time limit can pass before the server
            // has read all three.
            const qsizetype sent = receivedMessages().size();
            EXPECT_TRUE(sent == 3 || (timedOut && sent < 3)) << sent;
            EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
        }
    }
    EXPECT_EQ(answers + exits + timeouts, 6);
    EXPECT_GT(timeouts, 0); // the late ones
}

TEST_F(AppServerSessionTest, OversizedLinesAreDroppedAndMemoryStaysBounded) {
    const CodexAppServerSession::Limits limits{5000, 1000, 2000};
    // A 5000-byte line, then 100 notifications of about 60 bytes, then the answer.
    const QString codex =
        server("take 1\nhead -c 5000 /dev/zero | tr '\\0' x; echo\nprintf '%s\\n' '" +
               initializeAnswer + "'\ntake 2\nfor i in $(seq 100); do printf '%s\\n' '" +
               notification + "'; done\nprintf '%s\\n' '" + rateLimitAnswer + "'\nexec sleep 30\n");
    const QString transcript = CodexAppServerSession(codex, limits).readRateLimits();
    EXPECT_TRUE(transcript.startsWith(initializeAnswer + "\n" + notification + "\n"));
    EXPECT_TRUE(transcript.endsWith(notification + "\n" + rateLimitAnswer + "\n"));
    EXPECT_FALSE(transcript.contains("xxx"));
    EXPECT_LE(transcript.toUtf8().size(), 2000 + rateLimitAnswer.size() + 1);
    // An endless line keeps memory bounded and ends by the time limit.
    resetPeakMemory();
    const qint64 before = peakMemoryBytes();
    EXPECT_EQ(sessionFailure(CodexAppServerSession(server("take 1\nexec tr -d '\\n' < /dev/zero\n"),
                                                   quick(1500))),
              SessionError::timedOut());
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
    if (residentMemoryIsMeaningful) { // not under AddressSanitizer's quarantine
        EXPECT_LT(peakMemoryBytes() - before, 13 * 1024 * 1024); // line, transcript, allocator
    }
}
