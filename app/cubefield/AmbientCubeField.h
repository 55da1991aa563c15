#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QMetaObject>
#include <QQuickItem>
#include <QThreadPool>
#include <QTimer>

#include <memory>
#include <vector>

namespace lumora {

namespace cubefield {
class CubeFieldRenderer;
}

// The animated background of the motion break screen: the ambient cube field, drawn by the fast
// renderer on a worker thread; the software scene graph paints the frames as they are, others
// upload them as textures.
//
// While the item is visible in a visible window and has a size, it draws at most 45 frames a
// second: frames start on a 45 Hz grid of the monotonic clock, at most one in each 1/45 s slot,
// and only when the previous one is done. With reduceMotion it draws one frame, frozen at time
// phase 0, and draws again only when its size changes. Hidden, minimised or of zero size it has
// no timer running, draws nothing and keeps neither frames nor the renderer's prepared sprites.
// It takes no input and, having no Accessible attached properties, is not in the accessibility
// tree.
//
// Frames are rendered one canvas pixel per item point; on a high-density screen the scene graph
// scales them up, which the soft field hides well and keeps the cost of a frame down.
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
    // Whether a frame is being drawn on the worker thread right now.
    bool isDrawing() const { return m_rendering; }

    // The length of a slot of the frame grid: 1/45 s, rounded up to the nanosecond. A timer of
    // whole milliseconds could only give 23 ms (43.5 frames a second) or 22 ms (45.5).
    static constexpr qint64 frameSlotNs = (1'000'000'000 + 44) / 45;

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
    void scheduleNextSlot();
    QImage takeFreeFrame(QSize size);
    void finishFrame(QImage frame, bool frozen);
    void releaseFrames();
    void watchWindow(QQuickWindow* window);

    bool m_reduceMotion = false;
    QTimer m_timer; // single shot, to the start of the next slot
    QElapsedTimer m_clock;
    qint64 m_lastSlot = -1; // the slot of the last moving frame started
    std::unique_ptr<cubefield::CubeFieldRenderer> m_renderer;
    // One worker thread; at most one frame is in flight.
    QThreadPool m_worker;
    bool m_rendering = false;

    QImage m_frame;             // the latest finished frame
    std::vector<QImage> m_free; // earlier frames, storage for the next ones
    bool m_frameIsNew = false;
    bool m_frameIsFrozen = false;
    quint64 m_framesRendered = 0;
    QMetaObject::Connection m_windowVisibility;
};

} // namespace lumora
