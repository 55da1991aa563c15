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

} // namespace

TEST(ClaudeRateLimitCacheParser, WindowsAndTheVerdictOfTheFirst) {
    const auto session = [](double used, std::optional<QDateTime> reset = {}) {
        return UsageWindow(Kind::session, used, reset);
    };
    const auto weekly = [](double used) {
        return UsageWindow(Kind::weekly, used, {});
    };
    const struct {
        QByteArray json;
        QList<UsageWindow> windows;
        Availability availability;
    } cases[] = {
        {R"({"used_percentage":79.9,"resets_at":1772374509})",
         {session(79.9 / 100, now.addSecs(600))},
         Availability::ready},
        {R"({"used_percentage":80})", {session(0.8)}, Availability::limited},
        {R"({"used_percentage":99.5})", {session(99.5 / 100)}, Availability::blocked},
        {R"({"used_percentage":150})", {session(1.0)}, Availability::blocked},
        {R"({"used_percentage":-5,"resets_at":null})", {session(0.0)}, Availability::ready},
        // Fractional reset times are kept to the millisecond.
        {R"({"used_percentage":1,"resets_at":1772377509.25})",
         {session(0.01, QDateTime::fromMSecsSinceEpoch(1772377509250, Qt::UTC))},
         Availability::ready},
        // A window that has already reset is empty again.
        {R"({"used_percentage":97,"resets_at":1772373909})", {session(0.0)}, Availability::ready},
        // Not a five-hour window: the whole file.
        {R"({"seven_day":{"used_percentage":97}})", {weekly(0.97)}, Availability::limited},
        // The order is fixed, whatever the file's order; unknown members are ignored.
        {R"({"seven_day":{"used_percentage":100},"five_hour":{"used_percentage":10},"x":{"y":[1]}})",
         {session(0.1), weekly(1.0)},
         Availability::ready},
    };
    for (const auto& c : cases) {
        const QByteArray json =
            c.json.contains("_day") ? c.json : R"({"five_hour":)" + c.json + "}";
        EXPECT_EQ(parse(json), (UsageSnapshot{"claude-code", "Claude Code", written, c.availability,
                                              c.windows, SnapshotSource::officialCLI,
                                              Confidence::exact, 150, std::nullopt}))
            << json.toStdString();
    }
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
    for (const char* wrongShape :
         {R"({"five_hour":{"resets_at":1}})", R"({"five_hour":{"used_percentage":"42"}})",
          R"({"five_hour":{"used_percentage":42,"resets_at":"soon"}})", R"({"five_hour":[42]})",
          "[1,2]"}) {
        EXPECT_THROW(parse(wrongShape), DecodingError) << wrongShape;
    }
    for (const char* notJson : {R"({"five_hour":{"used_percentage":4)", "", "\xff\xfe"}) {
        EXPECT_THROW(parse(notJson), JsonSyntaxError) << notJson;
    }
}
