// Notifications and the usage history: the rules, the desktop's service on a private bus, real
// SQLite files in temporary homes, and the tray model that records into them.
#include "AppTestSupport.h"
#include "core/SnapshotCache.h"
#include "history/HistoryStore.h"
#include "model/UsageNotifications.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Verdict = UsagePace::Verdict;
using Kind = UsageWindow::Kind;

namespace {

bool granted(const QFuture<bool>& answer) {
    EXPECT_TRUE(waitFor(answer));
    return answer.resultCount() > 0 && answer.result();
}

UsageSnapshot codex(Availability availability, std::optional<double> ratio,
                    std::optional<QDateTime> resetsAt = std::nullopt) {
    return usage("codex", availability, ratio, resetsAt);
}

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
QDateTime at(int minutes) {
    return now.addSecs(60 * minutes);
}
HistoryFigure codexFigure(double used, const QDateTime& capturedAt,
                          std::optional<QDateTime> resetsAt = at(300)) {
    return {"codex", Kind::session, used, resetsAt, capturedAt, SnapshotSource::officialAppServer};
}

} // namespace

// At most one notification from two snapshots: the warning at 80%, the limit, the reset.
TEST(UsageNotificationRules, DecideAtMostOneNotificationFromTwoSnapshots) {
    using A = Availability;
    const QLocale locale(QLocale::German, QLocale::Germany);
    const QDateTime reset(QDate(2026, 3, 1), QTime(14, 30), Qt::LocalTime);
    const auto at = [&](A availability, double ratio) {
        return codex(availability, ratio, reset);
    };
    UsageSnapshot noWindow = codex(A::unknown, std::nullopt);
    noWindow.windows.clear();
    // The warning and the limit offer a break; the reset does not.
    const UsageNotification warning{"Codex usage reached 80%", "Expected reset: 14:30", true};
    const UsageNotification resting{"Codex is resting", "Expected reset: 14:30", true};
    const UsageNotification again{"Codex is ready", "You can use Codex again."};
    const std::tuple<const char*, UsageSnapshot, UsageSnapshot, std::optional<UsageNotification>>
        rows[] = {
            {"crossing 80%", at(A::ready, 0.79), at(A::ready, 0.80), warning},
            {"already above", at(A::limited, 0.85), at(A::limited, 0.90), std::nullopt},
            {"no window before", noWindow, at(A::limited, 0.95), warning},
            {"no ratio before", codex(A::ready, std::nullopt), at(A::limited, 0.95), warning},
            {"crossing and blocked at once", at(A::ready, 0.5), at(A::blocked, 1.0), warning},
            {"blocked after the warning", at(A::limited, 0.9), at(A::blocked, 1.0), resting},
            {"blocked without a reset time", at(A::limited, 0.9), codex(A::blocked, 1.0),
             UsageNotification{"Codex is resting", "Reset time is unavailable.", true}},
            {"reset", at(A::blocked, 1.0), at(A::ready, 0.1), again},
            {"blocked below 80% to limited", codex(A::blocked, 0.5), at(A::limited, 0.9), warning},
            {"blocked to limited", at(A::blocked, 1.0), at(A::limited, 0.9), std::nullopt},
            {"still blocked", at(A::blocked, 1.0), at(A::blocked, 1.0), std::nullopt},
            {"blocked to unknown", at(A::blocked, 1.0), noWindow, std::nullopt},
            {"going down", at(A::limited, 0.9), at(A::ready, 0.1), std::nullopt}};
    for (const auto& [what, previous, next, expected] : rows) {
        EXPECT_EQ(usageNotification(previous, next, locale), expected) << what;
    }
    // The reset line: the locale's short time, stored in UTC and shown in local time.
    EXPECT_EQ(resetDescription(codex(A::limited, 0.9, reset.addSecs(45).toUTC()), locale),
              "Expected reset: 14:30");
    EXPECT_EQ(resetDescription(noWindow), "Reset time is unavailable.");
}

