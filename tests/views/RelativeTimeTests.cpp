#include "core/RelativeTime.h"

#include <gtest/gtest.h>

namespace lumora::test {

TEST(RelativeTime, WholeMinutesInNaturalEnglish) {
    const QDateTime now = QDateTime::fromString("2026-05-01T12:00:00Z", Qt::ISODate);
    const auto text = [&](qint64 seconds) {
        return relativeTimeText(now.addSecs(seconds), now);
    };
    EXPECT_EQ(text(2 * 3600 + 15 * 60 + 59), "in 2 hr 15 min");
    EXPECT_EQ(text(3 * 3600), "in 3 hr");
    EXPECT_EQ(text(28 * 3600 + 60), "in 1 day 4 hr");
    EXPECT_EQ(text(3 * 86400), "in 3 days");
    EXPECT_EQ(text(60), "in 1 min");
    EXPECT_EQ(text(59), "in under a minute");
    EXPECT_EQ(text(0), "just now");
    EXPECT_EQ(text(-59), "just now");
    EXPECT_EQ(text(-3 * 60 - 59), "3 min ago");
    EXPECT_EQ(text(-(26 * 3600)), "1 day 2 hr ago");
}

} // namespace lumora::test
