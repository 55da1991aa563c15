#include "model/ClaudeCacheWatcher.h"

#include <QFileInfo>

namespace lumora {

ClaudeCacheWatcher::ClaudeCacheWatcher(QString cachePath, QObject* parent)
    : QObject(parent), m_path(std::move(cachePath)) {
    m_settleTimer.setSingleShot(true);
    m_settleTimer.setInterval(100);
    connect(&m_settleTimer, &QTimer::timeout, this, &ClaudeCacheWatcher::settle);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this,
            &ClaudeCacheWatcher::onFolderOrFileChanged);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this,
            &ClaudeCacheWatcher::onFolderOrFileChanged);
}

void ClaudeCacheWatcher::watch() {
    const QFileInfo file(m_path);
    if (!m_started) {
        // What is there before the first look is not a change.
        m_started = true;
        m_seenModified = file.lastModified();
        m_seenSize = file.exists() ? file.size() : -1;
    }
    const QString folder = file.absolutePath();
    if (!m_watcher.directories().contains(folder) && QFileInfo(folder).isDir()) {
        m_watcher.addPath(folder);
    }
    if (!m_watcher.files().contains(m_path) && file.exists()) {
        m_watcher.addPath(m_path);
    }
}

void ClaudeCacheWatcher::onFolderOrFileChanged() {
    if (!m_settleTimer.isActive()) {
        m_settleTimer.start();
    }
}

void ClaudeCacheWatcher::settle() {
    watch(); // a rename replaced the watched file
    const QFileInfo file(m_path);
    if (!file.exists()) {
        return;
    }
    const QDateTime modified = file.lastModified();
    const qint64 size = file.size();
    if (modified == m_seenModified && size == m_seenSize) {
        return; // something else in the folder changed
    }
    m_seenModified = modified;
    m_seenSize = size;
    emit cacheChanged();
}

} // namespace lumora
