#include "AppTestSupport.h"

#include "core/SnapshotCache.h"
#include "model/UsageNotifications.h"
#include "platform/Notifier.h"

#include <QDBusConnection>
#include <QDBusMessage>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// A dbus-daemon of the test's own with two connections on it: one for the application and one
// for the notification service (registered on request).
class NotificationBusTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.isRunning()); }
    void registerService() { ASSERT_TRUE(service.registerOn(serviceBus)); }
    // A model that notifies through this bus, both providers on and alerts granted.
    std::unique_ptr<AppModel> alertingModel() {
        harness.enableBoth();
        AppModel::Services services = harness.services();
        services.notifier = std::make_shared<DBusNotifier>(client);
        auto model = std::make_unique<AppModel>(services);
        model->preferences()->setAlertsEnabled(true);
        settle();
        EXPECT_TRUE(model->preferences()->alertsEnabled()); // the service answered
        return model;
    }
    // Whatever the service sent before has reached the client: the answer to a later call
    // travels behind it.
    void roundTrip() {
        EXPECT_TRUE(granted(DBusNotifier(client).requestAuthorization()));
        settle();
    }
    static bool granted(const QFuture<bool>& answer) {
        EXPECT_TRUE(waitFor(answer));
        return answer.resultCount() > 0 && answer.result();
    }

    PrivateBus bus;
    QDBusConnection client = bus.connect("client");
    QDBusConnection serviceBus = bus.connect("service");
    FakeNotificationService service;
    ModelHarness harness;
};

UsageSnapshot codex(Availability availability, std::optional<double> ratio,
                    std::optional<QDateTime> resetsAt = std::nullopt) {
    return usage("codex", availability, ratio, resetsAt);
}

UsageSnapshot codexWithoutWindows() {
    UsageSnapshot snapshot = codex(Availability::unknown, std::nullopt);
    snapshot.windows.clear();
    return snapshot;
}

} // namespace

