#include "tray/StatusItem.h"

#include "core/Messages.h"
#include "platform/Notifier.h"
#include "tray/GaugeIcon.h"
#include "tray/StatusBarController.h"
#include "views/PopoverWindow.h"

#include <QCursor>
#include <QGuiApplication>
#include <QSystemTrayIcon>

namespace lumora {

StatusItem::StatusItem(StatusBarController* controller, QDBusConnection bus,
                       std::shared_ptr<Notifier> notifier, QObject* parent)
    : QObject(parent), m_controller(controller), m_bus(std::move(bus)),
      m_notifier(std::move(notifier)) {
    m_fallbackTimer.setSingleShot(true);
    m_fallbackTimer.setInterval(std::chrono::seconds(3));
    connect(&m_fallbackTimer, &QTimer::timeout, this, &StatusItem::fallBack);
    connect(m_controller, &StatusBarController::appearanceChanged, this,
            &StatusItem::updateAppearance);
}

StatusItem::~StatusItem() {
    delete m_trayIcon;
}

void StatusItem::setFallbackDelay(std::chrono::milliseconds delay) {
    m_fallbackTimer.setInterval(delay);
}

void StatusItem::start() {
    if (m_bus.isConnected()) {
        m_item = new StatusNotifierItem(m_bus, this);
        connect(m_item, &StatusNotifierItem::activateRequested, m_controller,
                [this](QPoint) { m_controller->handleActivate(); });
        connect(m_item, &StatusNotifierItem::contextMenuRequested, m_controller, [this](QPoint) {
            // The host's position is a hint at best (some send panel-relative ones); on X11 the
            // popover opens at the pointer, elsewhere the compositor places it.
            m_controller->togglePopover(QGuiApplication::platformName() == QLatin1String("xcb")
                                            ? std::optional<QPoint>(QCursor::pos())
                                            : std::nullopt);
        });
        connect(m_item, &StatusNotifierItem::activationTokenProvided, m_controller,
                &StatusBarController::setActivationToken);
        connect(m_item, &StatusNotifierItem::registeredChanged, this, [this](bool registered) {
            if (registered) {
                setMode(Mode::statusNotifierItem);
            }
        });
        connect(m_item, &StatusNotifierItem::menuActionChosen, m_controller,
                &StatusBarController::performMenuAction);
        updateAppearance();
        m_item->start();
    }
    m_fallbackTimer.start();
}

void StatusItem::updateAppearance() {
    const std::optional<double> gauge = m_controller->gauge();
    if (!m_renderedGauge || *m_renderedGauge != gauge) {
        m_pixmaps = GaugeIcon::pixmaps(gauge);
        if (m_trayIcon) {
            m_trayIcon->setIcon(GaugeIcon::icon(gauge));
        }
        m_renderedGauge = gauge;
    }
    if (m_item) {
        m_item->setAppearance(m_controller->title(), m_pixmaps);
    }
    if (m_trayIcon) {
        m_trayIcon->setToolTip(m_controller->toolTip());
    }
}

void StatusItem::fallBack() {
    if (m_mode == Mode::statusNotifierItem || (m_item && m_item->isRegistered())) {
        return;
    }
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        createTrayIcon();
        setMode(Mode::xembed);
        return;
    }
    // On X11 the icon appears by itself should an XEmbed tray start later.
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        createTrayIcon();
    }
    setMode(Mode::noTray);
    if (!m_toldAboutMissingTray) {
        m_toldAboutMissingTray = true;
        m_controller->showPopover(std::nullopt);
        if (m_notifier) {
            m_notifier->send(shownMessage(noTrayTitle), shownMessage(noTrayBody));
        }
    }
}

void StatusItem::createTrayIcon() {
    if (m_trayIcon) {
        return;
    }
    m_trayIcon = new QSystemTrayIcon(GaugeIcon::icon(m_controller->gauge()));
    m_trayIcon->setToolTip(m_controller->toolTip());
    connect(m_trayIcon, &QSystemTrayIcon::activated, m_controller,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger) {
                    m_controller->handleActivate();
                } else if (reason == QSystemTrayIcon::Context ||
                           reason == QSystemTrayIcon::MiddleClick) {
                    m_controller->togglePopover(QCursor::pos());
                }
            });
    m_trayIcon->show();
}

void StatusItem::setMode(Mode mode) {
    // With no tray to open it from, the popover is a window of its own.
    m_controller->popover()->setShownAsWindow(mode == Mode::noTray);
    if (mode == Mode::statusNotifierItem) {
        m_fallbackTimer.stop();
        delete m_trayIcon;
    }
    if (mode != m_mode) {
        m_mode = mode;
        emit modeChanged(mode);
    }
}

} // namespace lumora
