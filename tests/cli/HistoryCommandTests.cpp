// The kept history as the command line shows it: the pace and the weekly window in status --json
// and the waybar tooltip, and the history command's arguments.
#include "history/HistoryStore.h"
#include "support/TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

TEST(HistoryCommand, StatusCarriesThePaceAndTheWeeklyWindowAndBadArgumentsAreUsageErrors) {
    TemporaryHome home;
    writeScript(home.filePath(".local/bin/claude"), "exit 0\n");
    ASSERT_EQ(runLumora(home.path(), {"connect", "claude"}).exitCode, 0);
    const qint64 reset = QDateTime::currentSecsSinceEpoch() + 3 * 3600;
    writeFile(home.filePath(".local/share/Lumora/claude-rate-limits.json"),
              QString(R"({"five_hour":{"used_percentage":60,"resets_at":%1},)"
                      R"("seven_day":{"used_percentage":36,"resets_at":%2}})")
                  .arg(reset)
                  .arg(reset + 4 * 86400)
                  .toUtf8());
    {
        // 30 points in the last 40 minutes: the limit in about 53 minutes, before the reset.
        HistoryStore store(HistoryStore::defaultPath(home.path()), HistoryStore::Access::readWrite);
        for (int ago = 40; ago >= 10; ago -= 10) {
            store.record({"claude-code", UsageWindow::Kind::session, 0.6 - ago * 0.0075,
                          QDateTime::fromSecsSinceEpoch(reset, Qt::UTC),
                          QDateTime::currentDateTimeUtc().addSecs(-60 * ago),
                          SnapshotSource::officialCLI});
        }
    }
    const CommandOutcome json = runLumora(home.path(), {"status", "--json"});
    const QJsonObject claude =
        QJsonDocument::fromJson(json.out.toUtf8())["snapshots"].toArray()[0].toObject();
    const QJsonObject pace = claude["pace"].toObject();
    EXPECT_EQ(pace["verdict"], "limit_before_reset") << json.out.toStdString();
    EXPECT_NEAR(pace["ratePerHour"].toDouble(), 0.45, 0.01);
    const QDateTime limit = QDateTime::fromString(pace["limitAt"].toString(), Qt::ISODate);
    EXPECT_NEAR(QDateTime::currentDateTimeUtc().secsTo(limit), 53 * 60, 120);
    EXPECT_TRUE(pace["leftAtReset"].isNull());
    EXPECT_TRUE(pace["text"].toString().startsWith("At this pace: limit in "));
    EXPECT_EQ(claude["weeklyWindow"].toObject(),
              (QJsonObject{{"kind", "weekly"},
                           {"usedRatio", 0.36},
                           {"resetsAt", isoDateTimeText(QDateTime::fromSecsSinceEpoch(
                                            reset + 4 * 86400, Qt::UTC))}}));
    const QString tooltip =
        QJsonDocument::fromJson(runLumora(home.path(), {"status", "--waybar"}).out.toUtf8())
            .object()["tooltip"]
            .toString();
    EXPECT_TRUE(tooltip.contains("\n  At this pace: limit in ")) << tooltip.toStdString();

    for (const QStringList& wrong : {QStringList{"history", "--since", "7x"},
                                     {"history", "--provider", "gemini"},
                                     {"history", "--json", "--csv"},
                                     {"history", "--since"},
                                     {"history", "--all"}}) {
        const CommandOutcome outcome = runLumora(home.path(), wrong);
        EXPECT_EQ(outcome.exitCode, 2) << wrong.join(' ').toStdString();
        EXPECT_TRUE(outcome.err.startsWith("lumora: ")) << outcome.err.toStdString();
    }
    const CommandOutcome table = runLumora(home.path(), {"history", "--provider", "claude"});
    EXPECT_EQ(table.out.count('\n'), 5) << table.out.toStdString(); // a header and four rows
}
