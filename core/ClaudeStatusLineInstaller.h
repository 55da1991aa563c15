#pragma once

#include "core/Errors.h"

#include <QCoreApplication>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace lumora {

// Claude Code's settings hold something that cannot be rewritten safely (the top level is not
// an object, or the content cannot be written back as JSON).
class InstallerError : public Error {
public:
    enum class Case { invalidClaudeSettings };
    static InstallerError invalidClaudeSettings() {
        return InstallerError(Case::invalidClaudeSettings);
    }
    Case kind() const { return m_case; }

private:
    explicit InstallerError(Case c)
        : Error(QStringLiteral(
              QT_TRANSLATE_NOOP("Messages", "Claude Code settings could not be updated safely."))),
          m_case(c) {}
    Case m_case;
};

// The hook helper (lumora-json) is not where Lumora expects it, so a hook could never save usage.
class HookHelperMissingError : public Error {
public:
    explicit HookHelperMissingError(const QString& path)
        : Error(QCoreApplication::translate(
                    "Messages", "Lumora's status-line helper is missing (%1). Reinstall Lumora.")
                    .arg(path)) {}
};

// Wires Lumora's status-line hook into Claude Code's user settings ("statusLine" in
// ~/.claude/settings.json). Claude Code runs the hook with its status JSON on standard input; the
// hook saves the `rate_limits` member to the rate-limit cache file for the Claude Code provider,
// runs the status-line command the user had before (so they keep seeing it), and prints a short
// line of its own. Every other settings member passes through untouched, the user's earlier
// status line is backed up once, and uninstall() puts it back.
class ClaudeStatusLineInstaller {
public:
    // `hookHelper` is the absolute path of the lumora-json helper that the script calls.
    ClaudeStatusLineInstaller(QString homeDirectory, QString hookHelper);

    // Installs or refreshes the hook; idempotent. Throws FileSystemError, JsonSyntaxError
    // (settings that are not JSON: nothing is written), InstallerError or HookHelperMissingError.
    void install() const;
    // Removes the hook and restores the earlier status line. Settings whose status line is no
    // longer ours are left untouched; the script and the backup are removed either way.
    void uninstall() const;
    // True when the hook script exists and Claude Code's settings point at it. Never throws.
    bool isInstalled() const noexcept;

    QString dataFolderPath() const;
    QString hookScriptPath() const;
    QString backupPath() const;
    QString rateLimitCachePath() const;
    QString settingsPath() const;
    const QString& hookHelper() const { return m_hookHelper; }

    // The complete text of the hook script, chaining `previousCommand` when there is one.
    QString statusLineScript(const std::optional<QString>& previousCommand) const;

    // Single-quotes `text` for a POSIX shell; an absent text becomes ''.
    static QString shellQuoted(const std::optional<QString>& text);
    // The first location Lumora writes hook scripts to; only recognised, never written.
    static inline const QString legacyHookLocation =
        QStringLiteral("~/.claude/lumora-statusline.sh");

private:
    QJsonObject loadSettings() const;
    static void writeJSON(const QJsonObject& object, const QString& path, unsigned mode);
    std::optional<QJsonObject> loadBackup() const;
    std::optional<QString> backedUpStatusLineCommand() const;
    bool isOurCommand(const QString& command) const;
    static std::optional<QString> commandOf(const QJsonValue& statusLine);

    QString m_homeDirectory;
    QString m_hookHelper;
};

// Where the hook helper is: beside the running executable (the build tree, or a bin folder that
// holds both), else in the install tree's libexec/lumora folder next to that bin folder. Returns
// the first existing candidate, or the first candidate when none exists.
QString locateHookHelper();

} // namespace lumora
