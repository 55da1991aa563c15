#include "views/PopoverPlacement.h"

#include <algorithm>
#include <limits>

namespace lumora {
namespace {

qint64 distanceSquared(QPoint point, const QRect& rect) {
    const qint64 dx = point.x() < rect.left()    ? rect.left() - point.x()
                      : point.x() > rect.right() ? point.x() - rect.right()
                                                 : 0;
    const qint64 dy = point.y() < rect.top()      ? rect.top() - point.y()
                      : point.y() > rect.bottom() ? point.y() - rect.bottom()
                                                  : 0;
    return dx * dx + dy * dy;
}

// Moves [start, start + length) inside [low, high); the low end wins when it does not fit.
int clampSpan(int start, int length, int low, int high) {
    return std::max(low, std::min(start, high - length));
}

} // namespace

QPoint popoverPosition(QPoint cursor, QSize size, const QList<QRect>& availableGeometries) {
    if (availableGeometries.isEmpty()) {
        return cursor;
    }
    QRect screen = availableGeometries.first();
    qint64 best = std::numeric_limits<qint64>::max();
    for (const QRect& candidate : availableGeometries) {
        const qint64 distance = distanceSquared(cursor, candidate);
        if (distance < best) {
            best = distance;
            screen = candidate;
        }
    }
    const QPoint centre = screen.center();
    const int x = cursor.x() > centre.x() ? cursor.x() - size.width() + 1 : cursor.x();
    const int y = cursor.y() > centre.y() ? cursor.y() - size.height() + 1 : cursor.y();
    return {clampSpan(x, size.width(), screen.left(), screen.left() + screen.width()),
            clampSpan(y, size.height(), screen.top(), screen.top() + screen.height())};
}

} // namespace lumora
