#include "AppTestSupport.h"

#include "views/BreakDecorations.h"
#include "views/BreakViewModel.h"

#include <QFontMetricsF>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

const QDateTime now(QDate(2026, 3, 1), QTime(21, 5, 0), Qt::LocalTime);

QStringList texts(const QList<UsageSnapshot>& snapshots) {
    QStringList ids;
    for (const UsageSnapshot& snapshot : snapshots) {
        ids.append(snapshot.providerID);
    }
    return ids;
}

} // namespace

TEST(BreakViewRules, CountdownCountsWholeMinutesUp) {
    const struct {
        qint64 seconds;
        const char* text;
    } rows[] = {{60 * 60, "1 hour 0 minutes"},
                {59 * 60 + 1, "1 hour 0 minutes"},
                {30, "1 minute"},
                {-90, "0 minutes"},
                {0, "0 minutes"},
                {61 * 60, "1 hour 1 minute"},
                {120 * 60, "2 hours 0 minutes"},
                {59 * 60, "59 minutes"},
                {26 * 3600 + 125, "26 hours 3 minutes"}};
    for (const auto& row : rows) {
        EXPECT_EQ(BreakViewModel::resetCountdown(now.addSecs(row.seconds), now), row.text)
            << row.seconds << " s";
    }
    // Milliseconds count too: 59 min 0.5 s rounds up to the hour.
    EXPECT_EQ(BreakViewModel::resetCountdown(now.addMSecs(59 * 60 * 1000 + 500), now),
              "1 hour 0 minutes");
}

TEST(BreakViewRules, ClockShowsTwelveHourLocalTimeWithMarker) {
    const struct {
        QTime time;
        const char* clock;
        const char* marker;
    } rows[] = {
        {QTime(21, 5), "09:05", "PM"},      {QTime(0, 30), "12:30", "AM"},
        {QTime(12, 0), "12:00", "PM"},      {QTime(0, 0), "12:00", "AM"},
        {QTime(11, 59, 59), "11:59", "AM"}, {QTime(9, 7), "09:07", "AM"},
    };
    for (const auto& row : rows) {
        const QDateTime local(QDate(2026, 7, 4), row.time, Qt::LocalTime);
        EXPECT_EQ(BreakViewModel::clockTime(local), row.clock) << row.clock;
        EXPECT_EQ(BreakViewModel::meridiem(local), row.marker) << row.clock;
        // The same moment given in UTC reads the same: the clock is the local one.
        EXPECT_EQ(BreakViewModel::clockTime(local.toUTC()), row.clock);
    }
}

TEST(BreakViewRules, SizesFollowTheScreenWithinTheirLimits) {
    BreakMetrics metrics;
    const struct {
        qreal width, height;
        qreal clock, marker, remaining, countdown, unavailable, offset, spacing;
    } rows[] = {
        {600, 400, 76, 22, 27, 22, 20, 108, 36},
        {1000, 900, 90, 23, 27, 22, 20, 130.5, 45},
        {1440, 900, 129.6, 33.12, 34.56, 28.8, 25, 130.5, 64.8},
        {2000, 1200, 132, 34, 36, 29, 25, 145, 72},
    };
    for (const auto& row : rows) {
        metrics.setWidth(row.width);
        metrics.setHeight(row.height);
        EXPECT_DOUBLE_EQ(metrics.clockFontSize(), row.clock) << row.width;
        EXPECT_DOUBLE_EQ(metrics.meridiemFontSize(), row.marker) << row.width;
        EXPECT_DOUBLE_EQ(metrics.remainingFontSize(), row.remaining) << row.width;
        EXPECT_DOUBLE_EQ(metrics.countdownFontSize(), row.countdown) << row.width;
        EXPECT_DOUBLE_EQ(metrics.unavailableFontSize(), row.unavailable) << row.width;
        // A column's reset line: the countdown, or the smaller "unavailable" text.
        metrics.setHasResetTime(true);
        EXPECT_DOUBLE_EQ(metrics.resetFontSize(), row.countdown) << row.width;
        metrics.setHasResetTime(false);
        EXPECT_DOUBLE_EQ(metrics.resetFontSize(), row.unavailable) << row.width;
        EXPECT_DOUBLE_EQ(metrics.statusOffset(), row.offset) << row.height;
        EXPECT_DOUBLE_EQ(metrics.statusSpacing(), row.spacing) << row.width;
    }
}

TEST(BreakViewRules, SnapshotsFollowTheOrderOfEnabledProviders) {
    const UsageSnapshot claude = usage("claude-code", Availability::ready, 0.01);
    const UsageSnapshot codex = usage("codex", Availability::blocked, 1.0);
    const QStringList codexFirst{"codex", "claude-code"};
    const QStringList claudeFirst{"claude-code", "other", "codex"};
    const auto shown = [&](const QStringList& order, bool claudeOn, bool codexOn) {
        return texts(BreakViewModel::breakSnapshots(order, claudeOn, codexOn, claude, codex));
    };
    EXPECT_EQ(shown(codexFirst, true, true), QStringList({"codex", "claude-code"}));
    EXPECT_EQ(shown(claudeFirst, true, true), QStringList({"claude-code", "codex"}));
    EXPECT_EQ(shown(claudeFirst, false, true), QStringList({"codex"}));
    EXPECT_EQ(shown(codexFirst, true, false), QStringList({"claude-code"}));
    EXPECT_EQ(shown(codexFirst, false, false), QStringList());
    EXPECT_EQ(shown({}, true, true), QStringList());
}

