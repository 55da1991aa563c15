#include "core/ClaudeRateLimitCacheParser.h"

#include <gtest/gtest.h>

using namespace lumora;
using Kind = UsageWindow::Kind;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1772373909, Qt::UTC);
const QDateTime written = now.addSecs(-30);

UsageSnapshot parse(const QByteArray& json) {
    return ClaudeRateLimitCacheParser().parse(json, written, now);
}

QByteArray window(const char* name, double used, std::optional<qint64> resetsAt) {
    QByteArray text =
        QByteArray("\"") + name + "\":{\"used_percentage\":" + QByteArray::number(used);
    if (resetsAt) {
        text += ",\"resets_at\":" + QByteArray::number(*resetsAt);
    }
    return text + "}";
}

Availability availabilityAt(double used) {
    return parse("{" + window("five_hour", used, now.toSecsSinceEpoch() + 600) + "}").availability;
}

} // namespace

TEST(ClaudeRateLimitCacheParser, OneFiveHourWindow) {
    const auto snapshot = parse("{" + window("five_hour", 42, now.toSecsSinceEpoch() + 3600) + "}");
    ASSERT_EQ(snapshot.windows.size(), 1);
    EXPECT_EQ(snapshot.windows[0], UsageWindow(Kind::session, 0.42, now.addSecs(3600)));
    EXPECT_EQ(snapshot.availability, Availability::ready);
    EXPECT_EQ(snapshot.capturedAt, written);
    EXPECT_EQ(snapshot.providerID, "claude-code");
    EXPECT_EQ(snapshot.providerName, "Claude Code");
    EXPECT_EQ(snapshot.source, SnapshotSource::officialCLI);
    EXPECT_EQ(snapshot.confidence, Confidence::exact);
    EXPECT_EQ(snapshot.staleAfterSeconds, 150);
    EXPECT_FALSE(snapshot.statusMessage);
}

TEST(ClaudeRateLimitCacheParser, AvailabilityThresholdsAndClamping) {
    EXPECT_EQ(availabilityAt(79.9), Availability::ready);
    EXPECT_EQ(availabilityAt(80), Availability::limited);
    EXPECT_EQ(availabilityAt(99.4), Availability::limited);
    EXPECT_EQ(availabilityAt(99.5), Availability::blocked);
    EXPECT_EQ(availabilityAt(100), Availability::blocked);
    EXPECT_EQ(parse("{" + window("five_hour", 150, {}) + "}").windows[0].usedRatio, 1.0);
    EXPECT_EQ(parse("{" + window("five_hour", -5, {}) + "}").windows[0].usedRatio, 0.0);
    // Fractional reset times are kept to the millisecond.
    const auto fraction = parse(R"({"five_hour":{"used_percentage":1,"resets_at":1772377509.25}})");
    EXPECT_EQ(fraction.windows[0].resetsAt, QDateTime::fromMSecsSinceEpoch(1772377509250, Qt::UTC));
}

TEST(ClaudeRateLimitCacheParser, WindowsThatHaveAlreadyReset) {
    for (qint64 reset : {now.toSecsSinceEpoch(), now.toSecsSinceEpoch() - 7200}) {
        const auto snapshot = parse("{" + window("five_hour", 97, reset) + "}");
        EXPECT_EQ(snapshot.windows[0], UsageWindow(Kind::session, 0.0, std::nullopt));
        EXPECT_EQ(snapshot.availability, Availability::ready);
    }
    const auto noReset = parse(R"({"five_hour":{"used_percentage":55,"resets_at":null}})");
    EXPECT_EQ(noReset.windows[0], UsageWindow(Kind::session, 0.55, std::nullopt));
}

TEST(ClaudeRateLimitCacheParser, TheFirstWindowDecides) {
    const auto weeklyOnly = parse("{" + window("seven_day", 97, {}) + "}");
    ASSERT_EQ(weeklyOnly.windows.size(), 1);
    EXPECT_EQ(weeklyOnly.windows[0].kind, Kind::weekly);
    EXPECT_EQ(weeklyOnly.availability, Availability::limited);

    const auto both = parse("{" + window("seven_day", 100, {}) + "," + window("five_hour", 10, {}) +
                            R"(,"future_member":{"x":[1,2]}})");
    ASSERT_EQ(both.windows.size(), 2);
    EXPECT_EQ(both.windows[0].kind, Kind::session); // order is fixed, whatever the file's order
    EXPECT_EQ(both.windows[1].kind, Kind::weekly);
    EXPECT_EQ(both.availability, Availability::ready);
}

TEST(ClaudeRateLimitCacheParser, NoUsageAndMalformedContent) {
    using ParseError = ClaudeRateLimitCacheParser::ParseError;
    for (const char* empty :
         {"{}", R"({"five_hour":null})", R"({"five_hour":null,"seven_day":null})"}) {
        try {
            parse(empty);
            ADD_FAILURE() << empty;
        } catch (const ParseError& error) {
            EXPECT_EQ(error.description(),
                      "No usage data was found in the Claude status line cache.");
        }
    }
    EXPECT_THROW(parse(R"({"five_hour":{"resets_at":1}})"), DecodingError);
    EXPECT_THROW(parse(R"({"five_hour":{"used_percentage":"42"}})"), DecodingError);
    EXPECT_THROW(parse(R"({"five_hour":{"used_percentage":42,"resets_at":"soon"}})"),
                 DecodingError);
    EXPECT_THROW(parse(R"({"five_hour":[42]})"), DecodingError);
    EXPECT_THROW(parse("[1,2]"), DecodingError);
    EXPECT_THROW(parse(R"({"five_hour":{"used_percentage":4)"), JsonSyntaxError); // truncated
    EXPECT_THROW(parse(""), JsonSyntaxError);
    EXPECT_THROW(parse("\xff\xfe"), JsonSyntaxError);
    // Absurd reset times neither crash nor overflow.
    EXPECT_NO_THROW(parse(R"({"five_hour":{"used_percentage":4,"resets_at":1e300}})"));
    EXPECT_NO_THROW(parse(R"({"five_hour":{"used_percentage":4,"resets_at":-1e300}})"));
}

TEST(ClaudeRateLimitCacheParser, AbsurdResetTimesStillSurviveTheSnapshotCache) {
    // A reset millions of years ahead (or a huge fraction) must not produce a snapshot that can
    // be saved but never loaded again.
    for (const QByteArray& resetsAt :
         {QByteArray("190050000000000"), QByteArray("1e300"), QByteArray("253402300799.9")}) {
        SCOPED_TRACE(resetsAt.toStdString());
        const UsageSnapshot snapshot =
            parse(R"({"five_hour":{"used_percentage":42,"resets_at":)" + resetsAt + "}}");
        ASSERT_TRUE(snapshot.windows.first().resetsAt);
        const auto reloaded = UsageSnapshot::decode(snapshot.encode());
        ASSERT_TRUE(reloaded);
        EXPECT_EQ(reloaded->windows.first().resetsAt->date().year(), 9999);
    }
}
