#include "tray/GaugeIcon.h"

#include "model/AppModel.h"

#include <QPainter>
#include <QPainterPath>
#include <QtEndian>

#include <algorithm>
#include <cmath>

namespace lumora {
namespace {

const QColor accentBlue(0x35, 0x84, 0xe4);
const QColor warningOrange(0xe6, 0x61, 0x00);
const QColor limitRed(0xe0, 0x1b, 0x24);
// Grey with some transparency: light grey on a dark panel, mid grey on a light one.
const QColor trackGrey(0x88, 0x88, 0x88, 0xc0);

std::optional<double> remainingShare(const UsageSnapshot& snapshot, const QDateTime& now) {
    if (snapshot.isStale(now)) {
        return std::nullopt;
    }
    const std::optional<UsageWindow> window = snapshot.primaryWindow();
    if (!window || !window->usedRatio || !std::isfinite(*window->usedRatio)) {
        return std::nullopt;
    }
    return std::clamp(1.0 - *window->usedRatio, 0.0, 1.0);
}

} // namespace

QColor GaugeIcon::arcColor(double remaining) {
    if (remaining <= 0.005) {
        return limitRed;
    }
    if (remaining <= 0.2) {
        return warningOrange;
    }
    return accentBlue;
}

QImage GaugeIcon::render(int size, std::optional<double> remaining) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);

    // A thick ring: about a fifth of the icon, at least two pixels.
    const double stroke = std::max(2.0, std::round(size * 0.2));
    const double inset = stroke / 2.0 + std::max(0.5, size / 32.0);
    const QRectF ring(inset, inset, size - 2 * inset, size - 2 * inset);

    const bool atLimit = remaining && arcColor(*remaining) == limitRed;
    QPen track(atLimit ? limitRed : trackGrey, stroke);
    track.setCapStyle(Qt::FlatCap);
    painter.setPen(track);
    painter.drawEllipse(ring);

    if (remaining && !atLimit) {
        // Qt counts angles in sixteenths of a degree, counter-clockwise from three o'clock. A
        // sliver is still drawn wide enough to be seen.
        const double degrees = std::max(*remaining * 360.0, 12.0);
        QPen arc(arcColor(*remaining), stroke);
        arc.setCapStyle(Qt::FlatCap);
        painter.setPen(arc);
        if (degrees >= 359.5) {
            painter.drawEllipse(ring);
        } else {
            painter.drawArc(ring, 90 * 16, -static_cast<int>(std::lround(degrees * 16)));
        }
    }
    if (atLimit) {
        // A bar across the middle: "no entry", readable without colour.
        const double half = ring.width() / 2.0 - stroke / 2.0;
        QPen bar(limitRed, std::max(1.5, stroke * 0.75));
        bar.setCapStyle(Qt::FlatCap);
        painter.setPen(bar);
        const QPointF centre = ring.center();
        painter.drawLine(QPointF(centre.x() - half * 0.7, centre.y()),
                         QPointF(centre.x() + half * 0.7, centre.y()));
    }
    painter.end();
    return image.convertToFormat(QImage::Format_ARGB32);
}

IconPixmap GaugeIcon::toIconPixmap(const QImage& source) {
    const QImage image = source.convertToFormat(QImage::Format_ARGB32);
    IconPixmap pixmap{image.width(), image.height(), {}};
    pixmap.bytes.resize(static_cast<qsizetype>(image.width()) * image.height() * 4);
    uchar* out = reinterpret_cast<uchar*>(pixmap.bytes.data());
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            qToBigEndian<quint32>(line[x], out);
            out += 4;
        }
    }
    return pixmap;
}

IconPixmapList GaugeIcon::pixmaps(std::optional<double> remaining) {
    IconPixmapList list;
    for (const int size : sizes) {
        list.append(toIconPixmap(render(size, remaining)));
    }
    return list;
}

QIcon GaugeIcon::icon(std::optional<double> remaining) {
    QIcon icon;
    for (const int size : sizes) {
        icon.addPixmap(QPixmap::fromImage(render(size, remaining)));
    }
    return icon;
}

std::optional<double> GaugeIcon::lowestRemainingShare(const AppModel& model, const QDateTime& now) {
    const AppPreferences& preferences = *model.preferences();
    std::optional<double> lowest;
    const auto consider = [&](bool shown, const UsageSnapshot& snapshot) {
        if (!shown) {
            return;
        }
        const std::optional<double> share = remainingShare(snapshot, now);
        if (share && (!lowest || *share < *lowest)) {
            lowest = share;
        }
    };
    consider(preferences.codexEnabled() && preferences.showCodexInMenuBar(), model.codexSnapshot());
    consider(preferences.claudeEnabled() && preferences.showClaudeInMenuBar(), model.snapshot());
    return lowest;
}

} // namespace lumora
