// Lumora's data folder and atomic writes, the status-line hook's installer, and the installed hook
// run for real the way Claude Code runs it.
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

TEST(AtomicFile, DataFolderModesFailuresAndBoundedReads) {
    TemporaryHome home;
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/.local/share/Lumora");
    qputenv("XDG_DATA_HOME", "relative/data"); // only an absolute XDG_DATA_HOME counts
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/.local/share/Lumora");
    qputenv("XDG_DATA_HOME", (home.path() + "/xdg").toLocal8Bit());
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/xdg/Lumora");

    const QString path = home.filePath("a/b/file.json");
    createFolders(home.filePath("a/b"), 0700);
    EXPECT_EQ(fileMode(home.filePath("a")), 0700);
    EXPECT_EQ(fileMode(home.filePath("a/b")), 0700);
    writeFileAtomically(path, "first", 0600);
    EXPECT_EQ(readFile(path), "first");
    EXPECT_EQ(fileMode(path), 0600);
    ::chmod(QFile::encodeName(path).constData(), 0640); // without a mode, the file keeps its own
    writeFileAtomically(path, "second");
    EXPECT_EQ(readFile(path), "second");
    EXPECT_EQ(fileMode(path), 0640);
    EXPECT_EQ(QDir(home.filePath("a/b")).entryList(QDir::Files), QStringList{"file.json"});

    // Renaming over a non-empty folder fails even for root: the system's text, nothing left.
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

    EXPECT_FALSE(readWholeFile(home.filePath("missing")).has_value());
    writeFile(home.filePath("big"), QByteArray(100, 'x'));
    EXPECT_FALSE(readWholeFile(home.filePath("big"), 99).has_value());
    EXPECT_EQ(readWholeFile(home.filePath("big"), 100).value().size(), 100);
}

namespace {

class InstallerTest : public ::testing::Test {
protected:
    ClaudeStatusLineInstaller installer(const QString& homeName = "user") const {
        QDir(home.filePath(homeName)).removeRecursively();
        QDir().mkpath(home.filePath(homeName));
        return ClaudeStatusLineInstaller(home.filePath(homeName), builtExecutable("lumora-json"));
    }
    static QString previousCommandLine(const ClaudeStatusLineInstaller& installer) {
        return QString::fromUtf8(readFile(installer.hookScriptPath())).split('\n').value(5);
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

// Settings files as users have them; `%OURS%` stands for the hook script's quoted path. The flag:
// the status line is the user's own, so it is backed up and restored.
const QList<std::pair<QByteArray, bool>> settingsCases{
    {"{}", false},
    {R"J({"permissions":{"allow":["Bash(git status:*)"],"deny":[]},"name":"Zoë 日本語 🚀",
         "env":{"DEPTH":{"a":{"b":{"c":[[[]]]}}}},"list":[1,"two",null,true],"tab\t\u0001":true,
         "big":9007199254740993,"int64":-9223372036854775808,"tiny":1.5e-7,"huge":1e300})J",
     false},
    {R"({"statusLine":{"type":"command","command":"~/bin/my-line","padding":2},"theme":"dark"})",
     true},
    {R"({"statusLine":null,"a":1})", true},
    {R"({"statusLine":{"type":"command","command":%OURS%},"a":[1]})", false},
    {R"({"statusLine":{"type":"command","command":"~/.claude/lumora-statusline.sh"},"a":{}})",
     false}, // the legacy hook
};

} // namespace

