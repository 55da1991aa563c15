#pragma once

#include "tray/DBusMenu.h"
#include "tray/TrayDBusTypes.h"

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QPoint>
#include <QPointer>

QT_BEGIN_NAMESPACE
class QDBusServiceWatcher;
QT_END_NAMESPACE

namespace lumora {

// Lumora's status item as an org.kde.StatusNotifierItem at /StatusNotifierItem, under the bus
// name org.kde.StatusNotifierItem-PID-1, registered with the org.kde.StatusNotifierWatcher (the
// panel) by that name. It registers again whenever the watcher's name gets a new owner (a panel
// restarting, or appearing after Lumora), and only answers: every call it gets from the bus is
// checked for its argument types, so a confused or hostile peer gets an error and nothing else.
//
// The label (XAyatanaLabel) and the tool tip carry the status line, the icon its gauge. GNOME
// Shell's AppIndicator extension shows nothing without a menu and never sends ContextMenu, so
// when the watcher belongs to gnome-shell the item also exports a small dbusmenu (see DBusMenu);
// every other host sees no Menu, and a right click reaches ContextMenu.
class StatusNotifierItem : public QDBusVirtualObject {
    Q_OBJECT

public:
    static inline const QString objectPath = QStringLiteral("/StatusNotifierItem");
    static inline const QString interfaceName = QStringLiteral("org.kde.StatusNotifierItem");
    static inline const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
    static inline const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");
    static inline const QString menuPath = QStringLiteral("/MenuBar");

    explicit StatusNotifierItem(QDBusConnection bus, QObject* parent = nullptr);
    ~StatusNotifierItem() override;

    // Exports the item, takes its bus name and starts following the watcher. False when the bus
    // is not there.
    bool start();

    QString serviceName() const { return m_serviceName; }
    bool isRegistered() const { return m_registered; }
    bool exportsMenu() const { return m_menu != nullptr; }
    DBusMenu* menu() const { return m_menu; }

    // What the item shows; signals go out for what changed.
    void setAppearance(const QString& label, const IconPixmapList& icon);
    QString label() const { return m_label; }
    // The width the label may grow to: every percentage at its widest.
    static QString labelGuide(const QString& label);

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

signals:
    // Activate: a left click on most panels (a double click on GNOME).
    void activateRequested(QPoint position);
    // ContextMenu or SecondaryActivate: a right or middle click.
    void contextMenuRequested(QPoint position);
    // ProvideXdgActivationToken: lets the next window take focus on Wayland.
    void activationTokenProvided(const QString& token);
    void registeredChanged(bool registered);
    // The watcher's name got an owner, or lost it.
    void watcherPresenceChanged(bool present);
    // An entry of the dbusmenu was clicked.
    void menuActionChosen(lumora::DBusMenu::Action action);

private:
    void onWatcherOwnerChanged(const QString& newOwner);
    void registerWithWatcher(const QString& owner, quint64 generation);
    // GNOME Shell's AppIndicator extension now and then drops an item it has just accepted (its
    // proxy set-up fails); a while after registering, the item checks that the watcher still
    // lists it, and registers again when it does not.
    void confirmListed(const QString& owner, quint64 generation);
    void setMenuExported(bool exported);
    void setRegistered(bool registered);
    void emitSignal(const QString& name, const QVariantList& arguments);
    QVariantMap properties() const;
    QString menuXmlIfAny() const;

    QDBusConnection m_bus;
    QString m_serviceName;
    QDBusServiceWatcher* m_watcher = nullptr;
    QPointer<DBusMenu> m_menu;
    QString m_label;
    IconPixmapList m_icon;
    bool m_started = false;
    bool m_registered = false;
    // Answers about an earlier watcher owner are dropped.
    quint64 m_generation = 0;
    // Registrations left for a watcher that accepted the item and then lost it.
    int m_registrationsLeft = 0;
};

// The process name of a bus peer (/proc/PID/comm), or nothing when unknown. Blocking, short.
QString processNameOf(const QString& pidText);

} // namespace lumora
