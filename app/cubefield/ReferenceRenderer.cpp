#include "cubefield/ReferenceRenderer.h"

#include "cubefield/GlowBlur.h"

#include <QLinearGradient>
#include <QPen>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace lumora::cubefield {

namespace {

QColor toQColor(const Colour& colour) {
    return QColor::fromRgbF(float(colour.red), float(colour.green), float(colour.blue),
                            float(colour.alpha));
}

QColor metalColour(double x) {
    return toQColor(metal(x));
}

QColor white(double opacity) {
    return QColor::fromRgbF(1, 1, 1, float(opacity));
}

QRectF ellipseRect(QPointF centre, QSizeF size) {
    return {centre.x() - size.width() / 2, centre.y() - size.height() / 2, size.width(),
            size.height()};
}

// Blurs a premultiplied RGBA float image channel by channel into an 8-bit premultiplied image,
// the format of the canvas, so that drawing it is a plain blend.
QImage blurred(const QImage& layer, double sigma) {
    const int width = layer.width();
    const int height = layer.height();
    QImage result(width, height, QImage::Format_ARGB32_Premultiplied);
    result.fill(0);
    std::vector<float> plane(std::size_t(width) * height);
    // Channel order in memory: red, green, blue, alpha; bit position in a QRgb.
    constexpr int shifts[4] = {16, 8, 0, 24};
    for (int channel = 0; channel < 4; ++channel) {
        for (int y = 0; y < height; ++y) {
            const float* line = reinterpret_cast<const float*>(layer.constScanLine(y));
            for (int x = 0; x < width; ++x) {
                plane[std::size_t(y) * width + x] = line[4 * x + channel];
            }
        }
        blurPlane(plane.data(), width, height, sigma);
        for (int y = 0; y < height; ++y) {
            auto* line = reinterpret_cast<QRgb*>(result.scanLine(y));
            for (int x = 0; x < width; ++x) {
                const float value = std::clamp(plane[std::size_t(y) * width + x], 0.0f, 1.0f);
                line[x] |= QRgb(value * 255 + 0.5f) << shifts[channel];
            }
        }
    }
    return result;
}

// The four corners of a prism's top face, a rhombus around `centre`; the side faces hang
// `depth` below the left, front and right ones.
struct TopCorners {
    QPointF left;
    QPointF right;
    QPointF top;
    QPointF front;
};

TopCorners topCorners(QPointF centre, PrismShape shape) {
    const double cx = centre.x();
    const double cy = centre.y();
    return {QPointF(cx - shape.width / 2, cy), QPointF(cx + shape.width / 2, cy),
            QPointF(cx, cy - shape.topHeight / 2), QPointF(cx, cy + shape.topHeight / 2)};
}

} // namespace

void drawBackdrop(QPainter& painter, QSizeF size, double phase) {
    const QRectF canvas(QPointF(0, 0), size);
    QLinearGradient gradient(QPointF(0, 0), QPointF(size.width(), size.height()));
    gradient.setColorAt(0, toQColor(backdropStops[0]));
    gradient.setColorAt(0.5, toQColor(backdropStops[1]));
    gradient.setColorAt(1, toQColor(backdropStops[2]));
    painter.fillRect(canvas, gradient);

    // The glow layer only needs to cover the ellipses plus the blur's reach, and only as far as
    // the blur can carry light onto the canvas; what lands outside the canvas is cut off.
    const QRect visible = canvas.toAlignedRect();
    if (visible.isEmpty()) {
        return;
    }
    const GlowCentres centres = glowCentres(size, phase);
    const QRectF rectA = ellipseRect(centres.a, glowA().size);
    const QRectF rectB = ellipseRect(centres.b, glowB().size);
    const int reach = blurReach(glowBlurSigma) + 2;
    const QRect region =
        rectA.united(rectB).toAlignedRect().adjusted(-reach, -reach, reach, reach) &
        visible.adjusted(-reach, -reach, reach, reach);
    const QRect drawn = region & visible;
    if (drawn.isEmpty()) {
        return;
    }
    QImage layer(region.size(), QImage::Format_RGBA32FPx4_Premultiplied);
    layer.fill(Qt::transparent);
    {
        QPainter layerPainter(&layer);
        layerPainter.setRenderHint(QPainter::Antialiasing);
        layerPainter.translate(-region.topLeft());
        layerPainter.setPen(Qt::NoPen);
        layerPainter.setBrush(toQColor(glowA().colour));
        layerPainter.drawEllipse(rectA);
        layerPainter.setBrush(toQColor(glowB().colour));
        layerPainter.drawEllipse(rectB);
    }
    painter.drawImage(drawn, blurred(layer, glowBlurSigma), drawn.translated(-region.topLeft()));
}

