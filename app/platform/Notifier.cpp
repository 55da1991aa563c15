#include "platform/Notifier.h"

#include "core/Messages.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QPointer>
#include <QPromise>
#include <QSet>
#include <QVariantMap>

#include <memory>

namespace lumora {

// Listens for the service's ActionInvoked and NotificationClosed signals and reacts only to the
// break button of notifications that this notifier sent with one: the signals go to every
// client of the service, and notification ids are the service's, shared by all applications.
// A service that restarts counts its ids from the start again, so a new owner of the service's
// name forgets every notification of the old one.
class DBusNotifier::ActionListener : public QObject {
    Q_OBJECT

public:
    ActionListener(const QDBusConnection& connection, std::function<void()> onBreak)
        : m_onBreak(std::move(onBreak)), m_ownerWatcher(DBusNotifier::serviceName, connection,
                                                        QDBusServiceWatcher::WatchForOwnerChange) {
        connect(&m_ownerWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this] { m_offering.clear(); });
    }

    void offered(uint id) { m_offering.insert(id); }

public slots:
    void actionInvoked(uint id, const QString& actionKey) {
        if (actionKey == DBusNotifier::breakActionKey && m_offering.contains(id)) {
            m_onBreak();
        }
    }
    void notificationClosed(uint id, uint /*reason*/) { m_offering.remove(id); }

private:
    std::function<void()> m_onBreak;
    QDBusServiceWatcher m_ownerWatcher;
    QSet<uint> m_offering;
};

namespace {

// Calls `finished` with the reply to `message` on this thread, once it arrives or times out.
void callThen(const QDBusConnection& connection, const QDBusMessage& message,
              std::function<void(const QDBusPendingCall&)> finished) {
    const auto timeout = static_cast<int>(DBusNotifier::callTimeout.count());
    auto* watcher = new QDBusPendingCallWatcher(connection.asyncCall(message, timeout));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [finished = std::move(finished)](QDBusPendingCallWatcher* call) {
                         finished(*call);
                         call->deleteLater();
                     });
}

QDBusMessage notifyMessage(const QString& title, const QString& body, const QStringList& actions) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(DBusNotifier::serviceName, DBusNotifier::objectPath,
                                       DBusNotifier::serviceName, QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("sound-name"), DBusNotifier::soundName},
                            {QStringLiteral("desktop-entry"), DBusNotifier::desktopEntry}};
    // app_name, replaces_id (0: a new notification), app_icon, summary, body, actions (key and
    // label pairs), hints, expire_timeout (-1: the server's default).
    message << DBusNotifier::applicationName << 0u << DBusNotifier::iconName << title << body
            << actions << hints << -1;
    return message;
}

} // namespace

DBusNotifier::DBusNotifier(QDBusConnection connection)
    : m_connection(std::move(connection)),
      m_listener(std::make_unique<ActionListener>(m_connection, [this] { breakRequested(); })) {
    if (m_connection.isConnected()) {
        m_connection.connect(serviceName, objectPath, serviceName, QStringLiteral("ActionInvoked"),
                             m_listener.get(), SLOT(actionInvoked(uint, QString)));
        m_connection.connect(serviceName, objectPath, serviceName,
                             QStringLiteral("NotificationClosed"), m_listener.get(),
                             SLOT(notificationClosed(uint, uint)));
    }
}

DBusNotifier::~DBusNotifier() = default;

QFuture<bool> DBusNotifier::requestAuthorization() {
    if (!m_connection.isConnected()) {
        return QtFuture::makeReadyFuture(false);
    }
    auto promise = std::make_shared<QPromise<bool>>();
    promise->start();
    callThen(m_connection,
             QDBusMessage::createMethodCall(serviceName, objectPath, serviceName,
                                            QStringLiteral("GetServerInformation")),
             [promise](const QDBusPendingCall& reply) {
                 promise->addResult(!reply.isError());
                 promise->finish();
             });
    return promise->future();
}

QFuture<void> DBusNotifier::send(const QString& title, const QString& body) {
    if (!m_connection.isConnected()) {
        return QtFuture::makeReadyFuture();
    }
    auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    // A refused notification is not worth telling anyone about.
    callThen(m_connection, notifyMessage(title, body, {}),
             [promise](const QDBusPendingCall&) { promise->finish(); });
    return promise->future();
}

QFuture<void> DBusNotifier::sendOfferingBreak(const QString& title, const QString& body) {
    if (!m_connection.isConnected()) {
        return QtFuture::makeReadyFuture();
    }
    auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    const QDBusMessage capabilities = QDBusMessage::createMethodCall(
        serviceName, objectPath, serviceName, QStringLiteral("GetCapabilities"));
    callThen(m_connection, capabilities,
             [connection = m_connection, listener = QPointer<ActionListener>(m_listener.get()),
              promise, title, body](const QDBusPendingCall& call) {
                 const QDBusPendingReply<QStringList> reply(call);
                 const bool showsActions =
                     reply.isValid() && reply.value().contains(QStringLiteral("actions"));
                 QStringList actions;
                 if (showsActions) {
                     actions << breakActionKey << shownMessage(breakActionLabel);
                 }
                 callThen(connection, notifyMessage(title, body, actions),
                          [listener, promise, showsActions](const QDBusPendingCall& call) {
                              const QDBusPendingReply<uint> id(call);
                              if (showsActions && id.isValid() && listener) {
                                  listener->offered(id.value());
                              }
                              promise->finish();
                          });
             });
    return promise->future();
}

} // namespace lumora

#include "Notifier.moc"
