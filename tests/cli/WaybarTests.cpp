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

// The module shows a text and a tooltip that start so, these classes and that percentage (-1:
// none).
void expectShown(const QJsonObject& shown, const QString& text, const QStringList& classes,
                 int percentage, const QString& tooltip) {
    const std::string all = QJsonDocument(shown).toJson().toStdString();
    EXPECT_TRUE(shown["text"].toString().startsWith(text)) << all;
    EXPECT_EQ(shown["class"].toVariant().toStringList(), classes) << all;
    EXPECT_EQ(shown["percentage"].toInt(-1), percentage) << all;
    EXPECT_TRUE(shown["tooltip"].toString().startsWith(tooltip)) << all;
}

} // namespace

// The class is the worst verdict shown, the percentage the lowest current share left; bad files
// and hostile texts still give one line of valid JSON, its tooltip escaped for Pango markup.
TEST_F(WaybarTest, ClassPercentageAndTooltipFromWhatIsShown) {
    expectShown(waybar(), "Lumora", {"unknown"}, -1, "No tool is shown.");
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
        const QJsonObject shown = waybar();
        expectShown(shown, row.text, {row.verdict}, row.percentage,
                    QString("Claude Code · Session limit: %1% left, resets ").arg(row.percentage));
        EXPECT_FALSE(shown["tooltip"].toString().contains('\n'));
    }

    // Codex shown too, first in the default order, but signed out: its line says so, it changes
    // neither the verdict nor the percentage.
    writeScript(home.filePath("tools/codex"), fakeCodex("echo 'Not logged in'; exit 1", "exit 1"));
    writeFile(home.preferencesFile(), R"({"providerEnabled": true, "codexEnabled": true})");
    saveClaude(Availability::limited, 0.9);
    expectShown(waybar(), "Codex --% · Claude Code 10%", {"limited"}, 10,
                "Codex: Sign in to Codex to continue.\nClaude Code · Session limit: 10% left");
    // A stale snapshot keeps its verdict, adds "stale" and gives no percentage.
    saveClaude(Availability::limited, 0.9, 3600);
    const QJsonObject stale = waybar();
    expectShown(stale, "Codex --% · Claude Code --%", {"limited", "stale"}, -1, "Codex: ");
    EXPECT_TRUE(
        stale["tooltip"].toString().contains("\nClaude Code: usage needs sync (last update "));
    // Only the signed-out Codex shown: nothing is known.
    writeFile(home.preferencesFile(), R"({"codexEnabled": true})");
    expectShown(waybar(), "Codex --%", {"unknown"}, -1, "Codex: Sign in to Codex to continue.");
    EXPECT_EQ(waybar()["tooltip"], "Codex: Sign in to Codex to continue.");

    writeFile(home.preferencesFile(), R"({"providerEnabled": true})");
    for (const QByteArray& corrupt : {QByteArray("{\"availability\": \"ready\", \"windows\": [{"),
                                      QByteArray("\x00\xff\n\x1b[2J", 6), QByteArray("[]")}) {
        writeFile(home.dataFile("claude-code-snapshot.json"), corrupt);
        writeFile(home.dataFile("claude-rate-limits.json"), corrupt);
        const QJsonObject shown = waybar();
        expectShown(shown, "Claude Code --%", {"unknown"}, -1, "");
        EXPECT_EQ(shown["tooltip"],
                  "Claude Code: Open Claude Code and send a message once to sync usage.");
    }
    QJsonObject hostile = UsageSnapshot::unavailable("claude-code", "Claude Code", "x").toJson();
    hostile["availability"] = "limited";
    hostile["staleAfterSeconds"] = 86400;
    hostile["statusMessage"] = "<span size='99999'>&</span>\nline\x01";
    writeFile(home.dataFile("claude-rate-limits.json"), "");
    writeFile(home.dataFile("claude-code-snapshot.json"), QJsonDocument(hostile).toJson());
    const QJsonObject shown = waybar();
    EXPECT_EQ(shown["class"].toVariant().toStringList(), QStringList{"limited"});
    EXPECT_EQ(shown["tooltip"],
              "Claude Code: &lt;span size='99999'&gt;&amp;&lt;/span&gt;\nline\x01");
}
