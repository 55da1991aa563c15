#pragma once

#include <QImage>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace lumora {

// An image scaled to fill the item (cropped, never stretched), clipped to a rounded rectangle.
// The scaled copy is made once per size, not at every paint, so a large photo costs one
// scaling.
class PhotoPreview : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    // A QImage; anything else shows nothing.
    Q_PROPERTY(QVariant image READ image WRITE setImage NOTIFY imageChanged)
    Q_PROPERTY(qreal radius READ radius WRITE setRadius NOTIFY radiusChanged)

public:
    explicit PhotoPreview(QQuickItem* parent = nullptr);

    QVariant image() const { return m_image; }
    void setImage(const QVariant& image);
    qreal radius() const { return m_radius; }
    void setRadius(qreal radius);

    void paint(QPainter* painter) override;

signals:
    void imageChanged();
    void radiusChanged();

private:
    QImage m_image;
    QImage m_scaled;
    QSize m_scaledFor;
    qreal m_radius = 0;
};

} // namespace lumora
