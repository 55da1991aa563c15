#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lumora::test {

QString processHome() {
    return qEnvironmentVariable("LUMORA_TEST_PROCESS_HOME");
}

TemporaryHome::TemporaryHome()
    : m_dir(processHome() + QStringLiteral("/home-XXXXXX")), m_previousHome(qgetenv("HOME")),
      m_previousDataHome(qgetenv("XDG_DATA_HOME")),
      m_previousConfigHome(qgetenv("XDG_CONFIG_HOME")) {
    if (!m_dir.isValid()) {
        ADD_FAILURE() << "could not create a temporary home: " << m_dir.errorString().toStdString();
        return;
    }
    qputenv("HOME", m_dir.path().toLocal8Bit());
    qunsetenv("XDG_DATA_HOME");
    qunsetenv("XDG_CONFIG_HOME");
}

TemporaryHome::~TemporaryHome() {
    qputenv("HOME", m_previousHome);
    qputenv("XDG_DATA_HOME", m_previousDataHome);
    qputenv("XDG_CONFIG_HOME", m_previousConfigHome);
}

void writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        ADD_FAILURE() << "cannot write " << path.toStdString();
        return;
    }
    file.write(content);
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "cannot read " << path.toStdString();
        return {};
    }
    return file.readAll();
}

void writeScript(const QString& path, const QByteArray& body) {
    writeFile(path, QByteArray("#!/bin/sh\n") + body);
    ::chmod(QFile::encodeName(path).constData(), 0755);
}

int fileMode(const QString& path) {
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0) {
        return -1;
    }
    return static_cast<int>(info.st_mode & 07777);
}

void setModificationTime(const QString& path, const QDateTime& when) {
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) ||
        !file.setFileTime(when, QFileDevice::FileModificationTime)) {
        ADD_FAILURE() << "cannot set the modification time of " << path.toStdString();
    }
}

CommandOutcome runLumora(const QString& home, const QStringList& arguments,
                         const QList<QPair<QString, QString>>& environment) {
    return runLumoraAt(builtExecutable("lumora"), home, arguments, environment);
}

CommandOutcome runLumoraAt(const QString& executable, const QString& home,
                           const QStringList& arguments,
                           const QList<QPair<QString, QString>>& environment) {
    QProcess process;
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert("HOME", home);
    for (const char* name :
         {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "LUMORA_CLAUDE_PATH", "LUMORA_CODEX_PATH"}) {
        variables.remove(QString::fromLatin1(name));
    }
    for (const auto& [name, value] : environment) {
        variables.insert(name, value);
    }
    process.setProcessEnvironment(variables);
    process.setWorkingDirectory(home);
    process.start(executable, arguments);
    if (!process.waitForFinished(30000)) {
        ADD_FAILURE() << "lumora did not finish";
        process.kill();
        process.waitForFinished();
    }
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

QString builtExecutable(const QString& name) {
    return QStringLiteral(LUMORA_TEST_BIN_DIR "/") + name;
}

QString fixturePath(const QString& relative) {
    return QStringLiteral(LUMORA_TEST_FIXTURES_DIR "/") + relative;
}

} // namespace lumora::test
