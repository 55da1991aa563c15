#include "core/ProcessRunner.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

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
    const struct {
        QByteArray body;
        QString input;
        ProcessResult expected;
    } cases[] = {
        {"echo a; echo b >&2; echo c\n", {}, {"a\nb\nc\n", 0}},
        {"echo 'Not logged in'\nexit 1\n", {}, {"Not logged in\n", 1}},
        {"kill -9 $$\n", {}, {"", 9}}, // killed: the signal number
        // Invalid UTF-8 is replaced, never an error.
        {"printf 'caf\\303\\251 \\377\\n'\n", {}, {QString::fromUtf8("café \uFFFD\n"), 0}},
        // The input is written and closed: an empty one is at its end straight away.
        {"cat\n",
         QString::fromUtf8("sk-test\nzwei Zeilen é\n"),
         {QString::fromUtf8("sk-test\nzwei Zeilen é\n"), 0}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run(c.body, c.input), c.expected) << c.body.toStdString();
    }
    // Far more than a pipe holds: the child must not stall on a full pipe.
    const ProcessResult talkative = run("head -c 5000000 /dev/zero | tr '\\0' x\nexit 4\n");
    EXPECT_EQ(talkative.exitCode, 4);
    EXPECT_EQ(talkative.output.size(), QtProcessRunner::maxOutputBytes);
    // On a plain thread without an event loop; ThreadSanitizer sees its join, unlike Qt's waits.
    ProcessResult result;
    std::thread([&, tool = script("echo from a worker\n")] {
        result = QtProcessRunner().run(tool, {}, {}, 5.0);
    }).join();
    EXPECT_EQ(result, (ProcessResult{"from a worker\n", 0}));
}

TEST_F(ProcessRunnerTest, ForcesAPlainTerminalOnTheEnvironment) {
    const QByteArray show = "echo \"TERM=$TERM NO_COLOR=$NO_COLOR FOO=$FOO HOME=$HOME\"\n";
    QProcessEnvironment base;
    for (const auto& [name, value] :
         {std::pair{"TERM", "xterm-256color"}, {"NO_COLOR", "0"}, {"FOO", "bar"}}) {
        base.insert(name, value);
    }
    EXPECT_EQ(run(show, {}, QtProcessRunner(base)).output, "TERM=dumb NO_COLOR=1 FOO=bar HOME=\n");
    // Without a base environment the child inherits this process's variables.
    qputenv("FOO", "inherited");
    EXPECT_EQ(run(show).output, "TERM=dumb NO_COLOR=1 FOO=inherited HOME=" + home.path() + "\n");
    qunsetenv("FOO");
    EXPECT_EQ(run("echo \"$PATH\"\n").output, qEnvironmentVariable("PATH") + "\n");
}

// (The time limit itself, its message and the reaping: CodexProviderTest's hanging login status.)
TEST_F(ProcessRunnerTest, AChildPastItsTimeLimitIsEndedAndReaped) {
    // One that ignores the terminate request is killed after the grace period.
    EXPECT_THROW(QtProcessRunner().run(script("trap '' TERM\nexec sleep 30\n"), {}, {}, 0.2),
                 RunnerError);
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});

    // Launch failures are the platform's errors; a bare name is never looked up along PATH.
    writeFile(home.filePath("plain"), "echo hi\n");
    const std::pair<QString, const char*> failures[] = {
        {home.filePath("missing"), "No such file"},
        {home.filePath("plain"), "Permission denied"},
        {"sh", "No such file"}};
    for (const auto& [executable, text] : failures) {
        try {
            QtProcessRunner().run(executable, {}, {}, 1.0);
            ADD_FAILURE() << executable.toStdString() << " started";
        } catch (const RunnerError&) {
            ADD_FAILURE() << executable.toStdString() << " timed out";
        } catch (const ProcessError& error) {
            EXPECT_TRUE(error.description().contains(text)) << error.description().toStdString();
        }
    }
}
