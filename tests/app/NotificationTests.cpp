#include "AppTestSupport.h"

#include "core/SnapshotCache.h"
#include "model/UsageNotifications.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// A private bus with one connection for the application and one for the notification service.
class NotificationBusTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.isRunning()); }
    // Whatever the service sent before has reached the client: a later answer travels behind it.
    void roundTrip() {
        EXPECT_TRUE(granted(DBusNotifier(client).requestAuthorization()));
        settle();
    }
    static bool granted(const QFuture<bool>& answer) {
        EXPECT_TRUE(waitFor(answer));
        return answer.resultCount() > 0 && answer.result();
    }
    void press(uint id, const QString& key = "take-a-break") {
        service.emitSignal(serviceBus, "ActionInvoked", {id, key});
    }

    PrivateBus bus;
    QDBusConnection client = bus.connect("client");
    QDBusConnection serviceBus = bus.connect("service");
    FakeNotificationService service;
    ModelHarness h;
};

UsageSnapshot codex(Availability availability, std::optional<double> ratio,
                    std::optional<QDateTime> resetsAt = std::nullopt) {
    return usage("codex", availability, ratio, resetsAt);
}

UsageSnapshot claude(Availability availability, double ratio) {
    return usage("claude-code", availability, ratio);
}

} // namespace

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
    const struct {
        const char* what;
        UsageSnapshot previous, next;
        std::optional<UsageNotification> expected;
    } rows[] = {
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
        {"going down", at(A::limited, 0.9), at(A::ready, 0.1), std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(usageNotification(row.previous, row.next, locale), row.expected) << row.what;
    }
    // The reset line: the locale's short time, stored in UTC and shown in local time.
    EXPECT_EQ(resetDescription(codex(A::limited, 0.9, reset.addSecs(45).toUTC()), locale),
              "Expected reset: 14:30");
    const QString us =
        resetDescription(at(A::limited, 0.9), QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_TRUE(us.startsWith("Expected reset: 2:30") && us.endsWith("PM")) << us.toStdString();
    EXPECT_EQ(resetDescription(noWindow), "Reset time is unavailable.");
}

// Without a service, alerts turn themselves back off. With one, Claude Code comes first in each
// refresh, each state is told once, as the desktop expects it, and only the button of a
// notification of this run opens the break screen.
TEST_F(NotificationBusTest, AlertsNeedTheServiceEachStateIsToldOnceAndTakeABreakOpensTheBreak) {
    {
        DBusNotifier notifier(client);
        EXPECT_FALSE(granted(notifier.requestAuthorization()));
        // Sending finishes quietly.
        EXPECT_TRUE(waitFor(notifier.send("t", "b")) &&
                    waitFor(notifier.sendOfferingBreak("t", "b")));
    }
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
    const auto breaksReach = [&](int n) {
        return waitUntil([&] { return h.desktop->breakWindowsShown == n; });
    };
    const QDateTime reset = QDateTime::currentDateTime().addSecs(7200);
    refreshTo(usage("claude-code", Availability::limited, 0.9, reset),
              codex(Availability::ready, 0.2));
    refreshTo(claude(Availability::blocked, 1.0), codex(Availability::limited, 0.85));
    refreshTo(claude(Availability::ready, 0.1), codex(Availability::limited, 0.85));
    refreshTo(claude(Availability::ready, 0.1), codex(Availability::limited, 0.85));
    ASSERT_EQ(service.received.size(), 4);
    const auto& first = service.received[0]; // a new one each time, replacing none
    EXPECT_EQ(
        QStringList(
            {first.appName, first.icon, first.body, first.hints.value("sound-name").toString(),
             first.hints.value("desktop-entry").toString(), QString::number(first.expireTimeout),
             QString::number(first.replacesId + service.received[3].replacesId)}),
        QStringList(
            {"Lumora", "lumora",
             "Expected reset: " + QLocale::system().toString(reset.time(), QLocale::ShortFormat),
             "message-new-instant", "lumora", "-1", "0"}));
    EXPECT_EQ(service.summaries(),
              QStringList({"Claude Code usage reached 80%", "Claude Code is resting",
                           "Codex usage reached 80%", "Claude Code is ready"}));
    const QStringList takeABreak{"take-a-break", "Take a Break"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(service.received[i].actions, i < 3 ? takeABreak : QStringList()) << i;
    }
    // Ignored: the reset notification (no button), another key, a closed notification, another
    // application's notification, and a bus peer that is not the notification service.
    press(4);
    press(1, "default");
    service.emitSignal(serviceBus, "NotificationClosed", {2u, 2u});
    press(2);
    press(99);
    service.emitSignal(client, "ActionInvoked", {1u, "take-a-break"});
    roundTrip();
    EXPECT_EQ(h.desktop->breakWindowsShown, 0);
    press(3);
    ASSERT_TRUE(breaksReach(1));
    press(3); // a notification the server keeps open can be pressed again
    press(1);
    ASSERT_TRUE(breaksReach(3));

    // A restarted service counts its ids from 1 again: its id 1 is not Lumora's warning.
    ASSERT_TRUE(serviceBus.unregisterService("org.freedesktop.Notifications"));
    ASSERT_TRUE(serviceBus.registerService("org.freedesktop.Notifications"));
    roundTrip();
    press(1);
    roundTrip();
    EXPECT_EQ(h.desktop->breakWindowsShown, 3);
    refreshTo(claude(Availability::ready, 0.1), codex(Availability::ready, 0.1));
    refreshTo(claude(Availability::ready, 0.1), codex(Availability::limited, 0.9));
    ASSERT_EQ(service.received.size(), 5);
    press(5);
    ASSERT_TRUE(breaksReach(4));

    // A service without buttons gets the same notification without one.
    service.capabilities = QStringList{"body", "body-markup"};
    refreshTo(claude(Availability::ready, 0.1), codex(Availability::ready, 0.1));
    refreshTo(claude(Availability::ready, 0.1), codex(Availability::limited, 0.9));
    ASSERT_EQ(service.received.size(), 6);
    EXPECT_EQ(service.received[5].summary + service.received[5].actions.join(""),
              "Codex usage reached 80%");
    press(6);
    roundTrip();
    EXPECT_EQ(h.desktop->breakWindowsShown, 4);
}

TEST(ModelNotifications, OnlyWithAlertsOnAndComparedWithTheCachedSnapshotAtStart) {
    ModelHarness h;
    h.storePreference("codexEnabled", true);
    h.codex->script->setSnapshot(codex(Availability::ready, 0.05));
    AppTiming timing;
    timing.refreshInterval = std::chrono::hours(1);
    // A cached blocked Codex that is ready at the first refresh: told once, with alerts on only.
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
}
