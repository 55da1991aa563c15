#include "AppTestSupport.h"

#include "core/SnapshotCache.h"
#include "model/UsageNotifications.h"
#include "platform/Notifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QProcess>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// A stand-in for the desktop's notification daemon. It advertises `capabilities` and can raise
// the signals a real one sends when the user presses a button or a notification closes.
class FakeNotificationService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Received {
        QString appName;
        uint replacesId;
        QString icon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int expireTimeout;
    };
    QList<Received> received;
    QStringList capabilities{"body", "actions"};

    void emitSignal(const QDBusConnection& connection, const QString& name,
                    const QVariantList& arguments) const {
        QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/Notifications",
                                                         "org.freedesktop.Notifications", name);
        signal.setArguments(arguments);
        EXPECT_TRUE(connection.send(signal));
    }

public slots:
    uint Notify(const QString& appName, uint replacesId, const QString& icon,
                const QString& summary, const QString& body, const QStringList& actions,
                const QVariantMap& hints, int expireTimeout) {
        received.append({appName, replacesId, icon, summary, body, actions, hints, expireTimeout});
        return static_cast<uint>(received.size());
    }
    QStringList GetCapabilities() { return capabilities; }
    QString GetServerInformation(QString& vendor, QString& version, QString& specVersion) {
        vendor = version = specVersion = "test";
        return "fake-notifications";
    }
};

