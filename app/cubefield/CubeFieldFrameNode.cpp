#include "cubefield/CubeFieldFrameNode.h"

#include <QPainter>
#include <QSGRendererInterface>

namespace lumora::cubefield {

void CubeFieldFrameNode::setFrame(const QImage& frame, const QRectF& rect) {
    m_frame = frame;
    m_rect = rect;
    markDirty(DirtyMaterial);
}

void CubeFieldFrameNode::render(const RenderState* state) {
    if (!m_window || m_frame.isNull()) {
        return;
    }
    auto* painter = static_cast<QPainter*>(m_window->rendererInterface()->getResource(
        m_window, QSGRendererInterface::PainterResource));
    if (!painter) {
        return;
    }
    // The clip is in window coordinates and has to be set before the node's own transform.
    const QRegion* clip = state->clipRegion();
    if (clip && !clip->isEmpty()) {
        painter->setClipRegion(*clip, Qt::ReplaceClip);
    }
    painter->setTransform(matrix()->toTransform());
    const double opacity = inheritedOpacity();
    painter->setOpacity(opacity);
    // Every pixel of a frame is opaque: copied rather than blended, unless the item is faded.
    if (opacity >= 1.0) {
        painter->setCompositionMode(QPainter::CompositionMode_Source);
    }
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(m_rect, m_frame);
}

} // namespace lumora::cubefield
