#include "views/SettingsWindow.h"

#include "core/Messages.h"
#include "model/AppModel.h"
#include "platform/Autostart.h"
#include "views/SettingsViewModel.h"
#include "views/ViewEngine.h"

#include <QCursor>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>

namespace lumora {

SettingsWindow::SettingsWindow(AppModel* model, QObject* parent)
    : SettingsWindow(model, std::make_shared<AutostartEntry>(), parent) {}

SettingsWindow::SettingsWindow(AppModel* model, std::shared_ptr<AutostartEntry> autostart,
                               QObject* parent)
    : QObject(parent), m_model(model), m_autostart(std::move(autostart)),
      m_engine(ViewEngine::shared()) {
    connect(m_engine.get(), &ViewEngine::releasing, this, &SettingsWindow::dropView);
    m_raiseAgain.setSingleShot(true);
    m_raiseAgain.setInterval(raiseAgainAfter);
    connect(&m_raiseAgain, &QTimer::timeout, this, &SettingsWindow::bringToFront);
}

SettingsWindow::~SettingsWindow() {
    // The view's items go before the engine that made them.
    m_view.reset();
}

void SettingsWindow::create() {
    if (!m_viewModel) {
        m_viewModel = new SettingsViewModel(m_model, m_autostart, this);
    }
    m_view = std::make_unique<QQuickView>(m_engine->engine(), nullptr);
    m_view->setTitle(shownMessage(title));
    m_view->setFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                     Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint);
    m_view->setMinimumSize(size);
    m_view->setMaximumSize(size);
    m_view->resize(size);
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->setInitialProperties({{QStringLiteral("settings"), QVariant::fromValue(m_viewModel)}});
    m_view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Lumora/SettingsView.qml")));
    for (const QQmlError& error : m_view->errors()) {
        qWarning("Lumora settings view: %s", qPrintable(error.toString()));
    }
    // Centred on the screen the user is working on.
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen != nullptr) {
        m_view->setScreen(screen);
        const QRect area = screen->availableGeometry();
        m_view->setPosition(area.center() - QPoint(size.width() / 2, size.height() / 2));
    }
    m_view->installEventFilter(this);
    connect(m_view.get(), &QWindow::visibleChanged, m_viewModel,
            [this](bool visible) { m_viewModel->setTicking(visible); });
    m_engine->watch(m_view.get());
}

void SettingsWindow::dropView() {
    if (m_view && !m_view->isVisible()) {
        m_view.reset();
    }
}

void SettingsWindow::show() {
    if (!m_view) {
        create();
    } else if (m_view->isVisible() && !m_view->isExposed()) {
        // Shown, but not on screen: on another desktop, or minimised. Showing it anew brings it
        // to the current desktop.
        m_view->hide();
    }
    m_view->setWindowStates(m_view->windowStates() & ~Qt::WindowMinimized);
    bringToFront();
    m_raiseAgain.start();
}

void SettingsWindow::bringToFront() {
    if (!m_view) {
        return;
    }
    m_view->show();
    m_view->raise();
    m_view->requestActivate();
    emit raised();
}

void SettingsWindow::hide() {
    m_raiseAgain.stop();
    if (m_view) {
        m_view->hide();
    }
}

QWindow* SettingsWindow::visibleWindow() const {
    return m_view && m_view->isVisible() ? m_view.get() : nullptr;
}

QQuickWindow* SettingsWindow::window() const {
    return m_view.get();
}

bool SettingsWindow::eventFilter(QObject* watched, QEvent* event) {
    // The close button hides the window, which is kept: closing the last window must not end a
    // tray application.
    if (watched == m_view.get() && event->type() == QEvent::Close) {
        event->ignore();
        hide();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace lumora
