// The update checker against a real TLS server on the loopback address, with a certificate made
// by openssl for the test and trusted only by the checkers under test.
#include "core/AppUpdate.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMutex>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpServer>
#include <QThread>
#include <QTimer>
#include <QWaitCondition>

#include <gtest/gtest.h>
#include <memory>
#include <optional>

using namespace lumora;
using namespace lumora::test;
using namespace std::chrono_literals;
using Case = AppUpdateError::Case;

namespace {

constexpr qint64 fiftyMegabytes = 50LL * 1024 * 1024;
const QByteArray goodManifest =
    R"({"version": "1.5.0", "downloadURL": "https://example.com/lumora-1.5.0.tar.gz"})";

// A small HTTPS/1.1 server on 127.0.0.1, on a thread of its own so that a test can make blocking
// requests against it. Each path has a canned answer; every answer closes the connection.
class LocalHttpsServer {
public:
    struct Answer {
        QByteArray status = "200 OK";
        QByteArray headers; // extra lines, each ending in "\r\n"
        QByteArray body;
        qint64 streamedSize = 0; // instead of `body`: this many blanks, as fast as they are read
        bool silent = false;     // read the request, never answer
        bool trickle = false;    // announce `streamedSize` bytes, then send one every 50 ms
    };

    LocalHttpsServer(const QSslCertificate& certificate, const QSslKey& key) {
        m_context->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
        m_thread.start();
        QMetaObject::invokeMethod(
            m_context,
            [&] {
                auto* server = new QSslServer(m_context);
                QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
                tls.setLocalCertificate(certificate);
                tls.setPrivateKey(key);
                server->setSslConfiguration(tls);
                QObject::connect(server, &QTcpServer::pendingConnectionAvailable, server,
                                 [=, this] {
                                     while (QTcpSocket* socket = server->nextPendingConnection()) {
                                         serve(static_cast<QSslSocket*>(socket));
                                     }
                                 });
                EXPECT_TRUE(server->listen(QHostAddress::LocalHost));
                m_port = server->serverPort();
            },
            Qt::BlockingQueuedConnection);
    }
    ~LocalHttpsServer() {
        m_thread.quit();
        m_thread.wait();
    }

    QUrl url(const QString& path) const {
        return QUrl(QStringLiteral("https://127.0.0.1:%1%2").arg(m_port).arg(path));
    }
    void answer(const QString& path, const Answer& answer) {
        const QMutexLocker lock(&m_mutex);
        m_answers.insert(path, answer);
    }
    QList<QByteArray> requests() const {
        const QMutexLocker lock(&m_mutex);
        return m_requests;
    }
    // Bytes of a streamed body handed to the connection before it closed, and whether that was
    // all of it; nothing if no streamed answer ended within `timeout`.
    std::optional<std::pair<qint64, bool>> streamEnd(std::chrono::milliseconds timeout) const {
        const QDeadlineTimer deadline(timeout);
        QMutexLocker lock(&m_mutex);
        while (!m_streamEnd && m_changed.wait(&m_mutex, deadline)) {
        }
        return m_streamEnd;
    }

private:
    // On the server thread: reads one request head and answers it.
    void serve(QSslSocket* socket) {
        auto request = std::make_shared<QByteArray>();
        QObject::connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QSslSocket::readyRead, socket, [=, this] {
            *request += socket->readAll();
            const qsizetype end = request->indexOf("\r\n\r\n");
            if (end < 0) {
                return;
            }
            Answer answer{"404 Not Found", {}, "no such feed"};
            {
                const QMutexLocker lock(&m_mutex);
                m_requests.append(request->left(end));
                answer = m_answers.value(QString::fromLatin1(request->split(' ').value(1)), answer);
            }
            request->clear(); // anything after the head is of no interest
            if (answer.silent) {
                return;
            }
            const qint64 size = answer.streamedSize ? answer.streamedSize : answer.body.size();
            socket->write("HTTP/1.1 " + answer.status +
                          "\r\nContent-Length: " + QByteArray::number(size) +
                          "\r\nConnection: close\r\n" + answer.headers + "\r\n" + answer.body);
            if (answer.trickle) {
                auto* drip = new QTimer(socket);
                QObject::connect(drip, &QTimer::timeout, socket, [=] { socket->write(" "); });
                drip->start(50);
                return;
            }
            if (!answer.streamedSize) {
                socket->disconnectFromHost();
                return;
            }
            stream(socket, size);
        });
    }
    // Hands `size` blanks over in chunks, only as fast as the client takes them, and notes how
    // far it got when the connection closed. A small kernel send buffer keeps that figure close
    // to what the client actually read.
    void stream(QSslSocket* socket, qint64 size) {
        constexpr qint64 chunk = 64 * 1024;
        socket->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, chunk);
        auto handedOver = std::make_shared<qint64>(0);
        const auto pump = [=] {
            while (*handedOver < size &&
                   socket->bytesToWrite() + socket->encryptedBytesToWrite() < chunk) {
                const qint64 next = std::min(chunk, size - *handedOver);
                socket->write(QByteArray(next, ' '));
                *handedOver += next;
            }
            if (*handedOver == size) {
                socket->disconnectFromHost();
            }
        };
        QObject::connect(socket, &QSslSocket::encryptedBytesWritten, socket, pump);
        QObject::connect(socket, &QSslSocket::disconnected, socket, [=, this] {
            const QMutexLocker lock(&m_mutex);
            m_streamEnd = std::pair(*handedOver, *handedOver == size);
            m_changed.wakeAll();
        });
        pump();
    }

    QThread m_thread;
    QObject* m_context = new QObject; // lives in m_thread; owns the server and its sockets
    quint16 m_port = 0;
    mutable QMutex m_mutex;
    mutable QWaitCondition m_changed;
    QHash<QString, Answer> m_answers;
    QList<QByteArray> m_requests;
    std::optional<std::pair<qint64, bool>> m_streamEnd;
};

