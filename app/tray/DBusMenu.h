#pragma once

#include <QDBusVirtualObject>

namespace lumora {

// The small com.canonical.dbusmenu that GNOME Shell's AppIndicator extension needs before it
// shows an item at all (a left click there opens this menu). Five entries, each doing what the
// popover's controls do. The layout never changes, so its revision stays 1.
class DBusMenu : public QDBusVirtualObject {
    Q_OBJECT

public:
    static inline const QString interfaceName = QStringLiteral("com.canonical.dbusmenu");

    enum class Action { showUsage = 1, takeBreak, refresh, settings, quit };
    Q_ENUM(Action)

    explicit DBusMenu(QObject* parent = nullptr);

    // The entries in menu order, with their labels.
    static QList<QPair<Action, QString>> entries();

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

signals:
    void actionChosen(lumora::DBusMenu::Action action);
};

} // namespace lumora
