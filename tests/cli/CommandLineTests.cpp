#include "core/ClaudeUsageProvider.h"
#include "core/UsageSnapshot.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

using Outcome = CommandOutcome;

class CommandLineTest : public ::testing::Test {
protected:
    Outcome lumora(const QStringList& arguments) const { return runLumora(home.path(), arguments); }
    void installClaude() const { writeScript(home.filePath(".local/bin/claude"), "exit 0\n"); }
    QString data(const QString& name) const { return home.path() + "/.local/share/Lumora/" + name; }
    QString preferencesFile() const { return home.path() + "/.config/Lumora/preferences.json"; }
    QJsonObject preferences() const {
        return QJsonDocument::fromJson(readFile(preferencesFile())).object();
    }

    TemporaryHome home;
};

} // namespace

TEST_F(CommandLineTest, AFreshUserSeesNoProviderUnlessAllAreAskedFor) {
    // Without a command lumora is the tray, which needs a display; the status line does not.
    const Outcome tray = runLumora(
        home.path(), {}, {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}});
    EXPECT_EQ(tray.exitCode, 1);
    EXPECT_EQ(tray.err, "Lumora needs a desktop session to show its tray. `lumora status` works "
                        "without one.\n");
    const Outcome plain = lumora({"status"});
    EXPECT_EQ(plain.exitCode, 0);
    EXPECT_EQ(plain.out, "Lumora\n");
    const QJsonObject none =
        QJsonDocument::fromJson(lumora({"status", "--json"}).out.toUtf8()).object();
    EXPECT_EQ(none["title"].toString(), "Lumora");
    EXPECT_TRUE(none["snapshots"].toArray().isEmpty());

    const Outcome all = lumora({"status", "--all"});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_EQ(all.out, "Codex --% \u00B7 Claude Code --%\n");

    const Outcome json = lumora({"status", "--json", "--all"});
    EXPECT_EQ(json.exitCode, 0);
    const QJsonObject document = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_EQ(document["title"].toString(), "Codex --% \u00B7 Claude Code --%");
    const QJsonArray snapshots = document["snapshots"].toArray();
    ASSERT_EQ(snapshots.size(), 2);
    EXPECT_EQ(snapshots[0].toObject()["providerID"].toString(), "codex");
    const auto claude = UsageSnapshot::fromJson(snapshots[1].toObject());
    EXPECT_EQ(claude.statusMessage, "Claude Code is not installed.");
    // Snapshots without a verdict are not remembered, and status writes no preferences.
    EXPECT_FALSE(QFileInfo::exists(data("claude-code-snapshot.json")));
    EXPECT_FALSE(QFileInfo::exists(preferencesFile()));
}

TEST_F(CommandLineTest, ConnectThenStatusReadsTheHookCacheAndRemembersIt) {
    const Outcome missing = lumora({"connect", "claude"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.out, "Claude Code is not installed.\n" +
                               ClaudeUsageProvider::checkedVersionMessage + "\n");
    EXPECT_FALSE(QFileInfo::exists(preferencesFile()));

    installClaude();
    const Outcome connected = lumora({"connect", "claude"});
    EXPECT_EQ(connected.exitCode, 0) << connected.err.toStdString();
    EXPECT_EQ(connected.out, "Open Claude Code and send a message once to sync usage.\n");
    EXPECT_TRUE(QFileInfo::exists(data("claude-statusline.sh")));
    EXPECT_EQ(preferences()["providerEnabled"], QJsonValue(true));

    writeFile(data("claude-rate-limits.json"), R"({"five_hour":{"used_percentage":42}})");
    const Outcome status = lumora({"status"});
    EXPECT_EQ(status.out, "Claude Code 58%\n");
    const auto saved = UsageSnapshot::decode(readFile(data("claude-code-snapshot.json")));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->windows.first().usedRatio, 0.42);

    const Outcome disconnected = lumora({"disconnect", "claude"});
    EXPECT_EQ(disconnected.exitCode, 0);
    EXPECT_FALSE(QFileInfo::exists(data("claude-statusline.sh")));
    EXPECT_EQ(preferences()["providerEnabled"], QJsonValue(false));
    EXPECT_EQ(lumora({"status"}).out, "Lumora\n");
    EXPECT_TRUE(lumora({"status", "--all"}).out.endsWith("Claude Code --%\n"));
}

TEST_F(CommandLineTest, StatusFollowsTheStoredOrderAndSwitchesLikeThePanel) {
    installClaude();
    ASSERT_EQ(lumora({"connect", "claude"}).exitCode, 0);
    writeFile(data("claude-rate-limits.json"), R"({"five_hour":{"used_percentage":10}})");
    // Choices the tray stored: Claude Code first, Codex on, and the panel switches, which the
    // command line ignores (it shows what the panel would with both allowed).
    QJsonObject stored = preferences();
    stored["providerOrder"] = QJsonArray{"claude-code", "codex"};
    stored["codexEnabled"] = true;
    stored["showCodexInMenuBar"] = false;
    stored["showClaudeInMenuBar"] = false;
    writeFile(preferencesFile(), QJsonDocument(stored).toJson());

    EXPECT_EQ(lumora({"status"}).out, "Claude Code 90% \u00B7 Codex --%\n");
    const QJsonObject document =
        QJsonDocument::fromJson(lumora({"status", "--json"}).out.toUtf8()).object();
    const QJsonArray snapshots = document["snapshots"].toArray();
    ASSERT_EQ(snapshots.size(), 2);
    EXPECT_EQ(snapshots[0].toObject()["providerID"].toString(), "claude-code");

    // Codex switched off from the terminal; the other choices stay as they were.
    const Outcome off = lumora({"disconnect", "codex"});
    EXPECT_EQ(off.exitCode, 0);
    EXPECT_EQ(off.out, "Codex is disconnected.\n");
    EXPECT_EQ(preferences()["codexEnabled"], QJsonValue(false));
    EXPECT_EQ(preferences()["providerOrder"], QJsonValue(QJsonArray{"claude-code", "codex"}));
    EXPECT_EQ(lumora({"status"}).out, "Claude Code 90%\n");
}

TEST_F(CommandLineTest, InstallerErrorsAreReportedAndTheSettingsKept) {
    installClaude();
    const QByteArray array = "[1, 2, 3]\n";
    writeFile(home.filePath(".claude/settings.json"), array);
    const Outcome run = lumora({"connect", "claude"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "Claude Code settings could not be updated safely.\n");
    EXPECT_EQ(readFile(home.filePath(".claude/settings.json")), array);
}

TEST_F(CommandLineTest, VersionHelpAndWrongUsage) {
    const Outcome version = lumora({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, "Lumora 0.1.0\n");
    const Outcome help = lumora({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith("Usage: lumora"));

    for (const QStringList& wrong :
         {QStringList{"frobnicate"}, QStringList{"--frobnicate"}, QStringList{"status", "--xml"},
          QStringList{"status", "--json", "--waybar"}, QStringList{"connect"},
          QStringList{"connect", "gemini"}, QStringList{"disconnect"},
          QStringList{"disconnect", "claude", "codex"}}) {
        const Outcome run = lumora(wrong);
        EXPECT_EQ(run.exitCode, 2) << wrong.join(' ').toStdString();
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_TRUE(run.err.contains("Usage: lumora"));
    }
}
