#include "tray/StatusNotifierItem.h"

#include <QTimer>
#include <algorithm>

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QFile>
#include <QRegularExpression>

namespace lumora {
namespace {

const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString busService = QStringLiteral("org.freedesktop.DBus");
constexpr int callTimeoutMilliseconds = 5000;

const char* const itemXml = R"xml(  <interface name="org.kde.StatusNotifierItem">
    <property name="Category" type="s" access="read"/>
    <property name="Id" type="s" access="read"/>
    <property name="Title" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
    <property name="WindowId" type="i" access="read"/>
    <property name="IconThemePath" type="s" access="read"/>
    <property name="IconName" type="s" access="read"/>
    <property name="IconPixmap" type="a(iiay)" access="read"/>
    <property name="OverlayIconName" type="s" access="read"/>
    <property name="OverlayIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionIconName" type="s" access="read"/>
    <property name="AttentionIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionMovieName" type="s" access="read"/>
    <property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
    <property name="ItemIsMenu" type="b" access="read"/>
    <property name="XAyatanaLabel" type="s" access="read"/>
    <property name="XAyatanaLabelGuide" type="s" access="read"/>
%1    <method name="ContextMenu"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="Activate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="SecondaryActivate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
    <method name="Scroll"><arg name="delta" type="i" direction="in"/><arg name="orientation" type="s" direction="in"/></method>
    <method name="ProvideXdgActivationToken"><arg name="token" type="s" direction="in"/></method>
    <signal name="NewTitle"/>
    <signal name="NewIcon"/>
    <signal name="NewAttentionIcon"/>
    <signal name="NewOverlayIcon"/>
    <signal name="NewToolTip"/>
    <signal name="NewStatus"><arg name="status" type="s"/></signal>
    <signal name="XAyatanaNewLabel"><arg name="label" type="s"/><arg name="guide" type="s"/></signal>
  </interface>
  <interface name="org.freedesktop.DBus.Properties">
    <method name="Get"><arg name="interface_name" type="s" direction="in"/><arg name="property_name" type="s" direction="in"/><arg name="value" type="v" direction="out"/></method>
    <method name="GetAll"><arg name="interface_name" type="s" direction="in"/><arg name="properties" type="a{sv}" direction="out"/></method>
    <method name="Set"><arg name="interface_name" type="s" direction="in"/><arg name="property_name" type="s" direction="in"/><arg name="value" type="v" direction="in"/></method>
    <signal name="PropertiesChanged"><arg name="interface_name" type="s"/><arg name="changed_properties" type="a{sv}"/><arg name="invalidated_properties" type="as"/></signal>
  </interface>
)xml";

void replyError(const QDBusConnection& connection, const QDBusMessage& message,
                QDBusError::ErrorType type, const QString& text) {
    connection.send(message.createErrorReply(type, text));
}

} // namespace

QString processNameOf(const QString& pidText) {
    bool valid = false;
    const uint pid = pidText.toUInt(&valid);
    if (!valid || pid == 0) {
        return {};
    }
    QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
    if (!comm.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(comm.read(64)).trimmed();
}

StatusNotifierItem::StatusNotifierItem(QDBusConnection bus, QObject* parent)
    : QDBusVirtualObject(parent), m_bus(std::move(bus)),
      m_serviceName(QStringLiteral("org.kde.StatusNotifierItem-%1-1")
                        .arg(QCoreApplication::applicationPid())) {
    registerTrayDBusTypes();
}

StatusNotifierItem::~StatusNotifierItem() {
    if (m_started && m_bus.isConnected()) {
        m_bus.unregisterObject(objectPath);
        m_bus.unregisterObject(menuPath);
        m_bus.unregisterService(m_serviceName);
    }
}

bool StatusNotifierItem::start() {
    if (m_started) {
        return m_bus.isConnected();
    }
    if (!m_bus.isConnected()) {
        return false;
    }
    m_started = true;
    m_bus.registerVirtualObject(objectPath, this);
    m_bus.registerService(m_serviceName);

    m_watcher = new QDBusServiceWatcher(watcherService, m_bus,
                                        QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& newOwner) {
                onWatcherOwnerChanged(newOwner);
            });
    // A watcher that is there already.
    const quint64 generation = m_generation;
    const QDBusMessage ask =
        QDBusMessage::createMethodCall(busService, QStringLiteral("/org/freedesktop/DBus"),
                                       busService, QStringLiteral("GetNameOwner"));
    auto* pending = new QDBusPendingCallWatcher(
        m_bus.asyncCall(QDBusMessage(ask) << watcherService, callTimeoutMilliseconds), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this,
            [this, generation](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                const QDBusPendingReply<QString> reply = *call;
                if (generation == m_generation && reply.isValid() && !reply.value().isEmpty()) {
                    onWatcherOwnerChanged(reply.value());
                }
            });
    return true;
}

