#include "core/ClaudeStatusLineInstaller.h"

#include "core/AtomicFile.h"
#include "core/DataFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <unistd.h>

namespace lumora {
namespace {

const QString statusLineKey = QStringLiteral("statusLine");
const QString commandKey = QStringLiteral("command");
const QString hadPreviousKey = QStringLiteral("had_previous");
const QString previousStatusLineKey = QStringLiteral("status_line");

// Reads and parses a JSON file that must exist. `what` names the file in error messages.
QJsonDocument readJsonFile(const QString& path, const QString& what) {
    const auto bytes = readWholeFile(path);
    if (!bytes) {
        throw FileSystemError(
            QCoreApplication::translate("Messages", "%1 (%2) could not be read.").arg(what, path));
    }
    QJsonParseError error{};
    QJsonDocument document = QJsonDocument::fromJson(*bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        throw JsonSyntaxError(
            QCoreApplication::translate("Messages", "%1 (%2) is not valid JSON: %3 at byte %4.")
                .arg(what, path, error.errorString())
                .arg(error.offset));
    }
    return document;
}

bool isExecutableFile(const QString& path) {
    const QFileInfo info(path);
    return info.isFile() && ::access(QFile::encodeName(path).constData(), X_OK) == 0;
}

} // namespace

ClaudeStatusLineInstaller::ClaudeStatusLineInstaller(QString homeDirectory, QString hookHelper)
    : m_homeDirectory(std::move(homeDirectory)), m_hookHelper(std::move(hookHelper)) {}

QString ClaudeStatusLineInstaller::dataFolderPath() const {
    return dataFolder(m_homeDirectory);
}

QString ClaudeStatusLineInstaller::hookScriptPath() const {
    return dataFolderPath() + QStringLiteral("/claude-statusline.sh");
}

QString ClaudeStatusLineInstaller::backupPath() const {
    return dataFolderPath() + QStringLiteral("/claude-statusline-backup.json");
}

QString ClaudeStatusLineInstaller::rateLimitCachePath() const {
    return dataFolderPath() + QStringLiteral("/claude-rate-limits.json");
}

QString ClaudeStatusLineInstaller::settingsPath() const {
    return claudeSettingsPath(m_homeDirectory);
}

QString ClaudeStatusLineInstaller::shellQuoted(const std::optional<QString>& text) {
    QString quoted = text.value_or(QString());
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\"'\"'"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QString
ClaudeStatusLineInstaller::statusLineScript(const std::optional<QString>& previousCommand) const {
    // POSIX sh, the way Claude Code itself runs a status-line command. Claude Code runs this on
    // every status update, and on a small machine each program started costs about a
    // millisecond, so the script starts only the helper, twice:
    // - the input is read with the shell's own read, not cat, and handed to the helper as a
    //   here-document (dash writes one of up to 4 KiB straight into a pipe, with no extra
    //   process), never through a printf pipeline;
    // - the helper replaces the cache file itself (temporary file with mode 0600, then a rename;
    //   nothing written when the input holds no rate limits), so no chmod and no mv;
    // - a whole percentage is subtracted by the shell; awk only sees fractions and oddities;
    // - mkdir only runs while the folder is missing.
    // printf, read and [ are shell built-ins; every program is called by absolute path, so the
    // user's PATH plays no part. The chained command gets the input exactly as it came. The two
    // messages are printf formats with a real line break before the closing quote.
    const QString hereDocument = QStringLiteral("LUMORA_STATUS_INPUT");
    const QStringList lines{
        QStringLiteral("#!/bin/sh"),
        QStringLiteral("set -u"),
        QString(),
        QStringLiteral("cache_directory=") + shellQuoted(dataFolderPath()),
        QStringLiteral("cache_file=") + shellQuoted(rateLimitCachePath()),
        QStringLiteral("previous_command=") + shellQuoted(previousCommand),
        QStringLiteral("json_tool=") + shellQuoted(m_hookHelper),
        QStringLiteral("input="),
        QStringLiteral("while IFS= read -r line; do input=\"${input}${line}"),
        QStringLiteral("\"; done"),
        QStringLiteral("input=\"${input}${line}\""),
        QString(),
        QStringLiteral("[ -d \"${cache_directory}\" ] || /bin/mkdir -p \"${cache_directory}\" || "
                       "exit 0"),
        QStringLiteral("# Replaces the cache atomically with mode 0600; keeps it when there are no "
                       "rate limits."),
        QStringLiteral("\"${json_tool}\" extract rate_limits json -o \"${cache_file}\" - "
                       "2>/dev/null <<") +
            hereDocument,
        QStringLiteral("${input}"),
        hereDocument,
        QString(),
        QStringLiteral("if [ -n \"${previous_command}\" ]; then"),
        QStringLiteral("    printf '%s' \"${input}\" | /bin/sh -c \"${previous_command}\""),
        QStringLiteral("fi"),
        QString(),
        QStringLiteral("used=$(\"${json_tool}\" extract rate_limits.five_hour.used_percentage raw "
                       "-o - - 2>/dev/null <<") +
            hereDocument,
        QStringLiteral("${input}"),
        hereDocument,
        QStringLiteral(")"),
        QStringLiteral("case \"${used}\" in"),
        QStringLiteral("    '') ;;"),
        QStringLiteral("    0 | [1-9] | [1-9][0-9] | [1-9][0-9][0-9])"),
        QStringLiteral("        remaining=$((100 - used))"),
        QStringLiteral("        [ \"${remaining}\" -ge 0 ] || remaining=0 ;;"),
        QStringLiteral("    *)"),
        QStringLiteral(
            "        remaining=$(/usr/bin/awk -v used=\"${used}\" 'BEGIN { value = 100 - "
            "used; if (value < 0) value = 0; printf \"%.0f\", value }') ;;"),
        QStringLiteral("esac"),
        QString(),
        QStringLiteral("if [ -n \"${used}\" ]; then"),
        QStringLiteral("    printf 'Lumora \u00B7 Claude Code %s%% left"),
        QStringLiteral("' \"${remaining}\""),
        QStringLiteral("elif [ -z \"${previous_command}\" ]; then"),
        QStringLiteral("    printf 'Lumora \u00B7 waiting for Claude Code usage"),
        QStringLiteral("'"),
        QStringLiteral("fi"),
    };
    return lines.join(QLatin1Char('\n'));
}

QJsonObject ClaudeStatusLineInstaller::loadSettings() const {
    const QString path = settingsPath();
    if (!QFileInfo::exists(path)) {
        return {};
    }
    QJsonDocument document;
    try {
        document =
            readJsonFile(path, QCoreApplication::translate("Messages", "Claude Code settings"));
    } catch (const JsonSyntaxError&) {
        // Qt reads only objects and arrays at the top level. A lone string or number is still
        // JSON, just not settings: tell the two apart by reading it as an array element.
        const auto bytes = readWholeFile(path);
        if (bytes && QJsonDocument::fromJson("[" + *bytes + "]").array().size() == 1) {
            throw InstallerError::invalidClaudeSettings();
        }
        throw;
    }
    if (!document.isObject()) {
        throw InstallerError::invalidClaudeSettings();
    }
    return document.object();
}

void ClaudeStatusLineInstaller::writeJSON(const QJsonObject& object, const QString& path,
                                          unsigned mode) {
    const QByteArray bytes = QJsonDocument(object).toJson(QJsonDocument::Indented);
    // Write only what reads back as the very object meant: a value that does not survive the
    // round trip would silently change the user's settings.
    if (QJsonDocument::fromJson(bytes).object() != object) {
        throw InstallerError::invalidClaudeSettings();
    }
    writeFileAtomically(path, bytes, mode);
    setFileMode(path, mode);
}

std::optional<QJsonObject> ClaudeStatusLineInstaller::loadBackup() const {
    const QString path = backupPath();
    if (!QFileInfo::exists(path)) {
        return std::nullopt;
    }
    const QJsonDocument document = readJsonFile(
        path, QCoreApplication::translate("Messages", "Lumora's backup of your status line"));
    if (!document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

std::optional<QString> ClaudeStatusLineInstaller::commandOf(const QJsonValue& statusLine) {
    const QJsonValue command = statusLine.toObject().value(commandKey);
    if (!statusLine.isObject() || !command.isString()) {
        return std::nullopt;
    }
    return command.toString();
}

std::optional<QString> ClaudeStatusLineInstaller::backedUpStatusLineCommand() const {
    const auto backup = loadBackup();
    if (!backup || backup->value(hadPreviousKey) != QJsonValue(true)) {
        return std::nullopt;
    }
    return commandOf(backup->value(previousStatusLineKey));
}

bool ClaudeStatusLineInstaller::isOurCommand(const QString& command) const {
    // The quoted form matters when the home folder's path holds a single quote: quoting then
    // splits the path, and the plain path is no longer part of the command.
    const QString script = hookScriptPath();
    return command.contains(script) || command.contains(shellQuoted(script)) ||
           command.contains(legacyHookLocation);
}

void ClaudeStatusLineInstaller::install() const {
    if (!isExecutableFile(m_hookHelper)) {
        throw HookHelperMissingError(m_hookHelper);
    }
    createFolders(dataFolderPath(), 0700);
    createFolders(QFileInfo(settingsPath()).absolutePath(), 0700);

    QJsonObject settings = loadSettings();
    const QJsonValue current = settings.value(statusLineKey);
    const auto currentCommand = commandOf(current);
    const bool ours = currentCommand && isOurCommand(*currentCommand);

    // The first installation's state is kept for good: re-installing never overwrites it.
    if (!QFileInfo::exists(backupPath())) {
        const bool hadPrevious = !current.isUndefined() && !ours;
        QJsonObject backup{{hadPreviousKey, hadPrevious}};
        if (hadPrevious) {
            backup.insert(previousStatusLineKey, current);
        }
        writeJSON(backup, backupPath(), 0600);
    }

    std::optional<QString> previous = backedUpStatusLineCommand();
    if (!previous && !ours) {
        previous = currentCommand; // a foreign command that appeared after the backup was taken
    }
    if (previous && (previous->isEmpty() || isOurCommand(*previous))) {
        previous.reset(); // never let the hook run itself
    }

    writeFileAtomically(hookScriptPath(), statusLineScript(previous).toUtf8(), 0700);
    setFileMode(hookScriptPath(), 0700);

    settings.insert(statusLineKey, QJsonObject{
                                       {QStringLiteral("type"), QStringLiteral("command")},
                                       {commandKey, shellQuoted(hookScriptPath())},
                                       {QStringLiteral("refreshInterval"), 60},
                                   });
    writeJSON(settings, settingsPath(), 0600);
}

void ClaudeStatusLineInstaller::uninstall() const {
    QJsonObject settings = loadSettings();
    const auto currentCommand = commandOf(settings.value(statusLineKey));
    if (currentCommand && isOurCommand(*currentCommand)) {
        const auto backup = loadBackup();
        if (backup && backup->value(hadPreviousKey) == QJsonValue(true) &&
            backup->contains(previousStatusLineKey)) {
            settings.insert(statusLineKey, backup->value(previousStatusLineKey));
        } else {
            settings.remove(statusLineKey);
        }
        writeJSON(settings, settingsPath(), 0600);
    }
    for (const QString& path : {hookScriptPath(), backupPath()}) {
        QFile file(path);
        if (file.exists() && !file.remove()) {
            throw FileSystemError(
                QCoreApplication::translate("Messages", "Could not remove \u201c%1\u201d: %2")
                    .arg(path, file.errorString()));
        }
    }
}

bool ClaudeStatusLineInstaller::isInstalled() const noexcept {
    try {
        if (!QFileInfo::exists(hookScriptPath())) {
            return false;
        }
        const auto command = commandOf(loadSettings().value(statusLineKey));
        const QString script = hookScriptPath();
        return command && (command->contains(script) || command->contains(shellQuoted(script)));
    } catch (...) {
        return false;
    }
}

QString locateHookHelper() {
    const QString name = QStringLiteral("lumora-json");
    QString binFolder;
    if (QCoreApplication::instance()) {
        binFolder = QCoreApplication::applicationDirPath();
    } else {
        binFolder =
            QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).absolutePath();
    }
    const QStringList candidates{
        binFolder + QLatin1Char('/') + name,
        QDir::cleanPath(binFolder + QStringLiteral("/../libexec/lumora/") + name),
    };
    for (const QString& candidate : candidates) {
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    return candidates.first();
}

} // namespace lumora
