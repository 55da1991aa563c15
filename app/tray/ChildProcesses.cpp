#include "tray/ChildProcesses.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QThreadPool>

#include <csignal>
#include <unistd.h>

namespace lumora {

QList<qint64> descendantProcesses() {
    QMultiHash<qint64, qint64> childrenOf;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric) {
            continue;
        }
        QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        // "pid (command) state ppid ...": the command may hold spaces and parentheses.
        const QByteArray stat = file.read(1024);
        const qsizetype close = stat.lastIndexOf(')');
        if (close < 0) {
            continue;
        }
        const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
        if (fields.size() >= 2) {
            childrenOf.insert(fields[1].toLongLong(), pid);
        }
    }
    QList<qint64> found;
    QList<qint64> parents{::getpid()};
    while (!parents.isEmpty()) {
        const qint64 parent = parents.takeLast();
        for (const qint64 child : childrenOf.values(parent)) {
            found.append(child);
            parents.append(child);
        }
    }
    return found;
}

void endChildProcesses(std::chrono::milliseconds grace) {
    for (const qint64 pid : descendantProcesses()) {
        ::kill(static_cast<pid_t>(pid), SIGTERM);
    }
    if (QThreadPool::globalInstance()->waitForDone(static_cast<int>(grace.count()))) {
        return;
    }
    for (const qint64 pid : descendantProcesses()) {
        ::kill(static_cast<pid_t>(pid), SIGKILL);
    }
    QThreadPool::globalInstance()->waitForDone(static_cast<int>(grace.count()));
}

} // namespace lumora