TEST(UsageNotificationRules, DecideAtMostOneNotificationFromTwoSnapshots) {
    const QLocale locale(QLocale::German, QLocale::Germany);
    const QDateTime reset(QDate(2026, 3, 1), QTime(14, 30), Qt::LocalTime);
    const auto ready = [&](double ratio) {
        return codex(Availability::ready, ratio, reset);
    };
    const auto limited = [&](double ratio) {
        return codex(Availability::limited, ratio, reset);
    };
    const auto blocked = [&](double ratio) {
        return codex(Availability::blocked, ratio, reset);
    };
    // The warning and the limit offer a break; the reset does not.
    const UsageNotification warning{"Codex usage reached 80%", "Expected reset: 14:30", true};
    const UsageNotification resting{"Codex is resting", "Expected reset: 14:30", true};
    const UsageNotification again{"Codex is ready", "You can use Codex again."};
    const struct {
        const char* what;
        UsageSnapshot previous;
        UsageSnapshot next;
        std::optional<UsageNotification> expected;
    } rows[] = {
        {"crossing 80%", ready(0.79), ready(0.80), warning},
        {"already above", limited(0.85), limited(0.90), std::nullopt},
        {"no window before", codexWithoutWindows(), limited(0.95), warning},
        {"no ratio before", codex(Availability::ready, std::nullopt), limited(0.95), warning},
        {"crossing and blocked at once", ready(0.5), blocked(1.0), warning},
        {"blocked after the warning", limited(0.9), blocked(1.0), resting},
        {"blocked without a reset time", limited(0.9), codex(Availability::blocked, 1.0),
         UsageNotification{"Codex is resting", "Reset time is unavailable.", true}},
        {"reset", blocked(1.0), ready(0.1), again},
        {"blocked below 80% to limited", codex(Availability::blocked, 0.5), limited(0.9), warning},
        {"blocked to limited", blocked(1.0), limited(0.9), std::nullopt},
        {"still blocked", blocked(1.0), blocked(1.0), std::nullopt},
        {"blocked to unknown", blocked(1.0), codexWithoutWindows(), std::nullopt},
        {"going down", limited(0.9), ready(0.1), std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(usageNotification(row.previous, row.next, locale), row.expected) << row.what;
    }

    // The reset line: the locale's short time, stored in UTC and shown in local time.
    EXPECT_EQ(
        resetDescription(codex(Availability::limited, 0.9, reset.addSecs(45).toUTC()), locale),
        "Expected reset: 14:30");
    const QString american = resetDescription(codex(Availability::limited, 0.9, reset),
                                              QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_TRUE(american.startsWith("Expected reset: 2:30")) << american.toStdString();
    EXPECT_TRUE(american.endsWith("PM")) << american.toStdString();
    EXPECT_EQ(resetDescription(codexWithoutWindows()), "Reset time is unavailable.");
}

TEST_F(NotificationBusTest, NotificationsReachTheDesktopServiceOverDBus) {
    registerService();
    DBusNotifier notifier(client);
    EXPECT_TRUE(granted(notifier.requestAuthorization()));

    ASSERT_TRUE(waitFor(notifier.send("Codex usage reached 80%", "Expected reset: 14:30")));
    ASSERT_TRUE(waitFor(notifier.send("Codex is ready", "You can use Codex again.")));
    ASSERT_EQ(service.received.size(), 2);
    const auto& first = service.received[0]; // a new one each time, replacing none
    EXPECT_EQ(QStringList({first.appName, first.icon, first.summary, first.body,
                           first.hints.value("sound-name").toString(),
                           first.hints.value("desktop-entry").toString(),
                           QString::number(first.expireTimeout), first.actions.join(','),
                           QString::number(first.replacesId + service.received[1].replacesId)}),
              QStringList({"Lumora", "lumora", "Codex usage reached 80%", "Expected reset: 14:30",
                           "message-new-instant", "lumora", "-1", "", "0"}));
}

TEST_F(NotificationBusTest, WithoutAServiceAlertsTurnThemselvesBackOff) {
    DBusNotifier notifier(client);
    EXPECT_FALSE(granted(notifier.requestAuthorization()));
    EXPECT_TRUE(waitFor(notifier.send("title", "body"))); // finishes quietly
    EXPECT_TRUE(waitFor(notifier.sendOfferingBreak("title", "body")));
    EXPECT_FALSE(granted(DBusNotifier(QDBusConnection("not-connected")).requestAuthorization()));

    AppModel::Services services = harness.services();
    services.notifier = std::make_shared<DBusNotifier>(client);
    AppModel model(services);
    QList<bool> seen;
    QObject::connect(model.preferences(), &AppPreferences::alertsEnabledChanged,
                     [&] { seen << model.preferences()->alertsEnabled(); });
    model.preferences()->setAlertsEnabled(true);
    ASSERT_TRUE(waitUntil([&] { return seen.size() == 2; }));
    EXPECT_EQ(seen, QList<bool>({true, false}));
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(false));
}

TEST_F(NotificationBusTest, NotifiesClaudeFirstOnceEachAndTakeABreakOpensTheBreakScreen) {
    registerService();
    const auto model = alertingModel();
    const auto refreshTo = [&](const UsageSnapshot& claude, const UsageSnapshot& next) {
        harness.claude->script->setSnapshot(claude);
        harness.codex->script->setSnapshot(next);
        ASSERT_TRUE(waitFor(model->refresh(false)));
    };
    // Claude Code first in each refresh, each state told once.
    const QDateTime reset = QDateTime::currentDateTime().addSecs(7200);
    refreshTo(usage("claude-code", Availability::limited, 0.9, reset),
              codex(Availability::ready, 0.2));
    EXPECT_EQ(service.received.value(0).body,
              "Expected reset: " + QLocale::system().toString(reset.time(), QLocale::ShortFormat));
    refreshTo(usage("claude-code", Availability::blocked, 1.0), codex(Availability::limited, 0.85));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.85));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.85));
    ASSERT_EQ(service.received.size(), 4);
    const QStringList takeABreak{"take-a-break", "Take a Break"};
    const QStringList summaries{"Claude Code usage reached 80%", "Claude Code is resting",
                                "Codex usage reached 80%", "Claude Code is ready"};
    for (int i = 0; i < 4; ++i) {
        const auto& notification = service.received[i];
        EXPECT_EQ(notification.summary, summaries[i]);
        EXPECT_EQ(notification.actions, i < 3 ? takeABreak : QStringList()) << i;
    }

    // Ignored: the reset notification (no button), another key, a closed notification, another
    // application's notification, and a bus peer that is not the notification service.
    service.emitSignal(serviceBus, "ActionInvoked", {4u, "take-a-break"});
    service.emitSignal(serviceBus, "ActionInvoked", {1u, "default"});
    service.emitSignal(serviceBus, "NotificationClosed", {2u, 2u});
    service.emitSignal(serviceBus, "ActionInvoked", {2u, "take-a-break"});
    service.emitSignal(serviceBus, "ActionInvoked", {99u, "take-a-break"});
    service.emitSignal(client, "ActionInvoked", {1u, "take-a-break"});
    roundTrip();
    EXPECT_EQ(harness.desktop->breakWindowsShown, 0);

    service.emitSignal(serviceBus, "ActionInvoked", {3u, "take-a-break"});
    ASSERT_TRUE(waitUntil([&] { return harness.desktop->breakWindowsShown == 1; }));
    // A notification the server keeps open can be pressed again.
    service.emitSignal(serviceBus, "ActionInvoked", {3u, "take-a-break"});
    service.emitSignal(serviceBus, "ActionInvoked", {1u, "take-a-break"});
    ASSERT_TRUE(waitUntil([&] { return harness.desktop->breakWindowsShown == 3; }));

    // A restarted service counts its ids from 1 again: its id 1 is not Lumora's warning.
    ASSERT_TRUE(serviceBus.unregisterService("org.freedesktop.Notifications"));
    ASSERT_TRUE(serviceBus.registerService("org.freedesktop.Notifications"));
    roundTrip();
    service.emitSignal(serviceBus, "ActionInvoked", {1u, "take-a-break"});
    roundTrip();
    EXPECT_EQ(harness.desktop->breakWindowsShown, 3);
    // Its own notifications still offer the break.
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::ready, 0.1));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.9));
    ASSERT_EQ(service.received.size(), 5);
    service.emitSignal(serviceBus, "ActionInvoked", {5u, "take-a-break"});
    ASSERT_TRUE(waitUntil([&] { return harness.desktop->breakWindowsShown == 4; }));
}

