#include "core/CodexRateLimitParser.h"
#include "core/JsonInteger.h"
#include "support/TestSupport.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;
using ParseError = CodexRateLimitParser::ParseError;

namespace {

const QDateTime capturedAt = QDateTime::fromSecsSinceEpoch(1767200000, Qt::UTC);
const QString initializeLine = R"({"id":1,"result":{"userAgent":"codex/0.1"}})";
const QString notificationLine = R"({"method":"configWarning","params":{"summary":"x"}})";

QString window(int usedPercent, std::optional<int> minutes = std::nullopt,
               std::optional<qint64> resetsAt = std::nullopt) {
    QString text = QStringLiteral(R"({"usedPercent":%1)").arg(usedPercent);
    if (minutes) {
        text += QStringLiteral(R"(,"windowDurationMins":%1)").arg(*minutes);
    }
    if (resetsAt) {
        text += QStringLiteral(R"(,"resetsAt":%1)").arg(*resetsAt);
    }
    return text + "}";
}

QString answer(const QString& rateLimits, const QString& extra = {}) {
    return QStringLiteral(R"({"id":2,"result":{"rateLimits":%1%2}})").arg(rateLimits, extra);
}

UsageSnapshot parse(const QString& transcript) {
    return CodexRateLimitParser().parse(transcript, capturedAt);
}

ParseError parseFailure(const QString& transcript) {
    try {
        parse(transcript);
        ADD_FAILURE() << "parsed: " << transcript.toStdString();
    } catch (const ParseError& error) {
        return error;
    }
    return ParseError::rateLimitResponseNotFound();
}

double primaryRatio(const QString& transcript) {
    return parse(transcript).windows.first().usedRatio.value_or(-1);
}

} // namespace

TEST(CodexRateLimitParser, ReadsTheAnswerAmongOtherLines) {
    const QString example =
        R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300,"resetsAt":1767225600},"secondary":{"usedPercent":7,"windowDurationMins":10080,"resetsAt":1767657600}}}})";
    const UsageSnapshot snapshot =
        parse(initializeLine + "\n" + notificationLine + "\n" + example + "\n");
    const UsageSnapshot expected{
        "codex",
        "Codex",
        capturedAt,
        Availability::ready,
        {UsageWindow(Kind::session, 0.42, QDateTime::fromSecsSinceEpoch(1767225600, Qt::UTC)),
         UsageWindow(Kind::weekly, 0.07, QDateTime::fromSecsSinceEpoch(1767657600, Qt::UTC))},
        SnapshotSource::officialAppServer,
        Confidence::exact,
        120,
        std::nullopt};
    EXPECT_EQ(snapshot, expected);
    EXPECT_EQ(snapshot.toJson()["source"].toString(), "official_app_server");

    // Any line break separates lines; the first decodable id-2 answer wins.
    const QStringList separators{"\r\n", "\r", "\u000B", "\u000C", "\u0085", "\u2028", "\u2029"};
    for (const QString& separator : separators) {
        EXPECT_EQ(primaryRatio(initializeLine + separator +
                               answer(R"({"primary":)" + window(10) + "}") + separator +
                               answer(R"({"primary":)" + window(20) + "}")),
                  0.10);
    }
}

TEST(CodexRateLimitParser, AvailabilityFollowsTheHighestWindowOrTheReachedFlag) {
    const auto availability = [](int primary, int secondary, const QString& extra = {}) {
        return parse(answer(R"({"primary":)" + window(primary) + R"(,"secondary":)" +
                            window(secondary, 10080) + extra + "}"))
            .availability;
    };
    EXPECT_EQ(availability(79, 10), Availability::ready);
    EXPECT_EQ(availability(10, 80), Availability::limited);
    EXPECT_EQ(availability(99, 10), Availability::limited);
    EXPECT_EQ(availability(10, 100), Availability::blocked);
    EXPECT_EQ(availability(10, 5, R"(,"rateLimitReachedType":"workspace_owner_credits_depleted")"),
              Availability::blocked);
    EXPECT_EQ(availability(10, 5, R"(,"rateLimitReachedType":"")"), Availability::blocked);
    EXPECT_EQ(availability(10, 5, R"(,"rateLimitReachedType":null,"planType":"plus")"),
              Availability::ready);

    // Percentages outside 0...100 are clamped.
    EXPECT_EQ(primaryRatio(answer(R"({"primary":)" + window(250) + "}")), 1.0);
    EXPECT_EQ(primaryRatio(answer(R"({"primary":)" + window(-5) + "}")), 0.0);
}

TEST(CodexRateLimitParser, WindowKindsFollowTheDuration) {
    const QList<std::pair<std::optional<int>, Kind>> cases{
        {std::nullopt, Kind::session}, {-60, Kind::session},   {0, Kind::session},
        {300, Kind::session},          {360, Kind::session},   {361, Kind::daily},
        {1440, Kind::daily},           {1441, Kind::weekly},   {10080, Kind::weekly},
        {10081, Kind::monthly},        {43200, Kind::monthly}, {43201, Kind::credits},
        {525600, Kind::credits}};
    for (const auto& [minutes, kind] : cases) {
        const auto windows = parse(answer(R"({"secondary":)" + window(5, minutes) + "}")).windows;
        ASSERT_EQ(windows.size(), 1);
        EXPECT_EQ(windows.first().kind, kind) << minutes.value_or(-1);
    }
}

