#pragma once

#include "AppTestSupport.h"
#include "platform/DesktopServices.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QStringList>

namespace lumora::test {

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
