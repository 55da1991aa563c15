#pragma once

#include <QDBusConnection>
#include <QFuture>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

namespace lumora {

// Posts desktop notifications. The calls are asynchronous and answer on the thread that made
// them; none ever fails towards the caller.
class Notifier {
public:
    virtual ~Notifier() = default;

    // Whether notifications can be shown at all: true once the desktop's notification service has
    // answered, false when there is none or it does not answer.
    virtual QFuture<bool> requestAuthorization() = 0;
    // Shows one new notification (never replacing an earlier one) with the desktop's sound for a
    // new message. The future finishes once the service has accepted or refused it.
    virtual QFuture<void> send(const QString& title, const QString& body) = 0;
    // The same, with a "Take a Break" button where the desktop shows buttons on notifications;
    // pressing it calls the break handler. Elsewhere the notification goes out as by send().
    virtual QFuture<void> sendOfferingBreak(const QString& title, const QString& body) {
        return send(title, body);
    }

    // Called on the notifier's thread when the user asks for a break from a notification.
    void setBreakHandler(std::function<void()> handler) { m_breakHandler = std::move(handler); }

protected:
    void breakRequested() const {
        if (m_breakHandler) {
            m_breakHandler();
        }
    }

private:
    std::function<void()> m_breakHandler;
};

// org.freedesktop.Notifications on a D-Bus connection (normally the session bus).
class DBusNotifier : public Notifier {
public:
    static inline const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
    static inline const QString objectPath = QStringLiteral("/org/freedesktop/Notifications");
    static inline const QString applicationName = QStringLiteral("Lumora");
    static inline const QString soundName = QStringLiteral("message-new-instant");
    // The installed desktop entry (lumora.desktop) and application icon.
    static inline const QString desktopEntry = QStringLiteral("lumora");
    static inline const QString iconName = QStringLiteral("lumora");
    static inline const QString breakActionKey = QStringLiteral("take-a-break");
    // In English; shown through shownMessage.
    static inline const QString breakActionLabel =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Take a Break"));
    // A service that has not answered by then is treated as absent.
    static constexpr std::chrono::milliseconds callTimeout{10000};

    explicit DBusNotifier(QDBusConnection connection = QDBusConnection::sessionBus());
    ~DBusNotifier() override;

    QFuture<bool> requestAuthorization() override;
    QFuture<void> send(const QString& title, const QString& body) override;
    // Asks the service for its capabilities first: the button goes only to a service that
    // advertises "actions".
    QFuture<void> sendOfferingBreak(const QString& title, const QString& body) override;

    class ActionListener;

private:
    QDBusConnection m_connection;
    std::unique_ptr<ActionListener> m_listener;
};

} // namespace lumora
