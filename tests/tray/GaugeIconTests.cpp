// The gauge icon at every size, on a light and on a dark panel: the arc's extent and colour
// are checked on the ring, and contact sheets are written to look at.
#include "tray/GaugeIcon.h"

#include <QDir>
#include <QPainter>

#include <gtest/gtest.h>

#include <cmath>

using namespace lumora;

namespace {

enum class Tint { none, grey, blue, orange, red };

// The colour family of a pixel of the icon drawn over `panel`.
Tint tintAt(const QImage& icon, double clockwiseDegrees, QColor panel) {
    const int size = icon.width();
    const double stroke = std::max(2.0, std::round(size * 0.2));
    const double radius = size / 2.0 - stroke / 2.0 - std::max(0.5, size / 32.0);
    const double angle = (clockwiseDegrees - 90.0) * M_PI / 180.0;
    const int x = static_cast<int>(std::floor(size / 2.0 + radius * std::cos(angle)));
    const int y = static_cast<int>(std::floor(size / 2.0 + radius * std::sin(angle)));
    QImage canvas(size, size, QImage::Format_ARGB32);
    canvas.fill(panel);
    QPainter(&canvas).drawImage(0, 0, icon);
    const QColor c = canvas.pixelColor(x, y);
    if (c == panel) {
        return Tint::none;
    }
    if (std::abs(c.red() - c.green()) < 24 && std::abs(c.green() - c.blue()) < 24) {
        return Tint::grey;
    }
    if (c.blue() > c.red()) {
        return Tint::blue;
    }
    return c.green() > 60 ? Tint::orange : Tint::red;
}

} // namespace

TEST(GaugeIconTest, TheArcShowsTheShareInItsColourOnLightAndDarkPanels) {
    // Per state, the tint at two points of the ring, in degrees clockwise from the top.
    const struct {
        std::optional<double> left;
        double firstAt;
        Tint first;
        double secondAt;
        Tint second;
    } states[] = {
        {std::nullopt, 45, Tint::grey, 225, Tint::grey}, // nothing known: the grey ring only
        {1.0, 45, Tint::blue, 315, Tint::blue},          // all left: a full blue ring
        {0.5, 90, Tint::blue, 270, Tint::grey},          // half: blue on the right, grey left
        {0.15, 25, Tint::orange, 180, Tint::grey},       // 15% left: a short orange arc
        {0.0, 90, Tint::red, 270, Tint::red},            // at the limit: all red
    };
    const QList<QPair<QString, QColor>> panels{{"light", QColor("#f6f5f4")},
                                               {"dark", QColor("#241f31")}};
    const QString folder = QStringLiteral(LUMORA_TEST_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    for (const auto& [panelName, panel] : panels) {
        // A contact sheet: one row per state, one column per size, shown four times larger.
        const int cell = 48 * 4 + 16;
        QImage sheet(cell * 5, cell * std::size(states), QImage::Format_ARGB32);
        sheet.fill(panel);
        QPainter painter(&sheet);
        for (int row = 0; row < int(std::size(states)); ++row) {
            const auto& state = states[row];
            for (int column = 0; column < 5; ++column) {
                const int size = GaugeIcon::sizes[column];
                const QImage icon = GaugeIcon::render(size, state.left);
                ASSERT_EQ(icon.size(), QSize(size, size));
                painter.drawImage(QRect(column * cell + 8, row * cell + 8, size * 4, size * 4),
                                  icon);
                const std::string where = QStringLiteral("%1 px on %2, state %3")
                                              .arg(size)
                                              .arg(panelName)
                                              .arg(row)
                                              .toStdString();
                EXPECT_EQ(tintAt(icon, state.firstAt, panel), state.first) << where;
                EXPECT_EQ(tintAt(icon, state.secondAt, panel), state.second) << where;
                // Nothing outside the ring: the corners stay the panel's.
                EXPECT_EQ(qAlpha(icon.pixel(0, 0)), 0) << where;
            }
        }
        painter.end();
        ASSERT_TRUE(sheet.save(folder + "/gauge-" + panelName + ".png"));
    }
    EXPECT_EQ(GaugeIcon::arcColor(0.005), GaugeIcon::arcColor(0.0));
    EXPECT_NE(GaugeIcon::arcColor(0.2), GaugeIcon::arcColor(0.21));
}
