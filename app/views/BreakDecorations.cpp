#include "views/BreakDecorations.h"

#include "cubefield/GlowBlur.h"
#include "views/BreakViewModel.h"

#include <QFont>
#include <QPainter>
#include <QQuickWindow>
#include <QRadialGradient>
#include <QSGImageNode>

#include <cmath>
#include <vector>

namespace lumora {

// PhotoFill

PhotoFill::PhotoFill(QQuickItem* parent) : QQuickItem(parent) {
    setFlag(ItemHasContents);
}

void PhotoFill::setViewModel(BreakViewModel* viewModel) {
    if (m_viewModel == viewModel) {
        return;
    }
    disconnect(m_watch);
    m_viewModel = viewModel;
    if (m_viewModel) {
        m_watch =
            connect(m_viewModel, &BreakViewModel::appearanceChanged, this, &PhotoFill::takeImage);
    }
    takeImage();
    emit viewModelChanged();
}

void PhotoFill::takeImage() {
    const QImage image = m_viewModel ? m_viewModel->photo() : QImage();
    if (image.cacheKey() == m_image.cacheKey()) {
        return;
    }
    m_image = image;
    m_imageIsNew = true;
    update();
}

QRectF PhotoFill::croppedSource(QSizeF imageSize, QSizeF target) {
    if (imageSize.isEmpty() || target.isEmpty()) {
        return {};
    }
    const qreal scale =
        std::max(target.width() / imageSize.width(), target.height() / imageSize.height());
    const QSizeF shown(target.width() / scale, target.height() / scale);
    return {(imageSize.width() - shown.width()) / 2, (imageSize.height() - shown.height()) / 2,
            shown.width(), shown.height()};
}

QSGNode* PhotoFill::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData*) {
    auto* node = static_cast<QSGImageNode*>(oldNode);
    if (m_image.isNull() || width() <= 0 || height() <= 0) {
        delete node;
        return nullptr;
    }
    if (!node) {
        node = window()->createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
        m_imageIsNew = true;
    }
    if (m_imageIsNew) {
        node->setTexture(window()->createTextureFromImage(m_image));
        m_imageIsNew = false;
    }
    node->setRect(boundingRect());
    node->setSourceRect(croppedSource(m_image.size(), size()));
    return node;
}

// RadialVignette

RadialVignette::RadialVignette(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(false);
}

void RadialVignette::setInnerRadius(qreal radius) {
    if (m_innerRadius != radius) {
        m_innerRadius = radius;
        emit shapeChanged();
        update();
    }
}

void RadialVignette::setOuterRadius(qreal radius) {
    if (m_outerRadius != radius) {
        m_outerRadius = radius;
        emit shapeChanged();
        update();
    }
}

void RadialVignette::setColor(const QColor& color) {
    if (m_color != color) {
        m_color = color;
        emit shapeChanged();
        update();
    }
}

void RadialVignette::paint(QPainter* painter) {
    const qreal outer = std::max<qreal>(m_outerRadius, 1e-3);
    QRadialGradient gradient(boundingRect().center(), outer);
    QColor clear = m_color;
    clear.setAlpha(0);
    gradient.setColorAt(std::clamp(m_innerRadius / outer, 0.0, 1.0), clear);
    gradient.setColorAt(1, m_color);
    gradient.setSpread(QGradient::PadSpread);
    painter->setCompositionMode(QPainter::CompositionMode_Source);
    painter->fillRect(boundingRect(), gradient);
}

// TextShadow

TextShadow::TextShadow(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
}

QQmlListProperty<QQuickItem> TextShadow::sourceList() {
    using List = QQmlListProperty<QQuickItem>;
    return List(
        this, nullptr,
        [](List* list, QQuickItem* item) {
            auto* shadow = static_cast<TextShadow*>(list->object);
            shadow->setSources(shadow->m_sources + QList<QQuickItem*>{item});
        },
        [](List* list) { return static_cast<TextShadow*>(list->object)->m_sources.size(); },
        [](List* list, qsizetype index) {
            return static_cast<TextShadow*>(list->object)->m_sources.at(index);
        },
        [](List* list) { static_cast<TextShadow*>(list->object)->setSources({}); });
}

