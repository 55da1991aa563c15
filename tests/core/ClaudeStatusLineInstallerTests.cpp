#include "core/ClaudeStatusLineInstaller.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class InstallerTest : public ::testing::Test {
protected:
    // The installer for a home folder inside the temporary home (a subfolder lets a test give
    // the home folder an awkward name).
    ClaudeStatusLineInstaller installer(const QString& homeName = "user") const {
        QDir().mkpath(home.filePath(homeName));
        return ClaudeStatusLineInstaller(home.filePath(homeName), builtExecutable("lumora-json"));
    }
    static QJsonObject readObject(const QString& path) {
        return QJsonDocument::fromJson(readFile(path)).object();
    }
    static QString scriptLine(const ClaudeStatusLineInstaller& installer, int number) {
        return QString::fromUtf8(readFile(installer.hookScriptPath()))
            .split('\n')
            .value(number - 1);
    }
    static void writeSettings(const ClaudeStatusLineInstaller& installer, const QByteArray& text) {
        writeFile(installer.settingsPath(), text);
    }
    static QJsonObject ourStatusLine(const ClaudeStatusLineInstaller& installer) {
        return {{"type", "command"},
                {"command", ClaudeStatusLineInstaller::shellQuoted(installer.hookScriptPath())},
                {"refreshInterval", 60}};
    }

    TemporaryHome home;
};

struct SettingsCase {
    const char* name;
    QByteArray text;
    bool foreignStatusLine; // the status line is the user's own, so it is backed up and restored
};