TEST(BreakViewRules, StylesGiveBackgroundAndSecondaryColour) {
    using Background = BreakViewModel::Background;
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::photo, true), Background::Photo);
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::photo, false), Background::Black);
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::motion, false), Background::Motion);
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::minimal, true), Background::Black);

    // The photo fills the screen and is cut evenly on the sides that do not fit.
    EXPECT_EQ(PhotoFill::croppedSource(QSizeF(3000, 1500), QSizeF(1440, 900)),
              QRectF(300, 0, 2400, 1500));
    EXPECT_EQ(PhotoFill::croppedSource(QSizeF(1000, 2000), QSizeF(1000, 500)),
              QRectF(0, 750, 1000, 500));
    EXPECT_EQ(PhotoFill::croppedSource(QSizeF(), QSizeF(1000, 500)), QRectF());

    const QColor amber(255, 190, 60);
    const QColor motion =
        BreakViewModel::secondaryInformationColor(BreakScreenStyle::motion, amber);
    EXPECT_EQ(motion.rgb(), amber.rgb());
    EXPECT_NEAR(motion.alphaF(), 0.64, 0.001);
    EXPECT_NEAR(BreakViewModel::secondaryInformationColor(BreakScreenStyle::photo, amber).alphaF(),
                0.72, 0.001);
    EXPECT_NEAR(
        BreakViewModel::secondaryInformationColor(BreakScreenStyle::minimal, amber).alphaF(), 0.72,
        0.001);
}

TEST(BreakViewRules, TypefaceHasTabularDigits) {
    QFont font(BreakViewModel::fontFamily());
    font.setWeight(QFont::DemiBold);
    font.setPixelSize(132);
    const QFontMetricsF metrics(font);
    for (char digit = '1'; digit <= '9'; ++digit) {
        EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(QChar(digit)), metrics.horizontalAdvance('0'))
            << digit;
    }
    EXPECT_EQ(BreakViewModel::msecsToNextSecond(now.addMSecs(250)), 750);
    EXPECT_EQ(BreakViewModel::msecsToNextSecond(now), 1000);
}

// The view model on a real application model: columns from the snapshots and switches,
// appearance from the preferences, and the clock ticking only while active.
TEST(BreakViewModelTest, ShowsEnabledProvidersAndTicksOnlyWhileActive) {
    ModelHarness harness;
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 30);
    harness.enableBoth(usage("claude-code", Availability::ready, 0.42, reset),
                       usage("codex", Availability::ready, 0.07));
    auto model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    BreakViewModel view(model.get());

    const QList<BreakStatus>& statuses = view.statuses()->statuses();
    ASSERT_EQ(statuses.size(), 2);
    EXPECT_EQ(statuses[0].title, "CODEX");
    EXPECT_EQ(statuses[0].remainingText, "93% LEFT");
    EXPECT_FALSE(statuses[0].hasResetTime);
    EXPECT_EQ(statuses[0].resetText, "Reset time unavailable");
    EXPECT_EQ(statuses[1].title, "CLAUDE CODE");
    EXPECT_EQ(statuses[1].remainingText, "58% LEFT");
    EXPECT_TRUE(statuses[1].hasResetTime);
    EXPECT_EQ(statuses[1].resetText, "2 hours 1 minute");
    const QModelIndex first = view.statuses()->index(1);
    EXPECT_EQ(first.data(BreakStatusList::TitleRole).toString(), "CLAUDE CODE");

    int hasStatusesChanges = 0;
    QObject::connect(&view, &BreakViewModel::statusesChanged, [&] { ++hasStatusesChanges; });
    model->preferences()->setCodexEnabled(false);
    model->preferences()->setClaudeEnabled(false);
    EXPECT_FALSE(view.hasStatuses());
    EXPECT_EQ(hasStatusesChanges, 1);

    model->preferences()->setBreakScreenStyle(BreakScreenStyle::photo);
    EXPECT_EQ(view.background(), BreakViewModel::Background::Black);
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::motion);
    EXPECT_EQ(view.background(), BreakViewModel::Background::Motion);
    EXPECT_NEAR(view.secondaryInformationColorValue().alphaF(), 0.64, 0.001);

    EXPECT_FALSE(view.isTicking());
    view.setActive(true);
    ASSERT_TRUE(view.isTicking());
    const QDateTime started = view.now();
    ASSERT_TRUE(waitUntil([&] { return view.now().time().second() != started.time().second(); },
                          std::chrono::seconds(3)));
    view.setActive(false);
    EXPECT_FALSE(view.isTicking());
}
