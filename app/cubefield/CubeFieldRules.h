#pragma once

#include <QDateTime>
#include <QPointF>
#include <QSizeF>

#include <vector>

// The geometry and colour rules of the ambient cube field: an isometric field of brushed-metal
// prisms on a dark diagonal gradient with two large blurred glows. Every renderer (the QPainter
// reference, the fast renderer, the tests) takes its numbers from here. Lengths are in points;
// a renderer at device pixel ratio 1 treats them as pixels.
namespace lumora::cubefield {

// A colour in gamma-encoded sRGB, components 0...1, not premultiplied.
struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
};

// The brushed-metal tone of brightness x: a faint cool tint, blue and green a fraction brighter
// than red, at opacity 0.98. x is clamped to 0...1 and every component stays within 0...1.
Colour metal(double x);
// The factors by which green and blue exceed red in metal(x) while neither is clipped.
inline constexpr double metalGreenTint = 1.005;
inline constexpr double metalBlueTint = 1.008;
inline constexpr double metalOpacity = 0.98;

// The time phase of a frame: seconds since 2001-01-01T00:00:00Z, modulo 1000 keeping the sign,
// so the waves jump once every 1000 seconds. Frozen frames (reduced motion) use phase 0.
double timePhase(const QDateTime& date);

// Backdrop: a linear gradient from (0, 0) to (W, H) through three evenly spaced opaque colours.
inline constexpr Colour backdropStops[3] = {
    {0.035, 0.038, 0.042, 1}, {0.075, 0.078, 0.084, 1}, {0.012, 0.013, 0.015, 1}};

// The two glows: ellipses of the given size centred on the glow centres, filled with a light
// colour at low opacity in one layer that is then blurred.
struct Glow {
    QSizeF size;
    Colour colour; // alpha is the fill opacity
};
inline constexpr double glowBlurRadius = 110;
// A blur "radius" names the distance at which the Gaussian has fallen to e^-2 (about 14%) of
// its peak, as design tools and CSS-style blur sliders use the word: two standard deviations.
inline constexpr double glowBlurSigma = glowBlurRadius / 2;
const Glow& glowA();
const Glow& glowB();

struct GlowCentres {
    QPointF a;
    QPointF b;
};
GlowCentres glowCentres(QSizeF canvas, double phase);

// Prism size s for a canvas height: H / 14 kept within 50...82.
double prismSize(double canvasHeight);

// Distance between neighbouring cells on screen: across = half the horizontal step between the
// two cells of one diagonal row, down = the vertical step from one diagonal row to the next.
struct GridSteps {
    double across;
    double down;
};
GridSteps gridSteps(double prismSize);

// Cells per side of the square grid: enough to cover the canvas, at least 28.
int gridCount(QSizeF canvas);

// The prism drawn in every cell, relative to the prism size.
struct PrismShape {
    double width;
    double topHeight;
    double depth;
};
PrismShape prismShape(double prismSize);

// The travelling wave: θ of a cell, its lift (positive moves the prism up) and its brightness.
double waveAngle(int i, int j, double centre, double phase);
double waveLift(double angle, double prismSize);
double waveBrightness(double angle);
// The largest |lift| any cell can have, as a multiple of the prism size.
inline constexpr double maximumLiftPerPrismSize = 0.54 + 0.085 + 0.016;

// One prism to draw: its centre on the canvas (lift applied) and its metal brightness.
struct PlacedPrism {
    QPointF centre;
    double brightness;
};

// The prisms of one frame in drawing order, back to front (later ones cover earlier ones).
// Cells more than three prism sizes outside the canvas are left out before their wave is
// computed. An empty canvas has no prisms. `out` is cleared first; its storage is reused.
void visiblePrisms(QSizeF canvas, double phase, std::vector<PlacedPrism>& out);
std::vector<PlacedPrism> visiblePrisms(QSizeF canvas, double phase);

} // namespace lumora::cubefield
