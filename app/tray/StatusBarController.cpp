#include "tray/StatusBarController.h"

#include "model/AppModel.h"
#include "tray/GaugeIcon.h"
#include "views/PopoverWindow.h"

#include <QTimer>

namespace lumora {

StatusBarController::StatusBarController(AppModel* model, PopoverWindow* popover, QObject* parent)
    : QObject(parent), m_model(model),
      m_popover(popover ? popover : new PopoverWindow(model, this)) {
    Q_ASSERT(model);
    m_popover->setParent(this);
    connect(m_popover, &PopoverWindow::closed, this, &StatusBarController::onPopoverClosed);
    connect(m_popover, &PopoverWindow::closeRequested, m_popover, &PopoverWindow::close);
    connect(m_popover, &PopoverWindow::settingsRequested, this, &StatusBarController::openSettings);
    // Several changes in one go (both snapshots of a refresh) give one update, made after the
    // last of them is stored.
    connect(m_model, &AppModel::changed, this, &StatusBarController::scheduleUpdate);
}

StatusBarController::~StatusBarController() = default;

void StatusBarController::start() {
    if (m_started) {
        return;
    }
    m_started = true;
    updateButtonTitle();
    m_model->start();
}

void StatusBarController::scheduleUpdate() {
    if (m_updateScheduled) {
        return;
    }
    m_updateScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_updateScheduled = false;
        updateButtonTitle();
    });
}

void StatusBarController::updateButtonTitle() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QString title = m_model->menuBarDisplayText(now);
    const std::optional<double> gauge = GaugeIcon::lowestRemainingShare(*m_model, now);
    if (title == m_title && gauge == m_gauge && !m_title.isEmpty()) {
        return;
    }
    m_title = title;
    m_gauge = gauge;
    emit appearanceChanged();
}

void StatusBarController::handleActivate() {
    m_popover->close();
    useActivationToken();
    m_model->showBreakWindow();
}

void StatusBarController::togglePopover(std::optional<QPoint> cursor) {
    if (m_popover->isShown()) {
        m_popover->close();
        return;
    }
    showPopover(cursor);
}

void StatusBarController::showPopover(std::optional<QPoint> cursor) {
    if (m_popover->isShown()) {
        return;
    }
    useActivationToken();
    m_popover->show(cursor);
    m_model->refresh(true);
}

void StatusBarController::openSettings() {
    if (m_popover->isShown()) {
        m_showsSettingsAfterPopoverCloses = true;
        m_popover->close();
        return;
    }
    useActivationToken();
    m_model->showSettingsWindow();
}

void StatusBarController::onPopoverClosed() {
    if (!m_showsSettingsAfterPopoverCloses) {
        return;
    }
    m_showsSettingsAfterPopoverCloses = false;
    QTimer::singleShot(0, this, [this] {
        useActivationToken();
        m_model->showSettingsWindow();
    });
}

void StatusBarController::refresh() {
    m_model->refresh(true);
}

void StatusBarController::performMenuAction(DBusMenu::Action action) {
    switch (action) {
    case DBusMenu::Action::showUsage:
        showPopover(std::nullopt);
        break;
    case DBusMenu::Action::takeBreak:
        handleActivate();
        break;
    case DBusMenu::Action::refresh:
        refresh();
        break;
    case DBusMenu::Action::settings:
        openSettings();
        break;
    case DBusMenu::Action::quit:
        quit();
        break;
    }
}

void StatusBarController::quit() {
    // After the caller's answer has gone out.
    QTimer::singleShot(0, this, &StatusBarController::quitRequested);
}

void StatusBarController::setActivationToken(const QString& token) {
    m_activationToken = token;
}

void StatusBarController::useActivationToken() {
    // Qt's Wayland platform reads the token from the environment when the next window asks to
    // be activated, and clears it.
    if (!m_activationToken.isEmpty()) {
        qputenv("XDG_ACTIVATION_TOKEN", m_activationToken.toUtf8());
        m_activationToken.clear();
    }
}

} // namespace lumora