void drawCubes(QPainter& painter, QSizeF size, double phase) {
    if (!(size.width() > 0) || !(size.height() > 0)) {
        return;
    }
    const PrismShape shape = prismShape(prismSize(size.height()));
    for (const PlacedPrism& prism : visiblePrisms(size, phase)) {
        drawCube(painter, prism.centre, shape.width, shape.topHeight, shape.depth,
                 prism.brightness);
    }
}

void drawCube(QPainter& painter, QPointF centre, double width, double topHeight, double depth,
              double metalBrightness) {
    const PrismShape shape{width, topHeight, depth};
    drawCubeFaces(painter, centre, shape, metalBrightness);
    drawCubeEdges(painter, centre, shape);
}

void drawCubeFaces(QPainter& painter, QPointF centre, PrismShape shape, double m) {
    const auto [left, right, top, front] = topCorners(centre, shape);
    const QPointF bottom = front + QPointF(0, shape.depth);
    const QPointF leftBottom = left + QPointF(0, shape.depth);
    const QPointF rightBottom = right + QPointF(0, shape.depth);

    painter.setPen(Qt::NoPen);

    QLinearGradient leftShade(left, bottom);
    leftShade.setColorAt(0, metalColour(0.62 * m));
    leftShade.setColorAt(0.46, metalColour(0.42 * m));
    leftShade.setColorAt(0.54, metalColour(0.32 * m));
    leftShade.setColorAt(1, metalColour(0.20 * m));
    painter.setBrush(leftShade);
    const std::array leftFace{left, front, bottom, leftBottom};
    painter.drawPolygon(leftFace.data(), int(leftFace.size()));

    QLinearGradient rightShade(right, bottom);
    rightShade.setColorAt(0, metalColour(0.32 * m));
    rightShade.setColorAt(0.42, metalColour(0.25 * m));
    rightShade.setColorAt(1, metalColour(0.20 * m));
    painter.setBrush(rightShade);
    const std::array rightFace{right, front, bottom, rightBottom};
    painter.drawPolygon(rightFace.data(), int(rightFace.size()));

    QLinearGradient topShade(left, right);
    topShade.setColorAt(0, metalColour(0.58 * m));
    topShade.setColorAt(0.28, metalColour(0.88 * m));
    topShade.setColorAt(0.48, metalColour(m + 0.18));
    topShade.setColorAt(0.62, metalColour(m + 0.12));
    topShade.setColorAt(0.76, metalColour(m));
    topShade.setColorAt(1, metalColour(0.48 * m));
    painter.setBrush(topShade);
    const std::array topFace{top, right, front, left};
    painter.drawPolygon(topFace.data(), int(topFace.size()));
}

void drawCubeEdges(QPainter& painter, QPointF centre, PrismShape shape) {
    const auto [left, right, top, front] = topCorners(centre, shape);

    painter.setBrush(Qt::NoBrush);

    // Butt caps and miter joins, as strokes of paths are drawn by default on most canvases.
    QLinearGradient shine(left, right);
    shine.setColorAt(0, white(0.08));
    shine.setColorAt(0.5, white(0.24));
    shine.setColorAt(1, white(0.08));
    painter.setPen(QPen(QBrush(shine), 0.8, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    const std::array backEdge{left, top, right};
    painter.drawPolyline(backEdge.data(), int(backEdge.size()));

    painter.setPen(QPen(QBrush(white(0.1)), 0.65, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    const std::array outline{top, right, front, left};
    painter.drawPolygon(outline.data(), int(outline.size()));
}

QImage renderReferenceFrame(QSize size, double phase) {
    if (size.isEmpty()) {
        return {};
    }
    QImage frame(size, QImage::Format_ARGB32_Premultiplied);
    frame.fill(Qt::transparent);
    QPainter painter(&frame);
    painter.setRenderHint(QPainter::Antialiasing);
    drawBackdrop(painter, QSizeF(size), phase);
    drawCubes(painter, QSizeF(size), phase);
    return frame;
}

} // namespace lumora::cubefield
