// The data folder, atomic writes, the status-line hook's installer and the hook Claude Code runs.
#include "core/AtomicFile.h"
#include "core/ClaudeStatusLineInstaller.h"
#include "core/DataFolder.h"
#include "support/TestSupport.h"
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace lumora;
using namespace lumora::test;

namespace {

struct InstallerTest : ::testing::Test {
    ClaudeStatusLineInstaller installer(const QString& name = "user") const {
        QDir(home.filePath(name)).removeRecursively();
        QDir().mkpath(home.filePath(name));
        return ClaudeStatusLineInstaller(home.filePath(name), builtExecutable("lumora-json"));
    }
    static QString chained(const ClaudeStatusLineInstaller& subject) {
        return QString::fromUtf8(readFile(subject.hookScriptPath())).split('\n').value(5);
    }
    static bool anyFileLeft(const ClaudeStatusLineInstaller& s) {
        return QFileInfo::exists(s.hookScriptPath()) || QFileInfo::exists(s.backupPath());
    }
    TemporaryHome home;
};
using HookTest = InstallerTest;

} // namespace

// Atomic writes; other members survive, the user's line comes back, unsafe settings stay as is.
TEST_F(InstallerTest, InstallThenUninstallKeepsEveryOtherMemberAndRestoresTheStatusLine) {
    for (const auto& [xdg, folder] :
         {std::pair<QString, QString>{home.filePath("xdg"), "xdg/Lumora"},
          {"relative", ".local/share/Lumora"}}) {
        qputenv("XDG_DATA_HOME", xdg.toLocal8Bit()); // only an absolute one counts
        EXPECT_EQ(dataFolder(home.path()), home.filePath(folder));
    }
    const QString path = home.filePath("a/b/file.json");
    createFolders(home.filePath("a/b"), 0700);
    writeFileAtomically(path, "first", 0600);
    ::chmod(QFile::encodeName(path).constData(), 0640); // without a mode, the file keeps its own
    writeFileAtomically(path, "second");
    EXPECT_EQ(std::tuple(readFile(path), fileMode(path)), std::tuple("second", 0640));
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
    // Other members survive; the user's status line is backed up and restored, ours never chained.
    const std::pair<QByteArray, bool> cases[] = {
        // %OURS%: the hook's quoted path; the flag: foreign
        {"{}", false},
        {R"J({"permissions":{"allow":["Bash(git status:*)"],"deny":[]},"name":"Zoë 日本語 🚀",
         "env":{"DEPTH":{"a":{"b":{"c":[[[]]]}}}},"list":[1,"two",null,true],"tab\t\u0001":true,
         "big":9007199254740993,"int64":-9223372036854775808,"tiny":1.5e-7,"huge":1e300})J",
         false},
        {R"({"statusLine":{"type":"command","command":"~/bin/my-line","padding":2},"x":1})", true},
        {R"({"statusLine":null,"a":1})", true},
        {R"({"statusLine":{"type":"command","command":%OURS%},"a":[1]})", false},
        {R"({"statusLine":{"type":"command","command":"~/.claude/lumora-statusline.sh"}})", false},
    };
    for (const auto& [settings, foreign] : cases) {
        SCOPED_TRACE(settings.toStdString());
        const auto s = installer("o'brien's home");
        const QString ours = ClaudeStatusLineInstaller::shellQuoted(s.hookScriptPath());
        const QByteArray text = QByteArray(settings).replace(
            "%OURS%",
            QJsonDocument(QJsonArray{ours}).toJson(QJsonDocument::Compact).mid(1).chopped(1));
        writeFile(s.settingsPath(), text);
        const QJsonObject original = QJsonDocument::fromJson(text).object();
        QJsonObject others = original;
        others.remove("statusLine");
        s.install();
        const QByteArray installedFiles = readFile(s.settingsPath()) + readFile(s.hookScriptPath());
        s.install();
        EXPECT_EQ(readFile(s.settingsPath()) + readFile(s.hookScriptPath()), installedFiles);
        EXPECT_TRUE(s.isInstalled());
        QJsonObject installed = readJsonObject(s.settingsPath());
        EXPECT_EQ(installed.take("statusLine").toObject(),
                  (QJsonObject{{"type", "command"}, {"command", ours}, {"refreshInterval", 60}}));
        EXPECT_EQ(installed, others);
        const QJsonObject backup = readJsonObject(s.backupPath());
        EXPECT_EQ(std::tuple(backup.value("had_previous").toBool(), backup.value("status_line")),
                  std::tuple(foreign, foreign ? original.value("statusLine")
                                              : QJsonValue(QJsonValue::Undefined)));
        const bool chainsMine = foreign && original.value("statusLine").isObject();
        const QString mine = "previous_command='~/bin/my-line'";
        EXPECT_EQ(chained(s), chainsMine ? mine : "previous_command=''");
        // A status line set since is chained, but the first backup wins.
        installed.insert("statusLine", QJsonObject{{"type", "command"}, {"command", "echo 'hi'"}});
        writeFile(s.settingsPath(), QJsonDocument(installed).toJson());
        EXPECT_FALSE(s.isInstalled());
        s.install();
        EXPECT_EQ(chained(s), chainsMine ? mine : R"(previous_command='echo '"'"'hi'"'"'')");
        EXPECT_EQ(readJsonObject(s.backupPath()), backup);
        s.uninstall();
        EXPECT_FALSE(s.isInstalled() || anyFileLeft(s));
        EXPECT_EQ(readJsonObject(s.settingsPath()), foreign ? original : others);
    }
    // A fresh install makes private files and leaves no temporary ones.
    const auto s = installer();
    s.install();
    EXPECT_EQ(
        QList({fileMode(s.dataFolderPath()), fileMode(QFileInfo(s.settingsPath()).path()),
               fileMode(s.settingsPath()), fileMode(s.backupPath()), fileMode(s.hookScriptPath())}),
        QList({0700, 0700, 0600, 0600, 0700}));
    EXPECT_EQ(QDir(s.dataFolderPath()).entryList(QDir::Files),
              QStringList({"claude-statusline-backup.json", "claude-statusline.sh"}));
    // A status line the user has put in our place since is theirs to keep; so is the cache.
    writeFile(s.rateLimitCachePath(), "{}");
    const QByteArray replaced = R"({"statusLine": {"command": "theirs", "type": "command"}})";
    writeFile(s.settingsPath(), replaced);
    s.uninstall();
    EXPECT_EQ(std::tuple(readFile(s.settingsPath()), anyFileLeft(s),
                         QFileInfo::exists(s.rateLimitCachePath())),
              std::tuple(replaced, false, true));
    // Settings not a JSON object or a missing helper leave all byte for byte; links stay links.
    const QByteArray texts[] = {"[1, 2, 3]\n",    "\"just a string\"", "{\"a\": 1,", "",
                                "{\"n\": 1e400}", "\xff\xfe{}"};
    for (const QByteArray& text : texts) {
        const bool syntax = &text - texts >= 2; // the first two are JSON, but not objects
        SCOPED_TRACE(text.toStdString());
        const auto s = installer();
        writeFile(s.settingsPath(), text);
        try {
            s.install();
            ADD_FAILURE() << "installed";
        } catch (const JsonSyntaxError&) {
            EXPECT_TRUE(syntax);
        } catch (const InstallerError& error) {
            EXPECT_EQ(error.description(), "Claude Code settings could not be updated safely.");
            EXPECT_FALSE(syntax);
        }
        EXPECT_FALSE(s.isInstalled());
        EXPECT_ANY_THROW(s.uninstall());
        EXPECT_EQ(readFile(s.settingsPath()), text);
    }
    const ClaudeStatusLineInstaller noHelper(home.filePath("user"), home.filePath("no/helper"));
    writeFile(noHelper.settingsPath(), R"({"a":1})");
    EXPECT_THROW(noHelper.install(), HookHelperMissingError);
    EXPECT_TRUE(readFile(noHelper.settingsPath()) == R"({"a":1})" &&
                !QFileInfo::exists(noHelper.hookScriptPath()));
    installer();
    const QString real = home.filePath("dotfiles/claude-settings.json");
    writeFile(real, R"({"theme":"dark"})");
    QDir().mkpath(QFileInfo(s.settingsPath()).path());
    ASSERT_TRUE(QFile::link(real, s.settingsPath()));
    s.install();
    EXPECT_TRUE(QFileInfo(s.settingsPath()).isSymLink() && s.isInstalled());
    s.uninstall();
    EXPECT_TRUE(QFileInfo(s.settingsPath()).isSymLink());
    EXPECT_EQ(readJsonObject(real), QJsonObject({{"theme", "dark"}}));
}

