#include "AppTestSupport.h"
#include "cubefield/AmbientCubeField.h"
#include "cubefield/CubeFieldKernels.h"
#include "cubefield/CubeFieldRenderer.h"
#include "cubefield/CubeFieldRules.h"
#include "cubefield/ReferenceRenderer.h"

#include <QElapsedTimer>
#include <QQuickWindow>

#include <gtest/gtest.h>

#include <cmath>

using namespace lumora;
using namespace lumora::cubefield;
using namespace lumora::test;
using namespace std::chrono_literals;

namespace {

void expectEqual(const std::vector<double>& got, const std::vector<double>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t k = 0; k < got.size(); ++k) {
        EXPECT_DOUBLE_EQ(got[k], want[k]) << k;
    }
}

// How two frames of the same size differ, in 0...255 units: the worst of the channels' means, the
// share of pixels with some channel more than 8 apart, the largest difference, both opaque.
std::tuple<double, double, int, bool> compare(const QImage& a, const QImage& b) {
    EXPECT_EQ(a.size(), b.size());
    double sum[3] = {0, 0, 0}, beyond8 = 0;
    int largest = 0;
    bool opaque = true;
    for (int y = 0; y < a.height(); ++y) {
        const auto* rowA = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const auto* rowB = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = rowA[x], q = rowB[x];
            const int c[3] = {std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                              std::abs(qBlue(p) - qBlue(q))};
            sum[0] += c[0], sum[1] += c[1], sum[2] += c[2];
            largest = std::max({largest, c[0], c[1], c[2]});
            beyond8 += std::max({c[0], c[1], c[2]}) > 8;
            opaque &= qAlpha(p) == 255 && qAlpha(q) == 255;
        }
    }
    const double pixels = double(a.width()) * a.height();
    return {std::max({sum[0], sum[1], sum[2]}) / pixels, beyond8 / pixels, largest, opaque};
}

} // namespace

// As the reference on any canvas and phase, alike in every instruction set, nothing carried over.
TEST(FastRenderer, MatchesTheReferenceInEveryInstructionSetAndNothingCarriesOver) {
    CubeFieldRenderer renderer;
    for (const QSize size : {QSize(800, 600), QSize(1440, 900), QSize(3840, 2160), QSize(1, 1),
                             QSize(37, 23), QSize(3001, 7), QSize(9, 1201)}) {
        for (const double phase : {0.0, 217.3, -604.9}) {
            const auto [mean, beyond8, largest, opaque] =
                compare(renderer.render(size, phase), renderReferenceFrame(size, phase));
            EXPECT_TRUE(mean <= 1 && beyond8 <= 0.001 && opaque)
                << size.width() << "x" << size.height() << " at " << phase << ": " << mean << " "
                << beyond8 << " largest " << largest;
        }
    }
    EXPECT_GT(std::get<1>(compare(renderer.render({800, 600}, 100), // a wave half a second off
                                  renderReferenceFrame({800, 600}, 100.5))),
              0.01);
    const QImage first = renderer.render({640, 480}, 0);
    renderer.render({1280, 1200}, 300); // other sprites, another band count
    QImage again(640, 480, QImage::Format_RGB32);
    renderer.render(again, 300);
    renderer.render(again, 0);
    EXPECT_EQ(again.convertToFormat(QImage::Format_ARGB32_Premultiplied), first);
    const QSize size(1443, 901); // rows that end in a partial vector for every set
    const QImage portable = CubeFieldRenderer(kernels::portableKernels()).render(size, 77);
    const std::vector<const kernels::KernelSet*> sets = kernels::supportedKernels();
    EXPECT_EQ(std::pair(sets.front(), sets.back()),
              std::pair(&kernels::bestKernels(), &kernels::portableKernels()));
    for (const kernels::KernelSet* set : sets) {
        CubeFieldRenderer each(*set);
        EXPECT_STREQ(each.instructionSet(), set->name); // fused multiply-adds may round differently
        EXPECT_LE(std::get<2>(compare(each.render(size, 77), portable)), 1) << set->name;
    }
    QImage nothing; // an empty canvas gives no frame
    renderer.render(nothing, 5);
    for (const QSize empty : {QSize(0, 0), QSize(0, 900), QSize(1440, 0)}) {
        EXPECT_TRUE(renderReferenceFrame(empty, 5).isNull() && renderer.render(empty, 5).isNull() &&
                    nothing.isNull());
    }
}

