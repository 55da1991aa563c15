#pragma once

#include "AppTestSupport.h"
#include "platform/DesktopServices.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>

namespace lumora::test {

// The panel's watcher of FakeWatcher.cpp as a process of its own, optionally run through a link
// named `name` in `linkFolder` (the process name the tray looks at).
class WatcherProcess {
public:
    WatcherProcess(QString busAddress, QString linkFolder)
        : m_busAddress(std::move(busAddress)), m_linkFolder(std::move(linkFolder)) {}
    ~WatcherProcess() { kill(); }
    // Starts it and waits until it owns the watcher's name. `mode`: normal, hang or error.
    bool start(const QString& mode = "normal", const QString& name = "lumora_fake_watcher");
    void kill();
    QStringList registrations(); // the services registered with this run so far

private:
    QString m_busAddress, m_linkFolder;
    QProcess m_process;
    QByteArray m_output;
};

// Records what the model asked of the windows.
struct RecordingWindows : WindowPresentation {
    void showBreakWindow() override { ++breaks; }
    void showSettingsWindow() override { ++settings; }
    QWindow* visibleSettingsWindow() const override { return nullptr; }
    int breaks = 0, settings = 0;
};

QString signatureOf(const QVariant& value); // of a value read from the bus

// The real lumora as users start it, in `home` with the bus at `busAddress` as its session and
// system bus, offscreen; `variables` set more (an empty value removes one). Killed at the end.
class LumoraProcess : public QProcess {
public:
    LumoraProcess(const QString& home, const QString& busAddress,
                  const QList<QPair<QString, QString>>& variables = {});
    ~LumoraProcess() override;
    void start(const QStringList& arguments = {});
    // Waits for its end, serving this process's events: its exit code, -1 if it crashed or ran on.
    int finish(std::chrono::milliseconds within = std::chrono::seconds(30));
    std::string report(); // what it printed and whether it still runs, for a failure
};

} // namespace lumora::test