void StatusNotifierItem::onWatcherOwnerChanged(const QString& newOwner) {
    ++m_generation;
    setRegistered(false);
    emit watcherPresenceChanged(!newOwner.isEmpty());
    if (!newOwner.isEmpty()) {
        m_registrationsLeft = 3;
        registerWithWatcher(newOwner, m_generation);
    }
}

void StatusNotifierItem::registerWithWatcher(const QString& owner, quint64 generation) {
    // First who the watcher is: GNOME Shell needs the menu before it sees the item.
    const QDBusMessage ask =
        QDBusMessage::createMethodCall(busService, QStringLiteral("/org/freedesktop/DBus"),
                                       busService, QStringLiteral("GetConnectionUnixProcessID"));
    auto* pending = new QDBusPendingCallWatcher(
        m_bus.asyncCall(QDBusMessage(ask) << owner, callTimeoutMilliseconds), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this,
            [this, owner, generation](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                if (generation != m_generation) {
                    return;
                }
                const QDBusPendingReply<uint> pid = *call;
                const QString process =
                    pid.isValid() ? processNameOf(QString::number(pid.value())) : QString();
                setMenuExported(process == QLatin1String("gnome-shell"));

                const QDBusMessage registration =
                    QDBusMessage::createMethodCall(owner, watcherPath, watcherService,
                                                   QStringLiteral("RegisterStatusNotifierItem"));
                auto* registering = new QDBusPendingCallWatcher(
                    m_bus.asyncCall(QDBusMessage(registration) << m_serviceName,
                                    callTimeoutMilliseconds),
                    this);
                connect(registering, &QDBusPendingCallWatcher::finished, this,
                        [this, owner, generation](QDBusPendingCallWatcher* done) {
                            done->deleteLater();
                            if (generation != m_generation) {
                                return;
                            }
                            setRegistered(!done->isError());
                            if (!done->isError() && exportsMenu()) {
                                confirmListed(owner, generation);
                            }
                        });
            });
}

