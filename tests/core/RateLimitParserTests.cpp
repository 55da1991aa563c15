// The two tools' usage records: Claude Code's status-line cache and Codex's app-server answer.
#include "core/ClaudeRateLimitCacheParser.h"
#include "core/CodexRateLimitParser.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace lumora;
using Kind = UsageWindow::Kind;
using CodexError = CodexRateLimitParser::ParseError;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1772373909, Qt::UTC);
const QDateTime written = now.addSecs(-30);

struct ClaudeRateLimitCacheParserTest : ::testing::Test {
    static UsageSnapshot parse(const QByteArray& json) {
        return ClaudeRateLimitCacheParser().parse(json, written, now);
    }
    static UsageWindow session(double used, std::optional<QDateTime> reset = {}) {
        return UsageWindow(Kind::session, used, reset);
    }
    static UsageWindow weekly(double used) { return UsageWindow(Kind::weekly, used, {}); }
};

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

// Each window in its fixed order, and the availability that the first one decides.
TEST_F(ClaudeRateLimitCacheParserTest, WindowsAndTheVerdictOfTheFirst) {
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
        EXPECT_EQ(parse(json), (UsageSnapshot{"claude-code", "Claude Code", written, availability,
                                              windows, SnapshotSource::officialCLI,
                                              Confidence::exact, 150, std::nullopt}))
            << json.toStdString();
    }
}

// No figures, figures of the wrong type and what is not JSON are three different errors.
TEST_F(ClaudeRateLimitCacheParserTest, NoUsageAndMalformedContent) {
    const auto error = [](const char* json) -> std::string {
        try {
            parse(json);
        } catch (const ClaudeRateLimitCacheParser::ParseError& error) {
            return error.description().toStdString();
        } catch (const DecodingError&) {
            return "shape";
        } catch (const JsonSyntaxError&) {
            return "syntax";
        }
        return "parsed";
    };
    const std::string none = "No usage data was found in the Claude status line cache.";
    const std::pair<const char*, std::string> cases[] = {
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
        {"\xff\xfe", "syntax"}};
    for (const auto& [json, expected] : cases) {
        EXPECT_EQ(error(json), expected) << json;
    }
}

// The first decodable id-2 answer among other lines, whatever the line breaks.
TEST_F(CodexRateLimitParserTest, ReadsTheAnswerAmongOtherLines) {
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
    EXPECT_EQ(failure(answer("{}")), CodexError::windowNotFound());
    EXPECT_EQ(failure(answer(R"({"primary":null,"secondary":null,"planType":"p"})")),
              CodexError::windowNotFound());
}

// Availability, confidence, the kind by the window's length, and the "codex" record listed by id.
TEST_F(CodexRateLimitParserTest, AvailabilityConfidenceAndWindowKinds) {
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
    EXPECT_EQ(ratio(answer(primary(250))), 1.0);
    EXPECT_EQ(ratio(answer(primary(-5))), 0.0);
    const UsageSnapshot noResets = parse(answer(R"({"secondary":)" + window(6) + "}"));
    EXPECT_EQ(
        std::tuple(noResets.confidence, noResets.windows),
        std::tuple(Confidence::confirmedLocally, QList{UsageWindow(Kind::session, 0.06, {})}));
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
    EXPECT_EQ(ratio(answer(primary(11), byID + R"(,"codex":)" + primary(22) + "}")), 0.22);
    EXPECT_EQ(ratio(answer(primary(11), byID + "}")), 0.11);
    // The reached type of the chosen record counts, not that of the general one.
    EXPECT_EQ(parse(answer(R"({"primary":)" + window(11) + R"(,"rateLimitReachedType":"x"})",
                           R"(,"rateLimitsByLimitId":{"codex":)" + primary(22) + "}"))
                  .availability,
              Availability::ready);
}
