#pragma once

#include <QDateTime>
#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QTimer>

namespace lumora {

// Tells when Claude Code's status-line hook has rewritten the rate-limit cache, so that its
// figures reach the panel at once instead of at the next minute. The hook replaces the file by a
// rename, which ends a watch on the file itself, so the folder is watched as well and the file
// again whenever it is there. Changes are told apart by the file's time and size; a burst of
// rewrites within a tenth of a second gives one signal.
class ClaudeCacheWatcher : public QObject {
    Q_OBJECT

public:
    explicit ClaudeCacheWatcher(QString cachePath, QObject* parent = nullptr);

    // Watches the file and its folder when they exist; called again later, it picks up a folder
    // that has appeared since.
    void watch();

signals:
    void cacheChanged();

private:
    void onFolderOrFileChanged();
    void settle();

    QString m_path;
    QFileSystemWatcher m_watcher;
    QTimer m_settleTimer;
    bool m_started = false;
    QDateTime m_seenModified;
    qint64 m_seenSize = -1;
};

} // namespace lumora
