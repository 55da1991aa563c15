#pragma once

#include "core/Errors.h"

#include <QDeadlineTimer>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

QT_BEGIN_NAMESPACE
class QProcess;
QT_END_NAMESPACE

namespace lumora {

// What a finished child printed (standard output and standard error interleaved as written,
// decoded as UTF-8 with invalid sequences replaced) and how it ended. A child killed by a signal
// reports the signal number as its exit code.
struct ProcessResult {
    QString output;
    int exitCode = 0;

    bool operator==(const ProcessResult&) const = default;
};

// A child process could not be started, or its input could not be written. The description is
// the platform's own text (for example "execvp: No such file or directory").
class ProcessError : public Error {
public:
    using Error::Error;
};

// Runs a local command once: feeds it some text, waits a bounded time, returns what it printed.
// Implementations block the calling thread and are safe to call from any thread.
class ProcessRunning {
public:
    virtual ~ProcessRunning() = default;

    // Starts `executable` (a path; no search along PATH) with `arguments`, writes
    // `standardInput` and closes the input, then waits at most `timeoutSeconds` for the child to
    // exit. A non-zero exit is a normal result. Throws ProcessError when the child cannot be
    // started or its input cannot be written, and the runner's time-out error at the deadline.
    virtual ProcessResult run(const QString& executable, const QStringList& arguments,
                              const QString& standardInput, double timeoutSeconds) const = 0;
};

// The runner on QProcess. The child gets `environment` (default: a copy of this process's
// environment) with TERM=dumb and NO_COLOR=1 forced, so tools print plain text. Every child is
// reaped before run() returns or throws: one still running at the deadline is asked to terminate,
// and killed if it has not gone after a short grace period.
//
// The output kept is bounded: the runner is for short status commands, so only the first
// maxOutputBytes are kept and the rest is read and dropped (the child is never blocked on a full
// pipe).
class QtProcessRunner : public ProcessRunning {
public:
    class RunnerError : public Error {
    public:
        enum class Case { timedOut };
        static RunnerError timedOut() { return RunnerError(Case::timedOut); }
        Case kind() const { return m_case; }
        bool operator==(const RunnerError& other) const { return m_case == other.m_case; }

    private:
        explicit RunnerError(Case c)
            : Error(QStringLiteral(
                  QT_TRANSLATE_NOOP("Messages", "The local status check timed out."))),
              m_case(c) {}
        Case m_case;
    };

    static constexpr qsizetype maxOutputBytes = 1024 * 1024;

    explicit QtProcessRunner(std::optional<QProcessEnvironment> environment = std::nullopt);

    ProcessResult run(const QString& executable, const QStringList& arguments,
                      const QString& standardInput, double timeoutSeconds) const override;

private:
    std::optional<QProcessEnvironment> m_baseEnvironment;
};

// Ends a child that may still be running and reaps it: a terminate request (SIGTERM), then after
// `graceMilliseconds` a kill (SIGKILL). Returns once the child is gone; never leaves a zombie.
void terminateAndReap(QProcess& process, int graceMilliseconds = 2000);

// The path to hand to QProcess: absolute, so that a bare name is never looked up along PATH.
QString programPath(const QString& executable);

// The time left before `deadline` in whole milliseconds, the unit of QProcess's waits; never
// negative.
int remainingMilliseconds(const QDeadlineTimer& deadline);

// Writes `bytes` to a running child's standard input and waits until the child has taken all of
// them. `broken` means the pipe failed (the child closed its input or exited); `timedOut` means
// the child stopped reading and `deadline` passed first. The child is left as it is.
enum class ChildWrite { written, broken, timedOut };
ChildWrite writeToChild(QProcess& process, const QByteArray& bytes, const QDeadlineTimer& deadline);

} // namespace lumora
