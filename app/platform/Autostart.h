#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace lumora {

// Starting Lumora when the user logs in, the freedesktop way: a desktop entry "lumora.desktop" in
// the user's autostart folder ($XDG_CONFIG_HOME/autostart, default ~/.config/autostart), read by
// every desktop's session manager. The state is read from that file each time it is asked for,
// so an entry the user edits or deletes elsewhere is seen at once.
class AutostartEntry {
public:
    // `entryPath` is the desktop entry's file, `executable` the absolute path of the lumora that
    // the entry starts. The defaults are the current user's folder and this very program.
    explicit AutostartEntry(std::optional<QString> entryPath = std::nullopt,
                            std::optional<QString> executable = std::nullopt);

    // $XDG_CONFIG_HOME/autostart/lumora.desktop, or home + "/.config/autostart/lumora.desktop"
    // when XDG_CONFIG_HOME is unset or not absolute.
    static QString defaultEntryPath(const QString& homeDirectory);

    const QString& entryPath() const { return m_entryPath; }
    const QString& executable() const { return m_executable; }

    // True when the entry exists and is not switched off inside (Hidden=true, or GNOME's
    // X-GNOME-Autostart-enabled=false).
    bool isEnabled() const;
    // On: writes the entry atomically (replacing one the user switched off). Off: removes it.
    // Returns what went wrong, for the user to read, or nothing when it worked.
    std::optional<QString> setEnabled(bool enabled) const;

    // The entry's text for an executable path.
    static QByteArray entryContent(const QString& executable);
    // One argument of an Exec line, quoted and escaped as desktop entries require.
    static QString execArgument(const QString& argument);

private:
    QString m_entryPath;
    QString m_executable;
};

} // namespace lumora
