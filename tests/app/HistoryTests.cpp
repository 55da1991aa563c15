// The usage history on real SQLite files in a temporary home, the pace it shows, and the tray
// model that records into it and reacts to Claude Code's hook at once.
#include "AppTestSupport.h"

#include "history/HistoryStore.h"

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Verdict = UsagePace::Verdict;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
QDateTime at(int minutes) {
    return now.addSecs(60 * minutes);
}

} // namespace

TEST(UsagePaceRules, ProjectTheLimitOrTheShareLeftFromTheFiguresOfTheCurrentWindow) {
    // Figures as "minutes from now, share used[, reset in minutes from now (150 unless given,
    // -1: none)]", separated by semicolons.
    const struct {
        const char* sequence;
        const char* figures;
        Verdict verdict;
        QString text;
        int limitAt; // minutes from now; -1: none
    } rows[] = {
        {"12 points an hour, reset first", "-30 .10; -20 .12; -10 .14; 0 .16", Verdict::leftAtReset,
         "At this pace: 54% left at reset", 420},
        {"30 points an hour, limit first", "-40 .30; -20 .40; 0 .50", Verdict::limitBeforeReset,
         "At this pace: limit in 1 hr 40 min", 100},
        {"a burst, then half an hour without use", "-60 .20; -45 .50; -35 .50; -10 .50; 0 .50",
         Verdict::idle, "", -1},
        {"a burst, then twenty minutes without use", "-40 .20; -20 .50; 0 .50",
         Verdict::limitBeforeReset, "At this pace: limit in 1 hr 6 min", 67},
        {"a reset between: the earlier window drops out", "-60 .80 -30; -40 .95 -30; -25 0; -5 .10",
         Verdict::leftAtReset, "At this pace: 13% left at reset", 175},
        {"a drop in the share without reset times is a reset too",
         "-60 .70 -1; -20 .05 -1; 0 .10 -1", Verdict::limitBeforeReset,
         "At this pace: limit in 6 hr", 360},
        {"the clock jumped back: figures from the future are left out",
         "90 .95; -30 .10; 95 .99; -15 .13; 0 .16", Verdict::leftAtReset,
         "At this pace: 54% left at reset", 420},
        {"one figure", "0 .30", Verdict::notEnoughData, "Not enough data for a pace yet", -1},
        {"nine minutes apart", "-9 .30; 0 .40", Verdict::notEnoughData,
         "Not enough data for a pace yet", -1},
        {"100% reached", "-30 .80; 0 1", Verdict::atLimit, "", -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.sequence);
        QList<PaceFigure> figures;
        for (const QString& figure : QString(row.figures).split(';')) {
            const QStringList f = figure.simplified().split(' ');
            const int reset = f.value(2, "150").toInt();
            figures.append({at(f[0].toInt()), f[1].toDouble(),
                            reset == -1 ? std::nullopt : std::optional(at(reset))});
        }
        const UsagePace pace = usagePace(figures, now);
        EXPECT_EQ(pace.verdict, row.verdict);
        EXPECT_EQ(paceText(pace, now), row.text);
        if (row.limitAt >= 0) {
            ASSERT_TRUE(pace.limitAt.has_value());
            EXPECT_NEAR(pace.limitAt->secsTo(at(row.limitAt)), 0, 60);
        }
    }
}

TEST(HistoryStore, RecordsChangesAndEveryTenMinutesPrunesAndUpgradesTheFirstVersion) {
    TemporaryHome home;
    const QString path = HistoryStore::defaultPath(home.path());
    HistoryStore store(path, HistoryStore::Access::readWrite);
    ASSERT_TRUE(store.isOpen());
    const auto figure = [](int minutes, double used) {
        return HistoryFigure{"codex",     UsageWindow::Kind::session,       used, at(300),
                             at(minutes), SnapshotSource::officialAppServer};
    };
    // Written: the first, a change (in the same second it replaces the row), ten unchanged
    // minutes later, an earlier time (the clock went back). Not written: unchanged within ten
    // minutes.
    const struct {
        int minutes;
        double used;
        bool written;
    } steps[] = {{0, 0.2, true},  {0, 0.1, true},   {0, 0.1, false},
                 {5, 0.1, false}, {9, 0.1, false},  {10, 0.1, true},
                 {11, 0.2, true}, {12, 0.2, false}, {-30, 0.2, true}};
    for (const auto& step : steps) {
        EXPECT_EQ(store.record(figure(step.minutes, step.used)), step.written)
            << step.minutes << " min, " << step.used;
    }
    EXPECT_EQ(store.figures(at(-60)), (QList<HistoryFigure>{figure(-30, 0.2), figure(0, 0.1),
                                                            figure(10, 0.1), figure(11, 0.2)}));

    // A second process, the command line, reads what the tray has just written.
    const CommandOutcome csv = runLumora(home.path(), {"history", "--csv", "--since", "90d"});
    EXPECT_EQ(csv.exitCode, 0) << csv.err.toStdString();
    EXPECT_EQ(csv.out.count('\n'), 5) << csv.out.toStdString();
    EXPECT_TRUE(csv.out.startsWith("capturedAt,providerID,kind,usedRatio,resetsAt,source\n"));

    EXPECT_EQ(store.prune(at(5)), 2);
    EXPECT_EQ(store.figures(at(-60)).size(), 2);

    // A file the first version of the history wrote, with a row of another tool and a broken
    // time, which the upgrade leaves behind.
    const QString old = home.filePath("old.sqlite");
    ASSERT_TRUE(QFile::copy(fixturePath("history-v1.sqlite"), old));
    QFile::setPermissions(old, QFile::ReadOwner | QFile::WriteOwner);
    HistoryStore upgraded(old, HistoryStore::Access::readWrite);
    const QDateTime noon = QDateTime::fromString("2026-11-20T12:00:00Z", Qt::ISODate);
    EXPECT_EQ(
        upgraded.figures(noon.addDays(-1)),
        (QList<HistoryFigure>{{"claude-code", UsageWindow::Kind::session, 0.42,
                               noon.addSecs(3 * 3600), noon, SnapshotSource::officialCLI},
                              {"claude-code", UsageWindow::Kind::weekly, 0.1234, std::nullopt, noon,
                               SnapshotSource::officialCLI},
                              {"codex", UsageWindow::Kind::session, 0.07, noon.addSecs(4 * 3600),
                               noon.addSecs(90), SnapshotSource::officialAppServer}}));
    EXPECT_TRUE(upgraded.record({"codex", UsageWindow::Kind::session, 0.08, std::nullopt,
                                 noon.addSecs(600), SnapshotSource::officialAppServer}));
}

