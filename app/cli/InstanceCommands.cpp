#include "cli/InstanceCommands.h"

#include "core/Messages.h"

#include <QCoreApplication>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QThread>

namespace lumora::instance {

int callRunningInstance(const QString& method, QTextStream& out, QTextStream& err,
                        std::chrono::milliseconds timeout) {
    Q_UNUSED(err);
    const QDBusConnection bus = QDBusConnection::sessionBus();
    QDBusConnectionInterface* daemon = bus.isConnected() ? bus.interface() : nullptr;
    if (!daemon || !daemon->isServiceRegistered(serviceName).value()) {
        out << shownMessage(notRunningMessage) << "\n";
        return 1;
    }
    const QDBusMessage call =
        QDBusMessage::createMethodCall(serviceName, objectPath, interfaceName, method);
    const QDBusMessage reply = bus.call(call, QDBus::Block, static_cast<int>(timeout.count()));
    if (method == QLatin1String("Quit")) {
        // The tray may be gone before its answer is out; what counts is that the name is free.
        QDeadlineTimer deadline(timeout);
        while (daemon->isServiceRegistered(serviceName).value()) {
            if (deadline.hasExpired()) {
                out << QCoreApplication::translate("CommandLine", "Lumora did not quit.") << "\n";
                return 1;
            }
            QThread::msleep(20);
        }
        return 0;
    }
    if (reply.type() == QDBusMessage::ErrorMessage) {
        if (!daemon->isServiceRegistered(serviceName).value()) {
            out << shownMessage(notRunningMessage) << "\n";
        } else {
            out << QCoreApplication::translate("CommandLine", "Lumora did not answer: %1")
                       .arg(reply.errorMessage())
                << "\n";
        }
        return 1;
    }
    return 0;
}

} // namespace lumora::instance
