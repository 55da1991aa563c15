#pragma once

#include "cubefield/CubeFieldRules.h"

#include <QImage>
#include <QPainter>

// The cube field drawn the literal way: every frame, every prism as three gradient polygons and
// two gradient strokes through QPainter, the glows painted into a layer and blurred. It is slow
// (a few frames a second at full screen) and serves as the yardstick that the fast renderer is
// compared with; the application does not use it.
namespace lumora::cubefield {

// The dark diagonal gradient over (0, 0, W, H) and the two blurred glows. The glow layer is
// unbounded: ellipses reaching past the canvas edge are blurred whole, then cut by the canvas.
void drawBackdrop(QPainter& painter, QSizeF size, double phase);

// Every visible prism, back to front. Draws nothing when the size is empty.
void drawCubes(QPainter& painter, QSizeF size, double phase);

// One prism: left face, right face, top face, back-edge highlight, outline.
void drawCube(QPainter& painter, QPointF centre, double width, double topHeight, double depth,
              double metalBrightness);

// The two halves of drawCube: the three metal faces, and the white highlight and outline over
// them. The fast renderer draws them separately when it prepares its prism sprites.
void drawCubeFaces(QPainter& painter, QPointF centre, PrismShape shape, double metalBrightness);
void drawCubeEdges(QPainter& painter, QPointF centre, PrismShape shape);

// A whole frame (backdrop, then prisms) on an ARGB32 premultiplied image with antialiasing.
// An empty size gives a null image.
QImage renderReferenceFrame(QSize size, double phase);

} // namespace lumora::cubefield
