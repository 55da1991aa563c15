#pragma once

#include "views/BreakViewModel.h"

#include <QColor>
#include <QImage>
#include <QPointer>
#include <QQmlListProperty>
#include <QQuickItem>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace lumora {

// The break photo filling the item while keeping its proportions: the part that does not fit is
// cut off evenly on both sides. No photo, nothing drawn.
class PhotoFill : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(
        lumora::BreakViewModel* viewModel READ viewModel WRITE setViewModel NOTIFY viewModelChanged)

public:
    explicit PhotoFill(QQuickItem* parent = nullptr);

    BreakViewModel* viewModel() const { return m_viewModel; }
    void setViewModel(BreakViewModel* viewModel);
    QImage image() const { return m_image; }

    // The part of an image of `imageSize` that fills `target` (the rectangle in image pixels).
    static QRectF croppedSource(QSizeF imageSize, QSizeF target);

signals:
    void viewModelChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;

private:
    void takeImage();

    QPointer<BreakViewModel> m_viewModel;
    QMetaObject::Connection m_watch;
    QImage m_image;
    bool m_imageIsNew = false;
};

// A radial darkening: transparent inside `innerRadius` from the centre, `color` from
// `outerRadius` on, blended in between. Drawn once per size, at full resolution: the software
// renderer blends an image of the item's size much faster than it scales a smaller one up.
class RadialVignette : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(qreal innerRadius READ innerRadius WRITE setInnerRadius NOTIFY shapeChanged)
    Q_PROPERTY(qreal outerRadius READ outerRadius WRITE setOuterRadius NOTIFY shapeChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY shapeChanged)

public:
    explicit RadialVignette(QQuickItem* parent = nullptr);

    qreal innerRadius() const { return m_innerRadius; }
    void setInnerRadius(qreal radius);
    qreal outerRadius() const { return m_outerRadius; }
    void setOuterRadius(qreal radius);
    QColor color() const { return m_color; }
    void setColor(const QColor& color);

    void paint(QPainter* painter) override;

signals:
    void shapeChanged();

private:
    qreal m_innerRadius = 0;
    qreal m_outerRadius = 1;
    QColor m_color = Qt::black;
};

// The soft shadow under a row of text items: their glyphs, offset and blurred (a Gaussian of
// standard deviation `blurRadius` / 2) and moved down by `verticalOffset`, in `color`. The sources
// are Text items anywhere in the same window; it follows their text, font and position.
class TextShadow : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQmlListProperty<QQuickItem> sources READ sourceList NOTIFY sourcesChanged)
    Q_PROPERTY(qreal blurRadius READ blurRadius WRITE setBlurRadius NOTIFY shadowChanged)
    Q_PROPERTY(
        qreal verticalOffset READ verticalOffset WRITE setVerticalOffset NOTIFY shadowChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY shadowChanged)
    // How far the blur reaches beyond the glyphs; the item should extend this far around them.
    Q_PROPERTY(qreal reach READ reach NOTIFY shadowChanged)

public:
    explicit TextShadow(QQuickItem* parent = nullptr);

    QQmlListProperty<QQuickItem> sourceList();
    const QList<QQuickItem*>& sources() const { return m_sources; }
    void setSources(const QList<QQuickItem*>& sources);
    qreal blurRadius() const { return m_blurRadius; }
    void setBlurRadius(qreal radius);
    qreal verticalOffset() const { return m_verticalOffset; }
    void setVerticalOffset(qreal offset);
    QColor color() const { return m_color; }
    void setColor(const QColor& color);
    qreal reach() const;

    void paint(QPainter* painter) override;

signals:
    void sourcesChanged();
    void shadowChanged();

private:
    QList<QQuickItem*> m_sources;
    QList<QMetaObject::Connection> m_watches;
    qreal m_blurRadius = 0;
    qreal m_verticalOffset = 0;
    QColor m_color = Qt::black;
};

} // namespace lumora
