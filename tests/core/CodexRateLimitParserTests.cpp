#include "core/CodexRateLimitParser.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;
using ParseError = CodexRateLimitParser::ParseError;

namespace {

const QDateTime capturedAt = QDateTime::fromSecsSinceEpoch(1767200000, Qt::UTC);
const QString initializeLine = R"({"id":1,"result":{"userAgent":"codex/0.1"}})";

// A window object: {"usedPercent":N} followed by any further members.
QString window(int usedPercent, const QString& more = {}) {
    return QStringLiteral(R"({"usedPercent":%1%2})").arg(usedPercent).arg(more);
}
// The id-2 answer with the given record as "rateLimits" and further members of "result".
QString answer(const QString& record, const QString& more = {}) {
    return QStringLiteral(R"({"id":2,"result":{"rateLimits":%1%2}})").arg(record, more);
}
QString primaryOnly(int usedPercent) {
    return R"({"primary":)" + window(usedPercent) + "}";
}

UsageSnapshot parse(const QString& transcript) {
    return CodexRateLimitParser().parse(transcript, capturedAt);
}
double primaryRatio(const QString& transcript) {
    return parse(transcript).windows.first().usedRatio.value_or(-1);
}
std::optional<ParseError> failure(const QString& transcript) {
    try {
        parse(transcript);
    } catch (const ParseError& error) {
        return error;
    }
    return std::nullopt;
}

} // namespace

// (The whole snapshot of such an answer: CodexProviderTest.FetchReadsUsageThroughTheAppServer...)
TEST(CodexRateLimitParser, ReadsTheAnswerAmongOtherLines) {
    EXPECT_EQ(primaryRatio(initializeLine + "\n" + R"({"method":"configWarning","params":{}})" +
                           "\n" + answer(primaryOnly(42)) + "\n"),
              0.42);
    // Any line break separates lines; the first decodable id-2 answer wins.
    const QStringList breaks{"\r\n", "\r", "\u000B", "\u0085", "\u2028"};
    for (const QString& lineBreak : breaks) {
        EXPECT_EQ(primaryRatio(initializeLine + lineBreak + answer(primaryOnly(10)) + lineBreak +
                               answer(primaryOnly(20))),
                  0.10);
    }
}

TEST(CodexRateLimitParser, AvailabilityConfidenceAndWindowKinds) {
    const auto availability = [](int primary, int secondary, const QString& more = {}) {
        return parse(answer(R"({"primary":)" + window(primary) + R"(,"secondary":)" +
                            window(secondary) + more + "}"))
            .availability;
    };
    // Any reached type blocks, even an empty one; null is absent.
    const QString reached = R"(,"rateLimitReachedType":)";
    EXPECT_EQ(QList({availability(79, 10), availability(10, 80), availability(99, 10),
                     availability(10, 100), availability(10, 5, reached + "\"credits_depleted\""),
                     availability(10, 5, reached + "\"\""),
                     availability(10, 5, reached + R"(null,"planType":"plus")")}),
              QList({Availability::ready, Availability::limited, Availability::limited,
                     Availability::blocked, Availability::blocked, Availability::blocked,
                     Availability::ready}));
    EXPECT_EQ(primaryRatio(answer(primaryOnly(250))), 1.0);
    EXPECT_EQ(primaryRatio(answer(primaryOnly(-5))), 0.0);

    // Without any reset time the figures are only confirmed locally.
    const UsageSnapshot noResets = parse(answer(R"({"secondary":)" + window(6) + "}"));
    EXPECT_EQ(noResets.confidence, Confidence::confirmedLocally);
    EXPECT_EQ(noResets.windows, QList{UsageWindow(Kind::session, 0.06, std::nullopt)});
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
        EXPECT_EQ(parse(answer(R"({"primary":)" + window(5, more) + "}")).windows.first().kind,
                  kind)
            << minutes.toStdString();
    }
}

TEST(CodexRateLimitParser, PrefersTheCodexRecordWhenLimitsAreListedByID) {
    const QString general = primaryOnly(11);
    const QString byID = R"(,"rateLimitsByLimitId":{"other":)" + primaryOnly(33);
    EXPECT_EQ(primaryRatio(answer(general, byID + R"(,"codex":)" + primaryOnly(22) + "}")), 0.22);
    EXPECT_EQ(primaryRatio(answer(general, byID + "}")), 0.11);
    // The reached type of the chosen record counts, not that of the general one.
    EXPECT_EQ(parse(answer(R"({"primary":)" + window(11) + R"(,"rateLimitReachedType":"x"})",
                           R"(,"rateLimitsByLimitId":{"codex":)" + primaryOnly(22) + "}"))
                  .availability,
              Availability::ready);
}

TEST(CodexRateLimitParser, ALineWithAnythingButJsonIntegersIsSkipped) {
    const QString good = answer(primaryOnly(20));
    const QStringList bad{
        answer(R"({"primary":{"usedPercent":9223372036854775808}})"),
        answer(R"({"primary":)" + window(12, R"(,"windowDurationMins":300.5)") + "}"),
        answer(R"({"primary":)" + window(12, R"(,"resetsAt":"1767225600")") + "}"),
        R"({"id":"2","result":{"rateLimits":{"primary":{"usedPercent":1}}}})",
        answer(primaryOnly(1), R"(,"rateLimitsByLimitId":[])"),
        answer(R"({"primary":)" + window(1) + R"(,"planType":7})"),
    };
    for (const QString& line : bad) {
        EXPECT_EQ(failure(line), ParseError::rateLimitResponseNotFound()) << line.toStdString();
        EXPECT_EQ(primaryRatio(line + "\n" + good), 0.20) << line.toStdString();
    }
    // Whole numbers written with a fraction or an exponent are integers.
    EXPECT_EQ(primaryRatio(R"({"id":2.0,"result":{"rateLimits":{"primary":{"usedPercent":3e1}}}})"),
              0.30);
}

TEST(CodexRateLimitParser, AnswersWithoutUsableData) {
    for (const QString& transcript :
         {QString(), QString("\n\n  \n"), initializeLine,
          // What the server says to an API-key account.
          initializeLine +
              R"(
{"error":{"code":-32600,"message":"chatgpt authentication required to read rate limits"},"id":2})",
          QString(R"({"id":2,"result":null})"), QString(R"({"id":2,"result":{}})"),
          QString(R"({"id":2,"result":{"rateLimits":[]}})"),
          QString(R"([{"id":2,"result":{"rateLimits":{}}}])")}) {
        EXPECT_EQ(failure(transcript), ParseError::rateLimitResponseNotFound())
            << transcript.toStdString();
    }
    EXPECT_EQ(failure(answer("{}")), ParseError::windowNotFound());
    EXPECT_EQ(failure(answer(R"({"primary":null,"secondary":null,"planType":"pro"})")),
              ParseError::windowNotFound());
}