TEST_F(NotificationBusTest, AServiceWithoutButtonsGetsTheSameNotificationWithoutOne) {
    service.capabilities = QStringList{"body", "body-markup"};
    registerService();
    const auto model = alertingModel();
    harness.codex->script->setSnapshot(codex(Availability::limited, 0.9));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    ASSERT_EQ(service.received.size(), 1);
    EXPECT_EQ(service.received[0].summary, "Codex usage reached 80%");
    EXPECT_TRUE(service.received[0].actions.isEmpty());

    service.emitSignal(serviceBus, "ActionInvoked", {1u, "take-a-break"});
    roundTrip();
    EXPECT_EQ(harness.desktop->breakWindowsShown, 0);
}

TEST(ModelNotifications, OnlyWithAlertsOnAndComparedWithTheCachedSnapshotAtStart) {
    ModelHarness harness;
    harness.storePreference("codexEnabled", true);
    SnapshotCache("codex", harness.codexCachePath()).save(codex(Availability::blocked, 1.0));
    harness.codex->script->setSnapshot(codex(Availability::ready, 0.05));
    AppTiming timing;
    timing.refreshInterval = std::chrono::hours(1);
    const auto model = harness.makeModel(timing);
    model->start();
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->fetches() == 1; }));
    settle();
    EXPECT_TRUE(harness.notifier->sent.isEmpty()); // alerts are off

    // Alerts on (granted): a cached blocked Codex that is ready at the first refresh gets the
    // reset notification, once.
    harness.storePreference("alertsEnabled", true);
    SnapshotCache("codex", harness.codexCachePath()).save(codex(Availability::blocked, 1.0));
    const auto next = harness.makeModel(timing);
    next->start();
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->fetches() == 2; }));
    settle();
    ASSERT_TRUE(waitFor(next->refresh(false)));
    EXPECT_EQ(harness.notifier->sent, QStringList({"Codex is ready | You can use Codex again."}));
    EXPECT_EQ(harness.notifier->authorizationRequests, 0); // reading the switch asks nothing
}
