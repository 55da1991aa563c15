#include "platform/PreferencesStore.h"

#include "core/AtomicFile.h"
#include "core/DataFolder.h"
#include "core/Errors.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

namespace lumora {

std::optional<QStringList> PreferencesStore::stringArray(const QString& key) const {
    const auto values = array(key);
    if (!values) {
        return std::nullopt;
    }
    QStringList strings;
    strings.reserve(values->size());
    for (const QJsonValue& element : *values) {
        if (!element.isString()) {
            return std::nullopt;
        }
        strings.append(element.toString());
    }
    return strings;
}

std::optional<QJsonArray> PreferencesStore::array(const QString& key) const {
    const auto stored = value(key);
    if (!stored || !stored->isArray()) {
        return std::nullopt;
    }
    return stored->toArray();
}

std::optional<QString> PreferencesStore::string(const QString& key) const {
    const auto stored = value(key);
    if (!stored || !stored->isString()) {
        return std::nullopt;
    }
    return stored->toString();
}

bool PreferencesStore::boolean(const QString& key) const {
    const auto stored = value(key);
    return stored && stored->isBool() && stored->toBool();
}

QString preferencesFilePath(const QString& homeDirectory) {
    const QString xdgConfigHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString base = !xdgConfigHome.isEmpty() && QDir::isAbsolutePath(xdgConfigHome)
                             ? xdgConfigHome
                             : homeDirectory + QStringLiteral("/.config");
    return QDir::cleanPath(base + QStringLiteral("/Lumora/preferences.json"));
}

JsonFilePreferencesStore::JsonFilePreferencesStore(std::optional<QString> filePath)
    : m_filePath(filePath ? *filePath : preferencesFilePath(currentHomeDirectory())),
      m_values(readFile()) {}

std::optional<QJsonValue> JsonFilePreferencesStore::value(const QString& key) const {
    const QJsonValue stored = m_values.value(key);
    if (stored.isUndefined() || stored.isNull()) {
        return std::nullopt;
    }
    return stored;
}

void JsonFilePreferencesStore::setValue(const QString& key, const QJsonValue& value) {
    m_values.insert(key, value);
    QJsonObject onDisk = readFile();
    onDisk.insert(key, value);
    try {
        createFolders(QFileInfo(m_filePath).absolutePath(), 0700);
        writeFileAtomically(m_filePath, QJsonDocument(onDisk).toJson(QJsonDocument::Indented));
    } catch (const Error&) {
        // Kept in memory for this run; nothing more can be done about a file that cannot be
        // written.
    }
}

QJsonObject JsonFilePreferencesStore::readFile() const {
    const auto bytes = readWholeFile(m_filePath, maximumFileSize);
    if (!bytes) {
        return {};
    }
    const QJsonDocument document = QJsonDocument::fromJson(*bytes);
    return document.isObject() ? document.object() : QJsonObject();
}

} // namespace lumora
