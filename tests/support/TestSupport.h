#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <ostream>
#include <string>

// Readable GoogleTest failure messages for Qt's text and date types.
QT_BEGIN_NAMESPACE
inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QByteArray& bytes, std::ostream* os) {
    *os << '"' << bytes.toStdString() << '"';
}
inline void PrintTo(const QDateTime& date, std::ostream* os) {
    *os << date.toString(Qt::ISODateWithMs).toStdString();
}
QT_END_NAMESPACE

namespace lumora::test {

// The private folder that TestMain made HOME for this test process.
QString processHome();

// A fresh, empty home folder for one test. XDG_DATA_HOME and XDG_CONFIG_HOME are pointed into it
// for the life of the object and restored to the process's private defaults afterwards.
class TemporaryHome {
public:
    TemporaryHome();
    ~TemporaryHome();
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

    QString path() const { return m_dir.path(); }
    QString filePath(const QString& relative) const { return m_dir.filePath(relative); }
    // Lumora's files in this home: its data folder and its preferences.
    QString dataFile(const QString& name) const { return filePath(".local/share/Lumora/" + name); }
    QString preferencesFile() const { return filePath(".config/Lumora/preferences.json"); }
    // A stand-in `claude` where Lumora looks first (~/.local/bin/claude); returns its path.
    QString installClaude() const;

private:
    QTemporaryDir m_dir;
    QByteArray m_previousHome;
    QByteArray m_previousDataHome;
    QByteArray m_previousConfigHome;
};

// Small file helpers for tests. They fail the current test (ADD_FAILURE) on error.
void writeFile(const QString& path, const QByteArray& content);
QByteArray readFile(const QString& path);
QJsonObject readJsonObject(const QString& path); // empty when the file holds no JSON object
// Writes an executable /bin/sh script with the given body (the "#!/bin/sh" line is added).
void writeScript(const QString& path, const QByteArray& body);
int fileMode(const QString& path); // permission bits, e.g. 0600
void setModificationTime(const QString& path, const QDateTime& when);

// The body of a fake `codex` for writeScript: `codex login status` runs `login`, `codex
// app-server` runs `appServer`.
QByteArray fakeCodex(const QByteArray& login, const QByteArray& appServer);
// An app server that answers the handshake, then the usage request with the line `answer`, and
// then reads on until its input closes.
QByteArray answeringAppServer(const QByteArray& answer);

// What one run of a program printed, and its exit code (-1 when it did not start or crashed).
struct CommandOutcome {
    int exitCode = -1;
    QString out;
    QString err;
};
// Runs a program with `input` on its standard input; `environment` adds to this process's.
CommandOutcome runProgram(const QString& program, const QStringList& arguments,
                          const QByteArray& input = {},
                          const QList<QPair<QString, QString>>& environment = {});
// Runs the built lumora as a user would, in `home` as its HOME and working folder, with the XDG
// folders and the tool overrides (LUMORA_CLAUDE_PATH, LUMORA_CODEX_PATH) cleared; `environment`
// sets more variables.
CommandOutcome runLumora(const QString& home, const QStringList& arguments,
                         const QList<QPair<QString, QString>>& environment = {});
// The same with another copy of lumora (an installed one).
CommandOutcome runLumoraAt(const QString& executable, const QString& home,
                           const QStringList& arguments,
                           const QList<QPair<QString, QString>>& environment = {});

// Absolute path of an executable produced by this build (lumora, the hook helper).
QString builtExecutable(const QString& name);
QString fixturePath(const QString& relative);

// For the tests against the real Codex CLI and Claude Code, from SetUp: when `missing` says what
// is missing, fails the test under continuous integration (CI=true) and skips it elsewhere; it
// also skips the test when this machine cannot give a child a network namespace of its own.
void requireRealClient(const std::string& missing);
// The command prefix that runs a program cut off from the network (a loopback device only).
const QStringList networkIsolation{"/usr/bin/unshare", "--net", "--map-root-user"};

} // namespace lumora::test
