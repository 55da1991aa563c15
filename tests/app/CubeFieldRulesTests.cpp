#include "cubefield/CubeFieldRules.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace lumora::cubefield;

namespace {

QDateTime utc(const char* iso) {
    QDateTime date = QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODateWithMs);
    EXPECT_TRUE(date.isValid()) << iso;
    return date;
}

} // namespace

TEST(CubeFieldRules, PrismSizeAndGridCountFollowTheCanvas) {
    EXPECT_NEAR(prismSize(900), 64.2857, 1e-4);
    EXPECT_EQ(gridCount({1440, 900}), 52);
    EXPECT_DOUBLE_EQ(prismSize(600), 50);
    EXPECT_EQ(gridCount({800, 600}), 43);
    EXPECT_DOUBLE_EQ(prismSize(2000), 82);
    EXPECT_EQ(gridCount({3000, 2000}), 83);

    // The size is H / 14 only between 700 and 1148 points of height.
    EXPECT_DOUBLE_EQ(prismSize(700), 50);
    EXPECT_DOUBLE_EQ(prismSize(300), 50);
    EXPECT_DOUBLE_EQ(prismSize(1148), 82);
    EXPECT_DOUBLE_EQ(prismSize(2160), 82);
    EXPECT_NEAR(prismSize(1000), 71.4286, 1e-4);

    // A small canvas still gets the minimum grid.
    EXPECT_EQ(gridCount({100, 100}), 28);

    const GridSteps steps = gridSteps(50);
    EXPECT_DOUBLE_EQ(steps.across, 28);
    EXPECT_DOUBLE_EQ(steps.down, 14.72);
    const PrismShape shape = prismShape(50);
    EXPECT_DOUBLE_EQ(shape.width, 45);
    EXPECT_DOUBLE_EQ(shape.topHeight, 20.7);
    EXPECT_DOUBLE_EQ(shape.depth, 20.7);
}

TEST(CubeFieldRules, TimePhaseCountsFromTheStartOf2001AndWrapsEvery1000Seconds) {
    EXPECT_DOUBLE_EQ(timePhase(utc("2001-01-01T00:00:00Z")), 0);
    EXPECT_DOUBLE_EQ(timePhase(utc("2001-01-01T00:16:39.500Z")), 999.5);
    EXPECT_DOUBLE_EQ(timePhase(utc("2001-01-01T00:16:40Z")), 0); // the waves jump here
    EXPECT_DOUBLE_EQ(timePhase(utc("2001-01-01T00:16:41.250Z")), 1.25);
    // The same instant written in another time zone.
    EXPECT_DOUBLE_EQ(timePhase(utc("2001-01-01T02:16:41.250+02:00")), 1.25);
    // Before the reference date the remainder keeps its minus sign.
    EXPECT_DOUBLE_EQ(timePhase(utc("2000-12-31T23:59:59.500Z")), -0.5);
    EXPECT_DOUBLE_EQ(timePhase(utc("2000-12-31T23:43:19Z")), -1);
    // 2024-01-01 is 8,400 days (725,760,000 seconds) after the reference date.
    EXPECT_DOUBLE_EQ(timePhase(utc("2024-01-01T00:06:40Z")), 400);
}

TEST(CubeFieldRules, GlowsCircleTheirRestingPlacesAndRestThereWithMotionReduced) {
    const GlowCentres still = glowCentres({1000, 800}, 0);
    EXPECT_DOUBLE_EQ(still.a.x(), 680);
    EXPECT_DOUBLE_EQ(still.a.y(), 0.345 * 800);
    EXPECT_DOUBLE_EQ(still.b.x(), 280);
    EXPECT_DOUBLE_EQ(still.b.y(), 0.685 * 800);

    // A quarter turn of the backdrop phase (0.18 T = pi / 2).
    const GlowCentres turned = glowCentres({1000, 800}, M_PI / 2 / 0.18);
    EXPECT_NEAR(turned.a.x(), 770, 1e-9);
    EXPECT_NEAR(turned.a.y(), 240, 1e-9);
    EXPECT_NEAR(turned.b.x(), 210, 1e-9);
    EXPECT_NEAR(turned.b.y(), 576, 1e-9);

    EXPECT_EQ(glowA().size, QSizeF(520, 360));
    EXPECT_EQ(glowB().size, QSizeF(460, 310));
}

TEST(CubeFieldRules, MetalTonesAreTintedAndStayWithinRange) {
    const Colour mid = metal(0.5);
    EXPECT_DOUBLE_EQ(mid.red, 0.5);
    EXPECT_DOUBLE_EQ(mid.green, 0.5025);
    EXPECT_DOUBLE_EQ(mid.blue, 0.504);
    EXPECT_DOUBLE_EQ(mid.alpha, 0.98);

    // Near white the tint clips at 1 instead of passing it.
    const Colour bright = metal(0.998);
    EXPECT_DOUBLE_EQ(bright.red, 0.998);
    EXPECT_DOUBLE_EQ(bright.green, 1);
    EXPECT_DOUBLE_EQ(bright.blue, 1);

    for (double x = -1; x <= 2; x += 0.01) {
        const Colour c = metal(x);
        for (const double component : {c.red, c.green, c.blue, c.alpha}) {
            ASSERT_GE(component, 0) << x;
            ASSERT_LE(component, 1) << x;
        }
    }
    EXPECT_DOUBLE_EQ(metal(-0.2).red, 0);
    EXPECT_DOUBLE_EQ(metal(0.62 + 0.18).blue, 0.8 * 1.008);
}