TEST_F(InstallerTest, InstallThenUninstallKeepsEveryOtherMemberAndRestoresTheStatusLine) {
    {
        for (const auto& [settings, foreign] : settingsCases) {
            SCOPED_TRACE(settings.toStdString());
            const auto subject = installer("o'brien's home");
            const QByteArray text = QByteArray(settings).replace(
                "%OURS%", QJsonDocument(QJsonArray{ClaudeStatusLineInstaller::shellQuoted(
                                            subject.hookScriptPath())})
                              .toJson(QJsonDocument::Compact)
                              .mid(1)
                              .chopped(1));
            writeSettings(subject, text);
            const QJsonObject original = QJsonDocument::fromJson(text).object();
            ASSERT_FALSE(original.isEmpty() && text != "{}") << "bad test input";

            subject.install();
            EXPECT_TRUE(subject.isInstalled());
            QJsonObject installed = readJsonObject(subject.settingsPath());
            EXPECT_EQ(installed.take("statusLine").toObject(), ourStatusLine(subject));
            QJsonObject others = original;
            others.remove("statusLine");
            EXPECT_EQ(installed, others);
            const QJsonObject backup = readJsonObject(subject.backupPath());
            EXPECT_EQ(backup.value("had_previous").toBool(), foreign);
            EXPECT_EQ(backup.value("status_line"),
                      foreign ? original.value("statusLine") : QJsonValue::Undefined);
            // Our own hook, current or legacy, is never chained to itself.
            EXPECT_EQ(previousCommandLine(subject),
                      foreign && original.value("statusLine").isObject()
                          ? "previous_command='~/bin/my-line'"
                          : "previous_command=''");

            const QByteArray settingsBefore = readFile(subject.settingsPath());
            const QByteArray scriptBefore = readFile(subject.hookScriptPath());
            subject.install(); // again: changes nothing
            EXPECT_EQ(readFile(subject.settingsPath()), settingsBefore);
            EXPECT_EQ(readFile(subject.hookScriptPath()), scriptBefore);

            subject.uninstall();
            EXPECT_FALSE(subject.isInstalled());
            EXPECT_FALSE(QFileInfo::exists(subject.hookScriptPath()));
            EXPECT_FALSE(QFileInfo::exists(subject.backupPath()));
            EXPECT_EQ(readJsonObject(subject.settingsPath()), foreign ? original : others);
        }
    }
    // A fresh install makes private files and leaves no temporary ones.
    const auto subject = installer();
    subject.install();
    for (const QString& folder :
         {subject.dataFolderPath(), QFileInfo(subject.settingsPath()).absolutePath()}) {
        EXPECT_EQ(fileMode(folder), 0700);
    }
    EXPECT_EQ(fileMode(subject.settingsPath()), 0600);
    EXPECT_EQ(fileMode(subject.backupPath()), 0600);
    EXPECT_EQ(fileMode(subject.hookScriptPath()), 0700);
    EXPECT_EQ(QDir(subject.dataFolderPath()).entryList(QDir::Files),
              QStringList({"claude-statusline-backup.json", "claude-statusline.sh"}));
}

