#pragma once

#include <QList>
#include <QPoint>
#include <QRect>
#include <QSize>

namespace lumora {

// Where a popover of `size` opens for a click at `cursor` (global coordinates), given the
// available geometry of every screen: on the screen under the cursor (else the nearest one),
// with a corner at the cursor and the popover reaching away from the screen edges nearest to it
// (left of the cursor in the screen's right half, above it in the bottom half), then moved
// inside the screen's available area; a popover larger than the area starts at its top left.
QPoint popoverPosition(QPoint cursor, QSize size, const QList<QRect>& availableGeometries);

} // namespace lumora
