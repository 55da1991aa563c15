#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

#include <ostream>

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

// A fresh HOME for one test, without XDG_DATA_HOME and XDG_CONFIG_HOME while it lives.
class TemporaryHome {
public:
    TemporaryHome();
    ~TemporaryHome();
    Q_DISABLE_COPY(TemporaryHome)

    QString path() const { return m_dir.path(); }
    QString filePath(const QString& relative) const { return m_dir.filePath(relative); }
    // Lumora's files in this home: its data folder and its preferences.
    QString dataFile(const QString& name) const { return filePath(".local/share/Lumora/" + name); }
    QString preferencesFile() const { return filePath(".config/Lumora/preferences.json"); }
    // A stand-in `claude` where Lumora looks first (~/.local/bin/claude); returns its path.
    QString installClaude() const;

private:
    QTemporaryDir m_dir;
    QByteArray m_previousHome, m_previousDataHome, m_previousConfigHome;
};

// File helpers that fail the current test on error.
void writeFile(const QString& path, const QByteArray& content);
QByteArray readFile(const QString& path);
QJsonObject readJsonObject(const QString& path); // empty when the file holds no JSON object
// An executable /bin/sh script of `body`.
void writeScript(const QString& path, const QByteArray& body);
int fileMode(const QString& path); // permission bits, e.g. 0600
void setModificationTime(const QString& path, const QDateTime& when);

// A fake `codex` script: `codex login status` runs `login`, `codex app-server` runs `appServer`.
QByteArray fakeCodex(const QByteArray& login, const QByteArray& appServer);
// An app server that answers the handshake, the usage request with `answer`, then reads on.
QByteArray answeringAppServer(const QByteArray& answer);

// What one run of a program printed, and its exit code (-1 when it did not start or crashed).
struct CommandOutcome {
    int exitCode = -1;
    QString out, err;
};
using Environment = QList<QPair<QString, QString>>; // variables set, as (name, value)
// Runs a program with `input` on its standard input; `environment` adds to this process's.
CommandOutcome runProgram(const QString& program, const QStringList& arguments,
                          const QByteArray& input = {}, const Environment& environment = {});
// An executable of this build (lumora, the hook helper).
QString builtExecutable(const QString& name);
// This process's variables as lumora sees them when a user runs it: HOME at `home`, without the
// XDG folders and the tool overrides.
QProcessEnvironment lumoraEnvironment(const QString& home);
// Runs a lumora (this build's, or an installed one) in `home` (HOME and working folder), in
// lumoraEnvironment(); `environment` sets more variables.
CommandOutcome runLumoraAt(const QString& executable, const QString& home,
                           const QStringList& arguments, const Environment& environment = {});
inline CommandOutcome runLumora(const QString& home, const QStringList& arguments,
                                const Environment& environment = {}) {
    return runLumoraAt(builtExecutable("lumora"), home, arguments, environment);
}
QString fixturePath(const QString& relative);

// For tests of the real clients: when something is `missing` fails under CI=true, else skips, also
// when a child cannot get a network namespace of its own; the caller returns on IsSkipped().
void requireRealClient(const std::string& missing);
// The prefix that runs a program with a loopback device only.
const QStringList networkIsolation{"/usr/bin/unshare", "--net", "--map-root-user"};

} // namespace lumora::test
