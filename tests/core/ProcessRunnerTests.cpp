#include "core/ProcessRunner.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <thread>

using namespace lumora;
using namespace lumora::test;
using RunnerError = QtProcessRunner::RunnerError;

namespace {

class ProcessRunnerTest : public ::testing::Test {
protected:
    QString script(const QByteArray& body) const {
        const QString path = home.filePath(QStringLiteral("bin/tool-%1").arg(++m_scripts));
        writeScript(path, body);
        return path;
    }
    ProcessResult run(const QByteArray& body, const QString& input = {},
                      const QtProcessRunner& runner = QtProcessRunner()) const {
        return runner.run(script(body), {}, input, 5.0);
    }

    TemporaryHome home;

private:
    mutable int m_scripts = 0;
};

} // namespace

TEST_F(ProcessRunnerTest, CollectsBothStreamsInOrderAndTheExitStatus) {
    EXPECT_EQ(run("echo ok\n"), (ProcessResult{"ok\n", 0}));
    EXPECT_EQ(run("echo oops >&2\n"), (ProcessResult{"oops\n", 0}));
    EXPECT_EQ(run("echo a; echo b >&2; echo c\n"), (ProcessResult{"a\nb\nc\n", 0}));
    EXPECT_EQ(run("echo 'Not logged in'\nexit 1\n"), (ProcessResult{"Not logged in\n", 1}));
    EXPECT_EQ(run("kill -9 $$\n").exitCode, 9); // killed: the signal number
    // Invalid UTF-8 is replaced, never an error.
    EXPECT_EQ(run("printf 'caf\\303\\251 \\377\\n'\n").output, QString::fromUtf8("café \uFFFD\n"));

    // Arguments reach the child as they are.
    const ProcessResult echoed = QtProcessRunner().run(
        script("printf '[%s]' \"$@\"\n"), {"login", "status", "two words", ""}, {}, 5.0);
    EXPECT_EQ(echoed.output, "[login][status][two words][]");
}

TEST_F(ProcessRunnerTest, WritesTheInputAndClosesIt) {
    EXPECT_EQ(run("cat\n", QString::fromUtf8("sk-test\nzwei Zeilen é\n")).output,
              QString::fromUtf8("sk-test\nzwei Zeilen é\n"));
    // An empty input is at its end straight away: cat returns at once.
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(run("cat; echo done\n"), (ProcessResult{"done\n", 0}));
    EXPECT_LT(clock.elapsed(), 3000);
}

TEST_F(ProcessRunnerTest, ForcesAPlainTerminalOnTheEnvironment) {
    const QByteArray show = "echo \"TERM=$TERM NO_COLOR=$NO_COLOR FOO=$FOO HOME=$HOME\"\n";
    QProcessEnvironment base;
    base.insert("TERM", "xterm-256color");
    base.insert("NO_COLOR", "0");
    base.insert("FOO", "bar");
    EXPECT_EQ(run(show, {}, QtProcessRunner(base)).output, "TERM=dumb NO_COLOR=1 FOO=bar HOME=\n");

    // Without a base environment the child inherits this process's variables.
    qputenv("FOO", "inherited");
    EXPECT_EQ(run(show).output, "TERM=dumb NO_COLOR=1 FOO=inherited HOME=" + home.path() + "\n");
    qunsetenv("FOO");
    EXPECT_EQ(run("echo \"$PATH\"\n").output, qEnvironmentVariable("PATH") + "\n");
}

TEST_F(ProcessRunnerTest, AChildPastItsTimeLimitIsEndedAndReaped) {
    const QString pidFile = home.filePath("pid");
    const QString sleeper = script("echo $$ > '" + pidFile.toUtf8() + "'\nexec sleep 30\n");
    QElapsedTimer clock;
    clock.start();
    try {
        QtProcessRunner().run(sleeper, {}, {}, 0.3);
        ADD_FAILURE() << "no time-out";
    } catch (const RunnerError& error) {
        EXPECT_EQ(error, RunnerError::timedOut());
        EXPECT_EQ(error.description(), "The local status check timed out.");
    }
    EXPECT_GE(clock.elapsed(), 300);
    EXPECT_LT(clock.elapsed(), 1500);
    EXPECT_FALSE(QFileInfo::exists("/proc/" + readFile(pidFile).trimmed()));

    // One that ignores the terminate request is killed after the grace period.
    const QString stubborn = script("trap '' TERM\nexec sleep 30\n");
    EXPECT_THROW(QtProcessRunner().run(stubborn, {}, {}, 0.2), RunnerError);
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
}

TEST_F(ProcessRunnerTest, LaunchFailuresAreThePlatformsErrors) {
    const auto failure = [](const QString& executable) -> QString {
        try {
            QtProcessRunner().run(executable, {}, {}, 1.0);
        } catch (const RunnerError&) {
            return "timed out";
        } catch (const ProcessError& error) {
            return error.description();
        }
        return "started";
    };
    EXPECT_TRUE(failure(home.filePath("missing")).contains("No such file"));
    writeFile(home.filePath("plain"), "echo hi\n");
    EXPECT_TRUE(failure(home.filePath("plain")).contains("Permission denied"));
    // A bare name is never looked up along PATH.
    EXPECT_TRUE(failure("sh").contains("No such file"));
}

TEST_F(ProcessRunnerTest, ATalkativeChildFinishesAndItsOutputIsCapped) {
    // Far more than a pipe holds: the child must not stall on a full pipe.
    const ProcessResult result = run("head -c 5000000 /dev/zero | tr '\\0' x\nexit 4\n");
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_EQ(result.output.size(), QtProcessRunner::maxOutputBytes);
}

TEST_F(ProcessRunnerTest, WorksOnAThreadWithoutAnEventLoop) {
    const QString tool = script("echo from a worker\n");
    ProcessResult result;
    // A plain thread (which Qt adopts without an event loop); its join is also visible to
    // ThreadSanitizer, unlike a wait inside Qt's own uninstrumented code.
    std::thread worker([&] { result = QtProcessRunner().run(tool, {}, {}, 5.0); });
    worker.join();
    EXPECT_EQ(result, (ProcessResult{"from a worker\n", 0}));
}