void StatusNotifierItem::confirmListed(const QString& owner, quint64 generation) {
    QTimer::singleShot(2000, this, [this, owner, generation] {
        if (generation != m_generation) {
            return;
        }
        const QDBusMessage ask = QDBusMessage::createMethodCall(
            owner, watcherPath, QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Get"));
        auto* pending = new QDBusPendingCallWatcher(
            m_bus.asyncCall(QDBusMessage(ask) << watcherService
                                              << QStringLiteral("RegisteredStatusNotifierItems"),
                            callTimeoutMilliseconds),
            this);
        connect(pending, &QDBusPendingCallWatcher::finished, this,
                [this, owner, generation](QDBusPendingCallWatcher* call) {
                    call->deleteLater();
                    const QDBusPendingReply<QDBusVariant> reply = *call;
                    if (generation != m_generation || !reply.isValid()) {
                        return;
                    }
                    const QStringList items = reply.value().variant().toStringList();
                    const bool listed =
                        std::any_of(items.cbegin(), items.cend(), [this](const QString& item) {
                            return item.startsWith(m_serviceName);
                        });
                    if (!listed && m_registrationsLeft > 0) {
                        --m_registrationsLeft;
                        registerWithWatcher(owner, generation);
                    }
                });
    });
}

void StatusNotifierItem::setMenuExported(bool exported) {
    if (exported == exportsMenu()) {
        return;
    }
    if (exported) {
        m_menu = new DBusMenu(this);
        connect(m_menu, &DBusMenu::actionChosen, this, &StatusNotifierItem::menuActionChosen);
        m_bus.registerVirtualObject(menuPath, m_menu);
    } else {
        m_bus.unregisterObject(menuPath);
        delete m_menu;
    }
}

void StatusNotifierItem::setRegistered(bool registered) {
    if (registered != m_registered) {
        m_registered = registered;
        emit registeredChanged(registered);
    }
}

QString StatusNotifierItem::labelGuide(const QString& label) {
    static const QRegularExpression percentage(QStringLiteral("(\\d+|--)%"));
    QString guide = label;
    guide.replace(percentage, QStringLiteral("100%"));
    return guide;
}

void StatusNotifierItem::setAppearance(const QString& label, const IconPixmapList& icon) {
    const bool labelChanged = label != m_label;
    const bool iconChanged = icon != m_icon;
    m_label = label;
    m_icon = icon;
    if (!m_started || !m_bus.isConnected()) {
        return;
    }
    if (labelChanged) {
        emitSignal(QStringLiteral("XAyatanaNewLabel"), {label, labelGuide(label)});
        emitSignal(QStringLiteral("NewToolTip"), {});
    }
    if (iconChanged) {
        emitSignal(QStringLiteral("NewIcon"), {});
    }
}

void StatusNotifierItem::emitSignal(const QString& name, const QVariantList& arguments) {
    QDBusMessage signal = QDBusMessage::createSignal(objectPath, interfaceName, name);
    signal.setArguments(arguments);
    m_bus.send(signal);
}

QVariantMap StatusNotifierItem::properties() const {
    const IconPixmapList none;
    QVariantMap map{
        {QStringLiteral("Category"), QStringLiteral("ApplicationStatus")},
        {QStringLiteral("Id"), QStringLiteral("lumora")},
        {QStringLiteral("Title"), QStringLiteral("Lumora")},
        {QStringLiteral("Status"), QStringLiteral("Active")},
        {QStringLiteral("WindowId"), 0},
        {QStringLiteral("IconThemePath"), QString()},
        {QStringLiteral("IconName"), QString()},
        {QStringLiteral("IconPixmap"), QVariant::fromValue(m_icon)},
        {QStringLiteral("OverlayIconName"), QString()},
        {QStringLiteral("OverlayIconPixmap"), QVariant::fromValue(none)},
        {QStringLiteral("AttentionIconName"), QString()},
        {QStringLiteral("AttentionIconPixmap"), QVariant::fromValue(none)},
        {QStringLiteral("AttentionMovieName"), QString()},
        {QStringLiteral("ToolTip"),
         QVariant::fromValue(StatusToolTip{QString(), {}, QStringLiteral("Lumora"), m_label})},
        {QStringLiteral("ItemIsMenu"), false},
        {QStringLiteral("XAyatanaLabel"), m_label},
        {QStringLiteral("XAyatanaLabelGuide"), labelGuide(m_label)},
    };
    if (exportsMenu()) {
        map.insert(QStringLiteral("Menu"), QVariant::fromValue(QDBusObjectPath(menuPath)));
    }
    return map;
}

QString StatusNotifierItem::introspect(const QString& /*path*/) const {
    const QString menu =
        exportsMenu() ? QStringLiteral("    <property name=\"Menu\" type=\"o\" access=\"read\"/>\n")
                      : QString();
    return QString::fromLatin1(itemXml).arg(menu);
}

bool StatusNotifierItem::handleMessage(const QDBusMessage& message,
                                       const QDBusConnection& connection) {
    const QString interface = message.interface();
    const QString member = message.member();
    const QString signature = message.signature();
    const QVariantList arguments = message.arguments();

    if (interface == propertiesInterface) {
        const QVariantMap all = properties();
        if (member == QLatin1String("GetAll") && signature == QLatin1String("s")) {
            const QString asked = arguments.at(0).toString();
            connection.send(message.createReply(QVariant::fromValue(
                asked == interfaceName || asked.isEmpty() ? all : QVariantMap())));
            return true;
        }
        if (member == QLatin1String("Get") && signature == QLatin1String("ss")) {
            const QString name = arguments.at(1).toString();
            if (arguments.at(0).toString() != interfaceName || !all.contains(name)) {
                replyError(connection, message, QDBusError::UnknownProperty,
                           QStringLiteral("No property %1").arg(name));
            } else {
                connection.send(
                    message.createReply(QVariant::fromValue(QDBusVariant(all.value(name)))));
            }
            return true;
        }
        if (member == QLatin1String("Set")) {
            replyError(connection, message, QDBusError::PropertyReadOnly,
                       QStringLiteral("The status item's properties are read-only"));
            return true;
        }
        replyError(connection, message, QDBusError::InvalidArgs,
                   QStringLiteral("Unexpected call %1(%2)").arg(member, signature));
        return true;
    }
    if (interface != interfaceName && !interface.isEmpty()) {
        return false; // Introspectable and Peer are answered by QtDBus
    }

    const auto position = [&] {
        return QPoint(arguments.at(0).toInt(), arguments.at(1).toInt());
    };
    if (signature == QLatin1String("ii") &&
        (member == QLatin1String("Activate") || member == QLatin1String("ContextMenu") ||
         member == QLatin1String("SecondaryActivate"))) {
        connection.send(message.createReply());
        if (member == QLatin1String("Activate")) {
            emit activateRequested(position());
        } else {
            emit contextMenuRequested(position());
        }
        return true;
    }
    if (member == QLatin1String("Scroll") && signature == QLatin1String("is")) {
        connection.send(message.createReply());
        return true;
    }
    if (member == QLatin1String("ProvideXdgActivationToken") && signature == QLatin1String("s")) {
        connection.send(message.createReply());
        emit activationTokenProvided(arguments.at(0).toString());
        return true;
    }
    replyError(connection, message,
               member == QLatin1String("Activate") || member == QLatin1String("ContextMenu") ||
                       member == QLatin1String("SecondaryActivate") ||
                       member == QLatin1String("Scroll") ||
                       member == QLatin1String("ProvideXdgActivationToken")
                   ? QDBusError::InvalidArgs
                   : QDBusError::UnknownMethod,
               QStringLiteral("Unexpected call %1(%2)").arg(member, signature));
    return true;
}

} // namespace lumora
