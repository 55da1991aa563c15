#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <chrono>
#include <memory>

QT_BEGIN_NAMESPACE
class QQmlEngine;
class QWindow;
QT_END_NAMESPACE

namespace lumora {

// The one QML engine of the popover, the settings window and the break screen, and what is let go
// once none of them has been on screen for a while. A tray sits in the panel all day with its
// windows closed, and Qt Quick keeps a lot for a window that might open again: its scene and
// content, the compiled views, the JavaScript heap, the fonts' glyph caches. After the delay the
// windows drop their views (`releasing`; they build them again on the next show), the engine goes
// with its caches and garbage, the unused fonts go, and the freed memory goes back to the system.
//
// Every window object holds the shared instance; it is made by the first and goes with the last,
// so it never outlives the application object. Main thread only.
class ViewEngine : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds defaultReleaseDelay = std::chrono::seconds(30);

    // The instance of this process.
    static std::shared_ptr<ViewEngine> shared();
    ~ViewEngine() override;

    // The engine, made on first use (again after a release), finding the views' module.
    QQmlEngine* engine();
    // Whether an engine exists right now.
    bool hasEngine() const { return m_engine != nullptr; }

    // Counts `window` among the windows whose closing starts the delay.
    void watch(QWindow* window);
    void setReleaseDelay(std::chrono::milliseconds delay);

signals:
    // None of the windows has been visible for the delay: drop every hidden view, it goes with
    // the engine right after.
    void releasing();
    // Everything that could go has gone.
    void released();

private:
    ViewEngine();
    void windowsChanged();
    void release();

    std::unique_ptr<QQmlEngine> m_engine;
    QList<QPointer<QWindow>> m_windows;
    QTimer m_releaseTimer;
    // A window has been visible since the last release.
    bool m_used = false;
};

} // namespace lumora
