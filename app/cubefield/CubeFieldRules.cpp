#include "cubefield/CubeFieldRules.h"

#include <algorithm>
#include <cmath>

namespace lumora::cubefield {

Colour metal(double x) {
    const double c = std::clamp(x, 0.0, 1.0);
    return {c, std::min(metalGreenTint * c, 1.0), std::min(metalBlueTint * c, 1.0), metalOpacity};
}

double timePhase(const QDateTime& date) {
    static const QDateTime reference(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    const double seconds = double(reference.msecsTo(date)) / 1000.0;
    return std::fmod(seconds, 1000.0); // fmod keeps the sign of the dividend
}

const Glow& glowA() {
    static const Glow glow{{520, 360}, {0.82, 0.83, 0.84, 0.07}};
    return glow;
}

const Glow& glowB() {
    static const Glow glow{{460, 310}, {0.50, 0.51, 0.53, 0.05}};
    return glow;
}

GlowCentres glowCentres(QSizeF canvas, double phase) {
    const double b = 0.18 * phase;
    const double w = canvas.width();
    const double h = canvas.height();
    return {{w * (0.68 + 0.09 * std::sin(b)), h * (0.30 + 0.045 * std::cos(b))},
            {w * (0.28 - 0.07 * std::sin(b)), h * (0.72 - 0.035 * std::cos(b))}};
}

double prismSize(double canvasHeight) {
    return std::clamp(canvasHeight / 14.0, 50.0, 82.0);
}

GridSteps gridSteps(double prismSize) {
    return {0.56 * prismSize, 0.46 * prismSize * 0.64};
}

int gridCount(QSizeF canvas) {
    const GridSteps steps = gridSteps(prismSize(canvas.height()));
    const double cells =
        std::ceil(canvas.width() / (2 * steps.across) + canvas.height() / (2 * steps.down));
    return std::max(int(cells) + 8, 28);
}

PrismShape prismShape(double prismSize) {
    return {0.9 * prismSize, 0.9 * 0.46 * prismSize, 0.9 * 0.46 * prismSize};
}

double waveAngle(int i, int j, double centre, double phase) {
    return 0.24 * (i - centre) + 0.025 * (j - centre) - 0.23 * phase;
}

double waveLift(double angle, double prismSize) {
    const double phi = 2 * angle + 0.58 * std::sin(angle);
    const double psi = 2 * phi + 0.28 * std::cos(angle);
    return prismSize * (0.54 * std::sin(angle) + 0.085 * std::sin(phi) + 0.016 * std::sin(psi));
}

double waveBrightness(double angle) {
    return std::min(0.32 + 0.16 * (1 + std::sin(angle - 0.75)) / 2, 0.62);
}

void visiblePrisms(QSizeF canvas, double phase, std::vector<PlacedPrism>& out) {
    out.clear();
    const double w = canvas.width();
    const double h = canvas.height();
    if (!(w > 0) || !(h > 0)) {
        return;
    }
    const double s = prismSize(h);
    const GridSteps steps = gridSteps(s);
    const int n = gridCount(canvas);
    const double c = (n - 1) / 2.0;
    const double margin = 3 * s;
    // Rows of one diagonal share a y, so a whole diagonal outside the canvas is skipped at once.
    for (int k = 0; k <= 2 * n - 2; ++k) {
        const double y = h / 2 + steps.down * (k - 2 * c);
        if (y < -margin || y > h + margin) {
            continue;
        }
        for (int j = std::max(0, k - n + 1); j <= std::min(k, n - 1); ++j) {
            const int i = k - j;
            const double x = w / 2 + steps.across * (i - j);
            if (x < -margin || x > w + margin) {
                continue;
            }
            const double angle = waveAngle(i, j, c, phase);
            out.push_back({{x, y - waveLift(angle, s)}, waveBrightness(angle)});
        }
    }
}

std::vector<PlacedPrism> visiblePrisms(QSizeF canvas, double phase) {
    std::vector<PlacedPrism> prisms;
    visiblePrisms(canvas, phase, prisms);
    return prisms;
}

} // namespace lumora::cubefield
