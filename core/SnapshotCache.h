#pragma once

#include "core/UsageSnapshot.h"

#include <QMutex>
#include <QString>

#include <optional>

namespace lumora {

// The last snapshot of one provider, kept in one JSON file. Loads and saves of one cache are
// serialised, so a load never sees a half-finished save of the same object; the file itself is
// replaced atomically, so readers in other processes never see a partial file either.
class SnapshotCache {
public:
    // Without an explicit file the cache lives at dataFolder(home) + "/<providerID>-snapshot.json".
    explicit SnapshotCache(const QString& providerID, std::optional<QString> fileURL = {},
                           const QString& homeDirectory = {});

    static QString defaultFilePath(const QString& providerID, const QString& homeDirectory);

    const QString& fileURL() const { return m_fileURL; }

    // The stored snapshot; nothing for a missing, unreadable, corrupt or foreign file, which is
    // left untouched.
    std::optional<UsageSnapshot> load() const;
    // Replaces the stored snapshot. Throws FileSystemError; the file then keeps its content.
    void save(const UsageSnapshot& snapshot) const;

private:
    QString m_fileURL;
    mutable QMutex m_mutex;
};

} // namespace lumora
