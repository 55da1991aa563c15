#include "platform/Autostart.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class AutostartTest : public ::testing::Test {
protected:
    QString entryPath() const { return home.filePath(".config/autostart/lumora.desktop"); }

    TemporaryHome home;
};

// What desktop-file-validate says about a file; nothing when the tool is not installed.
std::optional<QString> validatorComplaints(const QString& path) {
    const QString validator = QStandardPaths::findExecutable("desktop-file-validate");
    if (validator.isEmpty()) {
        return std::nullopt;
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(validator, {path});
    process.waitForFinished(30000);
    const QString output = QString::fromUtf8(process.readAll());
    return process.exitCode() == 0 ? output
                                   : QStringLiteral("exit %1: ").arg(process.exitCode()) + output;
}

} // namespace

TEST_F(AutostartTest, OnWritesAValidEntryForThisLumoraOffRemovesItAndOnAgainRestoresIt) {
    // An installation path that needs every kind of quoting an Exec line has.
    const QString executable = home.filePath("my apps/100% \"lumora\" $HOME\\bin/lumora");
    const AutostartEntry entry(std::nullopt, executable);
    EXPECT_EQ(entry.entryPath(), entryPath());
    EXPECT_FALSE(entry.isEnabled());

    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(entry.setEnabled(true), std::nullopt);
        EXPECT_TRUE(entry.isEnabled());
        const QString content = QString::fromUtf8(readFile(entryPath()));
        EXPECT_TRUE(content.startsWith("[Desktop Entry]\nType=Application\nName=Lumora\n"));
        EXPECT_TRUE(content.contains(QStringLiteral("\nExec=\"%1/my apps/100%% \\\\\"lumora\\\\\" "
                                                    "\\\\$HOME\\\\\\\\bin/lumora\"\n")
                                         .arg(home.path())))
            << content.toStdString();
        EXPECT_TRUE(content.contains("\nTryExec=" + home.path() +
                                     "/my apps/100% \"lumora\" $HOME\\\\bin/lumora\n"));
        if (const auto complaints = validatorComplaints(entryPath())) {
            EXPECT_EQ(*complaints, "") << "desktop-file-validate";
        } else {
            std::cout << "desktop-file-validate is not installed; the entry was not validated\n";
        }
        // Written in one piece: nothing else is left in the folder.
        EXPECT_EQ(QDir(QFileInfo(entryPath()).path()).entryList(QDir::Files),
                  QStringList{"lumora.desktop"});

        EXPECT_EQ(entry.setEnabled(false), std::nullopt);
        EXPECT_FALSE(QFileInfo::exists(entryPath()));
        EXPECT_FALSE(entry.isEnabled());
        EXPECT_EQ(entry.setEnabled(false), std::nullopt) << "off when already off";
    }

    // The folder follows XDG_CONFIG_HOME when it is an absolute path, and only then.
    qputenv("XDG_CONFIG_HOME", home.filePath("elsewhere").toLocal8Bit());
    EXPECT_EQ(AutostartEntry::defaultEntryPath(home.path()),
              home.filePath("elsewhere/autostart/lumora.desktop"));
    qputenv("XDG_CONFIG_HOME", "relative/config");
    EXPECT_EQ(AutostartEntry::defaultEntryPath(home.path()), entryPath());
    qunsetenv("XDG_CONFIG_HOME");
    // A plain path needs no quotes.
    EXPECT_EQ(AutostartEntry::execArgument("/usr/bin/lumora"), "/usr/bin/lumora");
}

TEST_F(AutostartTest, TheStateIsReadFromTheFileAsTheUserLeftIt) {
    const AutostartEntry entry(entryPath(), "/usr/bin/lumora");
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
        // The keys count only in the entry's own group.
        {header + "[Desktop Action quit]\nHidden=true\n", true},
        {"# Hidden=true\n" + header, true},
        {QByteArray(200 * 1024, 'x'), false},
    };
    for (const auto& [content, enabled] : cases) {
        writeFile(entryPath(), content);
        EXPECT_EQ(entry.isEnabled(), enabled) << content.left(200).toStdString();
    }
    // Switching on replaces an entry the user had switched off.
    writeFile(entryPath(), header + "Hidden=true\n");
    EXPECT_EQ(entry.setEnabled(true), std::nullopt);
    EXPECT_TRUE(entry.isEnabled());
    EXPECT_FALSE(readFile(entryPath()).contains("Hidden"));
    // A folder where the file should be is no entry.
    QFile::remove(entryPath());
    QDir().mkpath(entryPath());
    EXPECT_FALSE(entry.isEnabled());
}

TEST_F(AutostartTest, AFolderThatCannotBeWrittenGivesAMessageAndChangesNothing) {
    const AutostartEntry entry(entryPath(), "/usr/bin/lumora");
    // A file named like the folder: no user can create the entry inside it.
    writeFile(home.filePath(".config/autostart"), "not a folder");
    const auto message = entry.setEnabled(true);
    ASSERT_TRUE(message.has_value());
    EXPECT_TRUE(message->startsWith("Lumora could not be set to start at login. "));
    EXPECT_TRUE(message->contains(home.filePath(".config/autostart"))) << message->toStdString();
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_EQ(readFile(home.filePath(".config/autostart")), "not a folder");

    // A read-only folder (the superuser writes into it regardless, so only checked for others).
    QFile::remove(home.filePath(".config/autostart"));
    ASSERT_EQ(entry.setEnabled(true), std::nullopt);
    QFile::setPermissions(home.filePath(".config/autostart"),
                          QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    if (::geteuid() != 0) {
        const auto offMessage = entry.setEnabled(false);
        ASSERT_TRUE(offMessage.has_value());
        EXPECT_TRUE(offMessage->startsWith("Lumora could not be kept from starting at login. "));
        EXPECT_TRUE(entry.isEnabled());
        EXPECT_TRUE(entry.setEnabled(true).has_value()) << "rewriting needs the folder too";
        EXPECT_TRUE(entry.isEnabled());
    }
    QFile::setPermissions(home.filePath(".config/autostart"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}
