#include "TraySupport.h"

#include <QFile>
#include <QtQml/qqmlextensionplugin.h>

#include <gtest/gtest.h>

// The views' QML module, for the popover the controller opens.
Q_IMPORT_QML_PLUGIN(LumoraPlugin)

namespace lumora::test {

bool WatcherProcess::start(const QString& mode, const QString& name) {
    stop();
    m_output.clear();
    const QString program = m_links + '/' + name;
    QFile::remove(program);
    EXPECT_TRUE(QFile::link(builtExecutable("lumora_fake_watcher"), program)) << name.toStdString();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SESSION_BUS_ADDRESS", m_bus);
    setProcessEnvironment(environment);
    QProcess::start(program, {mode});
    return waitForStarted(5000) &&
           waitUntil([this] { return registrations(), m_output.contains("ready\n"); });
}

QStringList WatcherProcess::registrations() {
    m_output += readAllStandardOutput();
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

} // namespace lumora::test
