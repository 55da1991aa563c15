// Where Lumora keeps its files and how it writes them, the installer of the status-line hook,
// and the hook it installs, run for real.
#include "core/AtomicFile.h"
#include "core/ClaudeRateLimitCacheParser.h"
#include "core/ClaudeStatusLineInstaller.h"
#include "core/DataFolder.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace lumora;
using namespace lumora::test;

TEST(DataFolder, FollowsXdgDataHomeOnlyWhenAbsolute) {
    TemporaryHome home;
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/.local/share/Lumora");
    qputenv("XDG_DATA_HOME", "relative/data");
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/.local/share/Lumora");
    qputenv("XDG_DATA_HOME", (home.path() + "/xdg").toLocal8Bit());
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/xdg/Lumora");
    EXPECT_EQ(claudeSettingsPath(home.path()), home.path() + "/.claude/settings.json");
}

TEST(AtomicFile, ReplacesContentWithRequestedModeAndLeavesNoTemporaryFiles) {
    TemporaryHome home;
    const QString path = home.filePath("a/b/file.json");
    createFolders(home.filePath("a/b"), 0700);
    EXPECT_EQ(fileMode(home.filePath("a")), 0700);
    EXPECT_EQ(fileMode(home.filePath("a/b")), 0700);

    writeFileAtomically(path, "first", 0600);
    EXPECT_EQ(readFile(path), "first");
    EXPECT_EQ(fileMode(path), 0600);

    // Without explicit permissions an existing file keeps its mode.
    ::chmod(QFile::encodeName(path).constData(), 0640);
    writeFileAtomically(path, "second");
    EXPECT_EQ(readFile(path), "second");
    EXPECT_EQ(fileMode(path), 0640);
    EXPECT_EQ(QDir(home.filePath("a/b")).entryList(QDir::Files), QStringList{"file.json"});
}

TEST(AtomicFile, FailureThrowsTheSystemTextAndLeavesNothingBehind) {
    TemporaryHome home;
    // Renaming a file over a non-empty folder fails even for root.
    writeFile(home.filePath("target/inside"), "old");
    try {
        writeFileAtomically(home.filePath("target"), "new");
        ADD_FAILURE() << "expected a FileSystemError";
    } catch (const FileSystemError& error) {
        EXPECT_TRUE(error.description().contains("target")) << error.what();
    }
    EXPECT_EQ(readFile(home.filePath("target/inside")), "old");
    EXPECT_EQ(QDir(home.path()).entryList(QDir::Files | QDir::Hidden), QStringList{});
    EXPECT_THROW(writeFileAtomically(home.filePath("missing-folder/file"), "x"), FileSystemError);
}

TEST(AtomicFile, ReaderRefusesMissingAndOversizedFiles) {
    TemporaryHome home;
    EXPECT_FALSE(readWholeFile(home.filePath("missing")).has_value());
    writeFile(home.filePath("big"), QByteArray(100, 'x'));
    EXPECT_FALSE(readWholeFile(home.filePath("big"), 99).has_value());
    EXPECT_EQ(readWholeFile(home.filePath("big"), 100).value().size(), 100);
    EXPECT_FALSE(readWholeFile(home.path()).has_value()); // a folder
}

namespace {

class InstallerTest : public ::testing::Test {
protected:
    // The installer for a home folder inside the temporary home (a subfolder lets a test give
    // the home folder an awkward name).
    ClaudeStatusLineInstaller installer(const QString& homeName = "user") const {
        QDir().mkpath(home.filePath(homeName));
        return ClaudeStatusLineInstaller(home.filePath(homeName), builtExecutable("lumora-json"));
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
            QJsonObject installed = readJsonObject(subject.settingsPath());
            EXPECT_EQ(installed.value("statusLine").toObject(), ourStatusLine(subject));
            installed.remove("statusLine");
            QJsonObject others = original;
            others.remove("statusLine");
            EXPECT_EQ(installed, others);

            const QJsonObject backup = readJsonObject(subject.backupPath());
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
            EXPECT_EQ(readJsonObject(subject.settingsPath()),
                      settingsCase.foreignStatusLine ? original : others);
            QDir(home.filePath(homeName)).removeRecursively();
        }
    }
}

