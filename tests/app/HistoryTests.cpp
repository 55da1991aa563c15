// The usage history on real SQLite files in a temporary home, the pace it shows, and the tray
// model that records into it.
#include "AppTestSupport.h"

#include "history/HistoryStore.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Verdict = UsagePace::Verdict;
using Kind = UsageWindow::Kind;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
QDateTime at(int minutes) {
    return now.addSecs(60 * minutes);
}
HistoryFigure codexFigure(double used, const QDateTime& capturedAt,
                          std::optional<QDateTime> resetsAt = at(300)) {
    return {"codex", Kind::session, used, resetsAt, capturedAt, SnapshotSource::officialAppServer};
}

} // namespace

TEST(UsagePaceRules, ProjectTheLimitOrTheShareLeftFromTheFiguresOfTheCurrentWindow) {
    // Figures as "minutes from now, share used[, reset in minutes from now (150 unless given,
    // -1: none)]", separated by semicolons; the limit in minutes from now, -1: none.
    const std::tuple<const char*, const char*, Verdict, QString, int> rows[] = {
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
    for (const auto& [sequence, text, verdict, shown, limitAt] : rows) {
        SCOPED_TRACE(sequence);
        QList<PaceFigure> figures;
        for (const QString& figure : QString(text).split(';')) {
            const QStringList f = figure.simplified().split(' ');
            const int reset = f.value(2, "150").toInt();
            figures.append({at(f[0].toInt()), f[1].toDouble(),
                            reset == -1 ? std::nullopt : std::optional(at(reset))});
        }
        const UsagePace pace = usagePace(figures, now);
        EXPECT_EQ(std::pair(pace.verdict, paceText(pace, now)), std::pair(verdict, shown));
        EXPECT_NEAR(pace.limitAt ? pace.limitAt->secsTo(at(limitAt)) : 0, 0, 60);
        EXPECT_EQ(pace.limitAt.has_value(), limitAt >= 0);
    }
}

// Records changes and unchanged figures every ten minutes, prunes, upgrades the first version's
// file, moves a damaged file aside, and without a folder to write keeps no history.
TEST(HistoryStore, RecordsChangesAndEveryTenMinutesPrunesUpgradesAndSurvivesDamage) {
    TemporaryHome home;
    const QString path = HistoryStore::defaultPath(home.path());
    HistoryStore store(path, HistoryStore::Access::readWrite);
    ASSERT_TRUE(store.isOpen());
    // Written: the first, a change (in the same second it replaces the row), ten unchanged
    // minutes later, an earlier time (the clock went back); not: unchanged within ten minutes.
    const std::tuple<int, double, bool> steps[] = {
        {0, 0.2, true},  {0, 0.1, true},  {0, 0.1, false},  {5, 0.1, false}, {9, 0.1, false},
        {10, 0.1, true}, {11, 0.2, true}, {12, 0.2, false}, {-30, 0.2, true}};
    for (const auto& [minutes, used, written] : steps) {
        EXPECT_EQ(store.record(codexFigure(used, at(minutes))), written) << minutes << ", " << used;
    }
    EXPECT_EQ(store.figures(at(-60)),
              (QList<HistoryFigure>{codexFigure(0.2, at(-30)), codexFigure(0.1, at(0)),
                                    codexFigure(0.1, at(10)), codexFigure(0.2, at(11))}));
    // A second process, the command line, reads what the tray has just written.
    const CommandOutcome csv = runLumora(home.path(), {"history", "--csv", "--since", "90d"});
    EXPECT_EQ(std::pair(csv.exitCode, csv.out.count('\n')), std::pair(0, qsizetype(5)))
        << csv.err.toStdString();
    EXPECT_TRUE(csv.out.startsWith("capturedAt,providerID,kind,usedRatio,resetsAt,source\n"));
    EXPECT_EQ(store.prune(at(5)), 2);
    EXPECT_EQ(store.figures(at(-60)).size(), 2);

    // The first version's file, with a row of another tool and a broken time left behind.
    const QString old = home.filePath("old.sqlite");
    ASSERT_TRUE(QFile::copy(fixturePath("history-v1.sqlite"), old));
    QFile::setPermissions(old, QFile::ReadOwner | QFile::WriteOwner);
    HistoryStore upgraded(old, HistoryStore::Access::readWrite);
    const QDateTime noon = QDateTime::fromString("2026-11-20T12:00:00Z", Qt::ISODate);
    const SnapshotSource cli = SnapshotSource::officialCLI;
    EXPECT_EQ(upgraded.figures(noon.addDays(-1)),
              (QList<HistoryFigure>{
                  {"claude-code", Kind::session, 0.42, noon.addSecs(3 * 3600), noon, cli},
                  {"claude-code", Kind::weekly, 0.1234, std::nullopt, noon, cli},
                  codexFigure(0.07, noon.addSecs(90), noon.addSecs(4 * 3600))}));
    EXPECT_TRUE(upgraded.record(codexFigure(0.08, noon.addSecs(600), std::nullopt)));

    const QString damaged = home.filePath("damaged.sqlite");
    writeFile(damaged, QByteArray("not a database, whatever it once was").repeated(200));
    WarningLog warnings;
    EXPECT_TRUE(
        HistoryStore(damaged, HistoryStore::Access::readWrite).record(codexFigure(0.5, now)));
    EXPECT_TRUE(warnings.messages().size() == 1 &&
                warnings.messages()[0].contains("damaged.sqlite.corrupt"))
        << warnings.messages().join('\n').toStdString();
    EXPECT_TRUE(readFile(damaged + ".corrupt").startsWith("not a database"));
    // No folder can be made under /proc, not even by root.
    HistoryStore none("/proc/self/lumora/history.sqlite", HistoryStore::Access::readWrite);
    EXPECT_FALSE(none.isOpen() || none.record(codexFigure(0.5, now)) ||
                 !none.figures(at(-60)).isEmpty());
    EXPECT_EQ(warnings.messages().size(), 2);
}

// The pace warning comes once per window, never from a window's first figure; figures still
// show when no history can be kept.
TEST(UsageHistoryModel, RecordsRefreshesWarnsOncePerWindowAndShowsFiguresWithoutAHistory) {
    ModelHarness h;
    h.storePreference("providerEnabled", true);
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(3 * 3600);
    {
        HistoryStore store(HistoryStore::defaultPath(h.home.path()),
                           HistoryStore::Access::readWrite);
        for (int ago = 40; ago >= 10; ago -= 10) {
            store.record({"claude-code", Kind::session, 0.8 - ago * 0.01, reset,
                          QDateTime::currentDateTimeUtc().addSecs(-60 * ago),
                          SnapshotSource::officialCLI});
        }
    }
    const auto model = h.makeModel();
    for (const auto& [used, resetsAt] :
         {std::pair(0.8, reset), {0.8, reset}, {0.05, reset.addSecs(5 * 3600)}}) {
        h.claude->script->setSnapshot(
            usage("claude-code", used > 0.5 ? Availability::limited : Availability::ready, used,
                  resetsAt));
        ASSERT_TRUE(waitFor(model->refresh(false)));
        settle();
    }
    const QStringList& sent = h.notifier->sent;
    EXPECT_TRUE(sent.size() == 1 &&
                sent[0].startsWith("At this pace Claude Code reaches its limit in "))
        << sent.join('\n').toStdString();

    h.storePreference("showClaudeInMenuBar", true);
    auto services = h.services();
    services.historyPath = "/proc/self/lumora/history.sqlite";
    AppModel unkept(services);
    ASSERT_TRUE(waitFor(unkept.refresh(false)));
    EXPECT_EQ(unkept.menuBarDisplayText(), "Claude Code 95%");
}
