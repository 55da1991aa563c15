#pragma once

#include "AppTestSupport.h"
#include "platform/DesktopServices.h"

#include <QProcess>

namespace lumora::test {

// FakeWatcher.cpp as a process of its own on the bus at `busAddress`, run through a link named
// `name` in `links` (the process name the tray looks at). Killed at the end.
class WatcherProcess : public QProcess {
public:
    WatcherProcess(QString busAddress, QString links) : m_bus(busAddress), m_links(links) {}
    ~WatcherProcess() override { stop(); }
    // Starts it and waits until it owns the watcher's name. `mode`: normal, hang or error.
    bool start(const QString& mode = "normal", const QString& name = "lumora_fake_watcher");
    void stop() { kill(), waitForFinished(5000); }
    QStringList registrations(); // the services registered with this run so far

private:
    QString m_bus, m_links;
    QByteArray m_output;
};

struct RecordingWindows : WindowPresentation { // what the model asked of the windows
    void showBreakWindow() override { ++breaks; }
    void showSettingsWindow() override { ++settings; }
    QWindow* visibleSettingsWindow() const override { return nullptr; }
    int breaks = 0, settings = 0;
};

// The real lumora, offscreen in `home` with `bus` as its session and system bus; `variables`
// ("NAME=value", "NAME=" removes one) set more. Killed at the end.
class LumoraProcess : public QProcess {
public:
    LumoraProcess(const QString& home, const QString& bus, const QStringList& variables = {});
    ~LumoraProcess() override { kill(), waitForFinished(5000); }
    void start(const QStringList& arguments = {}) { QProcess::start(lumora, arguments); }
    // Waits for its end, serving this process's events: its exit code, -1 if it crashed or ran on.
    int finish(std::chrono::milliseconds within = std::chrono::seconds(30)) {
        const bool ended = waitUntil([this] { return state() == NotRunning; }, within);
        return ended && exitStatus() == NormalExit ? exitCode() : -1;
    }
    std::string report() {
        return (readAllStandardOutput() + readAllStandardError()).toStdString();
    }
    const QString lumora = builtExecutable("lumora");
};

} // namespace lumora::test
