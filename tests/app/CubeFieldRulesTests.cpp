#include "cubefield/CubeFieldRules.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace lumora::cubefield;

namespace {

void expectEqual(const std::vector<double>& got, const std::vector<double>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t k = 0; k < got.size(); ++k) {
        EXPECT_DOUBLE_EQ(got[k], want[k]) << k;
    }
}

} // namespace

TEST(CubeFieldRules, SizesGridsPhasesGlowsAndTones) {
    // The prism size is H / 14, held between 50 and 82 points; the grid has at least 28 cells.
    expectEqual({prismSize(900), prismSize(600), prismSize(2000), prismSize(700), prismSize(300),
                 prismSize(1148), prismSize(2160), prismSize(1000)},
                {900 / 14.0, 50, 82, 50, 50, 82, 82, 1000 / 14.0});
    EXPECT_EQ(QList<int>({gridCount({1440, 900}), gridCount({800, 600}), gridCount({3000, 2000}),
                          gridCount({100, 100})}),
              QList<int>({52, 43, 83, 28}));
    expectEqual({gridSteps(50).across, gridSteps(50).down}, {28, 14.72});
    const PrismShape shape = prismShape(50);
    expectEqual({shape.width, shape.topHeight, shape.depth}, {45, 20.7, 20.7});

    // Seconds since the start of 2001, wrapping every 1000 seconds; before it the sign stays.
    const auto phase = [](const char* iso) {
        return timePhase(QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODateWithMs));
    };
    expectEqual({phase("2001-01-01T00:00:00Z"), phase("2001-01-01T00:16:39.500Z"),
                 phase("2001-01-01T00:16:40Z"), phase("2001-01-01T00:16:41.250Z"),
                 phase("2001-01-01T02:16:41.250+02:00"), phase("2000-12-31T23:59:59.500Z"),
                 phase("2000-12-31T23:43:19Z"), phase("2024-01-01T00:06:40Z")},
                {0, 999.5, 0, 1.25, 1.25, -0.5, -1, 400});

    // The glows circle their resting places (where they stay with motion reduced).
    const GlowCentres still = glowCentres({1000, 800}, 0);
    EXPECT_EQ(still.a, QPointF(680, 0.345 * 800));
    EXPECT_EQ(still.b, QPointF(280, 0.685 * 800));
    const GlowCentres turned = glowCentres({1000, 800}, M_PI / 2 / 0.18); // a quarter turn
    EXPECT_EQ(turned.a, QPointF(770, 240)); // QPointF compares with a relative tolerance
    EXPECT_EQ(turned.b, QPointF(210, 576));
    EXPECT_EQ(glowA().size, QSizeF(520, 360));
    EXPECT_EQ(glowB().size, QSizeF(460, 310));

    // Metal tones are tinted, clip at 1 near white and stay within range.
    const Colour mid = metal(0.5);
    expectEqual({mid.red, mid.green, mid.blue, mid.alpha}, {0.5, 0.5025, 0.504, 0.98});
    const Colour bright = metal(0.998);
    expectEqual({bright.red, bright.green, bright.blue}, {0.998, 1, 1});
    for (double x = -1; x <= 2; x += 0.01) {
        const Colour c = metal(x);
        for (const double component : {c.red, c.green, c.blue, c.alpha}) {
            ASSERT_TRUE(component >= 0 && component <= 1) << x;
        }
    }
    EXPECT_DOUBLE_EQ(metal(-0.2).red, 0);
    EXPECT_DOUBLE_EQ(metal(0.62 + 0.18).blue, 0.8 * 1.008);
    EXPECT_NEAR(waveBrightness(0.75 + M_PI / 2), 0.48, 1e-12); // the wave's brightness band
    EXPECT_NEAR(waveBrightness(0.75 - M_PI / 2), 0.32, 1e-12);
}

// Prisms are drawn back to front (diagonals top to bottom, rows never going back up beyond the
// wave's reach); empty canvases have none, larger ones more, and time moves them up and down.
TEST(CubeFieldRules, PrismsBackToFrontOnlyOnCanvasesAndMovedByTime) {
    const double reach = maximumLiftPerPrismSize * 50;
    double lowestSoFar = -1e9;
    for (const PlacedPrism& prism : visiblePrisms({800, 600}, 0)) {
        EXPECT_GE(prism.centre.y() + 2 * reach, lowestSoFar - 1e-9);
        lowestSoFar = std::max(lowestSoFar, prism.centre.y());
    }
    for (const QSizeF canvas : {QSizeF(0, 0), QSizeF(1440, 0), QSizeF(0, 900), QSizeF(-5, 900)}) {
        EXPECT_TRUE(visiblePrisms(canvas, 12).empty()) << canvas.width();
    }
    EXPECT_FALSE(visiblePrisms({1, 1}, 12).empty());
    const auto first = visiblePrisms({1440, 900}, 5);
    EXPECT_GT(visiblePrisms({3840, 2160}, 5).size(), 2 * first.size());
    const auto moved = visiblePrisms({1440, 900}, 6);
    ASSERT_EQ(first.size(), moved.size());
    double largestShift = 0;
    for (std::size_t k = 0; k < first.size(); ++k) {
        EXPECT_DOUBLE_EQ(first[k].centre.x(), moved[k].centre.x());
        largestShift = std::max(largestShift, std::abs(first[k].centre.y() - moved[k].centre.y()));
    }
    EXPECT_GT(largestShift, 5);
}
