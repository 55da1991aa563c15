#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QTemporaryDir>

#include <memory>
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

private:
    QTemporaryDir m_dir;
    QByteArray m_previousHome;
    QByteArray m_previousDataHome;
    QByteArray m_previousConfigHome;
};

// Small file helpers for tests. They fail the current test (ADD_FAILURE) on error.
void writeFile(const QString& path, const QByteArray& content);
QByteArray readFile(const QString& path);
// Writes an executable /bin/sh script with the given body (the "#!/bin/sh" line is added).
void writeScript(const QString& path, const QByteArray& body);
int fileMode(const QString& path); // permission bits, e.g. 0600
void setModificationTime(const QString& path, const QDateTime& when);

// What one run of the built lumora printed, and its exit code.
struct CommandOutcome {
    int exitCode = -1;
    QString out;
    QString err;
};
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

} // namespace lumora::test
