// A stand-in for a panel's org.kde.StatusNotifierWatcher, as a process of its own so that tests
// can kill it, start it again, or run it under another name (a link named gnome-shell). It joins
// the bus in DBUS_SESSION_BUS_ADDRESS, prints "ready" once it owns the watcher's name and
// "registered SERVICE" for every item that registers. With "hang" it never answers a
// registration; with "error" it answers with an error.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>

#include <cstdio>

class Watcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")

public:
    explicit Watcher(QString mode) : m_mode(std::move(mode)) {}

public slots:
    void RegisterStatusNotifierItem(const QString& service) {
        std::printf("registered %s\n", qPrintable(service));
        std::fflush(stdout);
        if (m_mode == QLatin1String("hang")) {
            setDelayedReply(true);
        } else if (m_mode == QLatin1String("error")) {
            sendErrorReply(QDBusError::AccessDenied, QStringLiteral("No items wanted here"));
        }
    }
    void RegisterStatusNotifierHost(const QString&) {}

private:
    QString m_mode;
};

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    Watcher watcher(app.arguments().value(1, QStringLiteral("normal")));
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                            QDBusConnection::ExportAllSlots) ||
        !bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"))) {
        std::fprintf(stderr, "cannot own the watcher's name\n");
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

#include "FakeWatcher.moc"