// A command set after the first install is chained, but the first backup wins: uninstalling goes
// back to what was there before Lumora, unless the user has replaced the status line since.
TEST_F(InstallerTest, LaterStatusLinesAreChainedAndTheFirstBackupIsKept) {
    const struct {
        QByteArray before;
        const char* chained;
        QJsonValue restored;
    } cases[] = {
        {"{}", R"(previous_command='echo '"'"'hi'"'"'')", QJsonValue::Undefined},
        {R"({"statusLine":{"type":"command","command":"first"}})", "previous_command='first'",
         QJsonObject{{"type", "command"}, {"command", "first"}}},
    };
    const QJsonObject later{{"type", "command"}, {"command", "echo 'hi'"}};
    for (const auto& c : cases) {
        const auto subject = installer();
        writeSettings(subject, c.before);
        subject.install();
        const QJsonObject backup = readJsonObject(subject.backupPath());
        QJsonObject settings = readJsonObject(subject.settingsPath());
        settings.insert("statusLine", later);
        writeSettings(subject, QJsonDocument(settings).toJson());
        EXPECT_FALSE(subject.isInstalled());
        subject.install();
        EXPECT_EQ(previousCommandLine(subject), c.chained);
        EXPECT_EQ(readJsonObject(subject.backupPath()), backup);
        subject.uninstall();
        EXPECT_EQ(readJsonObject(subject.settingsPath()).value("statusLine"), c.restored);
    }

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
    // The flag: not JSON at all, rather than JSON of the wrong shape.
    for (const auto& [text, syntax] :
         QList<std::pair<QByteArray, bool>>{{"[1, 2, 3]\n", false},
                                            {"\"just a string\"", false},

                                            {"{\"a\": 1,", true},

                                            {"", true},
                                            {"{\"n\": 1e400}", true},
                                            {"\xff\xfe{}", true}}) {
        SCOPED_TRACE(text.toStdString());
        const auto subject = installer();
        writeSettings(subject, text);
        if (syntax) {
            EXPECT_THROW(subject.install(), JsonSyntaxError);
        } else {
            try {
                subject.install();
                ADD_FAILURE() << "install accepted settings that are not an object";
            } catch (const InstallerError& error) {
                EXPECT_EQ(error.description(), "Claude Code settings could not be updated safely.");
            }
        }
        EXPECT_FALSE(subject.isInstalled());
        EXPECT_ANY_THROW(subject.uninstall());
        EXPECT_EQ(readFile(subject.settingsPath()), text);
    }
    // A missing helper stops the install before anything is written.
    const ClaudeStatusLineInstaller noHelper(home.filePath("user"),
                                             home.filePath("no/lumora-json"));
    writeSettings(noHelper, R"({"a":1})");
    EXPECT_THROW(noHelper.install(), HookHelperMissingError);
    EXPECT_EQ(readFile(noHelper.settingsPath()), R"({"a":1})");
    EXPECT_FALSE(QFileInfo::exists(noHelper.hookScriptPath()));

    // Dotfiles kept in a repository and linked into place stay links.
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

namespace {

QByteArray statusInput(const QByteArray& rateLimits) {
    return R"({"session_id":"5c1d","transcript_path":"/tmp/t.jsonl","cwd":"/src",)"
           R"("model":{"id":"claude-opus","display_name":"Opus"},)"
           R"("workspace":{"current_dir":"/src","project_dir":"/src"},)"
           R"("version":"2.1.0","cost":{"total_cost_usd":0.01})" +
           (rateLimits.isEmpty() ? QByteArray() : R"(,"rate_limits":)" + rateLimits) + "}\n";
}
QByteArray fiveHour(const QByteArray& used) {
    return R"({"five_hour":{"used_percentage":)" + used + "}}";
}
QString left(const QByteArray& remaining) {
    return QString("Lumora \u00B7 Claude Code %1% left\n").arg(remaining);
}
const QString waiting = "Lumora \u00B7 waiting for Claude Code usage\n";

// The installed hook as Claude Code runs it: the settings' command through /bin/sh -c, the status
// JSON on standard input.
class HookTest : public InstallerTest {
protected:
    void SetUp() override { subject = std::make_unique<ClaudeStatusLineInstaller>(installer()); }
    QString command() const {
        return readJsonObject(subject->settingsPath()).value("statusLine")["command"].toString();
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
    QByteArray cache() const { return readFile(subject->rateLimitCachePath()); }

    std::unique_ptr<ClaudeStatusLineInstaller> subject;
};

} // namespace

TEST_F(HookTest, SavesTheRateLimitsOfAnyInputAndPrintsTheRemainingShare) {
    subject->install();
    const QByteArray limits =
        R"({"five_hour":{"used_percentage":42,"resets_at":1900000000},"seven_day":{"used_percentage":7.5,"resets_at":1900500000}})";
    EXPECT_EQ(run(statusInput(limits)), left("58"));
    EXPECT_EQ(QJsonDocument::fromJson(cache()), QJsonDocument::fromJson(limits));
    EXPECT_EQ(fileMode(subject->rateLimitCachePath()), 0600);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    // Whole numbers are subtracted by the shell, everything else by awk: both agree at the seams;
    // fractions round, and more than 100% used shows 0%.
    for (const QByteArray& row :
         QByteArray("41.6 58;104 0;100 0;99.5 0;\"042\" 58;1e1 90;-5 105").split(';')) {
        const QList<QByteArray> usedAndLeft = row.split(' ');
        EXPECT_EQ(run(statusInput(fiveHour(usedAndLeft[0]))), left(usedAndLeft[1]))
            << row.toStdString();
    }

    // Input without rate limits keeps the old cache.
    EXPECT_EQ(run(statusInput(fiveHour("25"))), left("75"));
    for (const QByteArray& input :
         {statusInput({}), statusInput("null"), QByteArray("not json"), QByteArray(),
          QByteArray(R"({"rate_limits":)" + fiveHour("5"))}) {
        SCOPED_TRACE(input.toStdString());
        EXPECT_EQ(run(input), waiting);
        EXPECT_EQ(cache(), fiveHour("25"));
        EXPECT_TRUE(leftovers().isEmpty());
    }
}

TEST_F(HookTest, ThePreviousStatusLineRunsFirstWithTheSameInput) {
    const QString seen = home.filePath("seen.json");
    writeSettings(*subject, R"({"statusLine":{"type":"command","command":"cat > ')" +
                                seen.toUtf8() + R"('; printf 'main \\360\\237\\214\\277\\n'"}})");
    subject->install();
    const QByteArray input = statusInput(fiveHour("42"));
    EXPECT_EQ(run(input), "main \U0001F33F\n" + left("58"));
    EXPECT_EQ(readFile(seen), input); // byte for byte, final line break included
    // With a previous status line and no figures, only the user's own line is shown.
    EXPECT_EQ(run(statusInput({})).count('\n'), 1);
}

TEST_F(HookTest, ConcurrentRunsNeverExposeAPartialCache) {
    subject->install();
    run(statusInput(fiveHour("1")));
    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    std::atomic<int> bad{0};
    std::thread reader([&, path = subject->rateLimitCachePath()] {
        for (const ClaudeRateLimitCacheParser parser; !done; ++reads) {
            QFile file(path);
            try {
                const QDateTime now = QDateTime::currentDateTimeUtc();
                bad += file.open(QIODevice::ReadOnly) ? 0 : 1;
                parser.parse(file.readAll(), now, now);
            } catch (const Error&) {
                ++bad;
            }
        }
    });
    std::vector<std::unique_ptr<QProcess>> runs;
    for (int i = 0; i < 50; ++i) {
        // Sizes differ a lot, so that a torn file could not pass for a whole one.
        const QByteArray input =
            statusInput(R"({"five_hour":{"used_percentage":)" + QByteArray::number(i) +
                        R"(},"pad":")" + QByteArray(i * 997, 'x') + "\"}");
        runs.push_back(std::make_unique<QProcess>());
        runs.back()->start("/bin/sh", {"-c", command()});
        runs.back()->write(input);
        runs.back()->closeWriteChannel();
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
    EXPECT_EQ(fileMode(subject->rateLimitCachePath()), 0600);
}
