// A panel's org.kde.StatusNotifierWatcher on the session bus: prints "ready" once it owns the name
// and "registered SERVICE" per item.
#include <QCoreApplication>
#include <QDBusConnection>

#include <cstdio>

class Watcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")

public slots:
    void RegisterStatusNotifierItem(const QString& service) {
        std::printf("registered %s\n", qPrintable(service));
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
