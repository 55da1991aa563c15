#pragma once

#include "core/UsageSnapshot.h"
#include "history/UsagePace.h"

#include <QColor>
#include <QList>
#include <QPointF>
#include <QQuickPaintedItem>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

namespace lumora {

// A window's used share over time, scaled into a unit square: x runs from the window's start to
// its reset (without a reset time, from the first figure to a little past the projection), y
// from nothing used (0) to the limit (1). The projection, when the pace gives one, runs from the
// newest figure to the limit or to the reset.
struct SparklineShape {
    QList<QPointF> line;
    QList<QPointF> projection;
    bool operator==(const SparklineShape&) const = default;
};
SparklineShape sparklineShape(const QList<PaceFigure>& window, const UsagePace& pace,
                              UsageWindow::Kind kind, const QDateTime& now);

// Draws a SparklineShape: a soft area under the line, the line, the projection dashed, and a
// faint rule at the limit. Painted into an image (the software scene graph draws no custom
// geometry), a few thousand pixels per card.
class Sparkline : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QVariantList points READ points WRITE setPoints NOTIFY pointsChanged)
    Q_PROPERTY(QVariantList projection READ projection WRITE setProjection NOTIFY pointsChanged)
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY colorsChanged)
    Q_PROPERTY(QColor projectionColor MEMBER m_projectionColor NOTIFY colorsChanged)
    Q_PROPERTY(QColor ruleColor MEMBER m_ruleColor NOTIFY colorsChanged)

public:
    explicit Sparkline(QQuickItem* parent = nullptr);

    QVariantList points() const { return m_points; }
    void setPoints(const QVariantList& points);
    QVariantList projection() const { return m_projection; }
    void setProjection(const QVariantList& projection);

    void paint(QPainter* painter) override;

signals:
    void pointsChanged();
    void colorsChanged();

private:
    QVariantList m_points;
    QVariantList m_projection;
    QColor m_color;
    QColor m_projectionColor;
    QColor m_ruleColor;
};

} // namespace lumora
