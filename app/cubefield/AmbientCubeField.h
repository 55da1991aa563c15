#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QMetaObject>
#include <QQuickItem>
#include <QThreadPool>
#include <QTimer>

#include <memory>

namespace lumora {

namespace cubefield {
class CubeFieldRenderer;
}

// The animated background of the motion break screen: the ambient cube field, drawn by the fast
// renderer on a worker thread and shown as a texture.
//
// While the item is visible in a visible window and has a size, it draws at most 45 frames a
// second (a new frame is started at most every 23 ms, and only when the previous one is done).
// With reduceMotion it draws one frame, frozen at time phase 0, and draws again only when its size
// changes. Hidden, minimised or of zero size it has no timer running, draws nothing and keeps
// neither frames nor the renderer's prepared sprites. It takes
// no input and, having no Accessible attached properties, is not in the accessibility tree.
//
// Frames are rendered one canvas pixel per item point; on a high-density screen the scene graph
// scales the texture up, which the soft field hides well and keeps the cost of a frame down.
class AmbientCubeField : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(bool reduceMotion READ reduceMotion WRITE setReduceMotion NOTIFY reduceMotionChanged)

public:
    explicit AmbientCubeField(QQuickItem* parent = nullptr);
    ~AmbientCubeField() override;

    bool reduceMotion() const { return m_reduceMotion; }
    void setReduceMotion(bool reduceMotion);

    // Frames drawn since the item was created (shown or, if hidden meanwhile, dropped).
    quint64 framesRendered() const { return m_framesRendered; }

    // The shortest time between the starts of two frames: 1/45 s, rounded up to whole ms.
    static constexpr int frameIntervalMs = 23;
    // The distance between two starts that is enforced: exactly 1/45 s. Compared in whole
    // milliseconds, a tick of the 23 ms timer that came at 22.9 ms would be dropped and the field
    // would draw at half the rate.
    static constexpr qint64 minimumFrameDistanceNs = 1'000'000'000 / 45;

signals:
    void reduceMotionChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& value) override;
    void releaseResources() override;

private:
    bool isShown() const;
    QSize canvasSize() const;
    void updateSchedule();
    void startFrame();
    void finishFrame(QImage frame, bool frozen);
    void releaseFrames();
    void watchWindow(QQuickWindow* window);

    bool m_reduceMotion = false;
    QTimer m_timer;
    QElapsedTimer m_sinceLastStart;
    std::unique_ptr<cubefield::CubeFieldRenderer> m_renderer;
    // One worker thread; at most one frame is in flight.
    QThreadPool m_worker;
    bool m_rendering = false;

    QImage m_frame; // the latest finished frame
    QImage m_spare; // storage for the next one
    bool m_frameIsNew = false;
    bool m_frameIsFrozen = false;
    quint64 m_framesRendered = 0;
    QMetaObject::Connection m_windowVisibility;
};

} // namespace lumora
