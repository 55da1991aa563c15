#include "TraySupport.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDeadlineTimer>
#include <QFile>
#include <QtQml/qqmlextensionplugin.h>

#include <gtest/gtest.h>

// The views' QML module, for the popover the controller opens.
Q_IMPORT_QML_PLUGIN(LumoraPlugin)

namespace lumora::test {

WatcherProcess::WatcherProcess(QString busAddress, QString linkFolder)
    : m_busAddress(std::move(busAddress)), m_linkFolder(std::move(linkFolder)) {}

WatcherProcess::~WatcherProcess() {
    kill();
}

bool WatcherProcess::start(const QString& mode, const QString& name) {
    kill();
    m_output.clear();
    QString program = builtExecutable(QStringLiteral("lumora_fake_watcher"));
    if (name != QLatin1String("lumora_fake_watcher")) {
        const QString link = m_linkFolder + QLatin1Char('/') + name;
        QFile::remove(link);
        if (!QFile::link(program, link)) {
            ADD_FAILURE() << "cannot link " << link.toStdString();
            return false;
        }
        program = link;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    m_process.setProcessEnvironment(environment);
    m_process.start(program, {mode});
    if (!m_process.waitForStarted(5000)) {
        return false;
    }
    return waitUntil([this] {
        registrations();
        return m_output.contains("ready\n");
    });
}

void WatcherProcess::kill() {
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
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

QProcessEnvironment lumoraEnvironment(const QString& home, const QString& busAddress) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "LUMORA_CLAUDE_PATH",
                             "LUMORA_CODEX_PATH", "DISPLAY", "WAYLAND_DISPLAY"}) {
        environment.remove(QString::fromLatin1(name));
    }
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
    // The system bus: the same private bus, so that nothing reaches the machine's own.
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
    return environment;
}

} // namespace lumora::test