// Alerts need the service; each state is told once; only this run's buttons open the break.
TEST(NotificationBusTest, AlertsNeedTheServiceEachStateIsToldOnceAndTakeABreakOpensTheBreak) {
    PrivateBus bus; // one connection for the application, one for the notification service
    ASSERT_TRUE(bus.isRunning());
    QDBusConnection client = bus.connect("client"), serviceBus = bus.connect("service");
    FakeNotificationService service;
    ModelHarness h;
    const auto raise = [&](const QDBusConnection& from, const char* name,
                           const QVariantList& args) {
        QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/Notifications",
                                                         "org.freedesktop.Notifications", name);
        signal.setArguments(args);
        EXPECT_TRUE(from.send(signal));
    };
    const auto press = [&](uint id, const QString& key = "take-a-break") {
        raise(serviceBus, "ActionInvoked", {id, key});
    };
    DBusNotifier alone(client); // no service: sending finishes quietly
    EXPECT_FALSE(granted(alone.requestAuthorization()));
    EXPECT_TRUE(waitFor(alone.send("t", "b")) && waitFor(alone.sendOfferingBreak("t", "b")));
    EXPECT_FALSE(granted(DBusNotifier(QDBusConnection("not-connected")).requestAuthorization()));
    h.enableBoth();
    AppModel::Services services = h.services();
    services.notifier = std::make_shared<DBusNotifier>(client);
    AppModel model(services);
    QList<bool> seen;
    QObject::connect(model.preferences(), &AppPreferences::alertsEnabledChanged,
                     [&] { seen << model.preferences()->alertsEnabled(); });
    model.preferences()->setAlertsEnabled(true);
    ASSERT_TRUE(waitUntil([&] { return seen.size() == 2; }));
    EXPECT_EQ(std::pair(seen, *h.storedPreference("alertsEnabled")),
              std::pair(QList<bool>({true, false}), QJsonValue(false)));
    ASSERT_TRUE(service.registerOn(serviceBus));
    model.preferences()->setAlertsEnabled(true);
    settle();
    EXPECT_TRUE(model.preferences()->alertsEnabled()); // the service answered
    const auto refreshTo = [&](const UsageSnapshot& claudeAnswer, const UsageSnapshot& next) {
        h.claude->script->setSnapshot(claudeAnswer);
        h.codex->script->setSnapshot(next);
        ASSERT_TRUE(waitFor(model.refresh(false)));
    };
    const QDateTime reset = QDateTime::currentDateTime().addSecs(7200);
    refreshTo(usage("claude-code", Availability::limited, 0.9, reset),
              codex(Availability::ready, 0.2));
    refreshTo(usage("claude-code", Availability::blocked, 1.0), codex(Availability::limited, 0.85));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.85));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.85));
    ASSERT_EQ(service.received.size(), 4);
    const QVariantList& n = service.received[0]; // a new one each time, replacing none
    EXPECT_EQ(std::tuple(n[0], n[2], n[4], n[6].toMap()["sound-name"],
                         n[6].toMap()["desktop-entry"], n[7],
                         n[1].toUInt() + service.received[3][1].toUInt()),
              std::tuple(QVariant("Lumora"), QVariant("lumora"),
                         QVariant("Expected reset: " +
                                  QLocale::system().toString(reset.time(), QLocale::ShortFormat)),
                         QVariant("message-new-instant"), QVariant("lumora"), QVariant(-1), 0u));
    QStringList told; // the warning and the limit offer a break; the reset does not
    for (const QVariantList& notification : service.received) {
        told << notification[3].toString() + " " + notification[5].toStringList().join(',');
    }
    EXPECT_EQ(told, QStringList({"Claude Code usage reached 80% take-a-break,Take a Break",
                                 "Claude Code is resting take-a-break,Take a Break",
                                 "Codex usage reached 80% take-a-break,Take a Break",
                                 "Claude Code is ready "}));
    // Ignored: no button, another key, closed, another application's, not from the service.
    press(4);
    press(1, "default");
    raise(serviceBus, "NotificationClosed", {2u, 2u});
    press(2);
    press(99);
    raise(client, "ActionInvoked", {1u, "take-a-break"});
    // Whatever the service sent before has reached the client: a later answer travels behind it.
    EXPECT_TRUE(granted(DBusNotifier(client).requestAuthorization()));
    settle();
    EXPECT_EQ(h.desktop->breakWindowsShown, 0);
    press(3);
    ASSERT_TRUE(waitUntil([&] { return h.desktop->breakWindowsShown == 1; }));
    press(3); // a notification the server keeps open can be pressed again
    press(1);
    EXPECT_TRUE(waitUntil([&] { return h.desktop->breakWindowsShown == 3; }));
}

