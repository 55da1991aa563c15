#include "core/AtomicFile.h"

#include "core/Errors.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumora {
namespace {

// `action` is a translatable text with the path as %1 and the system's reason as %2.
QString systemError(const char* action, const QString& path, int error) {
    return QCoreApplication::translate("Messages", action)
        .arg(path, QString::fromLocal8Bit(std::strerror(error)));
}

mode_t currentUmask() {
    // Linux reports the umask in /proc. Setting it to read it back (umask(2)) would leave other
    // threads creating files unmasked for a moment, so that is not an option in this process.
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        while (!status.atEnd()) {
            const QByteArray line = status.readLine();
            if (line.startsWith("Umask:")) {
                bool ok = false;
                const uint mask = line.mid(6).trimmed().toUInt(&ok, 8);
                if (ok) {
                    return static_cast<mode_t>(mask & 0777);
                }
            }
        }
    }
    return 022;
}

// The file that a write to `path` must replace: the final target of a symbolic link, so that a
// settings file kept in a dotfiles repository stays a link.
QString resolveTarget(const QString& path) {
    const QFileInfo info(path);
    if (!info.isSymLink()) {
        return path;
    }
    const QString target = info.canonicalFilePath();
    if (!target.isEmpty()) {
        return target;
    }
    // A dangling link: write where it points, creating that file.
    return info.symLinkTarget().isEmpty() ? path : info.symLinkTarget();
}

} // namespace

void writeFileAtomically(const QString& path, const QByteArray& content,
                         std::optional<unsigned> requestedMode) {
    const QString target = resolveTarget(path);
    const QByteArray targetName = QFile::encodeName(target);

    mode_t mode = 0666 & ~currentUmask();
    struct stat existing {};
    if (requestedMode) {
        mode = static_cast<mode_t>(*requestedMode);
    } else if (::stat(targetName.constData(), &existing) == 0) {
        mode = existing.st_mode & 07777;
    }

    QByteArray temporaryName = targetName + ".tmp.XXXXXX";
    const int fd = ::mkstemp(temporaryName.data());
    if (fd < 0) {
        throw FileSystemError(systemError(
            QT_TRANSLATE_NOOP("Messages", "Could not create a file next to \u201c%1\u201d: %2"),
            target, errno));
    }
    auto fail = [&](const char* action, int error) {
        ::close(fd);
        ::unlink(temporaryName.constData());
        throw FileSystemError(systemError(action, target, error));
    };

    const char* data = content.constData();
    qsizetype left = content.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(left));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            fail(QT_TRANSLATE_NOOP("Messages", "Could not write \u201c%1\u201d: %2"), errno);
        }
        data += written;
        left -= written;
    }
    if (::fchmod(fd, mode) != 0) {
        fail(QT_TRANSLATE_NOOP("Messages", "Could not set the permissions of \u201c%1\u201d: %2"),
             errno);
    }
    if (::fsync(fd) != 0) {
        fail(QT_TRANSLATE_NOOP("Messages", "Could not write \u201c%1\u201d: %2"), errno);
    }
    if (::close(fd) != 0) {
        const int error = errno;
        ::unlink(temporaryName.constData());
        throw FileSystemError(systemError(
            QT_TRANSLATE_NOOP("Messages", "Could not write \u201c%1\u201d: %2"), target, error));
    }
    if (::rename(temporaryName.constData(), targetName.constData()) != 0) {
        const int error = errno;
        ::unlink(temporaryName.constData());
        throw FileSystemError(systemError(
            QT_TRANSLATE_NOOP("Messages", "Could not replace \u201c%1\u201d: %2"), target, error));
    }
}

void createFolders(const QString& path, unsigned mode) {
    const QString clean = QDir::cleanPath(QDir(path).absolutePath());
    QStringList missing;
    QString current = clean;
    while (!current.isEmpty() && !QFileInfo(current).exists()) {
        missing.prepend(current);
        const QString parent = QFileInfo(current).absolutePath();
        if (parent == current)
            break;
        current = parent;
    }
    if (!QFileInfo(current).isDir()) {
        throw FileSystemError(systemError(
            QT_TRANSLATE_NOOP("Messages", "Could not create the folder \u201c%1\u201d: %2"), clean,
            ENOTDIR));
    }
    for (const QString& folder : missing) {
        const QByteArray name = QFile::encodeName(folder);
        if (::mkdir(name.constData(), static_cast<mode_t>(mode)) != 0 && errno != EEXIST) {
            throw FileSystemError(systemError(
                QT_TRANSLATE_NOOP("Messages", "Could not create the folder \u201c%1\u201d: %2"),
                folder, errno));
        }
        // mkdir applies the umask; the folders we create get exactly the mode asked for.
        ::chmod(name.constData(), static_cast<mode_t>(mode));
    }
}

void setFileMode(const QString& path, unsigned mode) {
    if (::chmod(QFile::encodeName(path).constData(), static_cast<mode_t>(mode)) != 0) {
        throw FileSystemError(systemError(
            QT_TRANSLATE_NOOP("Messages", "Could not set the permissions of \u201c%1\u201d: %2"),
            path, errno));
    }
}

std::optional<QByteArray> readWholeFile(const QString& path, qint64 maxBytes) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    // Read one byte past the limit to tell "exactly at the limit" from "too large"; this also
    // keeps a device or a runaway file from being read without end.
    QByteArray content = file.read(maxBytes + 1);
    if (file.error() != QFileDevice::NoError || content.size() > maxBytes) {
        return std::nullopt;
    }
    return content;
}

} // namespace lumora
