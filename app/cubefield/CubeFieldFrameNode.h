#pragma once

#include <QImage>
#include <QPointer>
#include <QQuickWindow>
#include <QSGRenderNode>

namespace lumora::cubefield {

// Shows a finished frame of the cube field with Qt Quick's software renderer: it paints the
// frame's pixels straight into the window's backing store. A texture node would do the same
// after copying each frame into a pixmap first, tens of megabytes a frame on a 4K screen.
//
// The node keeps a shared reference to the frame it shows until it is given the next one; the
// item only draws into frames nobody else references.
class CubeFieldFrameNode : public QSGRenderNode {
public:
    explicit CubeFieldFrameNode(QQuickWindow* window) : m_window(window) {}

    // Called while the scene graph syncs with the item (the item's thread waits).
    void setFrame(const QImage& frame, const QRectF& rect);

    void render(const RenderState* state) override;
    void releaseResources() override { m_frame = QImage(); }
    StateFlags changedStates() const override { return {}; }
    RenderingFlags flags() const override { return BoundedRectRendering | OpaqueRendering; }
    QRectF rect() const override { return m_rect; }

private:
    QPointer<QQuickWindow> m_window;
    QImage m_frame;
    QRectF m_rect;
};

} // namespace lumora::cubefield
