// A panel's org.kde.StatusNotifierWatcher on the session bus: prints "ready" once it owns the name
// and "registered SERVICE" per item; with "hang" it never answers an item, with "error" refuses it.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusContext>

#include <cstdio>

class Watcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")

public slots:
    void RegisterStatusNotifierItem(const QString& service) {
        std::printf("registered %s\n", qPrintable(service));
        const QString mode = QCoreApplication::arguments().value(1);
        mode == "hang"    ? setDelayedReply(true)
        : mode == "error" ? sendErrorReply(QDBusError::AccessDenied, "No items wanted here")
                          : void();
    }
};

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // each line at once
    Watcher watcher;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject("/StatusNotifierWatcher", &watcher, QDBusConnection::ExportAllSlots) ||
        !bus.registerService("org.kde.StatusNotifierWatcher")) {
        return 1;
    }
    std::printf("ready\n");
    return QCoreApplication::exec();
}

#include "FakeWatcher.moc"