void TextShadow::setSources(const QList<QQuickItem*>& sources) {
    if (m_sources == sources) {
        return;
    }
    for (const QMetaObject::Connection& watch : std::as_const(m_watches)) {
        disconnect(watch);
    }
    m_watches.clear();
    m_sources = sources;
    for (QQuickItem* source : std::as_const(m_sources)) {
        if (!source) {
            continue;
        }
        // Any change of text, font or place redraws the shadow.
        const QMetaObject* type = source->metaObject();
        const QMetaMethod redraw = metaObject()->method(metaObject()->indexOfMethod("update()"));
        for (const char* property : {"text", "font", "x", "y", "width", "height"}) {
            const int index = type->indexOfProperty(property);
            if (index >= 0 && type->property(index).hasNotifySignal()) {
                m_watches.append(
                    connect(source, type->property(index).notifySignal(), this, redraw));
            }
        }
    }
    emit sourcesChanged();
    update();
}

void TextShadow::setBlurRadius(qreal radius) {
    if (m_blurRadius != radius) {
        m_blurRadius = radius;
        emit shadowChanged();
        update();
    }
}

void TextShadow::setVerticalOffset(qreal offset) {
    if (m_verticalOffset != offset) {
        m_verticalOffset = offset;
        emit shadowChanged();
        update();
    }
}

void TextShadow::setColor(const QColor& color) {
    if (m_color != color) {
        m_color = color;
        emit shadowChanged();
        update();
    }
}

qreal TextShadow::reach() const {
    return m_blurRadius > 0 ? cubefield::blurReach(m_blurRadius / 2) : 0;
}

void TextShadow::paint(QPainter* painter) {
    const QSize size(int(std::ceil(width())), int(std::ceil(height())));
    if (size.isEmpty()) {
        return;
    }
    // The glyphs as coverage, then blurred, then tinted.
    QImage mask(size, QImage::Format_Alpha8);
    mask.fill(0);
    {
        QPainter glyphs(&mask);
        glyphs.setRenderHint(QPainter::TextAntialiasing);
        glyphs.setPen(Qt::black);
        for (QQuickItem* source : std::as_const(m_sources)) {
            if (!source || !source->isVisible()) {
                continue;
            }
            const QString text = source->property("text").toString();
            glyphs.setFont(source->property("font").value<QFont>());
            const QPointF origin = mapFromItem(source, QPointF(0, source->baselineOffset()));
            glyphs.drawText(origin + QPointF(0, m_verticalOffset), text);
        }
    }
    std::vector<float> plane(size_t(size.width()) * size_t(size.height()));
    for (int y = 0; y < size.height(); ++y) {
        const uchar* row = mask.constScanLine(y);
        for (int x = 0; x < size.width(); ++x) {
            plane[size_t(y) * size_t(size.width()) + size_t(x)] = row[x] / 255.0f;
        }
    }
    if (m_blurRadius > 0) {
        cubefield::blurPlane(plane.data(), size.width(), size.height(), m_blurRadius / 2);
    }
    QImage shadow(size, QImage::Format_ARGB32_Premultiplied);
    const float alpha = float(m_color.alphaF());
    for (int y = 0; y < size.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(shadow.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const float coverage =
                std::clamp(plane[size_t(y) * size_t(size.width()) + size_t(x)], 0.0f, 1.0f);
            const int a = int(std::lround(coverage * alpha * 255));
            row[x] = qPremultiply(qRgba(m_color.red(), m_color.green(), m_color.blue(), a));
        }
    }
    painter->drawImage(QRectF(QPointF(0, 0), QSizeF(width(), height())), shadow);
}

} // namespace lumora