TEST(HistoryStore, ADamagedFileIsMovedAsideAndAFolderThatCannotBeWrittenMeansNoHistory) {
    TemporaryHome home;
    const QString path = HistoryStore::defaultPath(home.path());
    writeFile(path, QByteArray("not a database, whatever it once was").repeated(200));
    {
        WarningLog warnings;
        HistoryStore store(path, HistoryStore::Access::readWrite);
        EXPECT_TRUE(store.isOpen());
        EXPECT_TRUE(store.record({"codex", UsageWindow::Kind::session, 0.5, std::nullopt, now,
                                  SnapshotSource::officialAppServer}));
        EXPECT_EQ(warnings.messages().size(), 1) << warnings.messages().join('\n').toStdString();
        EXPECT_TRUE(warnings.messages().value(0).contains("history.sqlite.corrupt"));
    }
    EXPECT_TRUE(readFile(path + ".corrupt").startsWith("not a database"));

    // No folder can be made under /proc, not even by root.
    WarningLog warnings;
    HistoryStore store("/proc/self/lumora/history.sqlite", HistoryStore::Access::readWrite);
    EXPECT_FALSE(store.isOpen());
    EXPECT_FALSE(store.record({"codex", UsageWindow::Kind::session, 0.5, std::nullopt, now,
                               SnapshotSource::officialAppServer}));
    EXPECT_TRUE(store.figures(at(-60)).isEmpty());
    EXPECT_EQ(warnings.messages().size(), 1);
}

TEST(UsageHistoryModel, RecordsRefreshesWarnsOncePerWindowAndShowsFiguresWithoutAHistory) {
    ModelHarness harness;
    harness.storePreference("providerEnabled", true);
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(3 * 3600);
    {
        HistoryStore store(HistoryStore::defaultPath(harness.home.path()),
                           HistoryStore::Access::readWrite);
        for (int ago = 40; ago >= 10; ago -= 10) {
            store.record({"claude-code", UsageWindow::Kind::session, 0.8 - ago * 0.01, reset,
                          QDateTime::currentDateTimeUtc().addSecs(-60 * ago),
                          SnapshotSource::officialCLI});
        }
    }
    harness.claude->script->setSnapshot(usage("claude-code", Availability::limited, 0.8, reset));
    const auto model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    settle();
    const QString warning = harness.notifier->sent.value(0);
    EXPECT_TRUE(warning.startsWith("At this pace Claude Code reaches its limit in "))
        << warning.toStdString();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    settle();
    EXPECT_EQ(harness.notifier->sent.size(), 1) << "once per window";

    // The next window: its first figure alone shows no pace.
    const QDateTime next = reset.addSecs(5 * 3600);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.05, next));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    settle();
    EXPECT_EQ(harness.notifier->sent.size(), 1) << "a single figure of it shows no pace yet: "
                                                << harness.notifier->sent.join('\n').toStdString();

    // Figures still show when the history cannot be kept.
    harness.storePreference("showClaudeInMenuBar", true);
    auto services = harness.services();
    services.historyPath = "/proc/self/lumora/history.sqlite";
    AppModel unkept(services);
    ASSERT_TRUE(waitFor(unkept.refresh(false)));
    EXPECT_EQ(unkept.menuBarDisplayText(), "Claude Code 95%");
}

TEST(UsageHistoryModel, AHookRunReachesTheLabelWithinASecond) {
    ModelHarness harness;
    harness.storePreference("providerEnabled", true);
    harness.storePreference("showClaudeInMenuBar", true);
    harness.storePreference("showCodexInMenuBar", false);
    auto services = harness.services();
    const auto claude = harness.realClaudeProvider();
    claude->installStatusLineSync();
    services.claudeProvider = claude;
    AppModel model(services);
    model.start();
    // The first refresh has found no figures yet; the hook brings them.
    ASSERT_TRUE(waitUntil(
        [&] { return model.snapshot().statusMessage == ClaudeUsageProvider::sendMessageMessage; }));
    for (const int used : {42, 85}) {
        QProcess hook;
        hook.start("/bin/sh", {claude->statusLineInstaller().hookScriptPath()});
        hook.write(QString(R"({"rate_limits":{"five_hour":{"used_percentage":%1,"resets_at":%2}}})")
                       .arg(used)
                       .arg(QDateTime::currentSecsSinceEpoch() + 3600)
                       .toUtf8());
        hook.closeWriteChannel();
        ASSERT_TRUE(hook.waitForFinished(10000));
        const QString label = QStringLiteral("Claude Code %1%").arg(100 - used);
        EXPECT_TRUE(
            waitUntil([&] { return model.menuBarDisplayText() == label; }, std::chrono::seconds(1)))
            << model.menuBarDisplayText().toStdString();
    }
}
