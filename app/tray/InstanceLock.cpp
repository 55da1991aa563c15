#include "tray/InstanceLock.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QUrl>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace lumora {

InstanceLock::~InstanceLock() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

QString InstanceLock::lockPath(const QString& runtimeFolder) {
    QString display = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (display.isEmpty()) {
        display = qEnvironmentVariable("DISPLAY");
    }
    if (display.isEmpty()) {
        display = qEnvironmentVariable("QT_QPA_PLATFORM");
    }
    // A display name may hold a path (a Wayland socket given in full) or a host name.
    const QString name = QString::fromLatin1(QUrl::toPercentEncoding(display, {}, "/"));
    return QDir(runtimeFolder).filePath(QStringLiteral("lumora-tray-%1.lock").arg(name));
}

bool InstanceLock::tryLock() {
    if (m_fd >= 0) {
        return true;
    }
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty()) {
        return true;
    }
    // Close-on-exec: the tools the tray runs must not keep the lock after it has gone.
    const int fd =
        ::open(QFile::encodeName(lockPath(folder)).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        return true;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const bool heldElsewhere = errno == EWOULDBLOCK;
        ::close(fd);
        return !heldElsewhere;
    }
    m_fd = fd;
    return true;
}

} // namespace lumora
