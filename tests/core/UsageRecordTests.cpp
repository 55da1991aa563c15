// The two tools' usage records (Claude Code's status-line cache, Codex's app-server answer), the
// snapshot made of them, its texts, its cache file and the panel's title.
#include "core/ClaudeRateLimitCacheParser.h"
#include "core/CodexRateLimitParser.h"
#include "core/MenuBarDisplayFormatter.h"
#include "core/SnapshotCache.h"
#include "support/TestSupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;
using CodexError = CodexRateLimitParser::ParseError;

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

} // namespace

// Each window in its fixed order and the availability the first one decides; no figures, figures
// of the wrong type and what is not JSON are three different errors.
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
             {"{}", none},
             {R"({"five_hour":null})", none},
             {R"({"five_hour":null,"seven_day":null})", none},
             {R"({"five_hour":{"resets_at":1}})", "shape"},
             {R"({"five_hour":{"used_percentage":"42"}})", "shape"},
             {R"({"five_hour":{"used_percentage":42,"resets_at":"soon"}})", "shape"},
             {R"({"five_hour":[42]})", "shape"},
             {"[1,2]", "shape"},
             {R"({"five_hour":{"used_percentage":4)", "syntax"},
             {"", "syntax"},
             {"\xff\xfe", "syntax"}}) {
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

// The first decodable id-2 answer among other lines, whatever the line breaks; availability,
// confidence, the kind by the window's length, and the "codex" record listed by id.
TEST_F(CodexRateLimitParserTest, TheAnswerAmongOtherLinesItsAvailabilityConfidenceAndWindowKinds) {
    const QString initialize = R"({"id":1,"result":{"userAgent":"codex/0.1"}})";
    EXPECT_EQ(ratio(initialize + "\n" + R"({"method":"configWarning","params":{}})" + "\n" +
                    answer(primary(42)) + "\n"),
              0.42);
    for (const char* lineBreak : {"\r\n", "\r", "\u000B", "\u0085", "\u2028"}) {
        EXPECT_EQ(
            ratio(initialize + lineBreak + answer(primary(10)) + lineBreak + answer(primary(20))),
            0.10);
    }
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
    EXPECT_EQ(ratio(R"({"id":2.0,"result":{"rateLimits":{"primary":{"usedPercent":3e1}}}})"), 0.30);
    // Answers without usable data, among them what the server says to an API-key account.
    for (const QString& transcript :
         {QString(), QString("\n\n  \n"), initialize,
          initialize + "\n" +
              R"({"error":{"code":-32600,"message":"chatgpt authentication required"},"id":2})",
          QString(R"({"id":2,"result":null})"), QString(R"({"id":2,"result":{}})"),
          QString(R"({"id":2,"result":{"rateLimits":[]}})"),
          QString(R"([{"id":2,"result":{"rateLimits":{}}}])")}) {
        EXPECT_EQ(failure(transcript), CodexError::rateLimitResponseNotFound())
            << transcript.toStdString();
    }
    EXPECT_EQ(std::tuple(failure(answer("{}")),
                         failure(answer(R"({"primary":null,"secondary":null,"planType":"p"})"))),
              std::tuple(CodexError::windowNotFound(), CodexError::windowNotFound()));
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
    EXPECT_EQ(parse(answer(R"({"primary":)" + window(5) + R"(,"secondary":)" +
                           window(6, R"(,"resetsAt":1767657600)") + "}"))
                  .confidence,
              Confidence::exact);
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

// Halves round up; an exhausted window counts down; stale after the limit; unclamped figures; the
// same texts in the panel's title.
TEST(UsageSnapshotTexts, RoundingStalenessCountdownMissingFiguresAndThePanelTitle) {
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
    // The panel's title: the tools in order, each switch, the middle dot, a countdown, a stale
    // figure.
    auto codex = usedSession(0.07);
    codex.providerID = providers::codexID;
    const auto claude = usedSession(0.42), exhausted = usedSession(1.0, now.addSecs(65 * 60));
    const QStringList order{"codex", "claude-code"};
    const std::tuple<UsageSnapshot, bool, bool, QStringList, int, QString> titles[] = {
        {claude, true, true, order, 0, "Codex 93% \u00B7 Claude Code 58%"},
        {claude, true, true, {"claude-code", "codex"}, 0, "Claude Code 58% \u00B7 Codex 93%"},
        {claude, false, true, order, 0, "Claude Code 58%"},
        {claude, false, false, order, 0, "Lumora"},
        {claude, true, true, {}, 0, "Lumora"},
        {exhausted, false, true, order, 0, "Claude Code 01hr 05min"},
        {claude, true, false, order, 200, "Codex --%"},
    };
    for (const auto& [claude, showsCodex, showsClaude, order, later, expected] : titles) {
        EXPECT_EQ(MenuBarDisplayFormatter().format(codex, claude, showsCodex, showsClaude, order,
                                                   now.addSecs(later)),
                  expected);
    }
}

// A snapshot survives its file to the second; a file holding no snapshot is left untouched.
TEST(UsageSnapshotJson, RoundTripThroughTheCacheFileAndWhatIsNotASnapshot) {
    TemporaryHome home;
    SnapshotCache cache(providers::codexID, std::nullopt, home.path());
    EXPECT_EQ(cache.fileURL(), home.path() + "/.local/share/Lumora/codex-snapshot.json");
    EXPECT_FALSE(cache.load()); // fresh system: no folder yet
    auto snapshot = snapshotWith(
        {UsageWindow(Kind::session, 0.25, now.addMSecs(3600750)), weekly(std::nullopt)});
    snapshot.capturedAt = now.addMSecs(999);
    snapshot.statusMessage = QStringLiteral("Hello \u00B7 world");
    cache.save(snapshot);
    auto expected = snapshot;
    expected.capturedAt = now; // fractions of a second are dropped
    expected.windows[0].resetsAt = now.addSecs(3600);
    EXPECT_EQ(cache.load(), expected);
    EXPECT_EQ(UsageSnapshot::decode(snapshot.encode()), expected);
    const QJsonObject good = usedSession(0.3, now).toJson();
    const auto load = [&](const QByteArray& bytes) {
        writeFile(cache.fileURL(), bytes);
        const auto loaded = cache.load();
        EXPECT_EQ(readFile(cache.fileURL()), bytes);
        return loaded;
    };
    const auto with = [&](const char* key, const QJsonValue& value) {
        QJsonObject changed = good;
        changed.insert(key, value); // Undefined removes the member
        return load(QJsonDocument(changed).toJson());
    };
    EXPECT_TRUE(with("statusMessage", QJsonValue::Undefined) &&
                with("statusMessage", QJsonValue::Null));
    EXPECT_EQ(with("capturedAt", "2026-03-01T16:05:09+02:00")->capturedAt, now);
    for (const auto& [key, value] : std::initializer_list<std::pair<const char*, QJsonValue>>{
             {"source", "official_CLI"},
             {"capturedAt", "yesterday"},
             {"windows", QJsonObject{}},
             {"windows", QJsonArray{QJsonObject{{"kind", "hourly"}}}},
             {"windows", QJsonArray{QJsonObject{{"kind", "session"}, {"usedRatio", "1"}}}}}) {
        EXPECT_FALSE(with(key, value)) << key;
    }
    for (const char* junk :
         {"", "[]", "null", "{", "\"x\"", "{\"providerID\": 1}", "\xff\xfe garbage"}) {
        EXPECT_FALSE(load(junk)) << junk;
    }
    SnapshotCache(providers::claudeCodeID, home.filePath("elsewhere.json")).save(snapshot);
    EXPECT_TRUE(QFileInfo::exists(home.filePath("elsewhere.json")));
}
