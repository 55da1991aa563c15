#include "TraySupport.h"

#include <QFile>
#include <QtQml/qqmlextensionplugin.h>

#include <gtest/gtest.h>

// The views' QML module, for the popover the controller opens.
Q_IMPORT_QML_PLUGIN(LumoraPlugin)

namespace lumora::test {

bool WatcherProcess::start(const QString& mode, const QString& name) {
    kill();
    m_output.clear();
    QString program = builtExecutable("lumora_fake_watcher");
    if (name != "lumora_fake_watcher") {
        QFile::remove(m_links + '/' + name);
        EXPECT_TRUE(QFile::link(program, m_links + '/' + name)) << name.toStdString();
        program = m_links + '/' + name;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SESSION_BUS_ADDRESS", m_bus);
    m_process.setProcessEnvironment(environment);
    m_process.start(program, {mode});
    return m_process.waitForStarted(5000) &&
           waitUntil([this] { return registrations(), m_output.contains("ready\n"); });
}

void WatcherProcess::kill() {
    m_process.kill();
    m_process.waitForFinished(5000);
}

QStringList WatcherProcess::registrations() {
    m_output += m_process.readAllStandardOutput();
    QStringList services;
    for (const QByteArray& line : m_output.split('\n')) {
        if (line.startsWith("registered ")) {
            services.append(QString::fromUtf8(line.mid(11)));
        }
    }
    return services;
}

LumoraProcess::LumoraProcess(const QString& home, const QString& bus,
                             const QStringList& variables) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& setting :
         QStringList{"XDG_DATA_HOME=", "XDG_CONFIG_HOME=", "LUMORA_CLAUDE_PATH=",
                     "LUMORA_CODEX_PATH=", "DISPLAY=", "WAYLAND_DISPLAY=", "HOME=" + home,
                     "QT_QPA_PLATFORM=offscreen", "DBUS_SESSION_BUS_ADDRESS=" + bus,
                     "DBUS_SYSTEM_BUS_ADDRESS=" + bus} +
             variables) {
        const QString name = setting.section('=', 0, 0), value = setting.section('=', 1);
        value.isEmpty() ? environment.remove(name) : environment.insert(name, value);
    }
    setProcessEnvironment(environment);
    setWorkingDirectory(home);
}

LumoraProcess::~LumoraProcess() {
    kill();
    waitForFinished(5000);
}

int LumoraProcess::finish(std::chrono::milliseconds within) {
    const bool ended = waitUntil([this] { return state() == NotRunning; }, within);
    return ended && exitStatus() == NormalExit ? exitCode() : -1;
}

std::string LumoraProcess::report() {
    const QByteArray printed = readAllStandardOutput() + readAllStandardError();
    return (state() == NotRunning ? "lumora ended with " + std::to_string(exitCode()) + ": "
                                  : std::string("lumora runs: ")) +
           printed.toStdString();
}

} // namespace lumora::test
