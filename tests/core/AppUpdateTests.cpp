// Versions, the update manifest and its feeds: local files and a real HTTPS server on loopback.
#include "core/AppUpdate.h"
#include "core/ParsedVersion.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSslCertificate>
#include <QTcpServer>

#include <gtest/gtest.h>
#include <limits>
#include <thread>

using namespace lumora;
using namespace lumora::test;
using namespace std::chrono_literals;
using Case = AppUpdateError::Case;
using Identifier = ParsedVersion::Identifier;

namespace {

const QByteArray goodManifest =
    R"({"version": "1.5.0", "downloadURL": "https://example.com/lumora-1.5.0.tar.gz"})";

// A manifest offering `version` from `download` (both JSON), with further members.
QByteArray offer(const char* version, const char* download, const char* more = "") {
    return QByteArray(R"({"version": )") + version + R"(, "downloadURL": )" + download + more + "}";
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

// An HTTPS server on 127.0.0.1 answering each path as told (status, header, body), logging
// requests; "silent" never answers, "200 Trickle" announces 64 KiB and sends a byte every 50 ms.
const char* const httpsServer = R"(
import json, ssl, sys, time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
certificate, key, answers, log = sys.argv[1:]; answers = json.load(open(answers))
class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    def do_GET(self):
        with open(log, "a") as file: print(json.dumps([self.requestline, dict(self.headers)]), file=file)
        status, header, body = answers.get(self.path, ["404 Not Found", "", "no such feed"])
        if status == "silent": return time.sleep(3600)
        trickle = status == "200 Trickle"
        self.send_response(int(status[:3]), status[4:])
        if header: self.send_header(*header.split(": ", 1))
        self.send_header("Content-Length", 65536 if trickle else len(body))
        self.send_header("Connection", "close"); self.end_headers(); self.wfile.write(body.encode())
        while trickle: self.wfile.write(b" "); time.sleep(0.05)
server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER); context.load_cert_chain(certificate, key)
server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
print(server.server_address[1], flush=True); server.serve_forever()
)";

} // namespace

