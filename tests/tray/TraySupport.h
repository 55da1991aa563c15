#pragma once

#include "AppTestSupport.h"

#include <gtest/gtest.h>

namespace lumora::test {

// FakeWatcher.cpp as a process of its own on the bus at `bus`, run through a link named `name` in
// `links` (the process name the tray looks at). Killed at the end.
class WatcherProcess : public QProcess {
public:
    WatcherProcess(const QString& bus, QString links) : m_links(links) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DBUS_SESSION_BUS_ADDRESS", bus);
        setProcessEnvironment(environment);
    }
    ~WatcherProcess() override { stop(); }
    // Starts it (MODE: see FakeWatcher.cpp) and waits until it owns the watcher's name.
    bool start(const QString& name = "lumora_fake_watcher", const QString& mode = "") {
        const QString link = m_links + '/' + name;
        stop(), m_output.clear(), QFile::remove(link);
        EXPECT_TRUE(QFile::link(builtExecutable("lumora_fake_watcher"), link));
        QProcess::start(link, {mode});
        return waitForStarted(5000) &&
               waitUntil([this] { return registrations(), m_output.contains("ready\n"); });
    }
    void stop() { kill(), waitForFinished(5000); }
    QStringList registrations() { // the services registered with this run so far
        m_output += readAllStandardOutput();
        return QString(m_output)
            .split('\n')
            .filter("registered ")
            .replaceInStrings("registered ", "");
    }

private:
    QString m_links;
    QByteArray m_output;
};

struct RecordingWindows : WindowPresentation { // what the model asked of the windows
    void showBreakWindow() override { ++breaks; }
    void showSettingsWindow() override { ++settings; }
    QWindow* visibleSettingsWindow() const override { return nullptr; }
    int breaks = 0, settings = 0;
};

// The real lumora, as a user runs it in `home`, offscreen with `bus` as its session and system
// bus; `variables` ("NAME=value", "NAME=" removes one) set more. Killed at the end.
class LumoraProcess : public QProcess {
public:
    LumoraProcess(const QString& home, const QString& bus, const QStringList& variables = {}) {
        QProcessEnvironment environment = lumoraEnvironment(home);
        for (const QString& setting :
             QStringList{"DISPLAY=", "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM=offscreen",
                         "DBUS_SESSION_BUS_ADDRESS=" + bus, "DBUS_SYSTEM_BUS_ADDRESS=" + bus} +
                 variables) {
            const QString name = setting.section('=', 0, 0), value = setting.section('=', 1);
            value.isEmpty() ? environment.remove(name) : environment.insert(name, value);
        }
        setProcessEnvironment(environment);
        setWorkingDirectory(home);
    }
    ~LumoraProcess() override { kill(), waitForFinished(5000); }
    void start(const QStringList& arguments = {}) {
        QProcess::start(builtExecutable("lumora"), arguments);
    }
    // Waits for its end, serving this process's events: its exit code, -1 if it crashed or ran on.
    int finish(std::chrono::milliseconds within = std::chrono::seconds(30)) {
        const bool ended = waitUntil([this] { return state() == NotRunning; }, within);
        return ended && exitStatus() == NormalExit ? exitCode() : -1;
    }
    std::string report() {
        return (readAllStandardOutput() + readAllStandardError()).toStdString();
    }
};

// A home and a private bus of the test's own, a watcher ready to start on it, and lumora run to its
// end while this process keeps serving the bus.
class TrayTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.isRunning()); }
    CommandOutcome lumora(const QStringList& arguments, const QStringList& variables = {}) {
        LumoraProcess process(home.path(), bus.address(), variables);
        process.start(arguments);
        const int exitCode = process.finish();
        return {exitCode, process.readAllStandardOutput(), process.readAllStandardError()};
    }

    TemporaryHome home;
    PrivateBus bus;
    WatcherProcess watcher{bus.address(), home.path()};
};

} // namespace lumora::test
