// Versions, the update manifest and its feeds: local files, and a real TLS server on the loopback
// address whose certificate, made by openssl, only the checkers under test trust.
#include "core/AppUpdate.h"
#include "core/ParsedVersion.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QHash>
#include <QMutex>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <optional>

using namespace lumora;
using namespace lumora::test;
using namespace std::chrono_literals;
using Case = AppUpdateError::Case;
using Identifier = ParsedVersion::Identifier;

namespace {

const QByteArray goodManifest =
    R"({"version": "1.5.0", "downloadURL": "https://example.com/lumora-1.5.0.tar.gz"})";

QByteArray manifest(const char* members) {
    return QByteArray("{") + members + "}";
}
// A manifest offering `version` from `download`, with further members.
QByteArray offer(const char* version, const char* download, const char* more = "") {
    return manifest(QString(R"("version": %1, "downloadURL": %2%3)")
                        .arg(version, download, more)
                        .toUtf8()
                        .constData());
}
// A check's answer as text: "offer <version>", "nothing", "error: ..." or "network: ...".
template <typename Check> std::string outcome(Check check) {
    try {
        const std::optional<AppUpdateManifest> offer = check();
        return offer ? "offer " + offer->version.toStdString() : "nothing";
    } catch (const Error& error) {
        return (dynamic_cast<const NetworkError*>(&error) ? "network: " : "error: ") +
               error.description().toStdString();
    }
}
std::string error(Case c) {
    return "error: " + AppUpdateError::descriptionOf(c).toStdString();
}

} // namespace

TEST(ParsedVersion, ParsesWhatPeopleWriteAndOrdersIt) {
    const auto text = Identifier::text;
    const struct {
        QString input;
        QList<qint64> numbers;
        std::optional<QList<Identifier>> prerelease;
    } cases[] = {
        {" \tv2.0 \n", {2, 0}, std::nullopt},
        {"V01.002+anything goes here ..", {1, 2}, std::nullopt},
        {"1.5.0-beta.2+build.7", {1, 5, 0}, QList{text("beta"), Identifier::number(2)}},
        {"1.0--5.rc-1", {1, 0}, QList{Identifier::number(-5), text("rc-1")}},
        {"9223372036854775807-9223372036854775808.-9223372036854775808",
         {std::numeric_limits<qint64>::max()},
         QList{text("9223372036854775808"),
               Identifier::number(std::numeric_limits<qint64>::min())}},
        {QString::fromUtf8("1-\u00E9t\u00E9"), {1}, QList{text("\u00E9t\u00E9")}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input.toStdString());
        const std::optional<ParsedVersion> parsed = ParsedVersion::parse(c.input);
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed->numbers, c.numbers);
        EXPECT_EQ(parsed->prerelease, c.prerelease);
    }
    for (const QString& notAVersion :
         QString::fromUtf8(
             "|   |v|vv1|1.x|1..2|1.|.1|+5|1.0.0-|1.0.0-+5|1.0-beta..1|1.0-beta.|1 .0|"
             "1.0 0|9223372036854775808|-1|v-1|0x10|\u0661.0")
             .split('|')) {
        EXPECT_FALSE(ParsedVersion::parse(notAVersion)) << notAVersion.toStdString();
    }
    // "a > b": a is newer than b; "a <= b": it is not. Pre-releases order before their release,
    // identifiers by Unicode scalar values, not UTF-16 units (U+1F600 is after U+FFFD).
    for (const QString& comparison :
         QString::fromUtf8(
             "1.2.1 > 1.2;1.2 <= 1.2.0;1.2.0 <= 1.2;1.0.0 > 1.0.0-beta.9;1.0.0-beta.9 <= 1.0.0;"
             "1.0.0-beta.10 > 1.0.0-beta.9;1.0.0-beta.a > 1.0.0-beta.9;1.0.0-beta.1 > 1.0.0-beta;"
             "1.0.0-beta <= 1.0.0-beta.1;v2.0 > 1.9.9;2.0+42 <= 2.0+41;2.0 <= garbage;"
             "garbage <= 1.0;10.0 > 9.0;1.0.0-Beta <= 1.0.0-alpha;1.0.0-alpha > 1.0.0-RC;"
             "1.0.0-1 > 1.0.0--1;1.0.0-beta > 1.0.0-999;1-\U0001F600 > 1-\uFFFD;"
             "1-\uFFFD <= 1-\U0001F600")
             .split(';')) {
        const QStringList parts = comparison.split(' ');
        EXPECT_EQ(AppUpdateService::isNewerVersion(parts[0], parts[2]), parts[1] == ">")
            << comparison.toStdString();
    }
    const ParsedVersion one = *ParsedVersion::parse("1.0"), zero = *ParsedVersion::parse("1.0.0");
    EXPECT_EQ(one, ParsedVersion::parse("v1.0+7"));
    EXPECT_TRUE(!(one == zero) && one <= zero && one >= zero);
}

