#include "views/BreakWindows.h"

#include "platform/MemoryRelease.h"
#include "platform/ReduceMotion.h"
#include "views/BreakViewModel.h"
#include "views/ViewEngine.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QTimer>

namespace lumora {

BreakWindows::BreakWindows(AppModel* model, QObject* parent, const QDBusConnection& desktopBus)
    : QObject(parent), m_model(model), m_desktopBus(desktopBus), m_engine(ViewEngine::shared()) {}

BreakWindows::~BreakWindows() {
    // The windows go before the engine that created their content.
    qDeleteAll(m_windows);
    m_windows.clear();
}

QList<QQuickWindow*> BreakWindows::windows() const {
    QList<QQuickWindow*> all;
    for (QQuickView* window : m_windows) {
        all.append(window);
    }
    return all;
}

QQuickWindow* BreakWindows::textWindow() const {
    return m_textScreen ? m_windows.value(m_textScreen) : nullptr;
}

void BreakWindows::createOnce() {
    if (m_viewModel) {
        return;
    }
    m_viewModel = new BreakViewModel(m_model, this);
    m_reduceMotion = new ReduceMotionSetting(m_desktopBus, this);
    const auto followReduceMotion = [this] {
        m_viewModel->setReduceMotion(m_reduceMotion->reduceMotion());
    };
    connect(m_reduceMotion, &ReduceMotionSetting::reduceMotionChanged, this, followReduceMotion);
    followReduceMotion();
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &BreakWindows::screenAdded);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &BreakWindows::screenRemoved);
}

void BreakWindows::show() {
    createOnce();
    followScreens();
    showTextOn(textScreen());
    if (m_shown) {
        // Already in full screen: only to the front, never toggled out of it.
        for (QQuickView* window : std::as_const(m_windows)) {
            window->raise();
        }
        if (QQuickWindow* focus = textWindow()) {
            focus->requestActivate();
        }
        return;
    }
    m_shown = true;
    m_viewModel->setActive(true);
    for (auto it = m_windows.cbegin(); it != m_windows.cend(); ++it) {
        present(it.value(), it.key());
    }
    if (QQuickWindow* focus = textWindow()) {
        focus->requestActivate();
    }
    emit shownChanged();
}

void BreakWindows::end() {
    if (!m_shown) {
        return;
    }
    m_shown = false;
    m_viewModel->setActive(false);
    // The windows go with the break: Qt Quick's software renderer keeps a screen-sized backing
    // store and the last frame's textures for as long as a window exists, tens of megabytes on a
    // 4K screen. The view model stays for the next break, and the engine with the compiled view
    // until the views let go of it.
    for (QQuickView* window : std::as_const(m_windows)) {
        window->hide();
        window->deleteLater();
    }
    m_windows.clear();
    m_textScreen = nullptr;
    emit shownChanged();
    // The frames were freed on this thread and the render thread; the C library keeps freed
    // blocks of a few megabytes in its heap unless asked to hand them back.
    QTimer::singleShot(500, this, &returnFreedMemory);
}

void BreakWindows::followScreens() {
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (QScreen* screen : screens) {
        if (!m_windows.contains(screen)) {
            m_windows.insert(screen, createWindow(screen));
        }
    }
    for (auto it = m_windows.begin(); it != m_windows.end();) {
        if (!screens.contains(it.key())) {
            it.value()->deleteLater();
            it = m_windows.erase(it);
        } else {
            ++it;
        }
    }
}

QQuickView* BreakWindows::createWindow(QScreen* screen) {
    auto* window = new QQuickView(m_engine->engine(), nullptr);
    window->setTitle(QStringLiteral("Lumora"));
    window->setFlags(Qt::Window | Qt::FramelessWindowHint);
    window->setColor(Qt::black);
    window->setScreen(screen);
    // Between breaks the scene and its textures are dropped; the next break builds them again.
    window->setPersistentSceneGraph(false);
    window->setPersistentGraphics(false);
    window->setResizeMode(QQuickView::SizeRootObjectToView);
    window->setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(m_viewModel)},
                                  {QStringLiteral("showsText"), false}});
    window->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Lumora/BreakView.qml")));
    for (const QQmlError& error : window->errors()) {
        qWarning("Break screen: %s", qPrintable(error.toString()));
    }
    window->installEventFilter(this);
    m_engine->watch(window);
    return window;
}

void BreakWindows::present(QQuickView* window, QScreen* screen) {
    // The screen first: a window shown in full screen fills the screen it is on.
    window->setScreen(screen);
    window->setGeometry(screen->geometry());
    window->showFullScreen();
    window->raise();
}

QScreen* BreakWindows::textScreen() const {
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (screens.isEmpty()) {
        return nullptr;
    }
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        return screens.constFirst();
    }
    QScreen* underCursor = QGuiApplication::screenAt(QCursor::pos());
    return underCursor ? underCursor : QGuiApplication::primaryScreen();
}

void BreakWindows::showTextOn(QScreen* screen) {
    m_textScreen = screen;
    for (auto it = m_windows.cbegin(); it != m_windows.cend(); ++it) {
        if (QQuickItem* root = it.value()->rootObject()) {
            root->setProperty("showsText", it.key() == screen);
        }
    }
}

void BreakWindows::screenAdded(QScreen* screen) {
    if (!m_shown || m_windows.contains(screen)) {
        return;
    }
    QQuickView* window = createWindow(screen);
    m_windows.insert(screen, window);
    present(window, screen);
    showTextOn(m_textScreen ? m_textScreen.data() : textScreen());
}

void BreakWindows::screenRemoved(QScreen* screen) {
    QQuickView* window = m_windows.take(screen);
    if (!window) {
        return;
    }
    window->hide();
    window->deleteLater();
    if (m_textScreen == screen || !m_textScreen) {
        m_textScreen = nullptr;
        // The text moves to a screen that is still there.
        QScreen* next = nullptr;
        for (QScreen* candidate : QGuiApplication::screens()) {
            if (candidate != screen) {
                next = candidate;
                break;
            }
        }
        showTextOn(next);
    }
}

bool BreakWindows::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonRelease ||
        (event->type() == QEvent::KeyPress &&
         static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape)) {
        end();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace lumora
