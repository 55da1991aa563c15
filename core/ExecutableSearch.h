#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace lumora {

// Candidates for a tool installed with nvm: every entry of home + "/.nvm/versions/node" (hidden
// entries skipped) sorted by name in descending natural order (case-insensitive, digit runs
// compared as numbers, so v22.3.0 comes before v20.11.1 and v9.0.0 last), each + "/bin/<tool>".
// An unreadable or missing folder gives no candidates.
QStringList nvmCandidates(const QString& homeDirectory, const QString& tool);

// The first path that names a regular file the current user may execute.
std::optional<QString> firstExecutable(const QStringList& candidates);

// Natural, case-insensitive comparison: negative, zero or positive like strcmp.
int naturalCompare(const QString& a, const QString& b);

} // namespace lumora