// Size first, then the JSON shape, the offered and the current version, the download address and
// the release notes, and only then the comparison.
TEST(AppUpdateService, ChecksRunInOrderAndTheFirstFailureWins) {
    const char* https = R"("https://e.com")";
    const struct {
        QByteArray bytes;
        QString current;
        std::string expected;
    } cases[] = {
        {goodManifest, "1.4.2", "offer 1.5.0"},
        {goodManifest, "1.5.0", "nothing"},
        {goodManifest, "", error(Case::invalidVersion)},
        {goodManifest, "1.5.0-beta.3", "offer 1.5.0"},
        {goodManifest.leftJustified(65536), "1.0", "offer 1.5.0"},
        {goodManifest.leftJustified(65537), "1.0", error(Case::manifestTooLarge)},
        {QByteArray("not json").leftJustified(65537), "garbage", error(Case::manifestTooLarge)},
        {"not json", "garbage", error(Case::invalidManifest)},
        {R"(["1.5.0"])", "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": "1.5.0")"), "1.0", error(Case::invalidManifest)},
        {offer("1.5", https), "1", error(Case::invalidManifest)},
        {offer(R"("1.5")", R"("")"), "1.0", error(Case::invalidManifest)},
        {offer(R"("1")", https, R"(, "releaseNotesURL": 7)"), "1", error(Case::invalidManifest)},
        {offer(R"("1")", https, R"(, "title": ["x"])"), "1", error(Case::invalidManifest)},
        {offer(R"("banana")", R"("http://e.com")"), "garbage", error(Case::invalidVersion)},
        {offer(R"("2")", R"("http://e.com")", R"(, "releaseNotesURL": "ftp://e")"), "1.0",
         error(Case::insecureDownloadURL)},
        {offer(R"("2.0")", R"("download")"), "1.0", error(Case::insecureDownloadURL)},
        {offer(R"("0.1")", https, R"(, "releaseNotesURL": "notes")"), "1.0",
         error(Case::insecureReleaseNotesURL)},
        {offer(R"("2.0")", R"("HTTPS://E.COM/x")", R"(, "releaseNotesURL": "HtTpS://e.com/n")"),
         "1.0", "offer 2.0"},
        {offer(R"("2.0")", https, R"(, "releaseNotesURL": null, "title": null, "x": {"y": [1]})"),
         "1.0", "offer 2.0"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(outcome([&] { return AppUpdateService::availableUpdate(c.bytes, c.current); }),
                  c.expected)
            << c.bytes.left(120).toStdString() << " / current " << c.current.toStdString();
    }
    EXPECT_EQ(AppUpdateService::availableUpdate(
                  offer(R"(" 1.5.0 ")", R"("https://e.com/d?x=1#top")",
                        R"(, "releaseNotesURL": "https://e.com/notes", "title": "Spring \u00E9")"),
                  "1.4"),
              (AppUpdateManifest{" 1.5.0 ", QUrl("https://e.com/d?x=1#top"),
                                 QUrl("https://e.com/notes"), "Spring \u00E9"}));
}

TEST(AppUpdateChecker, TheFeedSettingMustBeHttpsAndLocalFeedsNeedNoNetwork) {
    EXPECT_EQ(configuredUpdateFeedURL("  HTTPS://updates.example.com/lumora.json \n"),
              QUrl("https://updates.example.com/lumora.json"));
    for (const char* refused :
         {"", "   \t\n", "http://u.example.com/l.json", "u.example.com/l.json",
          "file:///tmp/l.json", "https://exa mple.com/l.json", "https://[::1"}) {
        EXPECT_EQ(configuredUpdateFeedURL(refused), std::nullopt) << refused;
    }
    TemporaryHome home;
    const QString path = home.filePath("feed.json");
    const auto check = [](const QUrl& feed, const QString& current = "1.0") {
        return outcome([&] { return AppUpdateChecker(feed).check(current); });
    };
    const QUrl local = QUrl::fromLocalFile(path);
    writeFile(path, goodManifest);
    EXPECT_EQ(check(local), "offer 1.5.0");
    EXPECT_EQ(check(local, "1.5.0"), "nothing");
    EXPECT_EQ(outcome([] { return AppUpdateChecker(std::nullopt).check("1.0"); }), "nothing");
    // Local files are bounded like downloads; an endless device is cut off at the limit.
    writeFile(path, goodManifest.leftJustified(65537));
    EXPECT_EQ(check(local), error(Case::manifestTooLarge));
    EXPECT_EQ(check(QUrl::fromLocalFile("/dev/zero")), error(Case::manifestTooLarge));
    EXPECT_EQ(check(QUrl::fromLocalFile(home.filePath("missing.json"))),
              "error: Could not read \u201c" + home.filePath("missing.json").toStdString() +
                  "\u201d: No such file or directory");
    // Port 1 on the loopback refuses connections: a request made anyway would end in a network
    // error, not in this one.
    EXPECT_EQ(check(QUrl("http://127.0.0.1:1/feed.json")), error(Case::invalidFeedURL));
}

namespace {

// A small HTTPS/1.1 server on 127.0.0.1 with a canned answer per path, on a thread of its own so
// that a test can make blocking requests against it; every answer closes the connection.
class LocalHttpsServer {
public:
    struct Answer {
        QByteArray status = "200 OK", headers, body; // headers: lines that end in "\r\n"
        bool silent = false, trickle = false; // never answer; announce 64 KiB, a byte every 50 ms
    };
    LocalHttpsServer(const QHash<QString, Answer>& answers) : m_answers(answers) {
        m_context->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
        m_thread.start();
        QMetaObject::invokeMethod(
            m_context, [&] { listen(); }, Qt::BlockingQueuedConnection);
    }
    ~LocalHttpsServer() {
        m_thread.quit();
        m_thread.wait();
    }
    QUrl url(const QString& path) const {
        return QUrl(QString("https://127.0.0.1:%1").arg(m_port) + path);
    }
    QList<QByteArray> requests() const {
        const QMutexLocker lock(&m_mutex);
        return m_requests;
    }
    // One self-signed certificate for 127.0.0.1 per test process, made by openssl once Qt's TLS
    // classes may be used (not before the application object exists).
    static const std::pair<QSslCertificate, QSslKey>& identity() {
        static const auto made = [] {
            QTemporaryDir folder(processHome() + "/certificate-XXXXXX");
            const CommandOutcome openssl = runProgram(
                "openssl", {"req", "-x509", "-newkey", "ec", "-pkeyopt",
                            "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj",
                            "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout",
                            folder.filePath("key.pem"), "-out", folder.filePath("cert.pem")});
            EXPECT_EQ(openssl.exitCode, 0) << openssl.err.toStdString();
            return std::pair{QSslCertificate(readFile(folder.filePath("cert.pem"))),
                             QSslKey(readFile(folder.filePath("key.pem")), QSsl::Ec)};
        }();
        return made;
    }

private:
    void listen() {
        auto* server = new QSslServer(m_context);
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.setLocalCertificate(identity().first);
        tls.setPrivateKey(identity().second);
        server->setSslConfiguration(tls);
        QObject::connect(server, &QTcpServer::pendingConnectionAvailable, server, [=, this] {
            while (QTcpSocket* socket = server->nextPendingConnection()) {
                serve(static_cast<QSslSocket*>(socket));
            }
        });
        EXPECT_TRUE(server->listen(QHostAddress::LocalHost));
        m_port = server->serverPort();
    }
    void serve(QSslSocket* socket) {
        auto request = std::make_shared<QByteArray>();
        QObject::connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QSslSocket::readyRead, socket, [=, this] {
            *request += socket->readAll();
            const qsizetype end = request->indexOf("\r\n\r\n");
            if (end < 0) {
                return;
            }
            const QMutexLocker lock(&m_mutex);
            m_requests.append(request->left(end));
            const Answer answer = m_answers.value(QString::fromLatin1(request->split(' ').value(1)),
                                                  {"404 Not Found", {}, "no such feed"});
            request->clear(); // anything after the head is of no interest
            if (answer.silent) {
                return;
            }
            socket->write("HTTP/1.1 " + answer.status + "\r\nContent-Length: " +
                          QByteArray::number(answer.trickle ? 65536 : answer.body.size()) +
                          "\r\nConnection: close\r\n" + answer.headers + "\r\n" + answer.body);
            if (answer.trickle) {
                auto* drip = new QTimer(socket);
                QObject::connect(drip, &QTimer::timeout, socket, [=] { socket->write(" "); });
                drip->start(50);
            } else {
                socket->disconnectFromHost();
            }
        });
    }

    const QHash<QString, Answer> m_answers;
    QThread m_thread;
    QObject* m_context = new QObject; // lives in m_thread; owns the server and its sockets
    quint16 m_port = 0;
    mutable QMutex m_mutex;
    QList<QByteArray> m_requests;
};

} // namespace

// A good manifest is fetched fresh, also on a worker thread without an event loop; redirects are
// followed between https addresses only; unusable answers are refused; silent, trickling and
// mute servers time out. The test certificate is trusted only by the checkers given it.
TEST(UpdateFeedOverHttps, GoodManifestsAreFetchedFreshAndEverythingElseRefusedOrTimedOut) {
    ASSERT_FALSE(LocalHttpsServer::identity().first.isNull()) << "no test certificate";
    const qsizetype limit = AppUpdateService::maximumManifestSize;
    const QByteArray huge(1 << 20, ' ');
    QTcpServer plain; // a redirect to plain http is not followed: this server never hears from us
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost));
    const LocalHttpsServer server({
        {"/feed.json", {"200 OK", "Content-Type: application/json\r\n", goodManifest}},
        {"/old.json", {"301 Moved Permanently", "Location: /new.json\r\n", "moved"}},
        {"/new.json", {"200 OK", {}, goodManifest.leftJustified(limit)}},
        {"/not-modified.json", {"304 Not Modified", {}, {}}},
        {"/server-error.json", {"500 Internal Server Error", {}, goodManifest}},
        {"/huge-error.json", {"404 Not Found", {}, huge}},
        {"/too-large.json", {"200 OK", {}, goodManifest.leftJustified(limit + 1)}},
        {"/huge.json", {"200 OK", {}, huge}},
        {"/page.html", {"200 OK", {}, "<html>Hello</html>"}},
        {"/to-http.json",
         {"302 Found",
          "Location: http://127.0.0.1:" + QByteArray::number(plain.serverPort()) + "/f.json\r\n",
          {}}},
        {"/silent.json", {"200 OK", {}, {}, true}},
        {"/to-silent.json", {"302 Found", "Location: /silent.json\r\n", {}}},
        {"/trickle.json", {"200 OK", {}, {}, false, true}}, // would take an hour in all
    });
    const auto checker = [&](const QUrl& feed, std::chrono::milliseconds timeout = 15s) {
        return AppUpdateChecker(feed, {timeout, {LocalHttpsServer::identity().first}});
    };
    const auto check = [&](const AppUpdateChecker& checker) {
        return outcome([&] { return checker.check("1.0"); });
    };
    EXPECT_EQ(check(checker(server.url("/feed.json"))), "offer 1.5.0");
    ASSERT_EQ(server.requests().size(), 1);
    const QByteArray request = server.requests().first().toLower();
    for (const char* part : {"get /feed.json http/1.1\r\n", "\r\naccept: application/json",
                             "\r\ncache-control: no-cache"}) {
        EXPECT_TRUE(request.contains(part)) << request.toStdString();
    }
    const std::string untrusted = check(AppUpdateChecker(server.url("/feed.json")));
    EXPECT_TRUE(untrusted.starts_with("network: ")) << untrusted;
    EXPECT_EQ(server.requests().size(), 1); // nothing was sent to an untrusted server
    std::string fromWorker;
    const std::unique_ptr<QThread> worker(
        QThread::create([&] { fromWorker = check(checker(server.url("/feed.json"))); }));
    worker->start();
    worker->wait();
    EXPECT_EQ(fromWorker, "offer 1.5.0");
    QTcpServer mute; // accepts the connection, never even starts the TLS handshake
    ASSERT_TRUE(mute.listen(QHostAddress::LocalHost));
    const std::string timedOut = "network: The request timed out.";
    const std::pair<QUrl, std::string> cases[] = {
        {server.url("/old.json"), "offer 1.5.0"},
        {server.url("/missing.json"), error(Case::invalidServerResponse)},
        {server.url("/not-modified.json"), error(Case::invalidServerResponse)},
        {server.url("/server-error.json"), error(Case::invalidServerResponse)},
        {server.url("/huge-error.json"), error(Case::invalidServerResponse)},
        {server.url("/to-http.json"), error(Case::invalidServerResponse)},
        {server.url("/too-large.json"), error(Case::manifestTooLarge)},
        {server.url("/huge.json"), error(Case::manifestTooLarge)},
        {server.url("/page.html"), error(Case::invalidManifest)},
        {server.url("/silent.json"), timedOut},
        {server.url("/to-silent.json"), timedOut},
        {server.url("/trickle.json"), timedOut},
        {QUrl(QString("https://127.0.0.1:%1/").arg(mute.serverPort())), timedOut},
    };
    for (const auto& [feed, expected] : cases) {
        EXPECT_EQ(check(checker(feed, expected == timedOut ? 300ms : 15s)), expected)
            << feed.toString().toStdString();
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(plain.hasPendingConnections());
}
