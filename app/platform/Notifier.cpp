#include "platform/Notifier.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QPromise>
#include <QVariantMap>

#include <memory>

namespace lumora {
namespace {

// Sends `message` and settles a future from its reply: `fromReply` turns the finished call into
// the result. The watcher lives until the reply (or the time-out) arrives.
template <typename T, typename FromReply>
QFuture<T> callAsync(const QDBusConnection& connection, const QDBusMessage& message,
                     FromReply fromReply) {
    auto promise = std::make_shared<QPromise<T>>();
    promise->start();
    QFuture<T> future = promise->future();
    const auto timeout = static_cast<int>(DBusNotifier::callTimeout.count());
    auto* watcher = new QDBusPendingCallWatcher(connection.asyncCall(message, timeout));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [promise, fromReply](QDBusPendingCallWatcher* finished) {
                         fromReply(*promise, *finished);
                         promise->finish();
                         finished->deleteLater();
                     });
    return future;
}

} // namespace

DBusNotifier::DBusNotifier(QDBusConnection connection) : m_connection(std::move(connection)) {}

QFuture<bool> DBusNotifier::requestAuthorization() {
    if (!m_connection.isConnected()) {
        return QtFuture::makeReadyFuture(false);
    }
    const QDBusMessage message = QDBusMessage::createMethodCall(
        serviceName, objectPath, serviceName, QStringLiteral("GetServerInformation"));
    return callAsync<bool>(m_connection, message,
                           [](QPromise<bool>& promise, const QDBusPendingCall& reply) {
                               promise.addResult(!reply.isError());
                           });
}

QFuture<void> DBusNotifier::send(const QString& title, const QString& body) {
    if (!m_connection.isConnected()) {
        return QtFuture::makeReadyFuture();
    }
    QDBusMessage message = QDBusMessage::createMethodCall(serviceName, objectPath, serviceName,
                                                          QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("sound-name"), soundName}};
    // app_name, replaces_id (0: a new notification), app_icon, summary, body, actions, hints,
    // expire_timeout (-1: the server's default).
    message << applicationName << 0u << QString() << title << body << QStringList() << hints << -1;
    return callAsync<void>(m_connection, message, [](QPromise<void>&, const QDBusPendingCall&) {
        // A refused notification is not worth telling anyone about.
    });
}

} // namespace lumora
