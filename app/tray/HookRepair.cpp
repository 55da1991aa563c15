#include "tray/HookRepair.h"

#include "core/AtomicFile.h"
#include "core/ClaudeStatusLineInstaller.h"

#include <QFile>
#include <QFileInfo>

#include <optional>
#include <unistd.h>

namespace lumora {
namespace {

// The value of a line `name='…'` of the script, quoted as ClaudeStatusLineInstaller quotes.
std::optional<QString> scriptVariable(const QString& script, const QString& name) {
    const QString prefix = name + QStringLiteral("='");
    for (const QString& line : script.split(QLatin1Char('\n'))) {
        if (!line.startsWith(prefix) || !line.endsWith(QLatin1Char('\''))) {
            continue;
        }
        QString value = line.mid(prefix.size() - 1);
        // 'a'"'"'b' is a'b: undo the quoting of single quotes, then the outer quotes.
        value.replace(QStringLiteral("'\"'\"'"), QStringLiteral("'"));
        return value.mid(1, value.size() - 2);
    }
    return std::nullopt;
}

bool isExecutable(const QString& path) {
    return QFileInfo(path).isFile() && ::access(QFile::encodeName(path).constData(), X_OK) == 0;
}

} // namespace

bool repairHookScript(const QString& homeDirectory, const QString& hookHelper) {
    try {
        const ClaudeStatusLineInstaller installer(homeDirectory, hookHelper);
        if (!installer.isInstalled() || !isExecutable(hookHelper)) {
            return false;
        }
        const std::optional<QByteArray> bytes = readWholeFile(installer.hookScriptPath());
        if (!bytes) {
            return false;
        }
        const QString script = QString::fromUtf8(*bytes);
        const std::optional<QString> named = scriptVariable(script, QStringLiteral("json_tool"));
        if (named && isExecutable(*named)) {
            return false;
        }
        std::optional<QString> previous =
            scriptVariable(script, QStringLiteral("previous_command"));
        if (previous && previous->isEmpty()) {
            previous.reset();
        }
        const QString rewritten = installer.statusLineScript(previous);
        writeFileAtomically(installer.hookScriptPath(), rewritten.toUtf8(), 0700);
        setFileMode(installer.hookScriptPath(), 0700);
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace lumora
