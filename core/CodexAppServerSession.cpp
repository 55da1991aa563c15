#include "core/CodexAppServerSession.h"

#include "core/BuildInfo.h"
#include "core/JsonInteger.h"
#include "core/ProcessRunner.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>

namespace lumora {
namespace {

constexpr qint64 initializeID = 1;
constexpr qint64 rateLimitsID = 2;
// How long a server whose input broke is given to report its exit status.
constexpr int exitReportMilliseconds = 1000;

QJsonObject initializeMessage() {
    const QJsonObject clientInfo{
        {QStringLiteral("name"), QStringLiteral("lumora")},
        {QStringLiteral("title"), QStringLiteral("Lumora")},
        {QStringLiteral("version"), QString::fromUtf8(buildinfo::version)}};
    return QJsonObject{
        {QStringLiteral("id"), initializeID},
        {QStringLiteral("method"), QStringLiteral("initialize")},
        {QStringLiteral("params"), QJsonObject{{QStringLiteral("clientInfo"), clientInfo}}}};
}

// The state of one conversation. Lives on the stack of readRateLimits(); the QProcess is reaped
// in the destructor whichever way the conversation ends.
class Conversation {
public:
    Conversation(const QString& executable, const CodexAppServerSession::Limits& limits)
        : m_executable(executable), m_limits(limits) {}

    ~Conversation() {
        m_process.closeWriteChannel();
        terminateAndReap(m_process);
    }

    QString run() {
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.start(
            programPath(m_executable),
            {QStringLiteral("app-server"), QStringLiteral("--listen"), QStringLiteral("stdio://")});
        if (!m_process.waitForStarted()) {
            throw ProcessError(m_process.errorString());
        }
        // Nothing can block this first write: the pipe holds far more than one message.
        write(initializeMessage(), QDeadlineTimer(m_limits.timeoutMilliseconds));
        const QDeadlineTimer deadline(m_limits.timeoutMilliseconds);

        for (;;) {
            // What the server wrote is handled before its exit: an answer followed at once by an
            // exit is an answer.
            if (consume(m_process.readAllStandardOutput(), deadline)) {
                return m_transcript;
            }
            if (m_process.state() == QProcess::NotRunning) {
                failIfExitedWithError();
                // Exited cleanly without answering: nothing more can arrive, the time limit
                // decides.
                QThread::msleep(static_cast<unsigned long>(remainingMilliseconds(deadline)));
                throw CodexAppServerSession::SessionError::timedOut();
            }
            if (deadline.hasExpired()) {
                throw CodexAppServerSession::SessionError::timedOut();
            }
            m_process.waitForReadyRead(remainingMilliseconds(deadline));
        }
    }

private:
    void failIfExitedWithError() const {
        if (m_process.exitStatus() == QProcess::CrashExit || m_process.exitCode() != 0) {
            throw CodexAppServerSession::SessionError::serverExited(m_process.exitCode());
        }
    }

    // Sends one message: compact JSON and a line feed. A server that already exited with an
    // error is reported as such rather than as the broken pipe it left behind.
    void write(const QJsonObject& message, const QDeadlineTimer& deadline) {
        const QByteArray line = QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
        switch (writeToChild(m_process, line, deadline)) {
        case ChildWrite::written:
            return;
        case ChildWrite::broken: {
            const QString reason = m_process.errorString();
            if (m_process.waitForFinished(exitReportMilliseconds)) {
                failIfExitedWithError();
            }
            throw ProcessError(reason);
        }
        case ChildWrite::timedOut:
            throw CodexAppServerSession::SessionError::timedOut();
        }
    }

    // Splits a chunk of output into lines; true once the id-2 response has been seen.
    bool consume(const QByteArray& chunk, const QDeadlineTimer& deadline) {
        qsizetype position = 0;
        while (position < chunk.size()) {
            const qsizetype lineFeed = chunk.indexOf('\n', position);
            if (lineFeed < 0) {
                if (!m_discardingLine) {
                    m_buffer.append(chunk.sliced(position));
                    if (m_buffer.size() > m_limits.maxLineBytes) {
                        m_buffer.clear();
                        m_buffer.squeeze();
                        m_discardingLine = true;
                    }
                }
                return false;
            }
            const bool oversized =
                m_discardingLine || m_buffer.size() + (lineFeed - position) > m_limits.maxLineBytes;
            if (!oversized) {
                m_buffer.append(chunk.sliced(position, lineFeed - position));
            }
            position = lineFeed + 1;
            m_discardingLine = false;
            const QByteArray line = std::exchange(m_buffer, QByteArray());
            if (!oversized && handleLine(line, deadline)) {
                return true;
            }
        }
        return false;
    }

    bool handleLine(const QByteArray& bytes, const QDeadlineTimer& deadline) {
        const QString line = QString::fromUtf8(bytes).trimmed();
        if (line.isEmpty()) {
            return false;
        }
        const QByteArray utf8 = line.toUtf8();
        const std::optional<qint64> id = responseID(utf8);
        const bool answer = id == rateLimitsID;
        const qsizetype size = utf8.size() + 1;
        if (answer || m_transcriptBytes + size <= m_limits.maxTranscriptBytes) {
            m_transcript += line + QLatin1Char('\n');
            m_transcriptBytes += size;
        }
        if (id == initializeID && !m_sentRateLimitRequest) {
            m_sentRateLimitRequest = true;
            write(QJsonObject{{QStringLiteral("method"), QStringLiteral("initialized")}}, deadline);
            write(
                QJsonObject{{QStringLiteral("id"), rateLimitsID},
                            {QStringLiteral("method"), QStringLiteral("account/rateLimits/read")}},
                deadline);
        }
        return answer;
    }

    // The integer "id" of a line that is a JSON object; nullopt for notifications, logs and
    // anything malformed.
    static std::optional<qint64> responseID(const QByteArray& line) {
        const QJsonDocument document = QJsonDocument::fromJson(line);
        if (!document.isObject()) {
            return std::nullopt;
        }
        return jsonInteger(document.object().value(QLatin1String("id")));
    }

    const QString& m_executable;
    const CodexAppServerSession::Limits& m_limits;
    QProcess m_process;
    QByteArray m_buffer;
    bool m_discardingLine = false;
    QString m_transcript;
    qsizetype m_transcriptBytes = 0;
    bool m_sentRateLimitRequest = false;
};

} // namespace

CodexAppServerSession::CodexAppServerSession(QString executable)
    : CodexAppServerSession(std::move(executable), Limits{}) {}

CodexAppServerSession::CodexAppServerSession(QString executable, Limits limits)
    : m_executable(std::move(executable)), m_limits(limits) {}

QString CodexAppServerSession::readRateLimits() const {
    Conversation conversation(m_executable, m_limits);
    return conversation.run();
}

} // namespace lumora