TEST(CubeFieldRules, WaveLiftAndBrightnessStayInTheirBands) {
    for (double angle = -20; angle <= 20; angle += 0.001) {
        const double m = waveBrightness(angle);
        ASSERT_GE(m, 0.32);
        ASSERT_LE(m, 0.48 + 1e-12);
        ASSERT_LE(std::abs(waveLift(angle, 82)), maximumLiftPerPrismSize * 82);
    }
    EXPECT_NEAR(waveBrightness(0.75 + M_PI / 2), 0.48, 1e-12);
    EXPECT_NEAR(waveBrightness(0.75 - M_PI / 2), 0.32, 1e-12);
    // At θ = 0 only the third harmonic lifts: s * 0.016 * sin(0.28).
    EXPECT_NEAR(waveLift(0, 50), 50 * 0.016 * std::sin(0.28), 1e-12);
    EXPECT_DOUBLE_EQ(waveAngle(22, 20, 21, 0), 0.24 - 0.025);
    EXPECT_DOUBLE_EQ(waveAngle(21, 21, 21, 10), -2.3);
}

TEST(CubeFieldRules, PrismsAreVisitedByDiagonalsBackToFront) {
    // 800 x 600: s = 50, N = 43, c = 21, steps 28 across and 14.72 down.
    const std::vector<PlacedPrism> prisms = visiblePrisms({800, 600}, 0);
    ASSERT_FALSE(prisms.empty());

    // The centre cell (21, 21) sits at the canvas centre, lifted by the third harmonic only.
    const double centreLift = 50 * 0.016 * std::sin(0.28);
    auto centre = std::find_if(prisms.begin(), prisms.end(), [&](const PlacedPrism& prism) {
        return std::abs(prism.centre.x() - 400) < 1e-9 &&
               std::abs(prism.centre.y() - (300 - centreLift)) < 1e-9;
    });
    ASSERT_NE(centre, prisms.end());
    EXPECT_NEAR(centre->brightness, 0.32 + 0.08 * (1 + std::sin(-0.75)), 1e-12);

    // Within a diagonal j grows, so prisms go from right to left, 2 * 28 points apart: before
    // the centre came (22, 20) and after it comes (20, 22).
    ASSERT_NE(centre, prisms.begin());
    ASSERT_NE(centre + 1, prisms.end());
    const double before = 0.24 - 0.025;
    EXPECT_NEAR((centre - 1)->centre.x(), 456, 1e-9);
    EXPECT_NEAR((centre - 1)->centre.y(), 300 - waveLift(before, 50), 1e-9);
    EXPECT_NEAR((centre - 1)->brightness, waveBrightness(before), 1e-12);
    EXPECT_NEAR((centre + 1)->centre.x(), 344, 1e-9);
    EXPECT_NEAR((centre + 1)->brightness, waveBrightness(-before), 1e-12);

    // Diagonals are drawn top to bottom: without the lift, rows never go back up the screen.
    const double s = 50;
    double lowestSoFar = -1e9;
    for (const PlacedPrism& prism : prisms) {
        const double reach = maximumLiftPerPrismSize * s;
        EXPECT_GE(prism.centre.y() + 2 * reach, lowestSoFar - 1e-9);
        lowestSoFar = std::max(lowestSoFar, prism.centre.y());
        // Only cells near the canvas are kept.
        EXPECT_GE(prism.centre.x(), -3 * s);
        EXPECT_LE(prism.centre.x(), 800 + 3 * s);
        EXPECT_GE(prism.centre.y(), -3 * s - reach);
        EXPECT_LE(prism.centre.y(), 600 + 3 * s + reach);
    }
}

TEST(CubeFieldRules, AnEmptyCanvasHasNoPrisms) {
    EXPECT_TRUE(visiblePrisms({0, 0}, 0).empty());
    EXPECT_TRUE(visiblePrisms({1440, 0}, 12).empty());
    EXPECT_TRUE(visiblePrisms({0, 900}, 12).empty());
    EXPECT_TRUE(visiblePrisms({-5, 900}, 12).empty());
    EXPECT_FALSE(visiblePrisms({1, 1}, 12).empty());
}

TEST(CubeFieldRules, LargerScreensDrawMorePrismsAndTheWaveMovesWithTime) {
    const std::size_t small = visiblePrisms({1440, 900}, 5).size();
    const std::size_t large = visiblePrisms({3840, 2160}, 5).size();
    EXPECT_GT(large, 2 * small);

    // Time moves the prisms up and down, never across.
    const auto first = visiblePrisms({1440, 900}, 5);
    const auto moved = visiblePrisms({1440, 900}, 6);
    ASSERT_EQ(first.size(), moved.size());
    double largestShift = 0;
    for (std::size_t k = 0; k < first.size(); ++k) {
        EXPECT_DOUBLE_EQ(first[k].centre.x(), moved[k].centre.x());
        largestShift = std::max(largestShift, std::abs(first[k].centre.y() - moved[k].centre.y()));
    }
    EXPECT_GT(largestShift, 5);
}
