// The tools' usage records, the snapshot made of them, versions and the update feed's manifest.
#include "core/AppUpdate.h"
#include "core/ClaudeRateLimitCacheParser.h"
#include "core/CodexRateLimitParser.h"
#include "core/ParsedVersion.h"
#include "core/SnapshotCache.h"
#include "support/TestSupport.h"
#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSslCertificate>
#include <QTcpServer>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

using namespace lumora;
using namespace lumora::test;
using namespace std::chrono_literals;
using Kind = UsageWindow::Kind;
using CodexError = CodexRateLimitParser::ParseError;
using Case = AppUpdateError::Case;
using Identifier = ParsedVersion::Identifier;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1772373909, Qt::UTC); // 2026-03-01T14:05:09Z

UsageWindow session(double used, std::optional<QDateTime> reset = {}) {
    return UsageWindow(Kind::session, used, reset);
}

UsageWindow weekly(std::optional<double> used) {
    return UsageWindow(Kind::weekly, used, {});
}

UsageSnapshot snapshotWith(QList<UsageWindow> windows,
                           Availability availability = Availability::ready,
                           const QDateTime& capturedAt = now) {
    return {
        providers::claudeCodeID,     providers::claudeCodeName, capturedAt, availability, windows,
        SnapshotSource::officialCLI, Confidence::exact,         150,        std::nullopt};
}

UsageSnapshot usedSession(double ratio, std::optional<QDateTime> reset = std::nullopt) {
    return snapshotWith({session(ratio, reset)});
}

struct CodexRateLimitParserTest : ::testing::Test {
    static QString window(int used, const QString& more = {}) {
        return QString(R"({"usedPercent":%1%2})").arg(used).arg(more);
    }
    static QString primary(int used, const QString& more = {}) {
        return R"({"primary":)" + window(used, more) + "}";
    }
    // The id-2 answer with `record` as "rateLimits" and further members of "result".
    static QString answer(const QString& record, const QString& more = {}) {
        return QString(R"({"id":2,"result":{"rateLimits":%1%2}})").arg(record, more);
    }
    static UsageSnapshot parse(const QString& transcript) {
        return CodexRateLimitParser().parse(transcript, now);
    }
    static double ratio(const QString& transcript) {
        return parse(transcript).windows.first().usedRatio.value_or(-1);
    }
    static std::optional<CodexError> failure(const QString& transcript) {
        try {
            parse(transcript);
        } catch (const CodexError& error) {
            return error;
        }
        return std::nullopt;
    }
};

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

