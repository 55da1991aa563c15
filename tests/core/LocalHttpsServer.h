#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QThread>
#include <QUrl>
#include <QWaitCondition>

#include <optional>

namespace lumora::test {

// A certificate authority and a server certificate for 127.0.0.1, made with the openssl
// command-line tool in a temporary folder. Trust `authority` only where a test needs it.
struct TestCertificates {
    QSslCertificate authority;
    QSslCertificate server;
    QSslKey serverKey;

    // Nothing (and a test failure) when openssl is missing or fails.
    static std::optional<TestCertificates> make();
};

// A small HTTPS/1.1 server on the loopback address, running on a thread of its own so that a
// test can make blocking requests against it. Each path gets a canned answer; every answer
// closes the connection.
class LocalHttpsServer {
public:
    struct Answer {
        QByteArray statusLine = "200 OK";
        QByteArray headers; // extra header lines, each ending in "\r\n"
        QByteArray body;
        // When non-zero, the body is this many bytes produced as the client takes them, instead
        // of `body`.
        qint64 streamedBodySize = 0;
        // Read the request and never answer.
        bool silent = false;
    };
    // How a streamed answer ended.
    struct StreamEnd {
        qint64 bytesHandedOver = 0; // given to the connection before it closed
        bool complete = false;      // all of the body was handed over
    };

    LocalHttpsServer(const TestCertificates& certificates);
    ~LocalHttpsServer();
    LocalHttpsServer(const LocalHttpsServer&) = delete;
    LocalHttpsServer& operator=(const LocalHttpsServer&) = delete;

    QUrl url(const QString& path) const;
    void answer(const QString& path, const Answer& answer);

    // The request heads received so far (request line and headers).
    QList<QByteArray> requests() const;
    // Waits until a streamed answer ended, at most `timeoutMs`.
    std::optional<StreamEnd> waitForStreamEnd(int timeoutMs) const;

private:
    void serve(QSslSocket* socket);

    QThread m_thread;
    QObject* m_context = nullptr; // lives in m_thread; parent of the server and its sockets
    quint16 m_port = 0;

    mutable QMutex m_mutex;
    mutable QWaitCondition m_changed;
    QHash<QString, Answer> m_answers;
    QList<QByteArray> m_requests;
    std::optional<StreamEnd> m_streamEnd;
};

} // namespace lumora::test
