// `lumora status --waybar`: one JSON line for waybar's custom module, from the real files of a
// scratch home and a fake codex.
#include "core/UsageSnapshot.h"
#include "support/TestSupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class WaybarTest : public ::testing::Test {
protected:
    // `lumora status --waybar`, which must print exactly one JSON object, on one line.
    QJsonObject waybar() const {
        const CommandOutcome run = runLumora(home.path(), {"status", "--waybar"},
                                             {{"LUMORA_CODEX_PATH", home.filePath("tools/codex")}});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_TRUE(run.out.endsWith('\n') && run.out.count('\n') == 1) << run.out.toStdString();
        const QJsonDocument document = QJsonDocument::fromJson(run.out.toUtf8());
        EXPECT_TRUE(document.isObject()) << run.out.toStdString();
        return document.object();
    }
    // Claude Code connected, and its last snapshot as the hook and the tray left it.
    void saveClaude(Availability availability, double usedRatio, qint64 ageSeconds = 0) const {
        if (!QFileInfo::exists(home.dataFile("claude-statusline.sh"))) {
            home.installClaude();
            EXPECT_EQ(runLumora(home.path(), {"connect", "claude"}).exitCode, 0);
        }
        QDateTime captured = QDateTime::currentDateTimeUtc().addSecs(-ageSeconds);
        captured = captured.addMSecs(-captured.time().msec());
        const UsageSnapshot snapshot{
            "claude-code",
            "Claude Code",
            captured,
            availability,
            {UsageWindow(UsageWindow::Kind::session, usedRatio, captured.addSecs(9000))},
            SnapshotSource::officialCLI,
            Confidence::exact,
            150,
            std::nullopt};
        writeFile(home.dataFile("claude-code-snapshot.json"), snapshot.encode());
    }

    TemporaryHome home;
};

QStringList classes(const QJsonObject& status) {
    return status["class"].toVariant().toStringList();
}

} // namespace

TEST_F(WaybarTest, ClassIsTheWorstShownVerdictAndPercentageTheLowestCurrentShare) {
    const QJsonObject nothing = waybar();
    EXPECT_EQ(nothing["text"].toString(), "Lumora");
    EXPECT_EQ(classes(nothing), QStringList{"unknown"});
    EXPECT_FALSE(nothing.contains("percentage"));
    EXPECT_TRUE(nothing["tooltip"].toString().startsWith("No tool is shown."));

    const struct {
        Availability availability;
        double usedRatio;
        const char* text;
        const char* verdict;
        int percentage;
    } rows[] = {
        {Availability::ready, 0.42, "Claude Code 58%", "ready", 58},
        {Availability::limited, 0.855, "Claude Code 15%", "limited", 15},
        {Availability::blocked, 1.0, "Claude Code 02hr ", "blocked", 0},
    };
    for (const auto& row : rows) {
        saveClaude(row.availability, row.usedRatio);
        const QJsonObject status = waybar();
        EXPECT_TRUE(status["text"].toString().startsWith(row.text))
            << status["text"].toString().toStdString();
        EXPECT_EQ(classes(status), QStringList{row.verdict});
        EXPECT_EQ(status["percentage"].toInt(-1), row.percentage);
        const QString tooltip = status["tooltip"].toString();
        EXPECT_TRUE(tooltip.startsWith(
            QString("Claude Code · Session limit: %1% left, resets ").arg(row.percentage)))
            << tooltip.toStdString();
        EXPECT_FALSE(tooltip.contains('\n'));
    }

    // Codex shown too, first in the default order, but signed out: its line says so, it changes
    // neither the verdict nor the percentage.
    writeScript(home.filePath("tools/codex"), fakeCodex("echo 'Not logged in'; exit 1", "exit 1"));
    writeFile(home.preferencesFile(), R"({"providerEnabled": true, "codexEnabled": true})");
    saveClaude(Availability::limited, 0.9);
    const QJsonObject both = waybar();
    EXPECT_EQ(classes(both), QStringList{"limited"});
    EXPECT_EQ(both["percentage"].toInt(), 10);
    const QStringList lines = both["tooltip"].toString().split('\n');
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0], "Codex: Sign in to Codex to continue.");
    EXPECT_TRUE(lines[1].startsWith("Claude Code · Session limit: 10% left"));

    // A stale snapshot keeps its verdict, adds "stale" and gives no percentage.
    saveClaude(Availability::limited, 0.9, 3600);
    const QJsonObject stale = waybar();
    EXPECT_EQ(classes(stale), QStringList({"limited", "stale"}));
    EXPECT_FALSE(stale.contains("percentage"));
    EXPECT_EQ(stale["text"].toString(), "Codex --% · Claude Code --%");
    EXPECT_TRUE(
        stale["tooltip"].toString().contains("Claude Code: usage needs sync (last update "));

    // Only the signed-out Codex shown: nothing is known.
    writeFile(home.preferencesFile(), R"({"codexEnabled": true})");
    const QJsonObject unknown = waybar();
    EXPECT_EQ(classes(unknown), QStringList{"unknown"});
    EXPECT_FALSE(unknown.contains("percentage"));
    EXPECT_EQ(unknown["tooltip"].toString(), "Codex: Sign in to Codex to continue.");
}

TEST_F(WaybarTest, BadFilesStillGiveOneLineOfValidJson) {
    saveClaude(Availability::ready, 0.5);
    for (const QByteArray& corrupt : {QByteArray("{\"availability\": \"ready\", \"windows\": [{"),
                                      QByteArray("\x00\xff\n\x1b[2J", 6), QByteArray("[]")}) {
        writeFile(home.dataFile("claude-code-snapshot.json"), corrupt);
        writeFile(home.dataFile("claude-rate-limits.json"), corrupt);
        const QJsonObject status = waybar();
        EXPECT_EQ(status["text"].toString(), "Claude Code --%");
        EXPECT_EQ(classes(status), QStringList{"unknown"});
        EXPECT_EQ(status["tooltip"].toString(),
                  "Claude Code: Open Claude Code and send a message once to sync usage.");
    }

    // A snapshot that reads well but carries markup and line breaks: waybar reads the tooltip as
    // Pango markup, so it is escaped, and the output stays one line.
    QJsonObject hostile = UsageSnapshot::unavailable("claude-code", "Claude Code", "x").toJson();
    hostile["availability"] = "limited";
    hostile["staleAfterSeconds"] = 86400;
    hostile["statusMessage"] = "<span size='99999'>&</span>\nline\x01";
    writeFile(home.dataFile("claude-rate-limits.json"), "");
    writeFile(home.dataFile("claude-code-snapshot.json"), QJsonDocument(hostile).toJson());
    const QJsonObject status = waybar();
    EXPECT_EQ(classes(status), QStringList{"limited"});
    EXPECT_EQ(status["tooltip"].toString(),
              "Claude Code: &lt;span size='99999'&gt;&amp;&lt;/span&gt;\nline\x01");
}
