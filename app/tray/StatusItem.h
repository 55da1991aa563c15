#pragma once

#include "tray/StatusNotifierItem.h"

#include <QDBusConnection>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>

namespace lumora {

class Notifier;
class StatusBarController;

// Lumora's presence in the panel, on whatever the desktop offers: the StatusNotifierItem when a
// watcher is there (at start or whenever one appears); otherwise, after a short wait for a panel
// that is still starting, Qt's XEmbed tray icon when an XEmbed tray exists; and with no tray at
// all, the popover once as a normal window and one notification that says how to get a tray (the
// popover stays a normal window until a tray appears).
class StatusItem : public QObject {
    Q_OBJECT

public:
    enum class Mode { starting, statusNotifierItem, xembed, noTray };
    Q_ENUM(Mode)

    // In English; shown through shownMessage.
    static inline const QString noTrayTitle =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Lumora has no tray to sit in"));
    static inline const QString noTrayBody = QStringLiteral(QT_TRANSLATE_NOOP(
        "Messages",
        "This desktop shows no tray icons, so Lumora cannot show its usage in the panel. On "
        "GNOME, install and turn on the AppIndicator extension "
        "(gnome-shell-extension-appindicator); Lumora appears there as soon as it is on. Until "
        "then, `lumora popover` shows the usage."));

    StatusItem(StatusBarController* controller, QDBusConnection bus,
               std::shared_ptr<Notifier> notifier, QObject* parent = nullptr);
    ~StatusItem() override;

    // How long to wait for a panel before falling back.
    void setFallbackDelay(std::chrono::milliseconds delay);
    void start();

    Mode mode() const { return m_mode; }
    StatusNotifierItem* notifierItem() const { return m_item; }
    QSystemTrayIcon* trayIcon() const { return m_trayIcon; }

signals:
    void modeChanged(lumora::StatusItem::Mode mode);

private:
    void updateAppearance();
    void fallBack();
    void setMode(Mode mode);
    void createTrayIcon();

    StatusBarController* m_controller;
    QDBusConnection m_bus;
    std::shared_ptr<Notifier> m_notifier;
    StatusNotifierItem* m_item = nullptr;
    QPointer<QSystemTrayIcon> m_trayIcon;
    QTimer m_fallbackTimer;
    Mode m_mode = Mode::starting;
    bool m_toldAboutMissingTray = false;
    std::optional<std::optional<double>> m_renderedGauge;
    IconPixmapList m_pixmaps;
};

} // namespace lumora
