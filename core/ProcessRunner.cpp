#include "core/ProcessRunner.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QProcess>

#include <algorithm>
#include <climits>
#include <cmath>

namespace lumora {
namespace {

// Milliseconds for a time limit given in seconds; anything not a positive number is zero.
qint64 milliseconds(double seconds) {
    if (!(seconds > 0)) {
        return 0;
    }
    constexpr double longest = 365.0 * 24 * 3600 * 1000; // far beyond any sensible limit
    return static_cast<qint64>(std::min(std::ceil(seconds * 1000), longest));
}

} // namespace

// A QDeadlineTimer's remaining time is -1 when it never expires, which the deadlines here never
// are.
int remainingMilliseconds(const QDeadlineTimer& deadline) {
    return static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 0, INT_MAX));
}

ChildWrite writeToChild(QProcess& process, const QByteArray& bytes,
                        const QDeadlineTimer& deadline) {
    process.write(bytes);
    while (process.bytesToWrite() > 0) {
        if (process.waitForBytesWritten(remainingMilliseconds(deadline))) {
            continue;
        }
        if (process.error() == QProcess::WriteError || process.state() == QProcess::NotRunning) {
            return ChildWrite::broken;
        }
        if (deadline.hasExpired()) {
            return ChildWrite::timedOut;
        }
    }
    return ChildWrite::written;
}

QString programPath(const QString& executable) {
    return QFileInfo(executable).absoluteFilePath();
}

void terminateAndReap(QProcess& process, int graceMilliseconds) {
    if (process.state() == QProcess::NotRunning) {
        return;
    }
    if (process.state() == QProcess::Running) {
        process.terminate();
        if (process.waitForFinished(graceMilliseconds)) {
            return;
        }
    }
    process.kill();
    // SIGKILL cannot be caught; the wait only covers the kernel tearing the child down.
    process.waitForFinished(30000);
}

QtProcessRunner::QtProcessRunner(std::optional<QProcessEnvironment> environment)
    : m_baseEnvironment(std::move(environment)) {}

ProcessResult QtProcessRunner::run(const QString& executable, const QStringList& arguments,
                                   const QString& standardInput, double timeoutSeconds) const {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    QProcessEnvironment environment =
        m_baseEnvironment.value_or(QProcessEnvironment::systemEnvironment());
    environment.insert(QStringLiteral("TERM"), QStringLiteral("dumb"));
    environment.insert(QStringLiteral("NO_COLOR"), QStringLiteral("1"));
    process.setProcessEnvironment(environment);

    process.start(programPath(executable), arguments);
    if (!process.waitForStarted()) {
        const QString reason = process.errorString();
        terminateAndReap(process);
        throw ProcessError(reason);
    }

    const QDeadlineTimer writeDeadline(milliseconds(timeoutSeconds));
    const QByteArray input = standardInput.toUtf8();
    switch (input.isEmpty() ? ChildWrite::written : writeToChild(process, input, writeDeadline)) {
    case ChildWrite::written:
        break;
    case ChildWrite::broken: {
        const QString reason = process.errorString();
        terminateAndReap(process);
        throw ProcessError(reason);
    }
    case ChildWrite::timedOut:
        // A child that never reads its input is as stuck as one that never exits.
        terminateAndReap(process);
        throw RunnerError::timedOut();
    }
    process.closeWriteChannel();

    const QDeadlineTimer deadline(milliseconds(timeoutSeconds));
    QByteArray output;
    const auto collect = [&] {
        const QByteArray chunk = process.readAll();
        output.append(chunk.first(std::min(chunk.size(), maxOutputBytes - output.size())));
    };
    while (process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        // Returns when output arrives, the child exits or the time is up; reading as it comes
        // keeps the pipe from filling up and stalling a talkative child.
        process.waitForReadyRead(remainingMilliseconds(deadline));
        collect();
    }
    if (process.state() != QProcess::NotRunning) {
        terminateAndReap(process);
        throw RunnerError::timedOut();
    }
    collect();
    return ProcessResult{QString::fromUtf8(output), process.exitCode()};
}

} // namespace lumora
