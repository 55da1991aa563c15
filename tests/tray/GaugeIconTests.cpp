// The gauge icon at every size, on a light and on a dark panel: the arc's extent and colour.
#include "tray/GaugeIcon.h"

#include <QPainter>

#include <gtest/gtest.h>

#include <cmath>

using namespace lumora;

namespace {

enum class Tint { none, grey, blue, orange, red };

// The colour family of the icon drawn over `panel`, on the ring at degrees clockwise from the top.
Tint tintAt(const QImage& icon, double clockwiseDegrees, QColor panel) {
    const int size = icon.width();
    const double r =
        size / 2.0 - std::max(1.0, std::round(size * 0.2) / 2) - std::max(0.5, size / 32.0);
    const double angle = (clockwiseDegrees - 90.0) * M_PI / 180.0;
    QImage canvas(size, size, QImage::Format_ARGB32);
    canvas.fill(panel);
    QPainter(&canvas).drawImage(0, 0, icon);
    const QColor c = canvas.pixelColor(int(std::floor(size / 2.0 + r * std::cos(angle))),
                                       int(std::floor(size / 2.0 + r * std::sin(angle))));
    const bool grey = std::abs(c.red() - c.green()) < 24 && std::abs(c.green() - c.blue()) < 24;
    return c == panel           ? Tint::none
           : grey               ? Tint::grey
           : c.blue() > c.red() ? Tint::blue
                                : (c.green() > 60 ? Tint::orange : Tint::red);
}

} // namespace

TEST(GaugeIconTest, TheArcShowsTheShareInItsColourOnLightAndDarkPanels) {
    // The share left; two points on the ring (degrees clockwise from the top) and their tints.
    const std::tuple<std::optional<double>, double, Tint, double, Tint> states[] = {
        {std::nullopt, 45, Tint::grey, 225, Tint::grey}, // nothing known: the grey ring only
        {1.0, 45, Tint::blue, 315, Tint::blue},          // all left: a full blue ring
        {0.5, 90, Tint::blue, 270, Tint::grey},          // half: blue on the right, grey left
        {0.15, 25, Tint::orange, 180, Tint::grey},       // 15% left: a short orange arc
        {0.0, 90, Tint::red, 270, Tint::red},            // at the limit: all red
    };
    for (const QColor panel : {QColor("#f6f5f4"), QColor("#241f31")}) {
        for (const auto& [left, at1, tint1, at2, tint2] : states) {
            for (const int size : GaugeIcon::sizes) {
                SCOPED_TRACE(testing::Message() << size << " px on " << panel.name().toStdString()
                                                << ", left " << left.value_or(-1));
                const QImage icon = GaugeIcon::render(size, left);
                ASSERT_EQ(icon.size(), QSize(size, size));
                EXPECT_EQ(tintAt(icon, at1, panel), tint1);
                EXPECT_EQ(tintAt(icon, at2, panel), tint2);
                EXPECT_EQ(qAlpha(icon.pixel(0, 0)), 0); // nothing outside the ring
            }
        }
    }
    EXPECT_EQ(GaugeIcon::arcColor(0.005), GaugeIcon::arcColor(0.0));
    EXPECT_NE(GaugeIcon::arcColor(0.2), GaugeIcon::arcColor(0.21));
}
