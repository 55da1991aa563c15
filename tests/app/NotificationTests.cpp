#include "AppTestSupport.h"

#include "model/UsageNotifications.h"
#include "platform/Notifier.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// A stand-in for the desktop's notification daemon, registered on a private bus.
class FakeNotificationService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Received {
        QString appName;
        uint replacesId = 0;
        QString summary;
        QString body;
        QVariantMap hints;
        int expireTimeout = 0;
    };
    QList<Received> received;

public slots:
    uint Notify(const QString& appName, uint replacesId, const QString& /*icon*/,
                const QString& summary, const QString& body, const QStringList& /*actions*/,
                const QVariantMap& hints, int expireTimeout) {
        received.append({appName, replacesId, summary, body, hints, expireTimeout});
        return static_cast<uint>(received.size());
    }
    QString GetServerInformation(QString& vendor, QString& version, QString& specVersion) {
        vendor = "Lumora tests";
        version = "1";
        specVersion = "1.2";
        return "fake-notifications";
    }
};

class NotificationTest : public ::testing::Test {
protected:
    ModelHarness harness;
};

// A private bus with two connections on it: one for the application, one for the service.
class NotificationBusTest : public NotificationTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(bus.isRunning());
        static int counter = 0;
        clientName = QStringLiteral("client-%1").arg(++counter);
        serviceName = QStringLiteral("service-%1").arg(counter);
    }
    void TearDown() override {
        QDBusConnection::disconnectFromBus(clientName);
        QDBusConnection::disconnectFromBus(serviceName);
    }
    QDBusConnection client() const {
        return QDBusConnection::connectToBus(bus.address(), clientName);
    }
    void registerService() {
        QDBusConnection connection = QDBusConnection::connectToBus(bus.address(), serviceName);
        ASSERT_TRUE(connection.isConnected());
        ASSERT_TRUE(connection.registerObject("/org/freedesktop/Notifications", &service,
                                              QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(connection.registerService("org.freedesktop.Notifications"));
    }
    static bool answer(const QFuture<bool>& future) {
        EXPECT_TRUE(waitFor(future));
        return future.resultCount() > 0 && future.result();
    }

    PrivateSessionBus bus;
    QString clientName;
    QString serviceName;
    FakeNotificationService service;
};

UsageSnapshot withRatio(Availability availability, std::optional<double> ratio,
                        std::optional<QDateTime> resetsAt = std::nullopt) {
    return usage("codex", availability, ratio, resetsAt);
}

UsageSnapshot withoutWindows(Availability availability) {
    UsageSnapshot snapshot = usage("codex", availability, std::nullopt);
    snapshot.windows.clear();
    return snapshot;
}

} // namespace

TEST(UsageNotificationRules, DecideAtMostOneNotificationFromTwoSnapshots) {
    const QLocale locale(QLocale::German, QLocale::Germany);
    const QDateTime reset(QDate(2026, 3, 1), QTime(14, 30), Qt::LocalTime);
    const QString resetLine = "Expected reset: 14:30";
    const auto ready = [&](double ratio) {
        return withRatio(Availability::ready, ratio, reset);
    };
    const auto limited = [&](double ratio) {
        return withRatio(Availability::limited, ratio, reset);
    };
    const auto blocked = [&](double ratio) {
        return withRatio(Availability::blocked, ratio, reset);
    };
    using Note = UsageNotification;
    struct Row {
        const char* what;
        UsageSnapshot previous;
        UsageSnapshot next;
        std::optional<Note> expected;
    };
    const QList<Row> rows{
        {"crossing 80%", ready(0.79), ready(0.80), Note{"Codex usage reached 80%", resetLine}},
        {"already above", limited(0.85), limited(0.90), std::nullopt},
        {"no window before", withoutWindows(Availability::unknown), limited(0.95),
         Note{"Codex usage reached 80%", resetLine}},
        {"no ratio before", withRatio(Availability::ready, std::nullopt), limited(0.95),
         Note{"Codex usage reached 80%", resetLine}},
        {"crossing and blocked at once", ready(0.5), blocked(1.0),
         Note{"Codex usage reached 80%", resetLine}},
        {"blocked after the warning", limited(0.9), blocked(1.0),
         Note{"Codex is resting", resetLine}},
        {"blocked without ratio", limited(0.9), withRatio(Availability::blocked, std::nullopt),
         Note{"Codex is resting", "Reset time is unavailable."}},
        {"reset", blocked(1.0), ready(0.1), Note{"Codex is ready", "You can use Codex again."}},
        {"blocked to limited, previous below 80%", withRatio(Availability::blocked, 0.5, reset),
         limited(0.9), Note{"Codex usage reached 80%", resetLine}},
        {"blocked to limited, previous above", blocked(1.0), limited(0.9), std::nullopt},
        {"still blocked", blocked(1.0), blocked(1.0), std::nullopt},
        {"blocked to unknown", blocked(1.0), withoutWindows(Availability::unknown), std::nullopt},
        {"unknown to ready", withoutWindows(Availability::unknown), ready(0.2), std::nullopt},
        {"going down", limited(0.9), ready(0.1), std::nullopt},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(usageNotification(row.previous, row.next, locale), row.expected) << row.what;
    }
    // The name comes from the new snapshot.
    UsageSnapshot claude = ready(0.9);
    claude.providerName = "Claude Code";
    EXPECT_EQ(usageNotification(ready(0.1), claude, locale)->title,
              "Claude Code usage reached 80%");
}

