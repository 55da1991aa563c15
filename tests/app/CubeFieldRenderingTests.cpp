#include "cubefield/CubeFieldKernels.h"
#include "cubefield/CubeFieldRenderer.h"
#include "cubefield/CubeFieldRules.h"
#include "cubefield/ReferenceRenderer.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using namespace lumora::cubefield;

namespace {

// How two frames of the same size differ, in 0...255 units of the worst channel.
struct Difference {
    double worstMean = 0;       // of the red, green and blue means
    double fractionBeyond8 = 0; // pixels with some channel more than 8 apart
    int largest = 0;
    bool bothOpaque = true;
};

Difference compare(const QImage& a, const QImage& b) {
    EXPECT_EQ(a.size(), b.size());
    Difference result;
    double sum[3] = {0, 0, 0};
    long long beyond = 0;
    for (int y = 0; y < a.height(); ++y) {
        const auto* rowA = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const auto* rowB = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x) {
            const int channel[3] = {std::abs(qRed(rowA[x]) - qRed(rowB[x])),
                                    std::abs(qGreen(rowA[x]) - qGreen(rowB[x])),
                                    std::abs(qBlue(rowA[x]) - qBlue(rowB[x]))};
            const int worst = *std::max_element(channel, channel + 3);
            for (int c = 0; c < 3; ++c) {
                sum[c] += channel[c];
            }
            beyond += worst > 8;
            result.largest = std::max(result.largest, worst);
            result.bothOpaque &= qAlpha(rowA[x]) == 255 && qAlpha(rowB[x]) == 255;
        }
    }
    const double pixels = double(a.width()) * a.height();
    result.worstMean = *std::max_element(sum, sum + 3) / pixels;
    result.fractionBeyond8 = double(beyond) / pixels;
    return result;
}

} // namespace

// The fast renderer matches the reference on screen sizes, canvases that cut prisms and vectors
// short, phases either side of zero (and the comparison notices a wave half a second off); every
// instruction set draws the same frame; a renderer keeps nothing from one frame to the next.
TEST(FastRenderer, MatchesTheReferenceInEveryInstructionSetAndNothingCarriesOver) {
    CubeFieldRenderer renderer;
    for (const QSize size : {QSize(800, 600), QSize(1440, 900), QSize(3840, 2160), QSize(1, 1),
                             QSize(37, 23), QSize(3001, 7), QSize(9, 1201)}) {
        for (const double phase : {0.0, 217.3, -604.9}) {
            SCOPED_TRACE(std::to_string(size.width()) + "x" + std::to_string(size.height()) +
                         " at phase " + std::to_string(phase));
            const Difference d =
                compare(renderer.render(size, phase), renderReferenceFrame(size, phase));
            EXPECT_LE(d.worstMean, 1.0);
            EXPECT_LE(d.fractionBeyond8, 0.001) << "largest difference " << d.largest;
            EXPECT_TRUE(d.bothOpaque);
        }
    }
    EXPECT_GT(compare(renderer.render({800, 600}, 100), renderReferenceFrame({800, 600}, 100.5))
                  .fractionBeyond8,
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
    EXPECT_EQ(sets.front(), &kernels::bestKernels());
    EXPECT_EQ(sets.back(), &kernels::portableKernels());
    for (const kernels::KernelSet* set : sets) {
        CubeFieldRenderer each(*set);
        EXPECT_STREQ(each.instructionSet(), set->name);
        // Fused multiply-adds may round the last bit differently.
        EXPECT_LE(compare(each.render(size, 77), portable).largest, 1) << set->name;
    }
}

TEST(CubeFieldRenderers, AnEmptyCanvasGivesNoFrameAndNothingLandsOutsideTheCanvas) {
    CubeFieldRenderer renderer;
    for (const QSize size : {QSize(0, 0), QSize(0, 900), QSize(1440, 0)}) {
        EXPECT_TRUE(renderReferenceFrame(size, 5).isNull() && renderer.render(size, 5).isNull());
    }
    QImage nothing;
    renderer.render(nothing, 5);
    EXPECT_TRUE(nothing.isNull());
    // Painting steps told the canvas has no width or no height: nothing lands, not even the
    // glows, whose blur reaches far beyond their ellipses; on a real canvas they stay within it.
    QImage image(600, 400, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const QImage untouched = image;
    const auto paint = [&](const std::function<void(QPainter&)>& steps) {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        steps(painter);
    };
    paint([](QPainter& painter) {
        for (const QSizeF size : {QSizeF(0, 40), QSizeF(60, 0), QSizeF(0, 0)}) {
            drawBackdrop(painter, size, 5);
            drawCubes(painter, size, 5);
        }
    });
    EXPECT_EQ(image, untouched);
    paint([](QPainter& painter) { drawBackdrop(painter, QSizeF(300, 200), 5); });
    EXPECT_EQ(image.copy(300, 0, 300, 400), untouched.copy(300, 0, 300, 400));
    EXPECT_EQ(image.copy(0, 200, 600, 200), untouched.copy(0, 200, 600, 200));
    image.fill(Qt::transparent);
    paint([](QPainter& painter) { drawCubes(painter, QSizeF(60, 40), 5); });
    EXPECT_NE(image, untouched);
}