// The windows, the verdict of the first; no figures, wrong types and not JSON are three errors.
TEST(ClaudeRateLimitCacheParserTest, WindowsTheVerdictOfTheFirstAndMalformedContent) {
    const QDateTime written = now.addSecs(-30);
    using A = Availability;
    const std::tuple<QByteArray, QList<UsageWindow>, Availability> cases[] = {
        {R"({"used_percentage":79.9,"resets_at":1772374509})",
         {session(79.9 / 100, now.addSecs(600))},
         A::ready},
        {R"({"used_percentage":80})", {session(0.8)}, A::limited},
        {R"({"used_percentage":99.5})", {session(99.5 / 100)}, A::blocked},
        {R"({"used_percentage":150})", {session(1.0)}, A::blocked},
        {R"({"used_percentage":-5,"resets_at":null})", {session(0.0)}, A::ready},
        // Fractional reset times are kept to the millisecond; a window already reset is empty.
        {R"({"used_percentage":1,"resets_at":1772377509.25})",
         {session(0.01, QDateTime::fromMSecsSinceEpoch(1772377509250, Qt::UTC))},
         A::ready},
        {R"({"used_percentage":97,"resets_at":1772373909})", {session(0)}, A::ready},
        // Whole files: a lone weekly window; both in any order, unknown members ignored.
        {R"({"seven_day":{"used_percentage":97}})", {weekly(0.97)}, A::limited},
        {R"({"seven_day":{"used_percentage":100},"five_hour":{"used_percentage":10},"x":{"y":[1]}})",
         {session(0.1), weekly(1.0)},
         A::ready},
    };
    for (const auto& [window, windows, availability] : cases) {
        const QByteArray json =
            window.contains("_day") ? window : R"({"five_hour":)" + window + "}";
        EXPECT_EQ(ClaudeRateLimitCacheParser().parse(json, written, now),
                  snapshotWith(windows, availability, written))
            << json.toStdString();
    }
    const std::string none = "No usage data was found in the Claude status line cache.";
    for (const auto& [json, expected] : std::initializer_list<std::pair<const char*, std::string>>{
             {R"({"five_hour":null})", none},
             {R"({"five_hour":{"resets_at":1}})", "shape"},
             {R"({"five_hour":{"used_percentage":"42"}})", "shape"},
             {R"({"five_hour":{"used_percentage":42,"resets_at":"soon"}})", "shape"},
             {R"({"five_hour":[42]})", "shape"},
             {"[1,2]", "shape"},
             {R"({"five_hour":{"used_percentage":4)", "syntax"},
             {"", "syntax"}}) {
        std::string got = "parsed";
        try {
            ClaudeRateLimitCacheParser().parse(json, written, now);
        } catch (const ClaudeRateLimitCacheParser::ParseError& error) {
            got = error.description().toStdString();
        } catch (const DecodingError&) {
            got = "shape";
        } catch (const JsonSyntaxError&) {
            got = "syntax";
        }
        EXPECT_EQ(got, expected) << json;
    }
}

// The id-2 answer among other lines; availability, confidence, window kinds, the "codex" record.
TEST_F(CodexRateLimitParserTest, TheAnswerAmongOtherLinesItsAvailabilityConfidenceAndWindowKinds) {
    // Lines with anything but JSON integers where integers belong are skipped.
    for (const QString& line :
         {answer(R"({"primary":{"usedPercent":9223372036854775808}})"),
          answer(primary(12, R"(,"windowDurationMins":300.5)")),
          answer(primary(12, R"(,"resetsAt":"1767225600")")),
          QString(R"({"id":"2","result":{"rateLimits":{"primary":{"usedPercent":1}}}})"),
          answer(primary(1), R"(,"rateLimitsByLimitId":[])"),
          answer(R"({"primary":)" + window(1) + R"(,"planType":7})")}) {
        EXPECT_EQ(failure(line), CodexError::rateLimitResponseNotFound()) << line.toStdString();
        EXPECT_EQ(ratio(line + "\n" + answer(primary(20))), 0.20);
    }
    EXPECT_EQ(failure(R"([{"id":2,"result":{"rateLimits":{}}}])"), // not an object: no answer
              CodexError::rateLimitResponseNotFound());
    const auto availability = [](int primary, int secondary, const QString& more = {}) {
        return parse(answer(R"({"primary":)" + window(primary) + R"(,"secondary":)" +
                            window(secondary) + more + "}"))
            .availability;
    };
    const QString reached = R"(,"rateLimitReachedType":)"; // any, even empty, blocks; null not
    EXPECT_EQ(QList({availability(79, 10), availability(10, 80), availability(99, 10),
                     availability(10, 100), availability(10, 5, reached + "\"credits_depleted\""),
                     availability(10, 5, reached + "\"\""),
                     availability(10, 5, reached + R"(null,"planType":"plus")")}),
              QList({Availability::ready, Availability::limited, Availability::limited,
                     Availability::blocked, Availability::blocked, Availability::blocked,
                     Availability::ready}));
    EXPECT_EQ(std::tuple(ratio(answer(primary(250))), ratio(answer(primary(-5)))),
              std::tuple(1.0, 0.0));
    const UsageSnapshot noResets = parse(answer(R"({"secondary":)" + window(6) + "}"));
    EXPECT_EQ(std::tuple(noResets.confidence, noResets.windows),
              std::tuple(Confidence::confirmedLocally, QList{session(0.06)}));
    const QList<std::pair<QString, Kind>> kinds{
        {"", Kind::session},      {"-60", Kind::session},   {"0", Kind::session},
        {"360", Kind::session},   {"361", Kind::daily},     {"1440", Kind::daily},
        {"1441", Kind::weekly},   {"10080", Kind::weekly},  {"10081", Kind::monthly},
        {"43200", Kind::monthly}, {"43201", Kind::credits}, {"525600", Kind::credits}};
    for (const auto& [minutes, kind] : kinds) {
        const QString more = minutes.isEmpty() ? "" : R"(,"windowDurationMins":)" + minutes;
        EXPECT_EQ(parse(answer(primary(5, more))).windows.first().kind, kind)
            << minutes.toStdString();
    }
    const QString byID = R"(,"rateLimitsByLimitId":{"other":)" + primary(33);
    EXPECT_EQ(std::tuple(ratio(answer(primary(11), byID + R"(,"codex":)" + primary(22) + "}")),
                         ratio(answer(primary(11), byID + "}"))),
              std::tuple(0.22, 0.11));
    // The reached type of the chosen record counts, not that of the general one.
    EXPECT_EQ(parse(answer(R"({"primary":)" + window(11) + R"(,"rateLimitReachedType":"x"})",
                           R"(,"rateLimitsByLimitId":{"codex":)" + primary(22) + "}"))
                  .availability,
              Availability::ready);
}