TEST(ParsedVersion, ParsesWhatPeopleWriteAndOrdersIt) {
    const auto text = Identifier::text;
    const std::tuple<QString, QList<qint64>, std::optional<QList<Identifier>>> cases[] = {
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
    for (const auto& [input, numbers, prerelease] : cases) {
        const std::optional<ParsedVersion> parsed = ParsedVersion::parse(input);
        ASSERT_TRUE(parsed) << input.toStdString();
        EXPECT_EQ(std::tuple(parsed->numbers, parsed->prerelease), std::tuple(numbers, prerelease));
    }
    for (const QString& notAVersion :
         QString::fromUtf8(
             "|   |v|vv1|1.x|1..2|1.|.1|+5|1.0.0-|1.0.0-+5|1.0-beta..1|1.0-beta.|1 .0|"
             "1.0 0|9223372036854775808|-1|v-1|0x10|\u0661.0")
             .split('|')) {
        EXPECT_FALSE(ParsedVersion::parse(notAVersion)) << notAVersion.toStdString();
    }
    // "a > b": a is newer than b. Identifiers order by Unicode scalar values, not UTF-16 units.
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

// Size, JSON shape, both versions, the download and notes addresses, and only then the comparison,
// read from a local file bounded like a download; the feed setting must be https.
TEST(AppUpdateChecker, ChecksRunInOrderTheFirstFailureWinsAndTheFeedMustBeHttps) {
    const char* https = R"("https://e.com")";
    const std::tuple<QByteArray, QString, std::string> cases[] = {
        {goodManifest, "1.4.2", "offer 1.5.0"},
        {goodManifest, "1.5.0", "nothing"},
        {goodManifest, "", error(Case::invalidVersion)},
        {goodManifest, "1.5.0-beta.3", "offer 1.5.0"},
        {goodManifest.leftJustified(65536), "1.0", "offer 1.5.0"},
        {goodManifest.leftJustified(65537), "1.0", error(Case::manifestTooLarge)},
        {QByteArray("not json").leftJustified(65537), "garbage", error(Case::manifestTooLarge)},
        {"not json", "garbage", error(Case::invalidManifest)},
        {R"(["1.5.0"])", "1.0", error(Case::invalidManifest)},
        {R"({"version": "1.5.0"})", "1.0", error(Case::invalidManifest)},
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
    TemporaryHome home;
    const QString feed = home.filePath("feed.json"), missing = home.filePath("missing.json");
    const auto check = [](const std::optional<QUrl>& url, const QString& current = "1.0") {
        return outcome([&] { return AppUpdateChecker(url).check(current); });
    };
    for (const auto& [bytes, current, expected] : cases) {
        writeFile(feed, bytes);
        EXPECT_EQ(check(QUrl::fromLocalFile(feed), current), expected)
            << bytes.left(120).toStdString() << " / current " << current.toStdString();
    }
    EXPECT_EQ(std::tuple(check(std::nullopt), check(QUrl::fromLocalFile("/dev/zero")),
                         check(QUrl::fromLocalFile(missing)), check(QUrl("http://127.0.0.1:1/f"))),
              std::tuple("nothing", error(Case::manifestTooLarge),
                         "error: Could not read \u201c" + missing.toStdString() +
                             "\u201d: No such file or directory",
                         error(Case::invalidFeedURL)));
    EXPECT_EQ(AppUpdateService::availableUpdate(
                  offer(R"(" 1.5.0 ")", R"("https://e.com/d?x=1#top")",
                        R"(, "releaseNotesURL": "https://e.com/notes", "title": "Spring \u00E9")"),
                  "1.4"),
              (AppUpdateManifest{" 1.5.0 ", QUrl("https://e.com/d?x=1#top"),
                                 QUrl("https://e.com/notes"), "Spring \u00E9"}));
    EXPECT_EQ(configuredUpdateFeedURL("  HTTPS://updates.example.com/lumora.json \n"),
              QUrl("https://updates.example.com/lumora.json"));
    for (const char* refused :
         {"", "   \t\n", "http://u.example.com/l.json", "u.example.com/l.json",
          "file:///tmp/l.json", "https://exa mple.com/l.json", "https://[::1"}) {
        EXPECT_EQ(configuredUpdateFeedURL(refused), std::nullopt) << refused;
    }
}

// Fetched fresh, also from a worker thread; redirects only between https addresses; silent,
// trickling and mute servers time out; the certificate is trusted only by the checkers given it.
TEST(UpdateFeedOverHttps, GoodManifestsAreFetchedFreshAndEverythingElseRefusedOrTimedOut) {
    TemporaryHome home;
    const CommandOutcome openssl =
        runProgram("openssl", {"req", "-x509", "-newkey", "ec", "-pkeyopt",
                               "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj",
                               "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout",
                               home.filePath("key.pem"), "-out", home.filePath("cert.pem")});
    ASSERT_EQ(openssl.exitCode, 0) << openssl.err.toStdString();
    const QSslCertificate certificate(readFile(home.filePath("cert.pem")));
    const QString limit = QString(65536 - goodManifest.size(), ' '), huge(1 << 20, ' ');
    QTcpServer plain; // a redirect to plain http is not followed: this server never hears from us
    QTcpServer mute;  // accepts the connection, never even starts the TLS handshake
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost) && mute.listen(QHostAddress::LocalHost));
    const QString toPlain = QString("Location: http://127.0.0.1:%1/f.json").arg(plain.serverPort());
    const std::string timedOut = "network: The request timed out.",
                      refused = error(Case::invalidServerResponse),
                      tooLarge = error(Case::manifestTooLarge);
    const std::tuple<QString, QString, QString, QString, std::string> cases[] = {
        // path, status, header, body, outcome
        {"/feed.json", "200 OK", "Content-Type: application/json", goodManifest, "offer 1.5.0"},
        {"/old.json", "301 Moved Permanently", "Location: /new.json", "moved", "offer 1.5.0"},
        {"/new.json", "200 OK", "", goodManifest + limit, "offer 1.5.0"},
        {"/not-modified.json", "304 Not Modified", "", "", refused},
        {"/server-error.json", "500 Internal Server Error", "", goodManifest, refused},
        {"/huge-error.json", "404 Not Found", "", huge, refused},
        {"/to-http.json", "302 Found", toPlain, "", refused},
        {"/too-large.json", "200 OK", "", goodManifest + limit + " ", tooLarge},
        {"/huge.json", "200 OK", "", huge, tooLarge},
        {"/page.html", "200 OK", "", "<html>Hello</html>", error(Case::invalidManifest)},
        {"/silent.json", "silent", "", "", timedOut},
        {"/to-silent.json", "302 Found", "Location: /silent.json", "", timedOut},
        {"/trickle.json", "200 Trickle", "", "", timedOut}, // an hour in all
    };
    QJsonObject answers;
    for (const auto& [path, status, header, body, expected] : cases) {
        answers.insert(path, QJsonArray{status, header, body});
    }
    writeFile(home.filePath("answers.json"), QJsonDocument(answers).toJson());
    QProcess server;
    server.start("python3", {"-c", httpsServer, home.filePath("cert.pem"), home.filePath("key.pem"),
                             home.filePath("answers.json"), home.filePath("requests")});
    ASSERT_TRUE(server.waitForReadyRead(30000)) << server.readAllStandardError().toStdString();
    const QString base = "https://127.0.0.1:" + server.readLine().trimmed();
    const auto check = [&](const QString& feed, std::chrono::milliseconds timeout = 15s) {
        return outcome([&] {
            return AppUpdateChecker(QUrl(feed), {timeout, {certificate}}).check("1.0");
        });
    };
    EXPECT_EQ(check(base + "/feed.json"), "offer 1.5.0");
    const QByteArray requests = readFile(home.filePath("requests")).toLower();
    EXPECT_TRUE(requests.contains(R"(["get /feed.json http/1.1", {)") &&
                requests.contains(R"("accept": "application/json")") &&
                requests.contains(R"("cache-control": "no-cache")"))
        << requests.toStdString();
    const std::string untrusted =
        outcome([&] { return AppUpdateChecker(QUrl(base + "/feed.json")).check("1.0"); });
    EXPECT_TRUE(untrusted.starts_with("network: ")) << untrusted;
    EXPECT_EQ(readFile(home.filePath("requests")).toLower(), requests);
    std::string fromWorker;
    std::thread([&] { fromWorker = check(base + "/feed.json"); }).join();
    EXPECT_EQ(fromWorker, "offer 1.5.0");
    for (const auto& [path, status, header, body, expected] : cases) {
        EXPECT_EQ(check(base + path, expected == timedOut ? 300ms : 15s), expected)
            << path.toStdString();
    }
    EXPECT_EQ(check(QString("https://127.0.0.1:%1/").arg(mute.serverPort()), 300ms), timedOut);
    QCoreApplication::processEvents();
    EXPECT_FALSE(plain.hasPendingConnections());
}