// Settings files as users have them; `%OURS%` stands for the hook script's quoted path.
const QList<SettingsCase> settingsCases{
    {"empty object", "{}", false},
    {"nested members",
     R"J({"permissions":{"allow":["Bash(git status:*)","Read(~/src/**)"],"deny":[]},
         "env":{"ANTHROPIC_MODEL":"x","DEPTH":{"a":{"b":{"c":[[[]]]}}}},"model":"opus"})J",
     false},
    {"unicode",
     R"({"name":"Zoë 日本語 🚀","escapes":"tab\tquote\"slash\\/ctl\u0001","emoji key 😀":true})",
     false},
    {"large and fractional numbers",
     R"({"big":9007199254740993,"int64":-9223372036854775808,"frac":0.1,"tiny":1.5e-7,
         "huge":1e300,"zero":0,"negative":-42.25})",
     false},
    {"arrays and hooks",
     R"({"hooks":{"PreToolUse":[{"matcher":"Bash","hooks":[{"type":"command","command":"x"}]}]},
         "list":[1,"two",null,true,[3,{"four":4}]]})",
     false},
    {"foreign status line",
     R"({"statusLine":{"type":"command","command":"~/bin/my-line","padding":2},"theme":"dark"})",
     true},
    {"status line that is not an object", R"({"statusLine":"weird","a":1})", true},
    {"null status line", R"({"statusLine":null,"a":1})", true},
    {"our own status line", R"({"statusLine":{"type":"command","command":%OURS%},"a":[1]})", false},
    {"the legacy hook",
     R"({"statusLine":{"type":"command","command":"~/.claude/lumora-statusline.sh"},"a":{}})",
     false},
};

} // namespace

TEST_F(InstallerTest, InstallThenUninstallKeepsEveryOtherMemberAndRestoresTheStatusLine) {
    for (const QString& homeName : {QString("user"), QString("o'brien's home")}) {
        for (const SettingsCase& settingsCase : settingsCases) {
            SCOPED_TRACE(std::string(settingsCase.name) + " in " + homeName.toStdString());
            const auto subject = installer(homeName);
            QByteArray text = settingsCase.text;
            const QByteArray ours =
                QJsonDocument(
                    QJsonArray{ClaudeStatusLineInstaller::shellQuoted(subject.hookScriptPath())})
                    .toJson(QJsonDocument::Compact)
                    .mid(1)
                    .chopped(1);
            text.replace("%OURS%", ours);
            writeSettings(subject, text);
            const QJsonObject original = QJsonDocument::fromJson(text).object();
            ASSERT_FALSE(original.isEmpty() && text != "{}") << "bad test input";

            subject.install();
            EXPECT_TRUE(subject.isInstalled());
            QJsonObject installed = readObject(subject.settingsPath());
            EXPECT_EQ(installed.value("statusLine").toObject(), ourStatusLine(subject));
            installed.remove("statusLine");
            QJsonObject others = original;
            others.remove("statusLine");
            EXPECT_EQ(installed, others);

            const QJsonObject backup = readObject(subject.backupPath());
            EXPECT_EQ(backup.value("had_previous").toBool(), settingsCase.foreignStatusLine);
            if (settingsCase.foreignStatusLine) {
                EXPECT_EQ(backup.value("status_line"), original.value("statusLine"));
            } else {
                EXPECT_FALSE(backup.contains("status_line"));
            }
            // Our own hook, current or legacy, is never chained to itself.
            const QString previous = scriptLine(subject, 6);
            if (settingsCase.foreignStatusLine && original.value("statusLine").isObject()) {
                EXPECT_EQ(previous, "previous_command='~/bin/my-line'");
            } else {
                EXPECT_EQ(previous, "previous_command=''");
            }

            // Installing again changes nothing.
            const QByteArray settingsBefore = readFile(subject.settingsPath());
            const QByteArray scriptBefore = readFile(subject.hookScriptPath());
            subject.install();
            EXPECT_EQ(readFile(subject.settingsPath()), settingsBefore);
            EXPECT_EQ(readFile(subject.hookScriptPath()), scriptBefore);

            subject.uninstall();
            EXPECT_FALSE(subject.isInstalled());
            EXPECT_FALSE(QFileInfo::exists(subject.hookScriptPath()));
            EXPECT_FALSE(QFileInfo::exists(subject.backupPath()));
            EXPECT_EQ(readObject(subject.settingsPath()),
                      settingsCase.foreignStatusLine ? original : others);
            QDir(home.filePath(homeName)).removeRecursively();
        }
    }
}

TEST_F(InstallerTest, FreshInstallCreatesFilesWithPrivateModes) {
    const auto subject = installer();
    subject.install();
    EXPECT_EQ(readObject(subject.settingsPath()),
              QJsonObject({{"statusLine", ourStatusLine(subject)}}));
    EXPECT_EQ(readObject(subject.backupPath()), QJsonObject({{"had_previous", false}}));
    EXPECT_EQ(fileMode(subject.dataFolderPath()), 0700);
    EXPECT_EQ(fileMode(QFileInfo(subject.settingsPath()).absolutePath()), 0700);
    EXPECT_EQ(fileMode(subject.settingsPath()), 0600);
    EXPECT_EQ(fileMode(subject.backupPath()), 0600);
    EXPECT_EQ(fileMode(subject.hookScriptPath()), 0700);
    // The script ends with "fi" and no line break; the helper's path is one quoted value.
    const QByteArray script = readFile(subject.hookScriptPath());
    EXPECT_TRUE(script.startsWith("#!/bin/sh\nset -u\n\ncache_directory='"));
    EXPECT_TRUE(script.endsWith("\nfi"));
    EXPECT_EQ(scriptLine(subject, 7), "json_tool=" + ClaudeStatusLineInstaller::shellQuoted(
                                                         builtExecutable("lumora-json")));
    // Only this folder's own files: no temporary files left behind.
    EXPECT_EQ(QDir(subject.dataFolderPath()).entryList(QDir::Files),
              QStringList({"claude-statusline-backup.json", "claude-statusline.sh"}));
}

TEST_F(InstallerTest, ALaterForeignCommandIsChainedButTheFirstBackupIsKept) {
    const auto subject = installer();
    subject.install(); // nothing to back up
    QJsonObject settings = readObject(subject.settingsPath());
    settings.insert("statusLine", QJsonObject{{"type", "command"}, {"command", "echo 'hi'"}});
    writeSettings(subject, QJsonDocument(settings).toJson());
    EXPECT_FALSE(subject.isInstalled());

    subject.install();
    EXPECT_EQ(scriptLine(subject, 6), R"(previous_command='echo '"'"'hi'"'"'')");
    EXPECT_EQ(readObject(subject.backupPath()), QJsonObject({{"had_previous", false}}));

    // The first installation's state wins: the status line goes away rather than back to the
    // command that appeared later.
    subject.uninstall();
    EXPECT_FALSE(readObject(subject.settingsPath()).contains("statusLine"));
}

TEST_F(InstallerTest, TheFirstBackedUpCommandStaysChainedAcrossReinstalls) {
    const auto subject = installer();
    writeSettings(subject, R"({"statusLine":{"type":"command","command":"first"}})");
    subject.install();
    QJsonObject settings = readObject(subject.settingsPath());
    settings.insert("statusLine", QJsonObject{{"type", "command"}, {"command", "second"}});
    writeSettings(subject, QJsonDocument(settings).toJson());
    subject.install();
    EXPECT_EQ(scriptLine(subject, 6), "previous_command='first'");
    subject.uninstall();
    EXPECT_EQ(readObject(subject.settingsPath()).value("statusLine").toObject().value("command"),
              "first");
}

TEST_F(InstallerTest, UninstallLeavesAStatusLineTheUserReplacedUntouched) {
    const auto subject = installer();
    writeSettings(subject, R"({"statusLine":{"type":"command","command":"mine"}})");
    subject.install();
    writeFile(subject.rateLimitCachePath(), "{}");
    const QByteArray replaced = R"({"statusLine": {"command": "theirs", "type": "command"}})";
    writeSettings(subject, replaced);

    subject.uninstall();
    EXPECT_EQ(readFile(subject.settingsPath()), replaced);
    EXPECT_FALSE(QFileInfo::exists(subject.hookScriptPath()));
    EXPECT_FALSE(QFileInfo::exists(subject.backupPath()));
    EXPECT_TRUE(QFileInfo::exists(subject.rateLimitCachePath())); // the cache stays
}

TEST_F(InstallerTest, SettingsThatCannotBeRewrittenSafelyAreLeftByteForByte) {
    struct Bad {
        QByteArray text;
        bool syntax; // not JSON at all, rather than JSON of the wrong shape
    };
    for (const Bad& bad : {Bad{"[1, 2, 3]\n", false}, Bad{"\"just a string\"", false},
                           Bad{"{\"a\": 1,", true}, Bad{"{\"a\": 1} trailing", true}, Bad{"", true},
                           Bad{"{\"n\": 1e400}", true}, Bad{"\xff\xfe{}", true}}) {
        SCOPED_TRACE(bad.text.toStdString());
        const auto subject = installer();
        writeSettings(subject, bad.text);
        if (bad.syntax) {
            EXPECT_THROW(subject.install(), JsonSyntaxError);
        } else {
            try {
                subject.install();
                ADD_FAILURE() << "install accepted settings that are not an object";
            } catch (const InstallerError& error) {
                EXPECT_EQ(error.description(), "Claude Code settings could not be updated safely.");
            }
        }
        EXPECT_EQ(readFile(subject.settingsPath()), bad.text);
        EXPECT_FALSE(subject.isInstalled());
        EXPECT_ANY_THROW(subject.uninstall());
        EXPECT_EQ(readFile(subject.settingsPath()), bad.text);
        QDir(home.filePath("user")).removeRecursively();
    }
}

TEST_F(InstallerTest, ASymlinkedSettingsFileStaysALink) {
    // Many developers keep their dotfiles in a repository and link them into place.
    const auto subject = installer();
    const QString real = home.filePath("dotfiles/claude-settings.json");
    writeFile(real, R"({"theme":"dark"})");
    QDir().mkpath(QFileInfo(subject.settingsPath()).absolutePath());
    ASSERT_TRUE(QFile::link(real, subject.settingsPath()));

    subject.install();
    EXPECT_TRUE(QFileInfo(subject.settingsPath()).isSymLink());
    EXPECT_EQ(readObject(real).value("theme"), "dark");
    EXPECT_TRUE(subject.isInstalled());
    subject.uninstall();
    EXPECT_TRUE(QFileInfo(subject.settingsPath()).isSymLink());
    EXPECT_EQ(readObject(real), QJsonObject({{"theme", "dark"}}));
}

TEST_F(InstallerTest, AMissingHelperStopsTheInstallBeforeAnythingIsWritten) {
    QDir().mkpath(home.filePath("user"));
    const ClaudeStatusLineInstaller subject(home.filePath("user"), home.filePath("no/lumora-json"));
    writeSettings(subject, R"({"a":1})");
    EXPECT_THROW(subject.install(), HookHelperMissingError);
    EXPECT_EQ(readFile(subject.settingsPath()), R"({"a":1})");
    EXPECT_FALSE(QFileInfo::exists(subject.hookScriptPath()));
}
