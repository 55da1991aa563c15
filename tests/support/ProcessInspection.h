#pragma once

// This process's children (running or zombie), open descriptors and memory, read from /proc.
#include <QDir>
#include <QFile>

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
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
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
        const qsizetype open = stat.indexOf('('), close = stat.lastIndexOf(')');
        const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
        if (open < 0 || close < open || fields.size() < 2 || fields[1].toLongLong() != self) {
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

// A figure of /proc/self/status in bytes: "VmHWM" the peak resident memory, "VmRSS" today's.
inline qint64 memoryStatusBytes(const QByteArray& field) {
    QFile file(QStringLiteral("/proc/self/status"));
    const QByteArray status = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    const qsizetype at = status.indexOf('\n' + field + ':') + field.size() + 2;
    return at < field.size() + 2 ? -1 : status.mid(at).trimmed().split(' ')[0].toLongLong() * 1024;
}

inline qint64 peakMemoryBytes() {
    return memoryStatusBytes("VmHWM");
}

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
