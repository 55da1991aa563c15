#include "core/DataFolder.h"

#include <QDir>

namespace lumora {

QString dataFolder(const QString& homeDirectory) {
    const QString xdgDataHome = qEnvironmentVariable("XDG_DATA_HOME");
    if (!xdgDataHome.isEmpty() && QDir::isAbsolutePath(xdgDataHome)) {
        return QDir::cleanPath(xdgDataHome + QStringLiteral("/Lumora"));
    }
    return QDir::cleanPath(homeDirectory + QStringLiteral("/.local/share/Lumora"));
}

QString currentHomeDirectory() {
    const QString home = qEnvironmentVariable("HOME");
    return home.isEmpty() ? QDir::homePath() : home;
}

QString claudeSettingsPath(const QString& homeDirectory) {
    return QDir::cleanPath(homeDirectory + QStringLiteral("/.claude/settings.json"));
}

} // namespace lumora