// The hook prints what is left after the user's own line; racing hooks never tear the cache.
TEST_F(HookTest, SavesTheLimitsPrintsWhatIsLeftAfterThePreviousLineAndNeverTearsTheCache) {
    const auto statusInput = [](const QByteArray& rateLimits) {
        return R"({"session_id":"5c1d","transcript_path":"/tmp/t.jsonl","cwd":"/src",)"
               R"("model":{"id":"claude-opus","display_name":"Opus"},)"
               R"("workspace":{"current_dir":"/src","project_dir":"/src"},)"
               R"("version":"2.1.0","cost":{"total_cost_usd":0.01})" +
               (rateLimits.isEmpty() ? QByteArray() : R"(,"rate_limits":)" + rateLimits) + "}\n";
    };
    const auto fiveHour = [](const QByteArray& used) {
        return R"({"five_hour":{"used_percentage":)" + used + "}}";
    };
    const auto left = [](const QByteArray& remaining) {
        return QString("Lumora \u00B7 Claude Code %1% left\n").arg(remaining);
    };
    const auto s = installer();
    s.install();
    const auto command = [&] {
        return readJsonObject(s.settingsPath()).value("statusLine")["command"].toString();
    };
    const auto run = [&](const QByteArray& input) {
        const CommandOutcome hook = runProgram("/bin/sh", {"-c", command()}, input);
        EXPECT_EQ(std::tuple(hook.exitCode, hook.err), std::tuple(0, QString()));
        return hook.out;
    };
    const auto leftovers = [&] {
        return QDir(s.dataFolderPath())
            .entryList({"*.tmp*", "*.XXXXXX", "claude-rate-limits.json.*"}, QDir::Files);
    };
    const QByteArray limits = R"({"five_hour":{"used_percentage":42,"resets_at":1900000000},)"
                              R"("seven_day":{"used_percentage":7.5,"resets_at":1900500000}})";
    EXPECT_EQ(run(statusInput(limits)), left("58"));
    EXPECT_EQ(QJsonDocument::fromJson(readFile(s.rateLimitCachePath())),
              QJsonDocument::fromJson(limits));
    EXPECT_EQ(fileMode(s.rateLimitCachePath()), 0600);
    // Whole numbers are subtracted by the shell, the rest by awk: both agree at the seams.
    for (const QByteArray& row :
         QByteArray("41.6 58;104 0;100 0;99.5 0;\"042\" 58;1e1 90;-5 105;25 75").split(';')) {
        const QList<QByteArray> usedAndLeft = row.split(' ');
        EXPECT_EQ(run(statusInput(fiveHour(usedAndLeft[0]))), left(usedAndLeft[1])) << row.data();
    }
    for (const QByteArray& input :
         {statusInput({}), statusInput("null"), QByteArray("not json"), QByteArray(),
          QByteArray(R"({"rate_limits":)" + fiveHour("5"))}) {
        EXPECT_EQ(run(input), "Lumora \u00B7 waiting for Claude Code usage\n") << input.data();
        EXPECT_EQ(readFile(s.rateLimitCachePath()), fiveHour("25"));
        EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    }
    const CommandOutcome race =
        runProgram("/bin/sh", {"-c", R"(
        (reads=0 bad=0
         until [ -e "$4" ]; do reads=$((reads + 1))
             "$3" extract five_hour json -o - "$2" > /dev/null || bad=$((bad + 1))
         done; echo "$reads reads, $bad bad") &
        for i in $(seq 0 49); do
            pad=$(head -c $((i * 997)) /dev/zero | tr '\0' x)
            printf '{"rate_limits":{"five_hour":{"used_percentage":%d},"pad":"%s"}}\n' $i "$pad" |
                sh -c "$1" > /dev/null & hooks="$hooks $!"
        done
        wait $hooks && touch "$4" && wait)",
                               "race", command(), s.rateLimitCachePath(),
                               builtExecutable("lumora-json"), home.filePath("done")});
    EXPECT_EQ(race.exitCode, 0) << race.err.toStdString();
    EXPECT_TRUE(race.out.endsWith(" reads, 0 bad\n") && !race.out.startsWith("0 "))
        << race.out.toStdString();
    EXPECT_EQ(std::tuple(leftovers(), fileMode(s.rateLimitCachePath())),
              std::tuple(QStringList(), 0600));
    s.uninstall();
    const QString seen = home.filePath("seen.json");
    writeFile(s.settingsPath(), R"({"statusLine":{"type":"command","command":"cat > ')" +
                                    seen.toUtf8() +
                                    R"('; printf 'main \\360\\237\\214\\277\\n'"}})");
    s.install();
    const QByteArray input = statusInput(fiveHour("42"));
    EXPECT_EQ(run(input), "main \U0001F33F\n" + left("58"));
    EXPECT_EQ(readFile(seen), input); // byte for byte, final line break included
    EXPECT_EQ(run(statusInput({})), "main \U0001F33F\n"); // no figures: only the user's own line
}
