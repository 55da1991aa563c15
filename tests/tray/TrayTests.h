#pragma once

#include "AppTestSupport.h"

#include <QDBusContext>

#include <gtest/gtest.h>

namespace lumora::test {

// A panel on a connection of its own: its watcher records the items (with "hang" never answering,
// with "error" refusing them), its host the signals it hears. Stops at the end.
class Watcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
public:
    ~Watcher() override { stop(); }
    bool start(QDBusConnection connection, const QString& mode = "") { // the name owned if true
        stop(), registrations.clear(), m_mode = mode, m_name = connection.name();
        return connection.registerObject("/StatusNotifierWatcher", this,
                                         QDBusConnection::ExportScriptableSlots) &&
               waitUntil(
                   [&] { return connection.registerService("org.kde.StatusNotifierWatcher"); });
    }
    void stop() { QDBusConnection::disconnectFromBus(m_name); } // as when the panel dies
    QStringList registrations, heard;
    QString m_name, m_mode;
public slots:
    Q_SCRIPTABLE void RegisterStatusNotifierItem(const QString& service) {
        registrations << service;
        m_mode == "hang"    ? setDelayedReply(true)
        : m_mode == "error" ? sendErrorReply(QDBusError::AccessDenied, "No items wanted here")
                            : void();
    }
    void hear(const QDBusMessage& m) {
        heard << (QStringList{m.member()} + QVariant(m.arguments()).toStringList()).join(" | ");
    }
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
        setProcessEnvironment(environment), setWorkingDirectory(home),
            setProgram(builtExecutable("lumora"));
    }
    ~LumoraProcess() override { kill(), waitForFinished(5000); }
    void start(const QStringList& arguments = {}) { setArguments(arguments), QProcess::start(); }
    // Waits for its end, serving this process's events: its exit code, -1 if it crashed or ran on.
    int finish() {
        const bool ended = waitUntil([this] { return !processId(); }, std::chrono::seconds(30));
        return ended && exitStatus() == NormalExit ? exitCode() : -1;
    }
    std::string report() { return (readAll() + readAllStandardError()).toStdString(); }
};

// A home, a private bus and a panel; lumora run to its end while this process serves the bus.
class TrayTest : public ::testing::Test {
protected:
    CommandOutcome lumora(const QStringList& arguments, const QStringList& variables = {}) {
        LumoraProcess process(home.path(), bus.address(), variables);
        const int exitCode = (process.start(arguments), process.finish());
        return {exitCode, process.readAllStandardOutput(), process.readAllStandardError()};
    }

    TemporaryHome home;
    PrivateBus bus;
    Watcher watcher;
};

} // namespace lumora::test
