#include "cubefield/AmbientCubeField.h"

#include "ThreadHandOver.h"

#include "cubefield/CubeFieldFrameNode.h"
#include "cubefield/CubeFieldRenderer.h"
#include "cubefield/CubeFieldRules.h"

#include <QDateTime>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QSGSimpleTextureNode>

#include <functional>

#include <cmath>

namespace lumora {

AmbientCubeField::AmbientCubeField(QQuickItem* parent) : QQuickItem(parent) {
    setFlag(ItemHasContents);
    m_worker.setMaxThreadCount(1);
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    m_clock.start();
    connect(&m_timer, &QTimer::timeout, this, &AmbientCubeField::startFrame);
    // Created with a parent already in a window, the scene change happened before this class
    // was constructed.
    watchWindow(window());
}

AmbientCubeField::~AmbientCubeField() {
    // The worker uses the renderer; let a frame in flight finish before either goes away. Its
    // queued result dies with this object.
    m_worker.waitForDone();
    takeOver();
}

void AmbientCubeField::setReduceMotion(bool reduceMotion) {
    if (m_reduceMotion == reduceMotion) {
        return;
    }
    m_reduceMotion = reduceMotion;
    emit reduceMotionChanged();
    updateSchedule();
}

bool AmbientCubeField::isShown() const {
    const QQuickWindow* shownIn = window();
    return shownIn && shownIn->isVisible() && shownIn->visibility() != QWindow::Minimized &&
           isVisible() && !canvasSize().isEmpty();
}

QSize AmbientCubeField::canvasSize() const {
    return {int(std::ceil(width())), int(std::ceil(height()))};
}

void AmbientCubeField::updateSchedule() {
    if (!isShown()) {
        m_timer.stop();
        releaseFrames();
        return;
    }
    if (m_reduceMotion) {
        m_timer.stop();
        if (!m_frameIsFrozen || m_frame.size() != canvasSize()) {
            startFrame();
        }
        return;
    }
    if (!m_timer.isActive() && !m_rendering) {
        startFrame();
    }
}

void AmbientCubeField::scheduleNextSlot() {
    const qint64 untilNextNs = (m_lastSlot + 1) * frameSlotNs - m_clock.nsecsElapsed();
    // Rounded up: a tick must not come before its slot has begun.
    m_timer.start(int(std::max<qint64>(0, (untilNextNs + 999'999) / 1'000'000)));
}

QImage AmbientCubeField::takeFreeFrame(QSize size) {
    // A frame still referenced elsewhere (by the scene graph, until it is given the next one)
    // would be copied on the first write; it waits for a later frame.
    for (auto it = m_free.begin(); it != m_free.end(); ++it) {
        if (it->size() == size && it->isDetached()) {
            QImage frame = std::move(*it);
            m_free.erase(it);
            return frame;
        }
    }
    std::erase_if(m_free, [size](const QImage& frame) { return frame.size() != size; });
    return QImage(size, QImage::Format_RGB32);
}

void AmbientCubeField::startFrame() {
    if (m_rendering || !isShown()) {
        return;
    }
    const bool frozen = m_reduceMotion;
    if (!frozen) {
        const qint64 slot = m_clock.nsecsElapsed() / frameSlotNs;
        if (slot <= m_lastSlot) {
            scheduleNextSlot();
            return;
        }
        m_lastSlot = slot;
        scheduleNextSlot();
    }
    const QSize size = canvasSize();
    const double phase = frozen ? 0.0 : cubefield::timePhase(QDateTime::currentDateTimeUtc());
    QImage target = takeFreeFrame(size);
    m_rendering = true;
    if (!m_renderer) {
        m_renderer = std::make_unique<cubefield::CubeFieldRenderer>();
    }
    cubefield::CubeFieldRenderer* renderer = m_renderer.get();
    std::function<void()> task = [this, renderer, target = std::move(target), phase,
                                  frozen]() mutable {
        takeOver();
        renderer->render(target, phase);
        handOver(); // the frame and the renderer's caches, back to the item
        QMetaObject::invokeMethod(
            this,
            [this, frame = std::move(target), frozen]() mutable {
                takeOver();
                finishFrame(std::move(frame), frozen);
            },
            Qt::QueuedConnection);
        handOver(); // the posted call as well, for a destructor that drops it unrun
    };
    handOver(); // the renderer, the image and the task itself, to the worker
    m_worker.start(std::move(task));
}

void AmbientCubeField::finishFrame(QImage frame, bool frozen) {
    m_rendering = false;
    ++m_framesRendered;
    if (!isShown()) {
        releaseFrames(); // hidden while it was drawn; a new frame follows when shown again
        return;
    }
    if (!m_frame.isNull() && m_free.size() < 2) {
        m_free.push_back(std::move(m_frame));
    }
    m_frame = std::move(frame);
    m_frameIsFrozen = frozen;
    m_frameIsNew = true;
    update();
    // Asked for a frozen frame (or a new size) while this one was being drawn.
    if (m_reduceMotion && (!frozen || m_frame.size() != canvasSize())) {
        startFrame();
        return;
    }
    // The tick of a slot that began while this frame was drawn found it busy; the frame of that
    // slot starts now.
    if (!m_reduceMotion && !m_timer.isActive()) {
        startFrame();
    }
}

QSGNode* AmbientCubeField::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData*) {
    if (canvasSize().isEmpty() || m_frame.isNull()) {
        delete oldNode;
        return nullptr;
    }
    // The software renderer paints the frame itself; other renderers upload it as a texture.
    if (window()->rendererInterface()->graphicsApi() == QSGRendererInterface::Software) {
        auto* node = static_cast<cubefield::CubeFieldFrameNode*>(oldNode);
        if (!node) {
            node = new cubefield::CubeFieldFrameNode(window());
        }
        if (m_frameIsNew || node->rect() != boundingRect()) {
            node->setFrame(m_frame, boundingRect());
            m_frameIsNew = false;
        }
        return node;
    }
    auto* node = static_cast<QSGSimpleTextureNode*>(oldNode);
    if (!node) {
        node = new QSGSimpleTextureNode;
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
        m_frameIsNew = true;
    }
    if (m_frameIsNew) {
        // The GUI thread waits while this runs, so reading m_frame is safe. The texture keeps its
        // own reference to the pixels until they are uploaded.
        QSGTexture* texture =
            window()->createTextureFromImage(m_frame, QQuickWindow::TextureIsOpaque);
        if (!texture) {
            delete node;
            return nullptr;
        }
        node->setTexture(texture); // the node deletes the texture it replaces
        m_frameIsNew = false;
    }
    node->setRect(boundingRect());
    return node;
}

void AmbientCubeField::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size()) {
        update();
        updateSchedule();
    }
}

void AmbientCubeField::itemChange(ItemChange change, const ItemChangeData& value) {
    QQuickItem::itemChange(change, value);
    if (change == ItemSceneChange) {
        watchWindow(value.window);
    }
    if (change == ItemSceneChange || change == ItemVisibleHasChanged) {
        updateSchedule();
    }
}

void AmbientCubeField::watchWindow(QQuickWindow* window) {
    disconnect(m_windowVisibility);
    if (window) {
        m_windowVisibility =
            connect(window, &QWindow::visibilityChanged, this, &AmbientCubeField::updateSchedule);
    }
}

void AmbientCubeField::releaseResources() {
    releaseFrames();
}

void AmbientCubeField::releaseFrames() {
    // A full-screen frame is tens of megabytes, the renderer's prepared sprites as many again;
    // nothing is kept while nothing is shown. A renderer still drawing goes when it is done.
    m_frame = QImage();
    m_free.clear();
    m_frameIsFrozen = false;
    update(); // the scene graph lets go of the frame it shows, too
    if (!m_rendering) {
        m_renderer.reset();
    }
}

} // namespace lumora