// Prisms of H / 14 within 50...82 points, at least 28 cells; phases, glows, tones within range.
TEST(CubeFieldRules, SizesGridsPhasesGlowsAndTones) {
    const PrismShape shape = prismShape(50);
    expectEqual({prismSize(900), prismSize(600), prismSize(2000), prismSize(700), prismSize(300),
                 prismSize(1148), prismSize(2160), prismSize(1000), gridSteps(50).across,
                 gridSteps(50).down, shape.width, shape.topHeight, shape.depth,
                 double(gridCount({1440, 900})), double(gridCount({800, 600})),
                 double(gridCount({3000, 2000})), double(gridCount({100, 100}))},
                {900 / 14.0, 50, 82, 50, 50, 82, 82, 1000 / 14.0, 28, 14.72, 45, 20.7, 20.7, 52, 43,
                 83, 28});
    // Seconds since the start of 2001, wrapping every 1000 seconds; before it the sign stays.
    const auto phase = [](const char* iso) {
        return timePhase(QDateTime::fromString(QString::fromLatin1(iso), Qt::ISODateWithMs));
    };
    expectEqual({phase("2001-01-01T00:00:00Z"), phase("2001-01-01T00:16:39.500Z"),
                 phase("2001-01-01T00:16:40Z"), phase("2001-01-01T00:16:41.250Z"),
                 phase("2001-01-01T02:16:41.250+02:00"), phase("2000-12-31T23:59:59.500Z"),
                 phase("2000-12-31T23:43:19Z"), phase("2024-01-01T00:06:40Z")},
                {0, 999.5, 0, 1.25, 1.25, -0.5, -1, 400});
    // The glows circle their resting places, a quarter turn later (QPointF compares loosely).
    const GlowCentres still = glowCentres({1000, 800}, 0),
                      turned = glowCentres({1000, 800}, M_PI / 2 / 0.18);
    EXPECT_EQ(QList({still.a, still.b, turned.a, turned.b}),
              QList<QPointF>({{680, 0.345 * 800}, {280, 0.685 * 800}, {770, 240}, {210, 576}}));
    EXPECT_EQ(std::pair(glowA().size, glowB().size), std::pair(QSizeF(520, 360), QSizeF(460, 310)));
    const Colour mid = metal(0.5), bright = metal(0.998);
    expectEqual({mid.red, mid.green, mid.blue, mid.alpha, bright.red, bright.green, bright.blue,
                 metal(-0.2).red, metal(0.62 + 0.18).blue}, // tinted, clipped at 1 near white
                {0.5, 0.5025, 0.504, 0.98, 0.998, 1, 1, 0, 0.8 * 1.008});
    for (double x = -1; x <= 2; x += 0.01) {
        const auto [r, g, b, a] = metal(x);
        ASSERT_TRUE(std::min({r, g, b, a}) >= 0 && std::max({r, g, b, a}) <= 1) << x;
    }
    expectEqual({waveBrightness(0.75 + M_PI / 2), waveBrightness(0.75 - M_PI / 2)}, {0.48, 0.32});
    // Back to front (never back up beyond the wave's reach), none on empty canvases, moved by time.
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
    const auto first = visiblePrisms({1440, 900}, 5), moved = visiblePrisms({1440, 900}, 6);
    ASSERT_TRUE(visiblePrisms({3840, 2160}, 5).size() > 2 * first.size() &&
                first.size() == moved.size());
    double largestShift = 0;
    for (std::size_t k = 0; k < first.size(); ++k) {
        EXPECT_DOUBLE_EQ(first[k].centre.x(), moved[k].centre.x());
        largestShift = std::max(largestShift, std::abs(first[k].centre.y() - moved[k].centre.y()));
    }
    EXPECT_GT(largestShift, 5);
}

// One frozen frame per size, else at most 45 a second, none unseen; destroyed with one in flight.
TEST(AmbientCubeFieldItem, DrawsOnlyWhatIsSeenAtMost45FramesASecond) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); // offscreen: no GPU
    QQuickWindow window;
    window.resize(320, 200);
    auto* field = new AmbientCubeField(window.contentItem());
    field->setSize(QSizeF(320, 200));
    const auto reach = [&](quint64 n) {
        return waitUntil([&] { return field->framesRendered() >= n; });
    };
    // Once the one frame that may have been in flight has landed, no frame comes.
    const auto expectStill = [&](const char* what) {
        ASSERT_TRUE(waitUntil([&] { return !field->isDrawing(); })) << what;
        const quint64 before = field->framesRendered();
        runEventsFor(300ms);
        EXPECT_TRUE(field->framesRendered() == before && !field->isDrawing()) << what;
    };
    field->setReduceMotion(true);
    window.show();
    ASSERT_TRUE(reach(1));
    const QImage frozen = window.grabWindow();
    runEventsFor(300ms);
    EXPECT_EQ(std::pair(field->framesRendered(), window.grabWindow()),
              std::pair(quint64(1), frozen));
    field->setSize(QSizeF(300, 200)); // a new size: one new frozen frame
    ASSERT_TRUE(reach(2));
    runEventsFor(300ms);
    EXPECT_EQ(field->framesRendered(), 2u);
    field->setReduceMotion(false);
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(reach(14));
    runEventsFor(300ms);
    EXPECT_LE(double(field->framesRendered() - 2), std::ceil(clock.elapsed() / 1000.0 * 45) + 1);
    const QImage moving = window.grabWindow();
    ASSERT_TRUE(reach(field->framesRendered() + 3));
    EXPECT_NE(window.grabWindow(), moving);
    window.hide();
    expectStill("window hidden");
    window.show();
    ASSERT_TRUE(reach(field->framesRendered() + 1));
    field->setSize(QSizeF(300, 0));
    expectStill("zero height");
    EXPECT_EQ(window.grabWindow().pixelColor(160, 100), window.color()); // the window's own
    field->setSize(QSizeF(300, 200));
    ASSERT_TRUE(reach(field->framesRendered() + 1));
    field->setReduceMotion(true); // a moving frame in flight lands, then the frozen one
    expectStill("frozen again");
    const quint64 frozenAt = field->framesRendered();
    field->setSize(QSizeF(320, 200));
    ASSERT_TRUE(reach(frozenAt + 1));
    EXPECT_TRUE(waitUntil([&] { return window.grabWindow() == frozen; }));
    window.resize(1920, 1080);
    for (int k = 0; k < 6; ++k) {
        delete field;
        field = new AmbientCubeField(window.contentItem());
        field->setSize(QSizeF(1920, 1080));
        runEventsFor(std::chrono::milliseconds(7 * k));
    }
    ASSERT_TRUE(reach(1));
}
