#pragma once

#include "AppTestSupport.h"
#include "platform/DesktopServices.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QStringList>

namespace lumora::test {

// A dbus-daemon of the test's own, as a child process, and connections to it. Ended with the
// object.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool isRunning() const { return !m_address.isEmpty(); }
    QString address() const { return m_address; }
    // A new connection of this process to the bus.
    QDBusConnection connect(const QString& name);
    // Calls a method and runs the event loop until the answer is there (the callee may live in
    // this very thread).
    static QDBusMessage call(const QDBusConnection& connection, const QDBusMessage& message);
    // The unique name that owns `name`, or empty.
    static QString ownerOf(const QDBusConnection& connection, const QString& name);

private:
    QProcess m_daemon;
    QString m_address;
    QStringList m_connections;
};

// The test's stand-in for a panel's watcher (tests/tray/FakeWatcher.cpp) as a process of its
// own, optionally started through a link of another name (the process name the tray looks at).
class WatcherProcess {
public:
    WatcherProcess(QString busAddress, QString linkFolder);
    ~WatcherProcess();

    // Starts it and waits until it owns the watcher's name. `name`: the program's name.
    bool start(const QString& mode = QStringLiteral("normal"),
               const QString& name = QStringLiteral("lumora_fake_watcher"));
    void kill();
    // The services registered with this run so far.
    QStringList registrations();
    qint64 pid() const { return m_process.processId(); }

private:
    QString m_busAddress;
    QString m_linkFolder;
    QProcess m_process;
    QByteArray m_output;
};

// Records what the model asked of the windows.
class RecordingWindows : public WindowPresentation {
public:
    void showBreakWindow() override { ++breaks; }
    void showSettingsWindow() override { ++settings; }
    QWindow* visibleSettingsWindow() const override { return nullptr; }

    int breaks = 0;
    int settings = 0;
};

// The D-Bus signature of a value read from the bus.
QString signatureOf(const QVariant& value);

// The environment for a lumora started by a test: its home, the private bus, offscreen.
QProcessEnvironment lumoraEnvironment(const QString& home, const QString& busAddress);

} // namespace lumora::test
