#include "LocalHttpsServer.h"

#include "support/TestSupport.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QSslConfiguration>
#include <QSslServer>
#include <QSslSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

bool runOpenssl(const QString& folder, const QStringList& arguments) {
    QProcess openssl;
    openssl.setWorkingDirectory(folder);
    openssl.setProcessChannelMode(QProcess::MergedChannels);
    openssl.start(QStringLiteral("openssl"), arguments);
    if (!openssl.waitForFinished(60000) || openssl.exitStatus() != QProcess::NormalExit ||
        openssl.exitCode() != 0) {
        ADD_FAILURE() << "openssl " << arguments.join(' ').toStdString()
                      << " failed (scripts/setup.sh installs it): "
                      << openssl.readAll().toStdString() << openssl.errorString().toStdString();
        return false;
    }
    return true;
}

constexpr qint64 streamChunk = 64 * 1024;

} // namespace

std::optional<TestCertificates> TestCertificates::make() {
    QTemporaryDir folder(processHome() + QStringLiteral("/certificates-XXXXXX"));
    const QString dir = folder.path();
    const QStringList newKey{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"};
    writeFile(folder.filePath("server.ext"),
              "subjectAltName=IP:127.0.0.1\nextendedKeyUsage=serverAuth\n");
    if (!runOpenssl(dir, QStringList{"req", "-x509"} + newKey +
                             QStringList{"-keyout", "ca.key", "-out", "ca.pem", "-days", "2",
                                         "-subj", "/CN=Lumora Test Authority"}) ||
        !runOpenssl(dir, QStringList{"req"} + newKey +
                             QStringList{"-keyout", "server.key", "-out", "server.csr", "-subj",
                                         "/CN=127.0.0.1"}) ||
        !runOpenssl(dir, {"x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
                          "-set_serial", "2", "-days", "2", "-extfile", "server.ext", "-out",
                          "server.pem"})) {
        return std::nullopt;
    }
    TestCertificates made{QSslCertificate(readFile(folder.filePath("ca.pem"))),
                          QSslCertificate(readFile(folder.filePath("server.pem"))),
                          QSslKey(readFile(folder.filePath("server.key")), QSsl::Ec)};
    if (made.authority.isNull() || made.server.isNull() || made.serverKey.isNull()) {
        ADD_FAILURE() << "the certificates made by openssl could not be loaded";
        return std::nullopt;
    }
    return made;
}

LocalHttpsServer::LocalHttpsServer(const TestCertificates& certificates) {
    m_context = new QObject;
    m_context->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
    m_thread.start();
    QMetaObject::invokeMethod(
        m_context,
        [this, certificates] {
            auto* server = new QSslServer(m_context);
            QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
            tls.setLocalCertificate(certificates.server);
            tls.setPrivateKey(certificates.serverKey);
            tls.setPeerVerifyMode(QSslSocket::VerifyNone);
            server->setSslConfiguration(tls);
            QObject::connect(server, &QTcpServer::pendingConnectionAvailable, server, [=, this] {
                while (QTcpSocket* socket = server->nextPendingConnection()) {
                    serve(static_cast<QSslSocket*>(socket));
                }
            });
            if (!server->listen(QHostAddress::LocalHost)) {
                ADD_FAILURE() << "cannot listen: " << server->errorString().toStdString();
            }
            m_port = server->serverPort();
        },
        Qt::BlockingQueuedConnection);
}

LocalHttpsServer::~LocalHttpsServer() {
    m_thread.quit();
    m_thread.wait();
}

QUrl LocalHttpsServer::url(const QString& path) const {
    return QUrl(QStringLiteral("https://127.0.0.1:%1%2").arg(m_port).arg(path));
}

void LocalHttpsServer::answer(const QString& path, const Answer& answer) {
    const QMutexLocker lock(&m_mutex);
    m_answers.insert(path, answer);
}

QList<QByteArray> LocalHttpsServer::requests() const {
    const QMutexLocker lock(&m_mutex);
    return m_requests;
}

std::optional<LocalHttpsServer::StreamEnd> LocalHttpsServer::waitForStreamEnd(int timeoutMs) const {
    const QDeadlineTimer deadline(timeoutMs);
    QMutexLocker lock(&m_mutex);
    while (!m_streamEnd && m_changed.wait(&m_mutex, deadline)) {
    }
    return m_streamEnd;
}

// Runs on the server thread: reads one request head, then answers it as configured.
void LocalHttpsServer::serve(QSslSocket* socket) {
    auto request = std::make_shared<QByteArray>();
    QObject::connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
    QObject::connect(socket, &QSslSocket::readyRead, socket, [=, this] {
        if (request->endsWith("\r\n\r\n")) {
            socket->readAll(); // already answered; a request body is of no interest
            return;
        }
        *request += socket->readAll();
        const qsizetype end = request->indexOf("\r\n\r\n");
        if (end < 0) {
            return;
        }
        request->truncate(end + 4);
        const QByteArray path = request->split(' ').value(1);
        Answer answer;
        {
            const QMutexLocker lock(&m_mutex);
            m_requests.append(request->left(end));
            answer = m_answers.value(QString::fromLatin1(path),
                                     Answer{"404 Not Found", {}, "no such feed", 0, false});
        }
        if (answer.silent) {
            return;
        }
        const qint64 size = answer.streamedBodySize ? answer.streamedBodySize : answer.body.size();
        socket->write("HTTP/1.1 " + answer.statusLine +
                      "\r\nContent-Length: " + QByteArray::number(size) +
                      "\r\nConnection: close\r\n" + answer.headers + "\r\n");
        if (!answer.streamedBodySize) {
            socket->write(answer.body);
            socket->disconnectFromHost();
            return;
        }
        // Hand the body over a chunk at a time, only as fast as the client takes it, and note
        // how far it got when the connection closes. A small kernel send buffer keeps that
        // figure close to what the client actually read.
        socket->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, streamChunk);
        auto handedOver = std::make_shared<qint64>(0);
        const auto pump = [=] {
            while (*handedOver < size &&
                   socket->bytesToWrite() + socket->encryptedBytesToWrite() < streamChunk) {
                const qint64 chunk = std::min(streamChunk, size - *handedOver);
                socket->write(QByteArray(chunk, ' '));
                *handedOver += chunk;
            }
            if (*handedOver == size) {
                socket->disconnectFromHost(); // after the rest has been written
            }
        };
        QObject::connect(socket, &QSslSocket::encryptedBytesWritten, socket, pump);
        QObject::connect(socket, &QSslSocket::disconnected, socket, [=, this] {
            const QMutexLocker lock(&m_mutex);
            m_streamEnd = StreamEnd{*handedOver, *handedOver == size};
            m_changed.wakeAll();
        });
        pump();
    });
}

} // namespace lumora::test