// Halves round up, exhausted windows count down, stale after the limit; the cache file keeps it.
TEST(UsageSnapshotTexts, RoundingStalenessCountdownMissingFiguresAndTheCacheFile) {
    const std::tuple<UsageSnapshot, qint64, QString, QString> cases[] = {
        // 1 - 0.995 is 0.5000000000000004 in doubles: one percent remains; halves round up.
        {usedSession(0.995), 0, "1%", "01%"},
        {usedSession(0.175), 0, "83%", "83%"},
        {usedSession(0.0), 0, "100%", "100%"},
        {usedSession(0.996, now.addSecs(3600)), 0, "01hr 00min", "00%"},
        {usedSession(1, now.addSecs(3 * 3600 + 59 * 60 + 30)), 0, "04hr 00min", "00%"},
        {usedSession(1, now.addSecs(61)), 0, "00hr 02min", "00%"},
        {usedSession(1, now.addSecs(26 * 3600)), 0, "26hr 00min", "00%"},
        {usedSession(1, now.addSecs(-500)), 0, "00hr 00min", "00%"}, // a reset already passed
        {usedSession(1.0), 0, "--%", "00%"},                         // no reset time
        {usedSession(0.42), 150, "58%", "58%"},
        {usedSession(0.42), 151, "--%", "--%"},
        {snapshotWith({weekly(0.4), session(0.1)}), 0, "90%", "90%"},
        {snapshotWith({weekly(0.40)}), 0, "60%", "60%"},
        {snapshotWith({}), 0, "--%", "--%"},
        {snapshotWith({UsageWindow(Kind::session, std::nullopt, {})}), 0, "--%", "--%"},
        {snapshotWith({UsageWindow::unclamped(Kind::session, 7.0, {})}), 0, "--%", "00%"},
        {snapshotWith({UsageWindow::unclamped(Kind::session, std::nan(""), {})}), 0, "--%", "--%"},
    };
    for (const auto& [snapshot, later, compact, percentage] : cases) {
        const QDateTime at = now.addSecs(later);
        EXPECT_EQ(snapshot.compactRemainingText(at) + "|" + snapshot.remainingPercentageText(at),
                  compact + "|" + percentage);
    }
    EXPECT_TRUE(usedSession(0.42).isStale(now.addMSecs(150001)));
    EXPECT_EQ(UsageWindow(Kind::session, 1.7, {}).usedRatio, 1.0); // clamped; decoding does not
    auto stored = usedSession(0.5).toJson();
    stored["windows"] = QJsonArray{QJsonObject{{"kind", "session"}, {"usedRatio", 1.7}}};
    EXPECT_EQ(UsageSnapshot::fromJson(stored).windows.first().usedRatio, 1.7);
    // A snapshot survives its file to the second; a file holding no snapshot is left untouched.
    TemporaryHome home;
    SnapshotCache cache(providers::codexID, std::nullopt, home.path());
    EXPECT_EQ(cache.fileURL(), home.path() + "/.local/share/Lumora/codex-snapshot.json");
    auto snapshot = snapshotWith(
        {UsageWindow(Kind::session, 0.25, now.addMSecs(3600750)), weekly(std::nullopt)});
    snapshot.capturedAt = now.addMSecs(999);
    snapshot.statusMessage = QStringLiteral("Hello \u00B7 world");
    cache.save(snapshot);
    auto expected = snapshot;
    expected.capturedAt = now; // fractions of a second are dropped
    expected.windows[0].resetsAt = now.addSecs(3600);
    EXPECT_EQ(cache.load(), expected);
    const auto with = [&](const char* key, const QJsonValue& value) {
        QJsonObject changed = usedSession(0.3, now).toJson();
        changed.insert(key, value); // Undefined removes the member
        const QByteArray bytes = QJsonDocument(changed).toJson();
        writeFile(cache.fileURL(), bytes);
        const auto loaded = cache.load();
        EXPECT_EQ(readFile(cache.fileURL()), bytes);
        return loaded;
    };
    EXPECT_TRUE(with("statusMessage", QJsonValue::Undefined) &&
                with("statusMessage", QJsonValue::Null));
    EXPECT_EQ(with("capturedAt", "2026-03-01T16:05:09+02:00")->capturedAt, now);
    for (const auto& [key, value] : std::initializer_list<std::pair<const char*, QJsonValue>>{
             {"providerID", 1},
             {"source", "official_CLI"},
             {"capturedAt", "yesterday"},
             {"windows", QJsonObject{}},
             {"windows", QJsonArray{QJsonObject{{"kind", "hourly"}}}},
             {"windows", QJsonArray{QJsonObject{{"kind", "session"}, {"usedRatio", "1"}}}}}) {
        EXPECT_FALSE(with(key, value)) << key;
    }
    SnapshotCache(providers::claudeCodeID, home.filePath("elsewhere.json")).save(snapshot);
    EXPECT_TRUE(QFileInfo::exists(home.filePath("elsewhere.json")));
}

// What people write as a version, and its order: pre-releases first, by Unicode scalar values.
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

// The manifest's checks in order, the first failure wins, through a local feed; https only.
TEST(AppUpdateChecker, ChecksRunInOrderTheFirstFailureWinsAndTheFeedMustBeHttps) {
    const char* https = R"("https://e.com")";
    const std::tuple<QByteArray, QString, std::string> cases[] = {
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

// Fetched fresh from any thread, https redirects only, timeouts, a certificate trusted as given.
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
    QTcpServer plain, mute; // plain: never hears from a redirect to http; mute: never handshakes
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
        {"/server-error.json", "500 Internal Server Error", "", goodManifest, refused},
        {"/to-http.json", "302 Found", toPlain, "", refused},
        {"/too-large.json", "200 OK", "", goodManifest + limit + " ", tooLarge},
        {"/huge.json", "200 OK", "", huge, tooLarge},
        {"/page.html", "200 OK", "", "<html>Hello</html>", error(Case::invalidManifest)},
        {"/silent.json", "silent", "", "", timedOut},
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
    EXPECT_TRUE(outcome([&] {
                    return AppUpdateChecker(QUrl(base + "/feed.json")).check("1.0");
                }).starts_with("network: ")); // a certificate not given is not trusted
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
