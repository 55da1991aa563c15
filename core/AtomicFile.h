#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace lumora {

// Replaces the file at `path` with `content` atomically: the bytes go to a temporary file in the
// same folder, which is then renamed over the target, so a reader sees the old or the new
// content and never a partial file. When `mode` is given (e.g. 0600) the temporary file gets it
// before the rename, so the target never exists with looser bits; otherwise an existing target
// keeps its bits and a new one gets the process's defaults. A symbolic link at `path` is
// followed: its target is replaced and the link stays. Throws FileSystemError on failure; the
// target then keeps its previous content.
void writeFileAtomically(const QString& path, const QByteArray& content,
                         std::optional<unsigned> mode = std::nullopt);

// Creates `path` and any missing parents; folders it creates get `mode` (e.g. 0700). An existing
// folder is left as it is. Throws FileSystemError on failure.
void createFolders(const QString& path, unsigned mode);

// Sets the permission bits of an existing file (e.g. 0600). Throws FileSystemError on failure.
void setFileMode(const QString& path, unsigned mode);

// Reads a whole file; nullopt when it does not exist, cannot be read or is larger than
// `maxBytes` (the files Lumora reads are small; a huge one is corrupt or foreign).
inline constexpr qint64 defaultMaxReadBytes = 16 * 1024 * 1024;
std::optional<QByteArray> readWholeFile(const QString& path, qint64 maxBytes = defaultMaxReadBytes);

} // namespace lumora
