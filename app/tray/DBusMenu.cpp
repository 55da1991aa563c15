#include "tray/DBusMenu.h"

#include "tray/TrayDBusTypes.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QTimer>

namespace lumora {
namespace {

const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
constexpr uint layoutRevision = 1;

const char* const menuXml = R"xml(  <interface name="com.canonical.dbusmenu">
    <property name="Version" type="u" access="read"/>
    <property name="TextDirection" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
    <property name="IconThemePath" type="as" access="read"/>
    <method name="GetLayout"><arg name="parentId" type="i" direction="in"/><arg name="recursionDepth" type="i" direction="in"/><arg name="propertyNames" type="as" direction="in"/><arg name="revision" type="u" direction="out"/><arg name="layout" type="(ia{sv}av)" direction="out"/></method>
    <method name="GetGroupProperties"><arg name="ids" type="ai" direction="in"/><arg name="propertyNames" type="as" direction="in"/><arg name="properties" type="a(ia{sv})" direction="out"/></method>
    <method name="GetProperty"><arg name="id" type="i" direction="in"/><arg name="name" type="s" direction="in"/><arg name="value" type="v" direction="out"/></method>
    <method name="Event"><arg name="id" type="i" direction="in"/><arg name="eventId" type="s" direction="in"/><arg name="data" type="v" direction="in"/><arg name="timestamp" type="u" direction="in"/></method>
    <method name="EventGroup"><arg name="events" type="a(isvu)" direction="in"/><arg name="idErrors" type="ai" direction="out"/></method>
    <method name="AboutToShow"><arg name="id" type="i" direction="in"/><arg name="needUpdate" type="b" direction="out"/></method>
    <method name="AboutToShowGroup"><arg name="ids" type="ai" direction="in"/><arg name="updatesNeeded" type="ai" direction="out"/><arg name="idErrors" type="ai" direction="out"/></method>
    <signal name="ItemsPropertiesUpdated"><arg name="updatedProps" type="a(ia{sv})"/><arg name="removedProps" type="a(ias)"/></signal>
    <signal name="LayoutUpdated"><arg name="revision" type="u"/><arg name="parent" type="i"/></signal>
    <signal name="ItemActivationRequested"><arg name="id" type="i"/><arg name="timestamp" type="u"/></signal>
  </interface>
)xml";

// Properties of an entry, limited to the names asked for (none: all).
QVariantMap itemProperties(int id, const QStringList& names) {
    QVariantMap all;
    if (id == 0) {
        all.insert(QStringLiteral("children-display"), QStringLiteral("submenu"));
    } else {
        for (const auto& [action, label] : DBusMenu::entries()) {
            if (static_cast<int>(action) == id) {
                all.insert(QStringLiteral("label"), label);
                all.insert(QStringLiteral("enabled"), true);
                all.insert(QStringLiteral("visible"), true);
            }
        }
    }
    if (names.isEmpty()) {
        return all;
    }
    QVariantMap chosen;
    for (const QString& name : names) {
        if (all.contains(name)) {
            chosen.insert(name, all.value(name));
        }
    }
    return chosen;
}

bool knownId(int id) {
    return id >= 0 && id <= static_cast<int>(DBusMenu::Action::quit);
}

} // namespace

DBusMenu::DBusMenu(QObject* parent) : QDBusVirtualObject(parent) {
    registerTrayDBusTypes();
}

QList<QPair<DBusMenu::Action, QString>> DBusMenu::entries() {
    return {{Action::showUsage, QCoreApplication::translate("DBusMenu", "Show Usage")},
            {Action::takeBreak, QCoreApplication::translate("DBusMenu", "Take a Break")},
            {Action::refresh, QCoreApplication::translate("DBusMenu", "Refresh")},
            {Action::settings, QCoreApplication::translate("DBusMenu", "Settings\u2026")},
            {Action::quit, QCoreApplication::translate("DBusMenu", "Quit Lumora")}};
}

QString DBusMenu::introspect(const QString& /*path*/) const {
    return QString::fromLatin1(menuXml);
}

