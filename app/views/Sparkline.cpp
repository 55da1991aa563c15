#include "views/Sparkline.h"

#include "history/HistoryStore.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace lumora {

SparklineShape sparklineShape(const QList<PaceFigure>& figures, const UsagePace& pace,
                              UsageWindow::Kind kind, const QDateTime& now) {
    const QList<PaceFigure> window = currentWindowFigures(figures, now);
    // Figures only seconds apart make a dot, not a line: the line waits as long as the pace does.
    if (window.size() < 2 ||
        window.first().capturedAt.secsTo(window.last().capturedAt) < paceMinimumSpanSeconds) {
        return {};
    }
    const PaceFigure& newest = window.last();
    QDateTime start = window.first().capturedAt;
    QDateTime end;
    if (newest.resetsAt) {
        end = *newest.resetsAt;
        start = std::min(start, end.addSecs(-windowSeconds(kind)));
    } else if (pace.limitAt) {
        end = *pace.limitAt;
    } else {
        end = now.addSecs(std::max<qint64>(start.secsTo(now) / 4, 60));
    }
    const double span = static_cast<double>(start.msecsTo(end));
    if (span <= 0) {
        return {};
    }
    const auto at = [&](const QDateTime& time, double used) {
        return QPointF(std::clamp(static_cast<double>(start.msecsTo(time)) / span, 0.0, 1.0),
                       std::clamp(used, 0.0, 1.0));
    };

    SparklineShape shape;
    for (const PaceFigure& figure : window) {
        shape.line.append(at(figure.capturedAt, figure.usedRatio));
    }
    const QPointF from = shape.line.last();
    switch (pace.verdict) {
    case UsagePace::Verdict::limitBeforeReset:
        shape.projection = {from, at(*pace.limitAt, 1.0)};
        break;
    case UsagePace::Verdict::leftAtReset:
        shape.projection = {from, at(*newest.resetsAt, 1.0 - pace.leftAtReset.value_or(0))};
        break;
    case UsagePace::Verdict::idle:
        if (newest.resetsAt) {
            shape.projection = {from, at(*newest.resetsAt, newest.usedRatio)};
        }
        break;
    case UsagePace::Verdict::notEnoughData:
    case UsagePace::Verdict::atLimit:
        break;
    }
    return shape;
}

Sparkline::Sparkline(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &Sparkline::pointsChanged, this, [this] { update(); });
    connect(this, &Sparkline::colorsChanged, this, [this] { update(); });
}

void Sparkline::setPoints(const QVariantList& points) {
    if (points != m_points) {
        m_points = points;
        emit pointsChanged();
    }
}

void Sparkline::setProjection(const QVariantList& projection) {
    if (projection != m_projection) {
        m_projection = projection;
        emit pointsChanged();
    }
}

void Sparkline::paint(QPainter* painter) {
    // A pen's half width of room at the top and the bottom, so the line is never cut.
    const qreal inset = 1.5;
    const qreal w = width();
    const qreal h = height() - 2 * inset;
    const auto map = [&](const QVariant& value) {
        const QPointF point = value.toPointF();
        return QPointF(point.x() * w, inset + (1.0 - point.y()) * h);
    };
    painter->setRenderHint(QPainter::Antialiasing);

    painter->setPen(QPen(m_ruleColor, 1, Qt::DotLine));
    painter->drawLine(QPointF(0, inset), QPointF(w, inset));
    if (m_points.size() < 2) {
        return;
    }

    QPainterPath line(map(m_points.first()));
    for (qsizetype index = 1; index < m_points.size(); ++index) {
        line.lineTo(map(m_points[index]));
    }
    QPainterPath area = line;
    area.lineTo(map(m_points.last()).x(), inset + h);
    area.lineTo(map(m_points.first()).x(), inset + h);
    area.closeSubpath();
    QColor fill = m_color;
    fill.setAlphaF(0.16f);
    painter->fillPath(area, fill);
    painter->setPen(QPen(m_color, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->drawPath(line);

    if (m_projection.size() == 2) {
        QPen dashed(m_projectionColor, 1.5, Qt::CustomDashLine, Qt::FlatCap);
        dashed.setDashPattern({3, 2.5});
        painter->setPen(dashed);
        painter->drawLine(map(m_projection[0]), map(m_projection[1]));
    }
}

} // namespace lumora