// A cached blocked Codex that is ready at the first refresh: told once, with alerts on only; the
// pace warning once per window; figures still show when no history can be kept.
TEST(ModelNotifications, OnlyWithAlertsOnComparedWithTheCacheAndThePaceWarningOncePerWindow) {
    ModelHarness h;
    h.storePreference("codexEnabled", true);
    h.codex->script->setSnapshot(codex(Availability::ready, 0.05));
    AppTiming timing;
    timing.refreshInterval = std::chrono::hours(1);
    std::unique_ptr<AppModel> models[2];
    for (int run = 0; run < 2; ++run) {
        h.storePreference("alertsEnabled", run == 1);
        SnapshotCache("codex", h.data("codex-snapshot.json")).save(codex(Availability::blocked, 1));
        models[run] = h.makeModel(timing);
        models[run]->start();
        ASSERT_TRUE(waitUntil([&] { return h.codex->script->fetches() == run + 1; }));
        settle();
        EXPECT_TRUE(h.notifier->sent.isEmpty() || run == 1);
    }
    ASSERT_TRUE(waitFor(models[1]->refresh(false)));
    EXPECT_EQ(h.notifier->sent, QStringList({"Codex is ready | You can use Codex again."}));
    EXPECT_EQ(h.notifier->authorizationRequests, 0); // reading the switch asks nothing
    h.storePreference("providerEnabled", true);      // alerts off: only the pace warning
    h.storePreference("alertsEnabled", false);
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(3 * 3600);
    for (int ago = 40; ago >= 10; ago -= 10) { // a store of its own for each, closed at once
        HistoryStore(HistoryStore::defaultPath(h.home.path()), HistoryStore::Access::readWrite)
            .record({"claude-code", Kind::session, 0.8 - ago * 0.01, reset,
                     QDateTime::currentDateTimeUtc().addSecs(-60 * ago),
                     SnapshotSource::officialCLI});
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
    EXPECT_TRUE(sent.size() == 2 &&
                sent[1].startsWith("At this pace Claude Code reaches its limit"))
        << sent.join('\n').toStdString();
    h.storePreference("showClaudeInMenuBar", true);
    auto services = h.services();
    services.historyPath = "/proc/self/lumora/history.sqlite";
    AppModel unkept(services);
    ASSERT_TRUE(waitFor(unkept.refresh(false)));
    EXPECT_EQ(unkept.menuBarDisplayText(), "Codex 95% \u00B7 Claude Code 95%");
}

// Reset first, limit first, idle, a reset between, the clock jumped back, too few figures, 100%.
TEST(UsagePaceRules, ProjectTheLimitOrTheShareLeftFromTheFiguresOfTheCurrentWindow) {
    // "minutes from now, share used[, reset in minutes: 150 unless given, -1 none]"; the limit.
    using V = Verdict;
    const QString none = "Not enough data for a pace yet", p = "At this pace: ";
    const std::tuple<const char*, Verdict, QString, int> rows[] = {
        {"-30 .10; -20 .12; -10 .14; 0 .16", V::leftAtReset, p + "54% left at reset", 420},
        {"-40 .30; -20 .40; 0 .50", V::limitBeforeReset, p + "limit in 1 hr 40 min", 100},
        {"-60 .20; -45 .50; -35 .50; -10 .50; 0 .50", V::idle, "", -1},
        {"-40 .20; -20 .50; 0 .50", V::limitBeforeReset, p + "limit in 1 hr 6 min", 67},
        {"-60 .80 -30; -40 .95 -30; -25 0; -5 .10", V::leftAtReset, p + "13% left at reset", 175},
        {"-60 .70 -1; -20 .05 -1; 0 .10 -1", V::limitBeforeReset, p + "limit in 6 hr", 360},
        {"90 .95; -30 .10; 95 .99; -15 .13; 0 .16", V::leftAtReset, p + "54% left at reset", 420},
        {"0 .30", V::notEnoughData, none, -1},
        {"-9 .30; 0 .40", V::notEnoughData, none, -1},
        {"-30 .80; 0 1", V::atLimit, "", -1}};
    for (const auto& [text, verdict, shown, limitAt] : rows) {
        SCOPED_TRACE(text);
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

// Changes and ten-minute repeats kept; pruned, upgraded from the first version, damage moved aside.
TEST(HistoryStore, RecordsChangesAndEveryTenMinutesPrunesUpgradesAndSurvivesDamage) {
    TemporaryHome home;
    const QString path = HistoryStore::defaultPath(home.path());
    HistoryStore store(path, HistoryStore::Access::readWrite);
    ASSERT_TRUE(store.isOpen());
    // Kept: the first, a change (replacing its second's row), ten minutes on, a clock gone back.
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
    EXPECT_EQ(std::tuple(csv.exitCode, csv.out.count('\n'), csv.out.section('\n', 0, 0)),
              std::tuple(0, qsizetype(5),
                         QString("capturedAt,providerID,kind,usedRatio,resetsAt,source")))
        << csv.err.toStdString();
    EXPECT_EQ((std::pair{store.prune(at(5)), store.figures(at(-60)).size()}), // in order
              std::pair(2, qsizetype(2)));
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
    EXPECT_TRUE(
        HistoryStore(damaged, HistoryStore::Access::readWrite).record(codexFigure(0.5, now)));
    EXPECT_TRUE(readFile(damaged + ".corrupt").startsWith("not a database"));
}