TEST_F(InstallerTest, FreshInstallCreatesFilesWithPrivateModes) {
    const auto subject = installer();
    subject.install();
    EXPECT_EQ(readJsonObject(subject.settingsPath()),
              QJsonObject({{"statusLine", ourStatusLine(subject)}}));
    EXPECT_EQ(readJsonObject(subject.backupPath()), QJsonObject({{"had_previous", false}}));
    EXPECT_EQ(fileMode(subject.dataFolderPath()), 0700);
    EXPECT_EQ(fileMode(QFileInfo(subject.settingsPath()).absolutePath()), 0700);
    EXPECT_EQ(fileMode(subject.settingsPath()), 0600);
    EXPECT_EQ(fileMode(subject.backupPath()), 0600);
    EXPECT_EQ(fileMode(subject.hookScriptPath()), 0700);
    // Only this folder's own files: no temporary files left behind.
    EXPECT_EQ(QDir(subject.dataFolderPath()).entryList(QDir::Files),
              QStringList({"claude-statusline-backup.json", "claude-statusline.sh"}));
}

// A command that appears after the first install is chained, but the first installation's backup
// wins: uninstalling goes back to what was there before Lumora.
TEST_F(InstallerTest, ALaterForeignCommandIsChainedButTheFirstBackupIsKept) {
    const struct {
        QByteArray before;
        const char* chained;
        QJsonValue restored;
    } cases[] = {
        {"{}", R"(previous_command='echo '"'"'hi'"'"'')", QJsonValue::Undefined},
        {R"({"statusLine":{"type":"command","command":"first"}})", "previous_command='first'",
         QJsonObject{{"type", "command"}, {"command", "first"}}},
    };
    for (const auto& c : cases) {
        const auto subject = installer();
        writeSettings(subject, c.before);
        subject.install();
        const QJsonObject backup = readJsonObject(subject.backupPath());
        QJsonObject settings = readJsonObject(subject.settingsPath());
        settings.insert("statusLine", QJsonObject{{"type", "command"}, {"command", "echo 'hi'"}});
        writeSettings(subject, QJsonDocument(settings).toJson());
        EXPECT_FALSE(subject.isInstalled());
        subject.install();
        EXPECT_EQ(scriptLine(subject, 6), c.chained);
        EXPECT_EQ(readJsonObject(subject.backupPath()), backup);
        subject.uninstall();
        EXPECT_EQ(readJsonObject(subject.settingsPath()).value("statusLine"), c.restored);
        QDir(home.filePath("user")).removeRecursively();
    }
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
    EXPECT_EQ(readJsonObject(real).value("theme"), "dark");
    EXPECT_TRUE(subject.isInstalled());
    subject.uninstall();
    EXPECT_TRUE(QFileInfo(subject.settingsPath()).isSymLink());
    EXPECT_EQ(readJsonObject(real), QJsonObject({{"theme", "dark"}}));
}

TEST_F(InstallerTest, AMissingHelperStopsTheInstallBeforeAnythingIsWritten) {
    QDir().mkpath(home.filePath("user"));
    const ClaudeStatusLineInstaller subject(home.filePath("user"), home.filePath("no/lumora-json"));
    writeSettings(subject, R"({"a":1})");
    EXPECT_THROW(subject.install(), HookHelperMissingError);
    EXPECT_EQ(readFile(subject.settingsPath()), R"({"a":1})");
    EXPECT_FALSE(QFileInfo::exists(subject.hookScriptPath()));
}

