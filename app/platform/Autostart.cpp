#include "platform/Autostart.h"

#include "core/AtomicFile.h"
#include "core/DataFolder.h"
#include "core/Errors.h"
#include "core/Messages.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace lumora {
namespace {

// An entry is a few hundred bytes; anything much larger is not one we can make sense of.
constexpr qint64 maximumEntrySize = 64 * 1024;

// The escapes of a desktop entry's string values.
QString escapeValue(const QString& value) {
    QString escaped;
    escaped.reserve(value.size());
    for (const QChar character : value) {
        switch (character.unicode()) {
        case '\\':
            escaped += QStringLiteral("\\\\");
            break;
        case '\n':
            escaped += QStringLiteral("\\n");
            break;
        case '\t':
            escaped += QStringLiteral("\\t");
            break;
        case '\r':
            escaped += QStringLiteral("\\r");
            break;
        default:
            escaped += character;
        }
    }
    return escaped;
}

bool isTrue(const QString& value) {
    return value == QLatin1String("true") || value == QLatin1String("1");
}

bool isFalse(const QString& value) {
    return value == QLatin1String("false") || value == QLatin1String("0");
}

} // namespace

AutostartEntry::AutostartEntry(std::optional<QString> entryPath, std::optional<QString> executable)
    : m_entryPath(entryPath ? *entryPath : defaultEntryPath(currentHomeDirectory())),
      m_executable(executable ? *executable : QCoreApplication::applicationFilePath()) {}

QString AutostartEntry::defaultEntryPath(const QString& homeDirectory) {
    const QString xdgConfigHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString base = !xdgConfigHome.isEmpty() && QDir::isAbsolutePath(xdgConfigHome)
                             ? xdgConfigHome
                             : homeDirectory + QStringLiteral("/.config");
    return QDir::cleanPath(base + QStringLiteral("/autostart/lumora.desktop"));
}

bool AutostartEntry::isEnabled() const {
    const auto content = readWholeFile(m_entryPath, maximumEntrySize);
    if (!content) {
        return false;
    }
    bool inMainGroup = false;
    for (const QByteArray& rawLine : content->split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMainGroup = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (!inMainGroup || line.startsWith(QLatin1Char('#')) || equals < 0) {
            continue;
        }
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        if ((key == QLatin1String("Hidden") && isTrue(value)) ||
            (key == QLatin1String("X-GNOME-Autostart-enabled") && isFalse(value))) {
            return false;
        }
    }
    return true;
}

std::optional<QString> AutostartEntry::setEnabled(bool enabled) const {
    if (enabled) {
        try {
            createFolders(QFileInfo(m_entryPath).absolutePath(), 0700);
            writeFileAtomically(m_entryPath, entryContent(m_executable));
        } catch (const Error& error) {
            return QCoreApplication::translate("Autostart",
                                               "Lumora could not be set to start at login. %1")
                .arg(shownMessage(error.description()));
        }
        return std::nullopt;
    }
    const QByteArray name = QFile::encodeName(m_entryPath);
    if (::unlink(name.constData()) != 0 && errno != ENOENT) {
        const int error = errno;
        return QCoreApplication::translate("Autostart",
                                           "Lumora could not be kept from starting at login. "
                                           "Could not remove \u201c%1\u201d: %2")
            .arg(m_entryPath, QString::fromLocal8Bit(std::strerror(error)));
    }
    return std::nullopt;
}

QByteArray AutostartEntry::entryContent(const QString& executable) {
    const QString lines[] = {
        QStringLiteral("[Desktop Entry]"),
        QStringLiteral("Type=Application"),
        QStringLiteral("Name=Lumora"),
        QStringLiteral("Comment=How much Claude Code and Codex usage is left, in the tray"),
        QStringLiteral("Exec=") + execArgument(executable),
        // Session managers skip the entry once this lumora is gone.
        QStringLiteral("TryExec=") + escapeValue(executable),
        QStringLiteral("Icon=lumora"),
        QStringLiteral("Terminal=false"),
        QStringLiteral("X-GNOME-Autostart-enabled=true"),
    };
    QByteArray content;
    for (const QString& line : lines) {
        content += line.toUtf8() + '\n';
    }
    return content;
}

QString AutostartEntry::execArgument(const QString& argument) {
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool needsQuotes = argument.isEmpty();
    for (const QChar character : argument) {
        needsQuotes = needsQuotes || reserved.contains(character);
    }
    QString quoted;
    if (needsQuotes) {
        quoted += QLatin1Char('"');
        for (const QChar character : argument) {
            if (character == QLatin1Char('"') || character == QLatin1Char('`') ||
                character == QLatin1Char('$') || character == QLatin1Char('\\')) {
                quoted += QLatin1Char('\\');
            }
            quoted += character;
        }
        quoted += QLatin1Char('"');
    } else {
        quoted = argument;
    }
    // A lone % would start a field code.
    quoted.replace(QLatin1Char('%'), QStringLiteral("%%"));
    return escapeValue(quoted);
}

} // namespace lumora
