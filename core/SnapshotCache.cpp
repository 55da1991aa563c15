#include "core/SnapshotCache.h"

#include "core/AtomicFile.h"
#include "core/DataFolder.h"
#include "core/Errors.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace lumora {

SnapshotCache::SnapshotCache(const QString& providerID, std::optional<QString> fileURL,
                             const QString& homeDirectory)
    : m_fileURL(fileURL
                    ? *fileURL
                    : defaultFilePath(providerID, homeDirectory.isEmpty() ? currentHomeDirectory()
                                                                          : homeDirectory)) {}

QString SnapshotCache::defaultFilePath(const QString& providerID, const QString& homeDirectory) {
    return dataFolder(homeDirectory) + QLatin1Char('/') + providerID +
           QStringLiteral("-snapshot.json");
}

std::optional<UsageSnapshot> SnapshotCache::load() const {
    QMutexLocker locker(&m_mutex);
    const auto bytes = readWholeFile(m_fileURL);
    if (!bytes) {
        return std::nullopt;
    }
    return UsageSnapshot::decode(*bytes);
}

void SnapshotCache::save(const UsageSnapshot& snapshot) const {
    QMutexLocker locker(&m_mutex);
    const QString folder = QFileInfo(m_fileURL).absolutePath();
    if (!QDir().mkpath(folder)) {
        throw FileSystemError(
            QCoreApplication::translate("Messages", "Could not create the folder \u201c%1\u201d.")
                .arg(folder));
    }
    writeFileAtomically(m_fileURL, snapshot.encode());
}

} // namespace lumora
