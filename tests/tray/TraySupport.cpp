#include "TraySupport.h"

#include <QDBusArgument>
#include <QDBusMetaType>
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
        const QString link = m_linkFolder + '/' + name;
        QFile::remove(link);
        if (!QFile::link(program, link)) {
            ADD_FAILURE() << "cannot link " << link.toStdString();
            return false;
        }
        program = link;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SESSION_BUS_ADDRESS", m_busAddress);
    m_process.setProcessEnvironment(environment);
    m_process.start(program, {mode});
    return m_process.waitForStarted(5000) && waitUntil([this] {
               registrations();
               return m_output.contains("ready\n");
           });
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

QString signatureOf(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        return qvariant_cast<QDBusArgument>(value).currentSignature();
    }
    return QString::fromLatin1(QDBusMetaType::typeToSignature(value.metaType()));
}

LumoraProcess::LumoraProcess(const QString& home, const QString& busAddress,
                             const QList<QPair<QString, QString>>& variables) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "LUMORA_CLAUDE_PATH",
                             "LUMORA_CODEX_PATH", "DISPLAY", "WAYLAND_DISPLAY"}) {
        environment.remove(name);
    }
    const QList<QPair<QString, QString>> own{{"HOME", home},
                                             {"QT_QPA_PLATFORM", "offscreen"},
                                             {"DBUS_SESSION_BUS_ADDRESS", busAddress},
                                             {"DBUS_SYSTEM_BUS_ADDRESS", busAddress}};
    for (const auto& [name, value] : own + variables) {
        value.isEmpty() ? environment.remove(name) : environment.insert(name, value);
    }
    setProcessEnvironment(environment);
    setWorkingDirectory(home);
}

LumoraProcess::~LumoraProcess() {
    kill();
    waitForFinished(5000);
}

void LumoraProcess::start(const QStringList& arguments) {
    QProcess::start(builtExecutable("lumora"), arguments);
}

int LumoraProcess::finish(std::chrono::milliseconds within) {
    if (!waitUntil([this] { return state() == NotRunning; }, within)) {
        return -1;
    }
    return exitStatus() == NormalExit ? exitCode() : -1;
}

std::string LumoraProcess::report() {
    const QByteArray printed = readAllStandardOutput() + readAllStandardError();
    return (state() == NotRunning ? "lumora ended with " + std::to_string(exitCode()) + ": "
                                  : std::string("lumora runs: ")) +
           printed.toStdString();
}

} // namespace lumora::test
