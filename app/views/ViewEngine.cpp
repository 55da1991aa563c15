#include "views/ViewEngine.h"

#include "platform/MemoryRelease.h"

#include <QFont>
#include <QQmlEngine>
#include <QWindow>

namespace lumora {

std::shared_ptr<ViewEngine> ViewEngine::shared() {
    static std::weak_ptr<ViewEngine> instance;
    std::shared_ptr<ViewEngine> engine = instance.lock();
    if (!engine) {
        engine.reset(new ViewEngine());
        instance = engine;
    }
    return engine;
}

ViewEngine::ViewEngine() {
    m_releaseTimer.setSingleShot(true);
    m_releaseTimer.setInterval(defaultReleaseDelay);
    connect(&m_releaseTimer, &QTimer::timeout, this, &ViewEngine::release);
}

ViewEngine::~ViewEngine() = default;

QQmlEngine* ViewEngine::engine() {
    if (!m_engine) {
        m_engine = std::make_unique<QQmlEngine>();
        m_engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    }
    return m_engine.get();
}

void ViewEngine::setReleaseDelay(std::chrono::milliseconds delay) {
    m_releaseTimer.setInterval(delay);
}

void ViewEngine::watch(QWindow* window) {
    m_windows.append(window);
    connect(window, &QWindow::visibleChanged, this, &ViewEngine::windowsChanged);
    connect(window, &QObject::destroyed, this, &ViewEngine::windowsChanged, Qt::QueuedConnection);
    windowsChanged();
}

void ViewEngine::windowsChanged() {
    m_windows.removeAll(nullptr);
    bool anyVisible = false;
    for (const QPointer<QWindow>& window : std::as_const(m_windows)) {
        anyVisible = anyVisible || window->isVisible();
    }
    if (anyVisible) {
        m_used = true;
        m_releaseTimer.stop();
    } else if (m_used && !m_releaseTimer.isActive()) {
        m_releaseTimer.start();
    }
}

void ViewEngine::release() {
    // Each step as measured with bench_tray (smaps, popover opened and closed, 35 s later):
    // the hidden views and their scenes go (-0.6 MB), then the engine with its compiled views and
    // JavaScript heap (-0.9 MB; clearing its component cache and collecting its garbage alone
    // gave nothing measurable), the fonts no live text uses with their glyph caches (-0.7 MB),
    // the heaps' free pages (-1.7 MB), and the pages of mapped libraries that no other process
    // maps (-1.3 MB while other Qt Quick programs ran and shared them, -28 MB when none did; the
    // few the idle tray uses come back on first touch).
    m_used = false;
    emit releasing();
    m_windows.removeAll(nullptr);
    // A window that did not let go still needs its engine.
    if (m_windows.isEmpty()) {
        m_engine.reset();
    }
    QFont::cleanup();
    returnFreedMemory();
    pageOutMappedFiles();
    emit released();
}

} // namespace lumora