// One check as text: "offer <version>", "nothing", "error: ..." or "network: ...".
std::string outcome(const AppUpdateChecker& checker) {
    try {
        const auto offer = checker.check("1.0");
        return offer ? "offer " + offer->version.toStdString() : "nothing";
    } catch (const AppUpdateError& error) {
        return "error: " + error.description().toStdString();
    } catch (const NetworkError& error) {
        return "network: " + error.description().toStdString();
    }
}
std::string error(Case c) {
    return "error: " + AppUpdateError::descriptionOf(c).toStdString();
}

class UpdateFeedOverHttps : public ::testing::Test {
protected:
    // One self-signed certificate for 127.0.0.1, made once per test process.
    static void SetUpTestSuite() {
        QTemporaryDir folder(processHome() + "/certificate-XXXXXX");
        const CommandOutcome openssl = runProgram(
            "openssl",
            {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
             "-days", "2", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
             "-keyout", folder.filePath("key.pem"), "-out", folder.filePath("certificate.pem")});
        EXPECT_EQ(openssl.exitCode, 0)
            << "openssl (installed by scripts/setup.sh) failed: " << openssl.err.toStdString();
        certificate = QSslCertificate(readFile(folder.filePath("certificate.pem")));
        key = QSslKey(readFile(folder.filePath("key.pem")), QSsl::Ec);
    }
    void SetUp() override {
        ASSERT_FALSE(certificate->isNull() || key->isNull()) << "no test certificate";
        server = std::make_unique<LocalHttpsServer>(*certificate, *key);
    }

    AppUpdateChecker checker(const QUrl& feed, std::chrono::milliseconds timeout = 15s) const {
        return AppUpdateChecker(feed, {timeout, {*certificate}});
    }
    AppUpdateChecker checker(const QString& path) const { return checker(server->url(path)); }

    // Made in SetUpTestSuite: Qt's TLS classes must not be touched before the application
    // object exists, which rules out static construction.
    static inline std::optional<QSslCertificate> certificate;
    static inline std::optional<QSslKey> key;
    std::unique_ptr<LocalHttpsServer> server;
};

} // namespace

