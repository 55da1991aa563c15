#include "AppTestSupport.h"

#include "views/BreakDecorations.h"
#include "views/BreakViewModel.h"

#include <QFontMetricsF>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {
const QDateTime now(QDate(2026, 3, 1), QTime(21, 5, 0), Qt::LocalTime);
} // namespace

// The countdown rounds up to whole minutes (milliseconds too); the clock is the local 12-hour one.
TEST(BreakViewRules, CountdownAndClock) {
    const std::pair<double, const char*> countdowns[] = {
        {3600, "1 hour 0 minutes"},   {3541, "1 hour 0 minutes"},
        {3540.5, "1 hour 0 minutes"}, {30, "1 minute"},
        {-90, "0 minutes"},           {0, "0 minutes"},
        {3660, "1 hour 1 minute"},    {7200, "2 hours 0 minutes"},
        {3540, "59 minutes"},         {26 * 3600 + 125, "26 hours 3 minutes"}};
    for (const auto& [seconds, text] : countdowns) {
        EXPECT_EQ(BreakViewModel::resetCountdown(now.addMSecs(qint64(seconds * 1000)), now), text)
            << seconds;
    }
    const std::tuple<QTime, const char*, const char*> clocks[] = {
        {QTime(21, 5), "09:05", "PM"},      {QTime(0, 30), "12:30", "AM"},
        {QTime(12, 0), "12:00", "PM"},      {QTime(0, 0), "12:00", "AM"},
        {QTime(11, 59, 59), "11:59", "AM"}, {QTime(9, 7), "09:07", "AM"}};
    for (const auto& [time, clock, marker] : clocks) {
        const QDateTime local(QDate(2026, 7, 4), time, Qt::LocalTime);
        EXPECT_EQ(BreakViewModel::clockTime(local), clock);
        EXPECT_EQ(BreakViewModel::meridiem(local), marker) << clock;
        EXPECT_EQ(BreakViewModel::clockTime(local.toUTC()), clock);
    }
    EXPECT_EQ(BreakViewModel::msecsToNextSecond(now.addMSecs(250)), 750);
    EXPECT_EQ(BreakViewModel::msecsToNextSecond(now), 1000);
}

TEST(BreakViewRules, SizesFollowTheScreenWithinTheirLimits) {
    BreakMetrics m;
    // width, height: clock, marker, remaining, countdown, unavailable, offset, spacing
    const std::array<qreal, 9> rows[] = {{600, 400, 76, 22, 27, 22, 20, 108, 36},
                                         {1000, 900, 90, 23, 27, 22, 20, 130.5, 45},
                                         {1440, 900, 129.6, 33.12, 34.56, 28.8, 25, 130.5, 64.8},
                                         {2000, 1200, 132, 34, 36, 29, 25, 145, 72}};
    for (const auto& row : rows) {
        m.setWidth(row[0]);
        m.setHeight(row[1]);
        std::array<qreal, 9> got{row[0],
                                 row[1],
                                 m.clockFontSize(),
                                 m.meridiemFontSize(),
                                 m.remainingFontSize(),
                                 m.countdownFontSize(),
                                 m.unavailableFontSize(),
                                 m.statusOffset(),
                                 m.statusSpacing()};
        for (std::size_t i = 2; i < row.size(); ++i) {
            EXPECT_DOUBLE_EQ(got[i], row[i]) << row[0] << " column " << i;
        }
        m.setHasResetTime(true); // a column's reset line: the countdown, or "unavailable"
        EXPECT_DOUBLE_EQ(m.resetFontSize(), row[5]) << row[0];
        m.setHasResetTime(false);
        EXPECT_DOUBLE_EQ(m.resetFontSize(), row[6]) << row[0];
    }
}

// Columns in the order of the enabled providers; each style's background, colour and photo crop.
TEST(BreakViewRules, OrderStylesAndTypeface) {
    const UsageSnapshot claude = usage("claude-code", Availability::ready, 0.01);
    const UsageSnapshot codex = usage("codex", Availability::blocked, 1.0);
    const QStringList codexFirst{"codex", "claude-code"},
        claudeFirst{"claude-code", "other", "codex"};
    const std::tuple<QStringList, bool, bool, QStringList> orders[] = {
        {codexFirst, true, true, codexFirst},  {claudeFirst, true, true, {"claude-code", "codex"}},
        {claudeFirst, false, true, {"codex"}}, {codexFirst, true, false, {"claude-code"}},
        {codexFirst, false, false, {}},        {{}, true, true, {}}};
    for (const auto& [order, claudeOn, codexOn, shown] : orders) {
        QStringList ids;
        for (const auto& s :
             BreakViewModel::breakSnapshots(order, claudeOn, codexOn, claude, codex)) {
            ids << s.providerID;
        }
        EXPECT_EQ(ids, shown) << order.join(',').toStdString() << claudeOn << codexOn;
    }
    using B = BreakViewModel::Background;
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::photo, true), B::Photo);
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::photo, false), B::Black);
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::motion, false), B::Motion);
    EXPECT_EQ(BreakViewModel::background(BreakScreenStyle::minimal, true), B::Black);
    // The photo fills the screen and is cut evenly on the sides that do not fit.
    EXPECT_EQ(PhotoFill::croppedSource(QSizeF(3000, 1500), QSizeF(1440, 900)),
              QRectF(300, 0, 2400, 1500));
    EXPECT_EQ(PhotoFill::croppedSource(QSizeF(1000, 2000), QSizeF(1000, 500)),
              QRectF(0, 750, 1000, 500));
    EXPECT_EQ(PhotoFill::croppedSource(QSizeF(), QSizeF(1000, 500)), QRectF());
    const QColor amber(255, 190, 60);
    for (const auto& [style, alpha] : {std::pair{BreakScreenStyle::motion, 0.64},
                                       {BreakScreenStyle::photo, 0.72},
                                       {BreakScreenStyle::minimal, 0.72}}) {
        const QColor colour = BreakViewModel::secondaryInformationColor(style, amber);
        EXPECT_EQ(colour.rgb(), amber.rgb());
        EXPECT_NEAR(colour.alphaF(), alpha, 0.001);
    }
    QFont font(BreakViewModel::fontFamily()); // with tabular digits
    font.setWeight(QFont::DemiBold);
    font.setPixelSize(132);
    const QFontMetricsF metrics(font);
    for (char digit = '1'; digit <= '9'; ++digit) {
        EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(QChar(digit)), metrics.horizontalAdvance('0'));
    }
}

// On a real application model: columns from the snapshots and switches, appearance from the
// preferences, and the clock ticking only while active.
TEST(BreakViewModelTest, ShowsEnabledProvidersAndTicksOnlyWhileActive) {
    ModelHarness harness;
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 30);
    harness.enableBoth(usage("claude-code", Availability::ready, 0.42, reset),
                       usage("codex", Availability::ready, 0.07));
    auto model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    BreakViewModel view(model.get());
    EXPECT_EQ(
        view.statuses()->statuses(),
        (QList<BreakStatus>{{"codex", "CODEX", "93% LEFT", "Reset time unavailable", false},
                            {"claude-code", "CLAUDE CODE", "58% LEFT", "2 hours 1 minute", true}}));
    EXPECT_EQ(view.statuses()->index(1).data(BreakStatusList::TitleRole), "CLAUDE CODE");
    int changes = 0;
    QObject::connect(&view, &BreakViewModel::statusesChanged, [&] { ++changes; });
    model->preferences()->setCodexEnabled(false);
    model->preferences()->setClaudeEnabled(false);
    EXPECT_FALSE(view.hasStatuses());
    EXPECT_EQ(changes, 1);
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
