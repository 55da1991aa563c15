#include "views/PhotoPreview.h"

#include <QPainter>
#include <QQuickWindow>

namespace lumora {

PhotoPreview::PhotoPreview(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
}

void PhotoPreview::setImage(const QVariant& value) {
    const QImage image = value.value<QImage>();
    // QImage compares pixel by pixel; the cache key is enough to tell a new photo.
    if (image.cacheKey() == m_image.cacheKey()) {
        return;
    }
    m_image = image;
    m_scaled = QImage();
    emit imageChanged();
    update();
}

void PhotoPreview::setRadius(qreal radius) {
    if (qFuzzyCompare(radius, m_radius)) {
        return;
    }
    m_radius = radius;
    emit radiusChanged();
    update();
}

void PhotoPreview::paint(QPainter* painter) {
    const QRectF bounds = boundingRect();
    if (m_image.isNull() || bounds.isEmpty()) {
        return;
    }
    const qreal ratio = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    const QSize target = (bounds.size() * ratio).toSize();
    if (m_scaled.isNull() || m_scaledFor != target) {
        m_scaled = m_image.scaled(target, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
        m_scaledFor = target;
    }
    // The middle of the scaled photo, as a brush, so that the rounded edge is antialiased (a
    // clip path would not be).
    QTransform placement;
    placement.scale(1.0 / ratio, 1.0 / ratio);
    placement.translate(-(m_scaled.width() - target.width()) / 2.0,
                        -(m_scaled.height() - target.height()) / 2.0);
    QBrush brush(m_scaled);
    brush.setTransform(placement);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->setPen(Qt::NoPen);
    painter->setBrush(brush);
    painter->drawRoundedRect(bounds, m_radius, m_radius);
}

} // namespace lumora