// A dbus-daemon of the test's own, as a child process, with two connections on it: one for the
// application and one for the notification service (registered on request).
class NotificationBusTest : public ::testing::Test {
protected:
    void SetUp() override {
        daemon.start("dbus-daemon", {"--session", "--print-address", "--nofork"});
        ASSERT_TRUE(daemon.waitForStarted(5000)) << "dbus-daemon is missing (package dbus)";
        QDeadlineTimer deadline(std::chrono::seconds(10));
        while (!daemon.canReadLine() && !deadline.hasExpired()) {
            daemon.waitForReadyRead(100);
        }
        address = QString::fromUtf8(daemon.readLine()).trimmed();
        ASSERT_FALSE(address.isEmpty());
        static int counter = 0;
        clientName = QStringLiteral("client-%1").arg(++counter);
        serviceName = QStringLiteral("service-%1").arg(counter);
    }
    void TearDown() override {
        QDBusConnection::disconnectFromBus(clientName);
        QDBusConnection::disconnectFromBus(serviceName);
        daemon.terminate();
        if (!daemon.waitForFinished(5000)) {
            daemon.kill();
            daemon.waitForFinished(5000);
        }
    }
    QDBusConnection client() const { return QDBusConnection::connectToBus(address, clientName); }
    QDBusConnection serviceConnection() const {
        return QDBusConnection::connectToBus(address, serviceName);
    }
    void registerService() {
        QDBusConnection connection = serviceConnection();
        ASSERT_TRUE(connection.registerObject("/org/freedesktop/Notifications", &service,
                                              QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(connection.registerService("org.freedesktop.Notifications"));
    }
    // A model that notifies through this bus, both providers on and alerts granted.
    std::unique_ptr<AppModel> alertingModel() {
        harness.storePreference("providerEnabled", true);
        harness.storePreference("codexEnabled", true);
        AppModel::Services services = harness.services();
        services.notifier = std::make_shared<DBusNotifier>(client());
        auto model = std::make_unique<AppModel>(services);
        model->preferences()->setAlertsEnabled(true);
        settle();
        EXPECT_TRUE(model->preferences()->alertsEnabled()); // the service answered
        return model;
    }
    // Whatever the service sent before has reached the client: the answer to a later call
    // travels behind it.
    void roundTrip() {
        EXPECT_TRUE(granted(DBusNotifier(client()).requestAuthorization()));
        settle();
    }
    static bool granted(const QFuture<bool>& answer) {
        EXPECT_TRUE(waitFor(answer));
        return answer.resultCount() > 0 && answer.result();
    }

    QProcess daemon;
    QString address;
    QString clientName;
    QString serviceName;
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
}

TEST(UsageNotificationRules, ResetLineUsesTheLocalesShortTime) {
    const QDateTime reset(QDate(2026, 3, 1), QTime(14, 30, 45), Qt::LocalTime);
    const QLocale german(QLocale::German, QLocale::Germany);
    EXPECT_EQ(resetDescription(codex(Availability::limited, 0.9, reset), german),
              "Expected reset: 14:30");
    // Stored in UTC, shown in local time.
    EXPECT_EQ(resetDescription(codex(Availability::limited, 0.9, reset.toUTC()), german),
              "Expected reset: 14:30");
    const QString american = resetDescription(codex(Availability::limited, 0.9, reset),
                                              QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_TRUE(american.startsWith("Expected reset: 2:30")) << american.toStdString();
    EXPECT_TRUE(american.endsWith("PM")) << american.toStdString();
    EXPECT_EQ(resetDescription(codexWithoutWindows()), "Reset time is unavailable.");
}

TEST_F(NotificationBusTest, NotificationsReachTheDesktopServiceOverDBus) {
    registerService();
    DBusNotifier notifier(client());
    EXPECT_TRUE(granted(notifier.requestAuthorization()));

    ASSERT_TRUE(waitFor(notifier.send("Codex usage reached 80%", "Expected reset: 14:30")));
    ASSERT_TRUE(waitFor(notifier.send("Codex is ready", "You can use Codex again.")));
    ASSERT_EQ(service.received.size(), 2);
    const auto& first = service.received[0];
    EXPECT_EQ(first.appName, "Lumora");
    EXPECT_EQ(first.summary, "Codex usage reached 80%");
    EXPECT_EQ(first.body, "Expected reset: 14:30");
    EXPECT_EQ(first.hints.value("sound-name").toString(), "message-new-instant");
    EXPECT_EQ(first.hints.value("desktop-entry").toString(), "lumora");
    EXPECT_EQ(first.icon, "lumora");
    EXPECT_TRUE(first.actions.isEmpty());
    EXPECT_EQ(first.expireTimeout, -1);
    // Each notification is a new one; none replaces the one before.
    EXPECT_EQ(first.replacesId, 0u);
    EXPECT_EQ(service.received[1].replacesId, 0u);
}

TEST_F(NotificationBusTest, WithoutAServiceAlertsTurnThemselvesBackOff) {
    DBusNotifier notifier(client());
    EXPECT_FALSE(granted(notifier.requestAuthorization()));
    EXPECT_TRUE(waitFor(notifier.send("title", "body"))); // finishes quietly
    EXPECT_TRUE(waitFor(notifier.sendOfferingBreak("title", "body")));
    EXPECT_FALSE(granted(DBusNotifier(QDBusConnection("not-connected")).requestAuthorization()));

    AppModel::Services services = harness.services();
    services.notifier = std::make_shared<DBusNotifier>(client());
    AppModel model(services);
    QList<bool> seen;
    QObject::connect(model.preferences(), &AppPreferences::alertsEnabledChanged,
                     [&] { seen << model.preferences()->alertsEnabled(); });
    model.preferences()->setAlertsEnabled(true);
    ASSERT_TRUE(waitUntil([&] { return seen.size() == 2; }));
    EXPECT_EQ(seen, QList<bool>({true, false}));
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(false));
}

TEST_F(NotificationBusTest, TheModelNotifiesThroughTheServiceClaudeFirstOnceEach) {
    registerService();
    const auto model = alertingModel();

    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.5));
    harness.codex->script->setSnapshot(codex(Availability::ready, 0.2));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    const QDateTime reset = QDateTime::currentDateTime().addSecs(7200);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::limited, 0.85, reset));
    harness.codex->script->setSnapshot(codex(Availability::blocked, 1.0));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    ASSERT_EQ(service.received.size(), 2);
    EXPECT_EQ(service.received[0].summary, "Claude Code usage reached 80%");
    EXPECT_EQ(service.received[0].body,
              "Expected reset: " + QLocale::system().toString(reset.time(), QLocale::ShortFormat));
    EXPECT_EQ(service.received[1].summary, "Codex usage reached 80%");

    // The same state seen again sends nothing more.
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_EQ(service.received.size(), 2);
}

