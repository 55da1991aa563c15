#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QPointer>

#include <memory>

QT_BEGIN_NAMESPACE
class QQuickView;
class QQuickWindow;
class QScreen;
QT_END_NAMESPACE

namespace lumora {

class AppModel;
class BreakViewModel;
class ReduceMotionSetting;
class ViewEngine;

// The break screen: one frameless full-screen window per screen. The view model is created on the
// first break and kept; the windows live while a break is shown, on the QML engine of all the
// views (ViewEngine). The
// screen under the cursor (on Wayland, where the cursor cannot be asked for, the first screen)
// shows the clock and the providers; the others show the same background without text. Screens
// plugged in or out during a break are followed. A click on any of the windows, or Escape, ends
// the break on all of them.
//
// Focus: every break maps new windows and asks for the activation of the one with the text. On
// X11 Qt sends that request once the window is mapped, with the time of the X events its creation
// caused, so a window manager that prevents focus stealing sees a current request; on Wayland the
// tray's activation token is in the environment by then.
class BreakWindows : public QObject {
    Q_OBJECT

public:
    // `desktopBus` is where the desktop portal's reduce-motion setting is read.
    explicit BreakWindows(AppModel* model, QObject* parent = nullptr,
                          const QDBusConnection& desktopBus = QDBusConnection::sessionBus());
    ~BreakWindows() override;

    // Starts a break, or brings a running one to the front (it stays in full screen).
    void show();
    // Ends the break on every screen.
    void end();
    bool isShown() const { return m_shown; }

    // The windows, one per screen (none while no break is shown), and the one with the text.
    QList<QQuickWindow*> windows() const;
    QQuickWindow* textWindow() const;
    // Created with the first break.
    BreakViewModel* viewModel() const { return m_viewModel; }

signals:
    void shownChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void createOnce();
    void followScreens();
    QQuickView* createWindow(QScreen* screen);
    void present(QQuickView* window, QScreen* screen);
    void showTextOn(QScreen* screen);
    QScreen* textScreen() const;
    void screenAdded(QScreen* screen);
    void screenRemoved(QScreen* screen);

    AppModel* m_model;
    QDBusConnection m_desktopBus;
    std::shared_ptr<ViewEngine> m_engine;
    BreakViewModel* m_viewModel = nullptr;
    ReduceMotionSetting* m_reduceMotion = nullptr;
    QHash<QScreen*, QQuickView*> m_windows;
    QPointer<QScreen> m_textScreen;
    bool m_shown = false;
};

} // namespace lumora