TEST(UsageNotificationRules, ResetLineUsesTheLocalesShortTime) {
    const QDateTime reset(QDate(2026, 3, 1), QTime(14, 30, 45), Qt::LocalTime);
    const UsageSnapshot snapshot = withRatio(Availability::limited, 0.9, reset);
    EXPECT_EQ(resetDescription(snapshot, QLocale(QLocale::German, QLocale::Germany)),
              "Expected reset: 14:30");
    // Twelve-hour locales put a space of some kind before the marker.
    const QString american =
        resetDescription(snapshot, QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_TRUE(american.startsWith("Expected reset: 2:30")) << american.toStdString();
    EXPECT_TRUE(american.endsWith("PM")) << american.toStdString();
    // A reset stored in UTC is shown in local time.
    const UsageSnapshot utc = withRatio(Availability::limited, 0.9, reset.toUTC());
    EXPECT_EQ(resetDescription(utc, QLocale(QLocale::German, QLocale::Germany)),
              "Expected reset: 14:30");
    EXPECT_EQ(resetDescription(withRatio(Availability::limited, 0.9)),
              "Reset time is unavailable.");
    EXPECT_EQ(resetDescription(withoutWindows(Availability::unknown)),
              "Reset time is unavailable.");
}

TEST_F(NotificationBusTest, NotificationsReachTheDesktopServiceOverDBus) {
    registerService();
    DBusNotifier notifier(client());
    EXPECT_TRUE(answer(notifier.requestAuthorization()));

    ASSERT_TRUE(waitFor(notifier.send("Codex usage reached 80%", "Expected reset: 14:30")));
    ASSERT_TRUE(waitFor(notifier.send("Codex is ready", "You can use Codex again.")));
    ASSERT_TRUE(waitUntil([&] { return service.received.size() == 2; }));
    const auto& first = service.received[0];
    EXPECT_EQ(first.appName, "Lumora");
    EXPECT_EQ(first.replacesId, 0u);
    EXPECT_EQ(first.summary, "Codex usage reached 80%");
    EXPECT_EQ(first.body, "Expected reset: 14:30");
    EXPECT_EQ(first.hints.value("sound-name").toString(), "message-new-instant");
    EXPECT_EQ(first.expireTimeout, -1);
    // Each notification is a new one; none replaces the one before.
    EXPECT_EQ(service.received[1].replacesId, 0u);
    EXPECT_EQ(service.received[1].summary, "Codex is ready");
}

TEST_F(NotificationBusTest, WithoutAServiceNotificationsAreRefusedAndSendingStaysQuiet) {
    DBusNotifier notifier(client());
    EXPECT_FALSE(answer(notifier.requestAuthorization()));
    EXPECT_TRUE(waitFor(notifier.send("title", "body"))); // finishes, throws nothing

    DBusNotifier unconnected(QDBusConnection("no-such-connection"));
    EXPECT_FALSE(answer(unconnected.requestAuthorization()));
}

TEST_F(NotificationBusTest, TurningAlertsOnWithoutAServiceTurnsThemBackOff) {
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

TEST_F(NotificationBusTest, TheModelDeliversItsNotificationsThroughTheService) {
    registerService();
    harness.storePreference("providerEnabled", true);
    harness.storePreference("codexEnabled", true);
    AppModel::Services services = harness.services();
    services.notifier = std::make_shared<DBusNotifier>(client());
    AppModel model(services);
    model.preferences()->setAlertsEnabled(true);
    settle();
    EXPECT_TRUE(model.preferences()->alertsEnabled()); // the service answered

    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.5));
    harness.codex->script->setSnapshot(usage("codex", Availability::ready, 0.2));
    ASSERT_TRUE(waitFor(model.refresh(false)));
    const QDateTime reset = QDateTime::currentDateTime().addSecs(7200);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::limited, 0.85, reset));
    harness.codex->script->setSnapshot(usage("codex", Availability::blocked, 1.0));
    ASSERT_TRUE(waitFor(model.refresh(false)));
    ASSERT_TRUE(waitUntil([&] { return service.received.size() == 2; }));

    // Claude Code first, then Codex, one each.
    EXPECT_EQ(service.received[0].summary, "Claude Code usage reached 80%");
    EXPECT_EQ(service.received[0].body,
              "Expected reset: " + QLocale::system().toString(reset.time(), QLocale::ShortFormat));
    EXPECT_EQ(service.received[1].summary, "Codex usage reached 80%");
    EXPECT_EQ(service.received[1].body, "Reset time is unavailable.");

    // The same state seen again sends nothing more.
    ASSERT_TRUE(waitFor(model.refresh(false)));
    settle();
    EXPECT_EQ(service.received.size(), 2);
}

