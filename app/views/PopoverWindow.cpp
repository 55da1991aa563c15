#include "views/PopoverWindow.h"

#include "model/AppModel.h"
#include "views/PopoverPlacement.h"
#include "views/PopoverViewModel.h"
#include "views/ViewEngine.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>

namespace lumora {

PopoverWindow::PopoverWindow(AppModel* model, QObject* parent)
    : QObject(parent), m_model(model), m_engine(ViewEngine::shared()) {
    m_graceEnd.setSingleShot(true);
    connect(&m_graceEnd, &QTimer::timeout, this, &PopoverWindow::onActiveChanged);
    connect(m_engine.get(), &ViewEngine::releasing, this, &PopoverWindow::dropWindow);
}

PopoverWindow::~PopoverWindow() {
    delete m_view;
}

PopoverViewModel* PopoverWindow::viewModel() {
    if (!m_viewModel) {
        m_viewModel = new PopoverViewModel(m_model, this);
        connect(m_viewModel, &PopoverViewModel::closeRequested, this, [this] {
            emit closeRequested();
            close();
        });
        connect(m_viewModel, &PopoverViewModel::settingsRequested, this,
                &PopoverWindow::settingsRequested);
        connect(m_viewModel, &PopoverViewModel::quitRequested, qApp, &QCoreApplication::quit,
                Qt::QueuedConnection);
    }
    return m_viewModel;
}

void PopoverWindow::ensureWindow() {
    if (m_view) {
        return;
    }
    m_view = new QQuickView(m_engine->engine(), nullptr);
    m_view->setTitle(QStringLiteral("Lumora"));
    m_view->setColor(Qt::transparent);
    applyStyle();
    m_view->setResizeMode(QQuickView::SizeViewToRootObject);
    m_view->setInitialProperties({{QStringLiteral("viewModel"), QVariant::fromValue(viewModel())}});
    m_view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Lumora/MenuBarContent.qml")));
    connect(m_view, &QQuickWindow::frameSwapped, this, &PopoverWindow::frameSwapped);
    connect(m_view, &QWindow::activeChanged, this, &PopoverWindow::onActiveChanged);
    connect(m_view, &QWindow::visibleChanged, this, &PopoverWindow::onVisibleChanged);
    m_view->installEventFilter(this);
    m_engine->watch(m_view);
    // On Wayland a fixed-size window: tiling compositors (sway, Hyprland) float such a window
    // instead of tiling it, and the size still follows the content. X11 window managers float a
    // frameless tool window anyway.
    QQuickItem* root = m_view->rootObject();
    if (root && QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        const auto fixSize = [this, root] {
            const QSize size(qRound(root->width()), qRound(root->height()));
            if (size.isEmpty()) {
                return;
            }
            m_view->setMinimumSize(QSize(0, 0));
            m_view->setMaximumSize(QSize((1 << 24) - 1, (1 << 24) - 1));
            m_view->setMinimumSize(size);
            m_view->setMaximumSize(size);
        };
        connect(root, &QQuickItem::widthChanged, this, fixSize);
        connect(root, &QQuickItem::heightChanged, this, fixSize);
        fixSize();
    }
    // The cards change height with what they show; the popover keeps to its corner.
    connect(m_view, &QWindow::heightChanged, this, [this] {
        if (m_shown && !m_asWindow) {
            place();
        }
    });
}

void PopoverWindow::dropWindow() {
    if (m_shown || !m_view) {
        return;
    }
    delete m_view;
    m_view = nullptr;
}

void PopoverWindow::applyStyle() {
    if (m_asWindow) {
        // A window like any other: a title bar with a close button, in the task bar and the
        // window list, movable, under the windows the user works in.
        m_view->setFlags(Qt::Window);
    } else {
        m_view->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    }
}

void PopoverWindow::place() {
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
        return; // the compositor decides
    }
    QList<QRect> screens;
    for (const QScreen* screen : QGuiApplication::screens()) {
        screens.append(screen->availableGeometry());
    }
    const QSize size = m_view->size();
    if (m_asWindow) {
        // Centred on the screen the user is working on; the window manager may move it.
        const QScreen* screen = QGuiApplication::screenAt(m_anchor);
        if (screen == nullptr) {
            screen = QGuiApplication::primaryScreen();
        }
        if (screen != nullptr) {
            m_view->setPosition(screen->availableGeometry().center() -
                                QPoint(size.width() / 2, size.height() / 2));
        }
        return;
    }
    m_view->setPosition(popoverPosition(m_anchor, size, screens));
}

void PopoverWindow::show(std::optional<QPoint> cursor) {
    ensureWindow();
    m_anchor = cursor.value_or(QCursor::pos());
    if (!m_shown) {
        m_shown = true;
        m_wasActive = false;
        m_openedAt.start();
        applyStyle();
        viewModel()->setActive(true);
        if (QQuickItem* root = m_view->rootObject()) {
            m_view->resize(qRound(root->width()), qRound(root->height()));
        }
        place();
        m_view->show();
        m_model->refresh(true);
    }
    m_view->requestActivate();
}

void PopoverWindow::close() {
    if (!m_shown) {
        return;
    }
    m_shown = false;
    m_graceEnd.stop();
    viewModel()->setActive(false);
    viewModel()->endDrag();
    m_view->hide();
    emit closed();
}

void PopoverWindow::onActiveChanged() {
    if (!m_shown || m_asWindow) {
        return;
    }
    if (m_view->isActive()) {
        m_wasActive = true;
        return;
    }
    const qint64 elapsed = m_openedAt.elapsed();
    if (elapsed < activationGraceMilliseconds) {
        // Looked at again when the grace ends: still inactive then, it closes.
        m_graceEnd.start(static_cast<int>(activationGraceMilliseconds - elapsed));
        return;
    }
    if (m_wasActive) {
        close();
    }
}

bool PopoverWindow::eventFilter(QObject* watched, QEvent* event) {
    // The window manager's close button: hidden and kept, as any close. The tray runs on.
    if (watched == m_view && event->type() == QEvent::Close) {
        event->ignore();
        close();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void PopoverWindow::onVisibleChanged(bool visible) {
    if (!visible && m_shown) {
        close(); // hidden by someone else (the window manager)
    }
}

} // namespace lumora
