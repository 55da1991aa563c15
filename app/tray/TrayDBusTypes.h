#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace lumora {

// One image of a StatusNotifierItem icon, D-Bus type (iiay): width, height and the pixels as
// ARGB32 in network byte order (straight alpha), row by row.
struct IconPixmap {
    int width = 0;
    int height = 0;
    QByteArray bytes;

    bool operator==(const IconPixmap&) const = default;
};
using IconPixmapList = QList<IconPixmap>;

// A StatusNotifierItem tool tip, D-Bus type (sa(iiay)ss): icon name, icon images, title and
// description.
struct StatusToolTip {
    QString iconName;
    IconPixmapList image;
    QString title;
    QString description;
};

// One entry of a com.canonical.dbusmenu layout, D-Bus type (ia{sv}av): the children are
// variants that hold entries of the same type.
struct DBusMenuLayoutItem {
    int id = 0;
    QVariantMap properties;
    QList<DBusMenuLayoutItem> children;
};

// An entry id with some of its properties, D-Bus type (ia{sv}).
struct DBusMenuItemProperties {
    int id = 0;
    QVariantMap properties;
};
using DBusMenuItemPropertiesList = QList<DBusMenuItemProperties>;

// One event of EventGroup, D-Bus type (isvu).
struct DBusMenuEvent {
    int id = 0;
    QString eventId;
    QDBusVariant data;
    uint timestamp = 0;
};
using DBusMenuEventList = QList<DBusMenuEvent>;

QDBusArgument& operator<<(QDBusArgument& argument, const IconPixmap& pixmap);
const QDBusArgument& operator>>(const QDBusArgument& argument, IconPixmap& pixmap);
QDBusArgument& operator<<(QDBusArgument& argument, const StatusToolTip& toolTip);
const QDBusArgument& operator>>(const QDBusArgument& argument, StatusToolTip& toolTip);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuLayoutItem& item);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuLayoutItem& item);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuItemProperties& item);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuItemProperties& item);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuEvent& event);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuEvent& event);

// Registers the types above with QtDBus; call before any of them crosses the bus. Idempotent.
void registerTrayDBusTypes();

} // namespace lumora

Q_DECLARE_METATYPE(lumora::IconPixmap)
Q_DECLARE_METATYPE(lumora::StatusToolTip)
Q_DECLARE_METATYPE(lumora::DBusMenuLayoutItem)
Q_DECLARE_METATYPE(lumora::DBusMenuItemProperties)
Q_DECLARE_METATYPE(lumora::DBusMenuEvent)
