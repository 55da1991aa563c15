#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumora {

// The keys under which Lumora keeps the user's choices.
namespace preferencekeys {
inline const QString providerOrder = QStringLiteral("providerOrder");
inline const QString breakTextColor = QStringLiteral("breakTextColor");
inline const QString breakScreenStyle = QStringLiteral("breakScreenStyle");
inline const QString alertsEnabled = QStringLiteral("alertsEnabled");
// The Claude Code switch; the name predates the second provider.
inline const QString claudeEnabled = QStringLiteral("providerEnabled");
inline const QString codexEnabled = QStringLiteral("codexEnabled");
inline const QString showCodexInMenuBar = QStringLiteral("showCodexInMenuBar");
inline const QString showClaudeInMenuBar = QStringLiteral("showClaudeInMenuBar");
inline const QString keepUsageHistory = QStringLiteral("keepUsageHistory");
inline const QString paceAlertsEnabled = QStringLiteral("paceAlertsEnabled");
} // namespace preferencekeys

// A per-user key-value store of JSON values. There are no registered defaults: an absent key is
// simply absent, and each reader decides what that means. The typed reads never fail; a value of
// the wrong type reads as nothing (string, array reads) or as false (boolean read).
class PreferencesStore {
public:
    virtual ~PreferencesStore() = default;

    // The stored value; nothing when the key is absent (a stored JSON null counts as absent).
    virtual std::optional<QJsonValue> value(const QString& key) const = 0;
    // Stores the value under the key. A failure to persist it is silent: the store is a
    // convenience for the next start and has no way to tell the user.
    virtual void setValue(const QString& key, const QJsonValue& value) = 0;

    bool contains(const QString& key) const { return value(key).has_value(); }
    // Only an array whose every element is a string.
    std::optional<QStringList> stringArray(const QString& key) const;
    std::optional<QJsonArray> array(const QString& key) const;
    std::optional<QString> string(const QString& key) const;
    // True only for a stored JSON true.
    bool boolean(const QString& key) const;
};

// The preferences file: $XDG_CONFIG_HOME/Lumora/preferences.json when XDG_CONFIG_HOME is an
// absolute path, otherwise home + "/.config/Lumora/preferences.json".
QString preferencesFilePath(const QString& homeDirectory);

// The store as one JSON object in a file. The file is read once, when the store is created; each
// write reads the file again, changes the one key and replaces the file atomically, so keys that
// another process (the command line) wrote meanwhile are kept. A missing, unreadable or corrupt
// file reads as empty; a write over a corrupt file replaces it.
class JsonFilePreferencesStore : public PreferencesStore {
public:
    // Without a path: preferencesFilePath(currentHomeDirectory()).
    explicit JsonFilePreferencesStore(std::optional<QString> filePath = std::nullopt);

    const QString& filePath() const { return m_filePath; }

    std::optional<QJsonValue> value(const QString& key) const override;
    void setValue(const QString& key, const QJsonValue& value) override;

    // Preferences files are tiny; anything larger is not ours and is not read.
    static constexpr qint64 maximumFileSize = 1024 * 1024;

private:
    QJsonObject readFile() const;

    QString m_filePath;
    QJsonObject m_values;
};

} // namespace lumora
