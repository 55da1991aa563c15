#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lumora::test {

namespace {

// The private folder that TestMain made HOME for this test process.
QString processHome() {
    return qEnvironmentVariable("LUMORA_TEST_PROCESS_HOME");
}

} // namespace

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

QString TemporaryHome::installClaude() const {
    writeScript(filePath(".local/bin/claude"), "exit 0\n");
    return filePath(".local/bin/claude");
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

QJsonObject readJsonObject(const QString& path) {
    return QJsonDocument::fromJson(readFile(path)).object();
}

void writeScript(const QString& path, const QByteArray& body) {
    writeFile(path, QByteArray("#!/bin/sh\n") + body);
    ::chmod(QFile::encodeName(path).constData(), 0755);
}

int fileMode(const QString& path) {
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) ? -1 : int(info.st_mode & 07777);
}

void setModificationTime(const QString& path, const QDateTime& when) {
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) ||
        !file.setFileTime(when, QFileDevice::FileModificationTime)) {
        ADD_FAILURE() << "cannot set the modification time of " << path.toStdString();
    }
}

QByteArray fakeCodex(const QByteArray& login, const QByteArray& appServer) {
    return "case \"$1\" in\nlogin) " + login + ";;\napp-server) " + appServer + ";;\nesac\n";
}

QByteArray answeringAppServer(const QByteArray& answer) {
    return R"(read -r _; echo '{"id":1,"result":{}}'; read -r _; read -r _; echo ')" + answer +
           "'; exec cat > /dev/null";
}

namespace {

CommandOutcome run(const QString& program, const QStringList& arguments, const QByteArray& input,
                   QProcessEnvironment variables, const Environment& environment,
                   const QString& workingFolder) {
    for (const auto& [name, value] : environment) {
        variables.insert(name, value);
    }
    QProcess process;
    process.setProcessEnvironment(variables);
    process.setWorkingDirectory(workingFolder);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(120000)) {
        ADD_FAILURE() << program.toStdString() << " did not finish";
        process.kill();
        process.waitForFinished();
    }
    const bool exited =
        process.exitStatus() == QProcess::NormalExit && process.error() != QProcess::FailedToStart;
    return {exited ? process.exitCode() : -1, QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

} // namespace

CommandOutcome runProgram(const QString& program, const QStringList& arguments,
                          const QByteArray& input, const Environment& environment) {
    return run(program, arguments, input, QProcessEnvironment::systemEnvironment(), environment,
               QDir::currentPath());
}

QProcessEnvironment lumoraEnvironment(const QString& home) {
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert("HOME", home);
    for (const char* name :
         {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "LUMORA_CLAUDE_PATH", "LUMORA_CODEX_PATH"}) {
        variables.remove(QString::fromLatin1(name));
    }
    return variables;
}

CommandOutcome runLumoraAt(const QString& executable, const QString& home,
                           const QStringList& arguments, const Environment& environment) {
    return run(executable, arguments, {}, lumoraEnvironment(home), environment, home);
}

QString builtExecutable(const QString& name) {
    return QStringLiteral(LUMORA_TEST_BIN_DIR "/") + name;
}

QString fixturePath(const QString& relative) {
    return QStringLiteral(LUMORA_TEST_FIXTURES_DIR "/") + relative;
}

void requireRealClient(const std::string& missing) {
    if (!missing.empty()) {
        if (qEnvironmentVariable("CI") == QLatin1String("true")) {
            FAIL() << missing; // continuous integration must run these tests
        }
        GTEST_SKIP() << "SKIPPED: " << missing;
    }
    if (runProgram(networkIsolation[0], networkIsolation.mid(1) + QStringList{"true"}).exitCode !=
        0) {
        GTEST_SKIP() << "SKIPPED: cannot give the real client a network namespace of its own here "
                        "(unshare --net failed), and it must not reach the network";
    }
}

} // namespace lumora::test