TEST(CodexRateLimitParser, ConfidenceDependsOnResetTimes) {
    const UsageSnapshot none =
        parse(answer(R"({"primary":)" + window(5, 300) + R"(,"secondary":)" + window(6) + "}"));
    EXPECT_EQ(none.confidence, Confidence::confirmedLocally);
    EXPECT_FALSE(none.windows[0].resetsAt);
    EXPECT_FALSE(none.windows[1].resetsAt);
    EXPECT_EQ(parse(answer(R"({"primary":)" + window(5) + R"(,"secondary":)" +
                           window(6, 10080, 1767657600) + "}"))
                  .confidence,
              Confidence::exact);
}

TEST(CodexRateLimitParser, PrefersTheCodexRecordWhenLimitsAreListedByID) {
    const QString general = R"({"primary":)" + window(11) + "}";
    const QString codex = R"({"primary":)" + window(22) + "}";
    const QString other = R"({"primary":)" + window(33) + "}";
    EXPECT_EQ(primaryRatio(answer(general, R"(,"rateLimitsByLimitId":{"other":)" + other +
                                               R"(,"codex":)" + codex + "}")),
              0.22);
    EXPECT_EQ(primaryRatio(answer(general, R"(,"rateLimitsByLimitId":{"other":)" + other + "}")),
              0.11);
    EXPECT_EQ(primaryRatio(answer(general, R"(,"rateLimitsByLimitId":null)")), 0.11);
    // The reached flag of the chosen record counts, not that of the general one.
    EXPECT_EQ(parse(answer(R"({"primary":)" + window(11) + R"(,"rateLimitReachedType":"x"})",
                           R"(,"rateLimitsByLimitId":{"codex":)" + codex + "}"))
                  .availability,
              Availability::ready);

    // A foreign entry that does not decode spoils its whole line, though it would not be used.
    const QString spoiled =
        answer(general, R"(,"rateLimitsByLimitId":{"codex":)" + codex +
                            R"(,"other":{"primary":{"windowDurationMins":300}}})");
    EXPECT_EQ(parseFailure(spoiled), ParseError::rateLimitResponseNotFound());
    EXPECT_EQ(primaryRatio(spoiled + "\n" + answer(general)), 0.11);
}

TEST(CodexRateLimitParser, IntegersMustBeJsonIntegers) {
    const QString good = answer(R"({"primary":)" + window(20) + "}");
    for (const QString& bad : {
             answer(R"({"primary":{"usedPercent":12.5}})"),
             answer(R"({"primary":{"usedPercent":"12"}})"),
             answer(R"({"primary":{"usedPercent":true}})"),
             answer(R"({"primary":{"usedPercent":12,"windowDurationMins":300.5}})"),
             answer(R"({"primary":{"usedPercent":12,"resetsAt":"1767225600"}})"),
             answer(R"({"primary":{"usedPercent":12,"resetsAt":1e300}})"),
             answer(R"({"primary":{"usedPercent":9223372036854775808}})"),
             QString(R"({"id":"2","result":{"rateLimits":{"primary":{"usedPercent":1}}}})"),
             QString(R"({"id":2.5,"result":{"rateLimits":{"primary":{"usedPercent":1}}}})"),
         }) {
        EXPECT_EQ(parseFailure(bad), ParseError::rateLimitResponseNotFound()) << bad.toStdString();
        // The bad line is skipped; a later good one is read.
        EXPECT_EQ(primaryRatio(bad + "\n" + good), 0.20) << bad.toStdString();
    }
    // Whole numbers written with a fraction or exponent are integers.
    EXPECT_EQ(primaryRatio(R"({"id":2.0,"result":{"rateLimits":{"primary":{"usedPercent":3e1}}}})"),
              0.30);

    EXPECT_EQ(jsonInteger(QJsonValue(qint64(-9223372036854775807LL - 1))),
              -9223372036854775807LL - 1);
    EXPECT_EQ(jsonInteger(QJsonValue(0)), 0);
    EXPECT_EQ(jsonInteger(QJsonValue(0.5)), std::nullopt);
    EXPECT_EQ(jsonInteger(QJsonValue()), std::nullopt);
}

TEST(CodexRateLimitParser, AnswersWithoutUsableData) {
    EXPECT_EQ(parseFailure(""), ParseError::rateLimitResponseNotFound());
    EXPECT_EQ(parseFailure("\n\n  \n"), ParseError::rateLimitResponseNotFound());
    // The answer of a signed-in API-key account is a JSON-RPC error.
    const ParseError error = parseFailure(initializeLine +
                                          R"(
{"error":{"code":-32600,"message":"chatgpt authentication required to read rate limits"},"id":2})");
    EXPECT_EQ(error, ParseError::rateLimitResponseNotFound());
    EXPECT_EQ(error.description(), "The Codex app-server did not return usage data.");
    EXPECT_EQ(parseFailure(R"({"id":2,"result":null})"), ParseError::rateLimitResponseNotFound());
    EXPECT_EQ(parseFailure(R"({"id":2,"result":{}})"), ParseError::rateLimitResponseNotFound());
    EXPECT_EQ(parseFailure(R"({"id":2,"result":{"rateLimits":[]}})"),
              ParseError::rateLimitResponseNotFound());
    EXPECT_EQ(parseFailure(R"([{"id":2,"result":{"rateLimits":{}}}])"),
              ParseError::rateLimitResponseNotFound());
    EXPECT_EQ(parseFailure(answer(R"({"primary":)" + window(1) + R"(,"planType":7})")),
              ParseError::rateLimitResponseNotFound());

    const ParseError empty = parseFailure(answer(R"({"primary":null,"planType":"pro"})"));
    EXPECT_EQ(empty, ParseError::windowNotFound());
    EXPECT_EQ(empty.description(), "The Codex response did not include a usage window.");
    EXPECT_EQ(parseFailure(answer("{}")), ParseError::windowNotFound());
}
