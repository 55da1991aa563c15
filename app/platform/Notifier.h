#pragma once

#include <QDBusConnection>
#include <QFuture>
#include <QString>

#include <chrono>

namespace lumora {

// Posts desktop notifications. Both calls are asynchronous and answer on the thread that made
// them; neither ever fails towards the caller.
class Notifier {
public:
    virtual ~Notifier() = default;

    // Whether notifications can be shown at all: true once the desktop's notification service has
    // answered, false when there is none or it does not answer.
    virtual QFuture<bool> requestAuthorization() = 0;
    // Shows one new notification (never replacing an earlier one) with the desktop's sound for a
    // new message. The future finishes once the service has accepted or refused it.
    virtual QFuture<void> send(const QString& title, const QString& body) = 0;
};

// org.freedesktop.Notifications on a D-Bus connection (normally the session bus).
class DBusNotifier : public Notifier {
public:
    static inline const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
    static inline const QString objectPath = QStringLiteral("/org/freedesktop/Notifications");
    static inline const QString applicationName = QStringLiteral("Lumora");
    static inline const QString soundName = QStringLiteral("message-new-instant");
    // A service that has not answered by then is treated as absent.
    static constexpr std::chrono::milliseconds callTimeout{10000};

    explicit DBusNotifier(QDBusConnection connection = QDBusConnection::sessionBus());

    QFuture<bool> requestAuthorization() override;
    QFuture<void> send(const QString& title, const QString& body) override;

private:
    QDBusConnection m_connection;
};

} // namespace lumora