TEST_F(UpdateFeedOverHttps, GoodManifestIsFetchedFreshAsJson) {
    server->answer("/feed.json", {"200 OK", "Content-Type: application/json\r\n", goodManifest});
    EXPECT_EQ(outcome(checker("/feed.json")), "offer 1.5.0");
    ASSERT_EQ(server->requests().size(), 1);
    const QByteArray request = server->requests().first().toLower();
    EXPECT_TRUE(request.startsWith("get /feed.json http/1.1\r\n")) << request.toStdString();
    EXPECT_TRUE(request.contains("\r\naccept: application/json")) << request.toStdString();
    EXPECT_TRUE(request.contains("\r\ncache-control: no-cache")) << request.toStdString();
    // The test certificate is trusted only by the checker given it: nothing is sent otherwise.
    const std::string untrusted = outcome(AppUpdateChecker(server->url("/feed.json")));
    EXPECT_TRUE(untrusted.starts_with("network: ")) << untrusted;
    EXPECT_EQ(server->requests().size(), 1);

    // A worker thread without a running event loop, as the application uses it.
    std::string fromWorker;
    const std::unique_ptr<QThread> worker(
        QThread::create([&] { fromWorker = outcome(checker("/feed.json")); }));
    worker->start();
    worker->wait();
    EXPECT_EQ(fromWorker, "offer 1.5.0");

    // Redirects between https addresses are followed; exactly the size limit is still read.
    QByteArray largest = goodManifest;
    largest.append(AppUpdateService::maximumManifestSize - largest.size(), ' ');
    server->answer("/old.json", {"301 Moved Permanently", "Location: /new.json\r\n", "moved"});
    server->answer("/new.json", {"200 OK", {}, largest});
    EXPECT_EQ(outcome(checker("/old.json")), "offer 1.5.0");
}

TEST_F(UpdateFeedOverHttps, UnusableAnswersAreRefused) {
    QByteArray tooLarge = goodManifest;
    tooLarge.append(AppUpdateService::maximumManifestSize + 1 - tooLarge.size(), ' ');
    server->answer("/not-modified.json", {"304 Not Modified", {}, {}});
    server->answer("/server-error.json", {"500 Internal Server Error", {}, goodManifest});
    server->answer("/huge-error.json", {"404 Not Found", {}, {}, fiftyMegabytes});
    server->answer("/too-large.json", {"200 OK", {}, tooLarge});
    server->answer("/page.html", {"200 OK", {}, "<html>Hello</html>"});
    const std::pair<const char*, Case> cases[] = {
        {"/missing.json", Case::invalidServerResponse},
        {"/not-modified.json", Case::invalidServerResponse},
        {"/server-error.json", Case::invalidServerResponse},
        {"/huge-error.json", Case::invalidServerResponse},
        {"/too-large.json", Case::manifestTooLarge},
        {"/page.html", Case::invalidManifest},
    };
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(outcome(checker(path)), error(expected)) << path;
    }

    // A redirect to plain http is not followed at all: the http server never hears from us.
    QTcpServer plain;
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost));
    int plainConnections = 0;
    QObject::connect(&plain, &QTcpServer::newConnection, [&] { ++plainConnections; });
    server->answer("/to-http.json", {"302 Found",
                                     "Location: http://127.0.0.1:" +
                                         QByteArray::number(plain.serverPort()) + "/feed.json\r\n",
                                     {}});
    EXPECT_EQ(outcome(checker("/to-http.json")), error(Case::invalidServerResponse));
    QCoreApplication::processEvents();
    EXPECT_EQ(plainConnections, 0);
    EXPECT_FALSE(plain.hasPendingConnections());
}

TEST_F(UpdateFeedOverHttps, HugeBodyIsCutOffEarly) {
    server->answer("/huge.json", {"200 OK", {}, {}, fiftyMegabytes});
    EXPECT_EQ(outcome(checker("/huge.json")), error(Case::manifestTooLarge));

    // The server sees the connection closed long before it could hand everything over.
    const auto end = server->streamEnd(30s);
    ASSERT_TRUE(end) << "the connection was never closed";
    EXPECT_FALSE(end->second);
    EXPECT_LT(end->first, fiftyMegabytes / 10);
}

TEST_F(UpdateFeedOverHttps, SilentAndTricklingServersTimeOut) {
    server->answer("/silent.json", {"200 OK", {}, {}, 0, true});
    server->answer("/to-silent.json", {"302 Found", "Location: /silent.json\r\n", {}});
    // Every byte arrives well within the idle limit, but the whole body would take an hour.
    server->answer("/trickle.json", {"200 OK", {}, {}, 65536, false, true});
    // A listener that accepts the connection but never even starts the TLS handshake.
    QTcpServer mute;
    ASSERT_TRUE(mute.listen(QHostAddress::LocalHost));
    for (const QUrl& feed :
         {server->url("/silent.json"), server->url("/to-silent.json"), server->url("/trickle.json"),
          QUrl(QString("https://127.0.0.1:%1/").arg(mute.serverPort()))}) {
        EXPECT_EQ(outcome(checker(feed, 300ms)), "network: The request timed out.")
            << feed.toString().toStdString();
    }
}
