#include "AppTestSupport.h"

#include <QCoreApplication>
#include <QDBusPendingCall>
#include <QDeadlineTimer>
#include <QMutex>
#include <QThreadPool>

#include <gtest/gtest.h>

namespace lumora::test {

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    bool held = false;
    for (const QDeadlineTimer deadline(timeout); !(held = done()) && !deadline.hasExpired();) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return held;
}

void settle() {
    for (int round = 0; round < 5; ++round) {
        QThreadPool::globalInstance()->waitForDone(5000);
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

void runEventsFor(std::chrono::milliseconds duration) {
    const QDeadlineTimer deadline(duration);
    waitUntil([&] { return deadline.hasExpired(); }, duration + std::chrono::seconds(1));
}

namespace {

QMutex logMutex;
QStringList logged;
QtMessageHandler previousHandler = nullptr;

void recordMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type != QtDebugMsg && type != QtInfoMsg) {
        QMutexLocker locker(&logMutex);
        logged.append(message);
    }
    previousHandler ? previousHandler(type, context, message) : void();
}

} // namespace

WarningLog::WarningLog() {
    clear();
    previousHandler = qInstallMessageHandler(recordMessage);
}

WarningLog::~WarningLog() {
    qInstallMessageHandler(previousHandler);
    previousHandler = nullptr;
}

QStringList WarningLog::messages() const {
    QMutexLocker locker(&logMutex);
    return logged;
}

void WarningLog::clear() {
    QMutexLocker locker(&logMutex);
    logged.clear();
}

PrivateBus::PrivateBus() {
    m_daemon.start("dbus-daemon", {"--session", "--print-address", "--nofork"});
    if (!m_daemon.waitForStarted(5000)) {
        ADD_FAILURE() << "dbus-daemon is missing (package dbus)";
        return;
    }
    QDeadlineTimer deadline(std::chrono::seconds(10));
    while (!m_daemon.canReadLine() && !deadline.hasExpired()) {
        m_daemon.waitForReadyRead(100);
    }
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    EXPECT_FALSE(m_address.isEmpty()) << "dbus-daemon printed no address";
}

PrivateBus::~PrivateBus() {
    for (const QString& name : m_connections) {
        QDBusConnection::disconnectFromBus(name);
    }
    m_daemon.terminate();
    if (!m_daemon.waitForFinished(5000)) {
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
}

QDBusConnection PrivateBus::connect(const QString& name) {
    static int counter = 0;
    const QString unique = QString("%1-%2").arg(name).arg(++counter);
    m_connections.append(unique);
    return QDBusConnection::connectToBus(m_address, unique);
}

QDBusMessage PrivateBus::call(const QDBusConnection& connection, const QDBusMessage& message) {
    const QDBusPendingCall pending = connection.asyncCall(message, 10000);
    EXPECT_TRUE(waitUntil([&] { return pending.isFinished(); }, std::chrono::seconds(15)));
    return pending.reply();
}

QString PrivateBus::ownerOf(const QDBusConnection& connection, const QString& name) {
    const QDBusMessage reply = call(
        connection, QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                   "org.freedesktop.DBus", "GetNameOwner")
                        << name);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString()
                                                      : QString();
}

bool FakeNotificationService::registerOn(QDBusConnection connection) {
    return connection.registerObject("/org/freedesktop/Notifications", this,
                                     QDBusConnection::ExportAllSlots) &&
           connection.registerService("org.freedesktop.Notifications");
}

QStringList FakeNotificationService::summaries() const {
    QStringList all;
    for (const QVariantList& notification : received) {
        all.append(notification[3].toString());
    }
    return all;
}

ModelHarness::~ModelHarness() {
    for (ProviderScript* script : {claude->script.get(), codex->script.get()}) {
        script->fetchGate.open();
        script->readinessGate.open();
    }
    updateChecker ? updateChecker->gate.open() : void();
    settle();
}

AppModel::Services ModelHarness::services(const AppTiming& timing) const {
    const auto cache = [&](const QString& id) {
        return std::make_shared<SnapshotCache>(id, data(id + "-snapshot.json"));
    };
    const auto store = std::make_shared<JsonFilePreferencesStore>(preferencesPath());
    const auto& d = desktop;
    const QString image = data("break-background-image");
    const std::shared_ptr<ClaudeUsageProvider> c = realClaude ? realClaude : claude;
    return {c, codex, cache("claude-code"), cache("codex"), store, notifier, d,     d, d,
            d, d,     updateChecker,        "1.0.0",        image, {},       timing};
}

std::shared_ptr<ClaudeUsageProvider> ModelHarness::useRealClaude(bool withHook) {
    home.installClaude();
    ClaudeUsageProvider::Options options;
    options.homeDirectory = home.path();
    options.hookHelper = builtExecutable("lumora-json");
    realClaude = std::make_shared<ClaudeUsageProvider>(options);
    withHook ? realClaude->installStatusLineSync() : void();
    return realClaude;
}

void ModelHarness::enableBoth(const std::optional<UsageSnapshot>& claudeAnswer,
                              const std::optional<UsageSnapshot>& codexAnswer) const {
    storePreference("providerEnabled", true);
    storePreference("codexEnabled", true);
    claudeAnswer ? claude->script->setSnapshot(*claudeAnswer) : void();
    codexAnswer ? codex->script->setSnapshot(*codexAnswer) : void();
}

UsageSnapshot usage(const QString& providerID, Availability availability,
                    std::optional<double> usedRatio, std::optional<QDateTime> resetsAt) {
    const bool codex = providerID == providers::codexID;
    QDateTime now = QDateTime::currentDateTimeUtc();
    now = now.addMSecs(-(now.toMSecsSinceEpoch() % 1000));
    return UsageSnapshot{providerID,
                         codex ? providers::codexName : providers::claudeCodeName,
                         now,
                         availability,
                         {UsageWindow(UsageWindow::Kind::session, usedRatio, resetsAt)},
                         codex ? SnapshotSource::officialAppServer : SnapshotSource::officialCLI,
                         Confidence::exact,
                         150,
                         std::nullopt};
}

} // namespace lumora::test
