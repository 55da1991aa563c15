#pragma once

#include <QString>

namespace lumora {

// Lumora's data folder for a given home folder: $XDG_DATA_HOME/Lumora when XDG_DATA_HOME is set
// to an absolute path, otherwise home + "/.local/share/Lumora". The status-line installer, the
// Claude Code provider and the snapshot caches all derive their files from this one function.
QString dataFolder(const QString& homeDirectory);

// The current user's home folder ($HOME, or the platform's idea of it).
QString currentHomeDirectory();

// Claude Code's user settings file: home + "/.claude/settings.json".
QString claudeSettingsPath(const QString& homeDirectory);

} // namespace lumora
