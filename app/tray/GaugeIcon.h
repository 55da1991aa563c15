#pragma once

#include "tray/TrayDBusTypes.h"

#include <QColor>
#include <QIcon>
#include <QImage>

#include <optional>

namespace lumora {

class AppModel;

// The status item's icon: a ring whose arc shows the lowest remaining share among the providers
// shown in the panel, clockwise from the top. The arc is blue, orange at 20% or less, and the
// whole ring turns red at the limit; with nothing known only the grey ring is drawn. Colours are
// mid-tones that read on light and on dark panels alike.
class GaugeIcon {
public:
    // The sizes a panel may ask for; hosts pick the closest.
    static constexpr int sizes[] = {16, 22, 24, 32, 48};

    static QColor arcColor(double remaining);
    // `remaining` is a share from 0 to 1, or nothing when unknown.
    static QImage render(int size, std::optional<double> remaining);
    // Every size, as StatusNotifierItem's IconPixmap wants them.
    static IconPixmapList pixmaps(std::optional<double> remaining);
    // Every size, for QSystemTrayIcon.
    static QIcon icon(std::optional<double> remaining);
    // An image as (iiay): ARGB32, straight alpha, each pixel's bytes in network order.
    static IconPixmap toIconPixmap(const QImage& image);

    // The lowest remaining share of the providers in the panel's title, among those whose
    // current figure is known and not stale.
    static std::optional<double> lowestRemainingShare(const AppModel& model, const QDateTime& now);
};

} // namespace lumora