bool DBusMenu::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    const QString member = message.member();
    const QString signature = message.signature();
    const QVariantList arguments = message.arguments();
    const auto invalid = [&] {
        connection.send(message.createErrorReply(
            QDBusError::InvalidArgs,
            QStringLiteral("Unexpected call %1(%2)").arg(member, signature)));
        return true;
    };

    if (message.interface() == propertiesInterface) {
        const QVariantMap all{{QStringLiteral("Version"), 3u},
                              {QStringLiteral("TextDirection"), QStringLiteral("ltr")},
                              {QStringLiteral("Status"), QStringLiteral("normal")},
                              {QStringLiteral("IconThemePath"), QStringList()}};
        if (member == QLatin1String("GetAll") && signature == QLatin1String("s")) {
            connection.send(message.createReply(QVariant::fromValue(all)));
            return true;
        }
        if (member == QLatin1String("Get") && signature == QLatin1String("ss") &&
            all.contains(arguments.at(1).toString())) {
            connection.send(message.createReply(
                QVariant::fromValue(QDBusVariant(all.value(arguments.at(1).toString())))));
            return true;
        }
        return invalid();
    }
    if (message.interface() != interfaceName && !message.interface().isEmpty()) {
        return false;
    }

    if (member == QLatin1String("GetLayout") && signature == QLatin1String("iias")) {
        const int parent = arguments.at(0).toInt();
        const int depth = arguments.at(1).toInt();
        const QStringList names = qdbus_cast<QStringList>(arguments.at(2));
        if (!knownId(parent)) {
            return invalid();
        }
        DBusMenuLayoutItem layout{parent, itemProperties(parent, names), {}};
        if (parent == 0 && depth != 0) {
            for (const auto& entry : entries()) {
                const int id = static_cast<int>(entry.first);
                layout.children.append({id, itemProperties(id, names), {}});
            }
        }
        connection.send(message.createReply(
            QVariantList{QVariant::fromValue(layoutRevision), QVariant::fromValue(layout)}));
        return true;
    }
    if (member == QLatin1String("GetGroupProperties") && signature == QLatin1String("aias")) {
        const QList<int> ids = qdbus_cast<QList<int>>(arguments.at(0));
        const QStringList names = qdbus_cast<QStringList>(arguments.at(1));
        DBusMenuItemPropertiesList list;
        for (const int id : ids) {
            if (knownId(id)) {
                list.append({id, itemProperties(id, names)});
            }
        }
        connection.send(message.createReply(QVariant::fromValue(list)));
        return true;
    }
    if (member == QLatin1String("GetProperty") && signature == QLatin1String("is")) {
        const QVariantMap properties = itemProperties(arguments.at(0).toInt(), {});
        const QString name = arguments.at(1).toString();
        if (!properties.contains(name)) {
            return invalid();
        }
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(properties[name]))));
        return true;
    }
    const auto clicked = [this](int id, const QString& event) {
        if (event == QLatin1String("clicked") && id > 0 && knownId(id)) {
            // After the reply, so that the host is not kept waiting by what the action does.
            QTimer::singleShot(0, this, [this, id] { emit actionChosen(static_cast<Action>(id)); });
        }
    };
    if (member == QLatin1String("Event") && signature == QLatin1String("isvu")) {
        connection.send(message.createReply());
        clicked(arguments.at(0).toInt(), arguments.at(1).toString());
        return true;
    }
    if (member == QLatin1String("EventGroup") && signature == QLatin1String("a(isvu)")) {
        const DBusMenuEventList events = qdbus_cast<DBusMenuEventList>(arguments.at(0));
        QList<int> errors;
        for (const DBusMenuEvent& event : events) {
            if (!knownId(event.id)) {
                errors.append(event.id);
            }
        }
        connection.send(message.createReply(QVariant::fromValue(errors)));
        for (const DBusMenuEvent& event : events) {
            clicked(event.id, event.eventId);
        }
        return true;
    }
    if (member == QLatin1String("AboutToShow") && signature == QLatin1String("i")) {
        connection.send(message.createReply(false));
        return true;
    }
    if (member == QLatin1String("AboutToShowGroup") && signature == QLatin1String("ai")) {
        connection.send(message.createReply(
            QVariantList{QVariant::fromValue(QList<int>()), QVariant::fromValue(QList<int>())}));
        return true;
    }
    return invalid();
}

} // namespace lumora
