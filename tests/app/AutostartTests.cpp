#include "platform/Autostart.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace lumora;
using namespace lumora::test;

// On writes a valid entry (desktop-file-validate, where installed) for this very executable in one
// piece, off removes it, the state is read from the file as the user left it, and a folder that
// cannot be written gives a message and changes nothing.
TEST(AutostartTest, OnOffAndTheStateAsTheUserLeftIt) {
    TemporaryHome home;
    const QString path = home.filePath(".config/autostart/lumora.desktop");
    const QString validator = QStandardPaths::findExecutable("desktop-file-validate");
    // An installation path that needs every kind of quoting an Exec line has.
    const AutostartEntry entry(std::nullopt, home.filePath("my apps/100% \"lumora\" $HOME\\bin/l"));
    EXPECT_EQ(entry.entryPath(), path);
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(entry.isEnabled());
        EXPECT_EQ(entry.setEnabled(true), std::nullopt);
        EXPECT_TRUE(entry.isEnabled());
        const QString content = QString::fromUtf8(readFile(path));
        EXPECT_TRUE(content.startsWith("[Desktop Entry]\nType=Application\nName=Lumora\n"));
        EXPECT_TRUE(content.contains(QStringLiteral("\nExec=\"%1/my apps/100%% \\\\\"lumora\\\\\" "
                                                    "\\\\$HOME\\\\\\\\bin/l\"\n")
                                         .arg(home.path())))
            << content.toStdString();
        EXPECT_TRUE(content.contains("\nTryExec=" + home.path() +
                                     "/my apps/100% \"lumora\" $HOME\\\\bin/l\n"));
        if (!validator.isEmpty()) {
            const CommandOutcome v = runProgram(validator, {path});
            EXPECT_EQ(QString::number(v.exitCode) + v.out + v.err, "0") << "desktop-file-validate";
        }
        EXPECT_EQ(QDir(QFileInfo(path).path()).entryList(QDir::Files),
                  QStringList{"lumora.desktop"});
        EXPECT_EQ(entry.setEnabled(false), std::nullopt);
        EXPECT_FALSE(QFileInfo::exists(path));
        EXPECT_EQ(entry.setEnabled(false), std::nullopt) << "off when already off";
    }
    EXPECT_EQ(AutostartEntry::execArgument("/usr/bin/lumora"), "/usr/bin/lumora");
    qputenv("XDG_CONFIG_HOME", home.filePath("elsewhere").toLocal8Bit());
    EXPECT_EQ(AutostartEntry::defaultEntryPath(home.path()),
              home.filePath("elsewhere/autostart/lumora.desktop"));
    qputenv("XDG_CONFIG_HOME", "relative/config"); // not absolute: ignored
    EXPECT_EQ(AutostartEntry::defaultEntryPath(home.path()), path);

    const QByteArray header = "[Desktop Entry]\nType=Application\nName=Lumora\nExec=lumora\n";
    const struct {
        QByteArray content;
        bool enabled;
    } cases[] = {
        {header, true},
        {header + "Hidden=true\n", false},
        {header + "Hidden = true\n", false},
        {header + "Hidden=false\n", true},
        {header + "X-GNOME-Autostart-enabled=false\n", false},
        {header + "X-GNOME-Autostart-enabled=true\n", true},
        {header + "[Desktop Action quit]\nHidden=true\n", true}, // only the entry's own group
        {"# Hidden=true\n" + header, true},
        {QByteArray(200 * 1024, 'x'), false},
        {header + "Hidden=true\n", false}, // then switched on: the entry is replaced
    };
    for (const auto& [content, enabled] : cases) {
        writeFile(path, content);
        EXPECT_EQ(entry.isEnabled(), enabled) << content.left(200).toStdString();
    }
    EXPECT_EQ(entry.setEnabled(true), std::nullopt);
    EXPECT_FALSE(readFile(path).contains("Hidden"));
    QFile::remove(path);
    QDir().mkpath(path); // a folder where the file should be is no entry
    EXPECT_FALSE(entry.isEnabled());

    // A file named like the folder: no user can create the entry inside it.
    const QString folder = home.filePath(".config/autostart");
    QDir(folder).removeRecursively();
    writeFile(folder, "not a folder");
    const auto message = entry.setEnabled(true);
    EXPECT_TRUE(message && message->startsWith("Lumora could not be set to start at login. ") &&
                message->contains(folder));
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_EQ(readFile(folder), "not a folder");
    // A read-only folder (the superuser writes into it regardless, so only checked for others).
    QFile::remove(folder);
    ASSERT_EQ(entry.setEnabled(true), std::nullopt);
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    if (::geteuid() != 0) {
        const auto off = entry.setEnabled(false);
        EXPECT_TRUE(off && off->startsWith("Lumora could not be kept from starting at login. "));
        EXPECT_TRUE(entry.setEnabled(true).has_value()) << "rewriting needs the folder too";
        EXPECT_TRUE(entry.isEnabled());
    }
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}
