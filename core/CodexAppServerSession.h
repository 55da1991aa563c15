#pragma once

#include "core/Errors.h"

#include <QCoreApplication>
#include <QString>

#include <optional>

namespace lumora {

// One short conversation with `codex app-server` over its standard input and output
// (newline-delimited JSON-RPC): start the server, initialize, ask once for
// "account/rateLimits/read", and collect every line the server prints until the answer to that
// request arrives. The transcript is handed back uninterpreted; the rate-limit parser reads it.
//
// The conversation is one blocking call that ends exactly once, by the first of:
//   - the server cannot be started or written to: ProcessError with the platform's text;
//   - a response with id 2 arrives: the transcript;
//   - the server exits with a non-zero status: SessionError::serverExited;
//   - the time limit passes (counted from the first request): SessionError::timedOut.
// Output the server wrote before it exited is read first, so an answer followed at once by an
// exit still counts as an answer. A server that exits with status 0 without answering ends the
// conversation by the time limit. The server is reaped before the call returns or throws, so no
// child or zombie outlives it. Safe to call from any thread, also one without an event loop.
//
// Memory stays bounded whatever the server prints: a line longer than maxLineBytes is dropped
// whole (its bytes are read and discarded up to the next line feed), and once the transcript
// holds maxTranscriptBytes only the id-2 response is still added to it. An endless line without
// a line feed therefore costs at most maxLineBytes, and the call still ends by its time limit.
class CodexAppServerSession {
public:
    class SessionError : public Error {
    public:
        enum class Case { serverExited, timedOut };
        static SessionError serverExited(int exitCode) {
            return SessionError(
                Case::serverExited,
                QCoreApplication::translate("Messages", "Codex app-server exited with code %1.")
                    .arg(exitCode),
                exitCode);
        }
        static SessionError timedOut() {
            return SessionError(
                Case::timedOut,
                QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Codex usage check timed out.")),
                std::nullopt);
        }
        Case kind() const { return m_case; }
        // The server's exit status, for serverExited.
        std::optional<int> exitCode() const { return m_exitCode; }
        bool operator==(const SessionError& other) const {
            return m_case == other.m_case && m_exitCode == other.m_exitCode;
        }

    private:
        SessionError(Case c, QString description, std::optional<int> exitCode)
            : Error(std::move(description)), m_case(c), m_exitCode(exitCode) {}
        Case m_case;
        std::optional<int> m_exitCode;
    };

    struct Limits {
        int timeoutMilliseconds = 8000;
        // A real response line is a few hundred bytes; a megabyte is generous.
        qsizetype maxLineBytes = 1024 * 1024;
        qsizetype maxTranscriptBytes = 4 * 1024 * 1024;
    };

    explicit CodexAppServerSession(QString executable);
    CodexAppServerSession(QString executable, Limits limits);

    // Runs one conversation and returns its transcript: every non-empty line received up to and
    // including the id-2 response, trimmed, each followed by "\n". Throws SessionError or
    // ProcessError. Each call starts a server of its own.
    QString readRateLimits() const;

private:
    QString m_executable;
    Limits m_limits;
};

} // namespace lumora