TEST_F(NotificationTest, AnAnsweredRequestKeepsAlertsOnAndOffMeansSilence) {
    harness.storePreference("codexEnabled", true);
    harness.codex->script->setSnapshot(usage("codex", Availability::ready, 0.5));
    const auto model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    harness.codex->script->setSnapshot(usage("codex", Availability::limited, 0.9));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_TRUE(harness.notifier->sent.isEmpty()); // alerts are off
    EXPECT_EQ(harness.notifier->authorizationRequests, 0);

    model->preferences()->setAlertsEnabled(true);
    settle();
    EXPECT_EQ(harness.notifier->authorizationRequests, 1);
    EXPECT_TRUE(model->preferences()->alertsEnabled());
    harness.codex->script->setSnapshot(usage("codex", Availability::ready, 0.1));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    harness.codex->script->setSnapshot(usage("codex", Availability::limited, 0.95));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    ASSERT_EQ(harness.notifier->sent.size(), 1);
    EXPECT_EQ(harness.notifier->sent[0].title, "Codex usage reached 80%");

    // Refused permission: the switch goes back off and is stored off.
    harness.notifier->authorizes = false;
    model->preferences()->setAlertsEnabled(true);
    settle();
    EXPECT_FALSE(model->preferences()->alertsEnabled());
    EXPECT_EQ(harness.storedPreference("alertsEnabled"), QJsonValue(false));
    EXPECT_EQ(harness.notifier->authorizationRequests, 2); // turning it off asks nothing
}

TEST_F(NotificationTest, TheFirstRefreshComparesWithTheCachedSnapshot) {
    harness.storePreference("codexEnabled", true);
    harness.storePreference("alertsEnabled", true);
    SnapshotCache("codex", harness.codexCachePath())
        .save(usage("codex", Availability::blocked, 1.0));
    harness.codex->script->setSnapshot(usage("codex", Availability::ready, 0.05));
    AppTiming timing;
    timing.refreshInterval = std::chrono::hours(1);
    const auto model = harness.makeModel(timing);
    model->start();
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->fetches() == 1; }));
    ASSERT_TRUE(waitUntil([&] { return !model->isRefreshing(); }));
    ASSERT_EQ(harness.notifier->sent.size(), 1);
    EXPECT_EQ(harness.notifier->sent[0].title, "Codex is ready");
    EXPECT_EQ(harness.notifier->sent[0].body, "You can use Codex again.");
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_EQ(harness.notifier->sent.size(), 1);
}

#include "NotificationTests.moc"