TEST_F(NotificationBusTest, TakeABreakOnAWarningOrALimitOpensTheBreakScreen) {
    registerService();
    const auto model = alertingModel();
    const auto refreshTo = [&](const UsageSnapshot& claude, const UsageSnapshot& next) {
        harness.claude->script->setSnapshot(claude);
        harness.codex->script->setSnapshot(next);
        ASSERT_TRUE(waitFor(model->refresh(false)));
    };
    refreshTo(usage("claude-code", Availability::limited, 0.9), codex(Availability::ready, 0.2));
    refreshTo(usage("claude-code", Availability::blocked, 1.0), codex(Availability::limited, 0.85));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.85));
    ASSERT_EQ(service.received.size(), 4);
    const QStringList takeABreak{"take-a-break", "Take a Break"};
    const QStringList summaries{"Claude Code usage reached 80%", "Claude Code is resting",
                                "Codex usage reached 80%", "Claude Code is ready"};
    for (int i = 0; i < 4; ++i) {
        const auto& notification = service.received[i];
        EXPECT_EQ(notification.summary, summaries[i]);
        EXPECT_EQ(notification.actions, i < 3 ? takeABreak : QStringList()) << i;
        EXPECT_EQ(notification.icon, "lumora");
        EXPECT_EQ(notification.hints.value("desktop-entry").toString(), "lumora");
    }

    // Ignored: the reset notification (no button), another key, a closed notification, another
    // application's notification, and a bus peer that is not the notification service.
    QDBusConnection bus = serviceConnection();
    service.emitSignal(bus, "ActionInvoked", {4u, "take-a-break"});
    service.emitSignal(bus, "ActionInvoked", {1u, "default"});
    service.emitSignal(bus, "NotificationClosed", {2u, 2u});
    service.emitSignal(bus, "ActionInvoked", {2u, "take-a-break"});
    service.emitSignal(bus, "ActionInvoked", {99u, "take-a-break"});
    service.emitSignal(client(), "ActionInvoked", {1u, "take-a-break"});
    roundTrip();
    EXPECT_EQ(harness.desktop->breakWindowsShown, 0);

    service.emitSignal(bus, "ActionInvoked", {3u, "take-a-break"});
    ASSERT_TRUE(waitUntil([&] { return harness.desktop->breakWindowsShown == 1; }));
    // A notification the server keeps open can be pressed again.
    service.emitSignal(bus, "ActionInvoked", {3u, "take-a-break"});
    service.emitSignal(bus, "ActionInvoked", {1u, "take-a-break"});
    ASSERT_TRUE(waitUntil([&] { return harness.desktop->breakWindowsShown == 3; }));

    // A restarted service counts its ids from 1 again: its id 1 is not Lumora's warning.
    ASSERT_TRUE(bus.unregisterService("org.freedesktop.Notifications"));
    ASSERT_TRUE(bus.registerService("org.freedesktop.Notifications"));
    roundTrip();
    service.emitSignal(bus, "ActionInvoked", {1u, "take-a-break"});
    roundTrip();
    EXPECT_EQ(harness.desktop->breakWindowsShown, 3);
    // Its own notifications still offer the break.
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::ready, 0.1));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.9));
    ASSERT_EQ(service.received.size(), 5);
    service.emitSignal(bus, "ActionInvoked", {5u, "take-a-break"});
    ASSERT_TRUE(waitUntil([&] { return harness.desktop->breakWindowsShown == 4; }));
}

TEST_F(NotificationBusTest, AServiceWithoutButtonsGetsTheSameNotificationWithoutOne) {
    service.capabilities = QStringList{"body", "body-markup"};
    registerService();
    const auto model = alertingModel();
    harness.codex->script->setSnapshot(codex(Availability::limited, 0.9));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    ASSERT_EQ(service.received.size(), 1);
    const auto& warning = service.received[0];
    EXPECT_EQ(warning.summary, "Codex usage reached 80%");
    EXPECT_TRUE(warning.actions.isEmpty());
    EXPECT_EQ(warning.icon, "lumora");
    EXPECT_EQ(warning.hints.value("desktop-entry").toString(), "lumora");
    EXPECT_EQ(warning.hints.value("sound-name").toString(), "message-new-instant");

    service.emitSignal(serviceConnection(), "ActionInvoked", {1u, "take-a-break"});
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
    EXPECT_EQ(harness.notifier->authorizationRequests, 0);

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

    // Refused on the next request: the switch goes back off and is stored off.
    harness.notifier->authorizes = false;
    next->preferences()->setAlertsEnabled(true);
    settle();
    EXPECT_FALSE(next->preferences()->alertsEnabled());
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(false));
    EXPECT_EQ(harness.notifier->authorizationRequests, 1);
}

#include "NotificationTests.moc"