namespace {

QByteArray statusInput(const QByteArray& rateLimits) {
    // The shape of Claude Code's status-line input, with the members Lumora does not read.
    QByteArray input = R"({"session_id":"5c1d","transcript_path":"/tmp/t.jsonl","cwd":"/src",)"
                       R"("model":{"id":"claude-opus","display_name":"Opus"},)"
                       R"("workspace":{"current_dir":"/src","project_dir":"/src"},)"
                       R"("version":"2.1.0","cost":{"total_cost_usd":0.01})";
    if (!rateLimits.isEmpty()) {
        input += R"(,"rate_limits":)" + rateLimits;
    }
    return input + "}\n";
}

// The installed hook, run for real the way Claude Code runs a status-line command: the settings'
// "command" through /bin/sh -c, with the status JSON on standard input.
class HookTest : public InstallerTest {
protected:
    void SetUp() override { subject = std::make_unique<ClaudeStatusLineInstaller>(installer()); }

    QString command() const {
        return readJsonObject(subject->settingsPath())["statusLine"]
            .toObject()["command"]
            .toString();
    }

    // Starts the hook; the caller waits for it.
    std::unique_ptr<QProcess> start(const QByteArray& input) const {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::SeparateChannels);
        process->start("/bin/sh", {"-c", command()});
        process->write(input);
        process->closeWriteChannel();
        return process;
    }

    QString run(const QByteArray& input) const {
        const CommandOutcome hook = runProgram("/bin/sh", {"-c", command()}, input);
        EXPECT_EQ(hook.exitCode, 0);
        EXPECT_EQ(hook.err, "");
        return hook.out;
    }

    QStringList leftovers() const {
        return QDir(subject->dataFolderPath())
            .entryList({"*.tmp*", "*.XXXXXX", "claude-rate-limits.json.*"}, QDir::Files);
    }

    std::unique_ptr<ClaudeStatusLineInstaller> subject;
};

} // namespace

TEST_F(HookTest, SavesTheRateLimitsAndPrintsTheRemainingShare) {
    subject->install();
    const QByteArray limits =
        R"({"five_hour":{"used_percentage":42,"resets_at":1900000000},"seven_day":{"used_percentage":7.5,"resets_at":1900500000}})";
    EXPECT_EQ(run(statusInput(limits)), "Lumora \u00B7 Claude Code 58% left\n");

    const QString cache = subject->rateLimitCachePath();
    EXPECT_EQ(QJsonDocument::fromJson(readFile(cache)), QJsonDocument::fromJson(limits));
    EXPECT_EQ(fileMode(cache), 0600);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    const auto snapshot = ClaudeRateLimitCacheParser().parse(
        readFile(cache), QDateTime::currentDateTimeUtc(), QDateTime::currentDateTimeUtc());
    EXPECT_EQ(snapshot.windows.size(), 2);
    EXPECT_EQ(snapshot.windows[0].usedRatio, 0.42);

    // Fractions round to a whole number; more than 100% used shows 0% rather than a negative.
    // Whole numbers are subtracted by the shell, everything else by awk: both ways agree at the
    // seams between them.
    const std::pair<QByteArray, QByteArray> percentages[] = {
        {"41.6", "58"},    {"104", "0"},  {"0", "100"},  {"100", "0"},
        {"999", "0"},      {"1000", "0"}, {"99.5", "0"}, {"0.4", "100"},
        {"\"042\"", "58"}, {"1e1", "90"}, {"-5", "105"},
    };
    for (const auto& [used, remaining] : percentages) {
        EXPECT_EQ(run(statusInput(R"({"five_hour":{"used_percentage":)" + used + "}}")),
                  "Lumora \u00B7 Claude Code " + remaining + "% left\n")
            << used.toStdString();
    }
}

TEST_F(HookTest, ReadsInputOfAnyLayoutAndSize) {
    subject->install();
    const QByteArray limits = R"({"five_hour":{"used_percentage":25}})";
    // Pretty-printed over several lines, no final line break, and large enough that the shell
    // can no longer hand it to the helper in one pipe write.
    QByteArray large = statusInput(limits);
    large.insert(1, R"("padding":")" + QByteArray(20000, 'x') + R"(",)");
    for (const QByteArray& input : {QByteArray("{\n  \"rate_limits\":\n    " + limits + "\n}\n"),
                                    statusInput(limits).chopped(1), large}) {
        QFile::remove(subject->rateLimitCachePath());
        EXPECT_EQ(run(input), "Lumora \u00B7 Claude Code 75% left\n");
        EXPECT_EQ(readFile(subject->rateLimitCachePath()), limits);
    }
}

