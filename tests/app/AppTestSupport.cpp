#include "AppTestSupport.h"

#include <QCoreApplication>
#include <QDBusPendingCall>
#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QThreadPool>

#include <gtest/gtest.h>

namespace lumora::test {

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    QDeadlineTimer deadline(timeout);
    while (!done()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
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
    if (previousHandler) {
        previousHandler(type, context, message);
    }
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
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--print-address"),
                    QStringLiteral("--nofork")});
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
    const QString unique = QStringLiteral("%1-%2").arg(name).arg(++counter);
    m_connections.append(unique);
    return QDBusConnection::connectToBus(m_address, unique);
}

QDBusMessage PrivateBus::call(const QDBusConnection& connection, const QDBusMessage& message) {
    const QDBusPendingCall pending = connection.asyncCall(message, 10000);
    EXPECT_TRUE(waitUntil([&] { return pending.isFinished(); }, std::chrono::seconds(15)));
    return pending.reply();
}

QString PrivateBus::ownerOf(const QDBusConnection& connection, const QString& name) {
    const QDBusMessage reply =
        call(connection, QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                        QStringLiteral("/org/freedesktop/DBus"),
                                                        QStringLiteral("org.freedesktop.DBus"),
                                                        QStringLiteral("GetNameOwner"))
                             << name);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString()
                                                      : QString();
}

bool FakeNotificationService::registerOn(QDBusConnection connection) {
    return connection.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this,
                                     QDBusConnection::ExportAllSlots) &&
           connection.registerService(QStringLiteral("org.freedesktop.Notifications"));
}

QStringList FakeNotificationService::summaries() const {
    QStringList all;
    for (const Received& notification : received) {
        all.append(notification.summary);
    }
    return all;
}

void FakeNotificationService::emitSignal(const QDBusConnection& connection, const QString& name,
                                         const QVariantList& arguments) const {
    QDBusMessage signal =
        QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/Notifications"),
                                   QStringLiteral("org.freedesktop.Notifications"), name);
    signal.setArguments(arguments);
    EXPECT_TRUE(connection.send(signal));
}

ModelHarness::~ModelHarness() {
    for (ProviderScript* script : {claude->script.get(), codex->script.get()}) {
        script->fetchGate.open();
        script->readinessGate.open();
    }
    if (updateChecker) {
        updateChecker->gate.open();
    }
    settle();
}

AppModel::Services ModelHarness::services(const AppTiming& timing) const {
    AppModel::Services services;
    services.claudeProvider = claude;
    services.codexProvider = codex;
    services.claudeCache =
        std::make_shared<SnapshotCache>("claude-code", data("claude-code-snapshot.json"));
    services.codexCache = std::make_shared<SnapshotCache>("codex", data("codex-snapshot.json"));
    services.preferences = std::make_shared<JsonFilePreferencesStore>(preferencesPath());
    services.notifier = notifier;
    services.urlOpener = desktop;
    services.clipboard = desktop;
    services.terminal = desktop;
    services.imageChooser = desktop;
    services.windows = desktop;
    services.updateChecker = updateChecker;
    services.currentVersion = "1.0.0";
    services.breakBackgroundImagePath = data("break-background-image");
    services.timing = timing;
    return services;
}

std::shared_ptr<ClaudeUsageProvider> ModelHarness::realClaudeProvider() const {
    writeScript(home.filePath(".local/bin/claude"), "exit 0\n");
    ClaudeUsageProvider::Options options;
    options.homeDirectory = home.path();
    options.hookHelper = builtExecutable("lumora-json");
    return std::make_shared<ClaudeUsageProvider>(options);
}

void ModelHarness::storePreference(const QString& key, const QJsonValue& value) const {
    QJsonObject object = storedPreferences();
    object.insert(key, value);
    writeFile(preferencesPath(), QJsonDocument(object).toJson());
}

void ModelHarness::enableBoth(const std::optional<UsageSnapshot>& claudeAnswer,
                              const std::optional<UsageSnapshot>& codexAnswer) const {
    storePreference(QStringLiteral("providerEnabled"), true);
    storePreference(QStringLiteral("codexEnabled"), true);
    if (claudeAnswer) {
        claude->script->setSnapshot(*claudeAnswer);
    }
    if (codexAnswer) {
        codex->script->setSnapshot(*codexAnswer);
    }
}

QJsonObject ModelHarness::storedPreferences() const {
    return QFile::exists(preferencesPath()) ? readJsonObject(preferencesPath()) : QJsonObject();
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
