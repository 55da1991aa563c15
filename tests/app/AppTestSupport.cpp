#include "AppTestSupport.h"

#include "core/Errors.h"

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

void Gate::close() {
    std::unique_lock locker(m_mutex);
    m_closed = true;
}

void Gate::open() {
    std::unique_lock locker(m_mutex);
    m_closed = false;
    m_opened.notify_all();
}

void Gate::pass() {
    std::unique_lock locker(m_mutex);
    ++m_waiting;
    m_opened.wait(locker, [this] { return !m_closed; });
    --m_waiting;
}

int Gate::waiting() const {
    std::unique_lock locker(m_mutex);
    return m_waiting;
}

void ProviderScript::setSnapshot(UsageSnapshot snapshot) {
    std::unique_lock locker(m_mutex);
    m_snapshot = std::move(snapshot);
}

void ProviderScript::setReadiness(std::deque<LocalProviderReadiness> answers) {
    std::unique_lock locker(m_mutex);
    m_readiness = std::move(answers);
}

UsageSnapshot ProviderScript::fetch(bool forceLive) {
    fetchGate.pass();
    ++m_fetches;
    std::unique_lock locker(m_mutex);
    m_lastForceLive = forceLive;
    return m_snapshot;
}

LocalProviderReadiness ProviderScript::readiness() {
    readinessGate.pass();
    ++m_readinessChecks;
    std::unique_lock locker(m_mutex);
    const LocalProviderReadiness answer = m_readiness.front();
    if (m_readiness.size() > 1) {
        m_readiness.pop_front();
    }
    return answer;
}

std::optional<bool> ProviderScript::lastForceLive() const {
    std::unique_lock locker(m_mutex);
    return m_lastForceLive;
}

void FakeClaudeProvider::uninstallStatusLineSync() const {
    if (uninstallFails) {
        throw FileSystemError("The hook could not be removed.");
    }
}

QFuture<bool> FakeNotifier::requestAuthorization() {
    ++authorizationRequests;
    return QtFuture::makeReadyFuture(authorizes);
}

void FakeDesktop::chooseImage(QWindow* over, std::function<void(const QString&)> chosen) {
    ++imageDialogsShown;
    imageDialogParent = over;
    if (chosenImage) {
        chosen(*chosenImage);
    }
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

uint FakeNotificationService::Notify(const QString& appName, uint replacesId, const QString& icon,
                                     const QString& summary, const QString& body,
                                     const QStringList& actions, const QVariantMap& hints,
                                     int expireTimeout) {
    received.append({appName, replacesId, icon, summary, body, actions, hints, expireTimeout});
    return static_cast<uint>(received.size());
}

std::optional<AppUpdateManifest> FakeUpdateChecker::check(const QString& currentVersion) const {
    ++checks;
    gate.pass();
    std::unique_lock locker(mutex);
    lastVersion = currentVersion;
    if (failure) {
        throw Error(*failure);
    }
    return offer;
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
    services.claudeCache = std::make_shared<SnapshotCache>("claude-code", claudeCachePath());
    services.codexCache = std::make_shared<SnapshotCache>("codex", codexCachePath());
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

std::unique_ptr<AppModel> ModelHarness::makeModel(const AppTiming& timing) const {
    return std::make_unique<AppModel>(services(timing));
}

std::shared_ptr<ClaudeUsageProvider> ModelHarness::realClaudeProvider() const {
    writeScript(home.filePath(".local/bin/claude"), "exit 0\n");
    ClaudeUsageProvider::Options options;
    options.homeDirectory = home.path();
    options.hookHelper = builtExecutable("lumora-json");
    return std::make_shared<ClaudeUsageProvider>(options);
}

void ModelHarness::storePreference(const QString& key, const QJsonValue& value) const {
    QJsonObject object =
        QFile::exists(preferencesPath()) ? readJsonObject(preferencesPath()) : QJsonObject();
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

std::optional<QJsonValue> ModelHarness::storedPreference(const QString& key) const {
    const QJsonObject object =
        QFile::exists(preferencesPath()) ? readJsonObject(preferencesPath()) : QJsonObject();
    return object.contains(key) ? std::optional(object.value(key)) : std::nullopt;
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