TEST_F(HookTest, InputWithoutRateLimitsKeepsTheOldCache) {
    subject->install();
    EXPECT_EQ(run(statusInput(R"({"five_hour":{"used_percentage":10}})")),
              "Lumora \u00B7 Claude Code 90% left\n");
    const QByteArray saved = readFile(subject->rateLimitCachePath());

    for (const QByteArray& input :
         {statusInput({}), statusInput("null"), QByteArray("not json at all"), QByteArray(),
          QByteArray(R"({"rate_limits":{"five_hour":{"used_percentage":5}})") /* cut short */}) {
        SCOPED_TRACE(input.toStdString());
        EXPECT_EQ(run(input), "Lumora \u00B7 waiting for Claude Code usage\n");
        EXPECT_EQ(readFile(subject->rateLimitCachePath()), saved);
        EXPECT_TRUE(leftovers().isEmpty());
    }
    // Only a seven-day window: saved, but there is no five-hour figure to print.
    EXPECT_EQ(run(statusInput(R"({"seven_day":{"used_percentage":50}})")),
              "Lumora \u00B7 waiting for Claude Code usage\n");
    EXPECT_EQ(readFile(subject->rateLimitCachePath()), R"({"seven_day":{"used_percentage":50}})");
}

TEST_F(HookTest, ThePreviousStatusLineRunsFirstWithTheSameInput) {
    const QString seen = home.filePath("seen.json");
    const QString previous = QString("cat > '%1'; printf 'main \\360\\237\\214\\277\\n'").arg(seen);
    writeFile(subject->settingsPath(),
              QJsonDocument(QJsonObject{{"statusLine",
                                         QJsonObject{{"type", "command"}, {"command", previous}}}})
                  .toJson());
    subject->install();

    const QByteArray input = statusInput(R"({"five_hour":{"used_percentage":42}})");
    const QString printed = run(input);
    EXPECT_EQ(printed, "main \U0001F33F\nLumora \u00B7 Claude Code 58% left\n");
    EXPECT_EQ(readFile(seen), input); // byte for byte, final line break included

    // With a previous status line and no figures, only the user's own line is shown.
    EXPECT_EQ(run(statusInput({})).count('\n'), 1);
}

TEST_F(HookTest, ConcurrentRunsNeverExposeAPartialCache) {
    subject->install();
    const QString cache = subject->rateLimitCachePath();
    run(statusInput(R"({"five_hour":{"used_percentage":1}})"));

    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    std::atomic<int> bad{0};
    std::thread reader([&] {
        const ClaudeRateLimitCacheParser parser;
        while (!done) {
            QFile file(cache);
            if (!file.open(QIODevice::ReadOnly)) {
                ++bad; // the cache must never be missing either
                continue;
            }
            try {
                parser.parse(file.readAll(), QDateTime::currentDateTimeUtc(),
                             QDateTime::currentDateTimeUtc());
            } catch (const Error&) {
                ++bad;
            }
            ++reads;
        }
    });

    std::vector<std::unique_ptr<QProcess>> runs;
    for (int i = 0; i < 50; ++i) {
        // Sizes differ a lot, so that a torn file could not pass for a whole one.
        const QByteArray padding(static_cast<qsizetype>(i) * 997, 'x');
        runs.push_back(
            start(statusInput(QString(R"({"five_hour":{"used_percentage":%1},"pad":"%2"})")
                                  .arg(i)
                                  .arg(QString::fromLatin1(padding))
                                  .toUtf8())));
    }
    for (const auto& process : runs) {
        EXPECT_TRUE(process->waitForFinished(30000));
        EXPECT_EQ(process->exitCode(), 0);
    }
    done = true;
    reader.join();

    EXPECT_EQ(bad.load(), 0) << "of " << reads.load() << " reads";
    EXPECT_GT(reads.load(), 0);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    EXPECT_EQ(fileMode(cache), 0600);
}
