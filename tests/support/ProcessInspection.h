#pragma once

// What this test process holds, read from /proc: its child processes (running or zombie), its
// open file descriptors and its peak memory. Used to show that child processes are reaped and
// that nothing leaks or grows without bound.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QList>

#include <ostream>
#include <unistd.h>

namespace lumora::test {

struct ChildProcess {
    qint64 pid = 0;
    char state = '?'; // 'Z' for a zombie
    QByteArray command;

    bool operator==(const ChildProcess&) const = default;
};

inline void PrintTo(const ChildProcess& child, std::ostream* os) {
    *os << child.pid << " (" << child.command.toStdString() << ") state " << child.state;
}

// Every process whose parent is this process.
inline QList<ChildProcess> childProcesses() {
    QList<ChildProcess> children;
    const qint64 self = ::getpid();
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool numeric = false;
        const qint64 pid = entry.toLongLong(&numeric);
        if (!numeric) {
            continue;
        }
        QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!file.open(QIODevice::ReadOnly)) {
            continue; // gone meanwhile
        }
        // "pid (command) state ppid ...": the command may hold spaces and parentheses.
        const QByteArray stat = file.readAll();
        const qsizetype open = stat.indexOf('(');
        const qsizetype close = stat.lastIndexOf(')');
        if (open < 0 || close < open) {
            continue;
        }
        const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
        if (fields.size() < 2 || fields[1].toLongLong() != self) {
            continue;
        }
        children.append(
            {pid, fields[0].isEmpty() ? '?' : fields[0][0], stat.mid(open + 1, close - open - 1)});
    }
    return children;
}

inline qsizetype openFileDescriptorCount() {
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System)
        .size();
}

// False under AddressSanitizer, whose quarantine keeps freed memory resident.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool residentMemoryIsMeaningful = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool residentMemoryIsMeaningful = false;
#else
inline constexpr bool residentMemoryIsMeaningful = true;
#endif
#else
inline constexpr bool residentMemoryIsMeaningful = true;
#endif

// A memory figure of this process from /proc/self/status ("VmHWM", "VmRSS"), in bytes.
inline qint64 memoryStatusBytes(const QByteArray& field) {
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith(field + ':')) {
            return line.mid(field.size() + 1).trimmed().split(' ').first().toLongLong() * 1024;
        }
    }
    return -1;
}

// The peak resident memory (VmHWM) of this process, in bytes.
inline qint64 peakMemoryBytes() {
    return memoryStatusBytes("VmHWM");
}

// The resident memory (VmRSS) of this process now, in bytes.
inline qint64 residentMemoryBytes() {
    return memoryStatusBytes("VmRSS");
}

// Starts a new peak: VmHWM drops to the current resident size.
inline void resetPeakMemory() {
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    if (file.open(QIODevice::WriteOnly)) {
        file.write("5");
    }
}

} // namespace lumora::test
