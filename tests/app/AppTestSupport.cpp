#include "AppTestSupport.h"

#include "core/Errors.h"
#include "platform/PreferencesStore.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace lumora::test {

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    QDeadlineTimer deadline(timeout);
    while (!done()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
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

void Gate::close() {
    QMutexLocker locker(&m_mutex);
    m_closed = true;
}

void Gate::open() {
    QMutexLocker locker(&m_mutex);
    m_closed = false;
    m_opened.wakeAll();
}

void Gate::pass() {
    QMutexLocker locker(&m_mutex);
    ++m_waiting;
    while (m_closed) {
        m_opened.wait(&m_mutex);
    }
    --m_waiting;
}

int Gate::waiting() const {
    QMutexLocker locker(&m_mutex);
    return m_waiting;
}

ProviderScript::ProviderScript(UsageSnapshot snapshot) : m_snapshot(std::move(snapshot)) {
    m_readiness.push_back(LocalProviderReadiness::ready());
}

void ProviderScript::setSnapshot(UsageSnapshot snapshot) {
    QMutexLocker locker(&m_mutex);
    m_snapshot = std::move(snapshot);
}

void ProviderScript::setReadiness(std::deque<LocalProviderReadiness> answers) {
    QMutexLocker locker(&m_mutex);
    m_readiness = std::move(answers);
}

UsageSnapshot ProviderScript::fetch(bool forceLive) {
    fetchGate.pass();
    ++m_fetches;
    QMutexLocker locker(&m_mutex);
    m_lastForceLive = forceLive;
    return m_snapshot;
}

LocalProviderReadiness ProviderScript::readiness() {
    readinessGate.pass();
    ++m_readinessChecks;
    QMutexLocker locker(&m_mutex);
    const LocalProviderReadiness answer = m_readiness.front();
    if (m_readiness.size() > 1) {
        m_readiness.pop_front();
    }
    return answer;
}

std::optional<bool> ProviderScript::lastForceLive() const {
    QMutexLocker locker(&m_mutex);
    return m_lastForceLive;
}

FakeCodexProvider::FakeCodexProvider()
    : script(std::make_shared<ProviderScript>(
          UsageSnapshot::unavailable("codex", "Codex", "Codex fake has no data."))) {}

FakeClaudeProvider::FakeClaudeProvider()
    : script(std::make_shared<ProviderScript>(
          UsageSnapshot::unavailable("claude-code", "Claude Code", "Claude fake has no data."))) {}

void FakeClaudeProvider::installStatusLineSync() const {
    ++installs;
    if (installFails) {
        throw InstallerError::invalidClaudeSettings();
    }
}

void FakeClaudeProvider::uninstallStatusLineSync() const {
    ++uninstalls;
    if (uninstallFails) {
        throw FileSystemError("The hook could not be removed.");
    }
}

QFuture<bool> FakeNotifier::requestAuthorization() {
    ++authorizationRequests;
    return QtFuture::makeReadyFuture(authorizes);
}

QFuture<void> FakeNotifier::send(const QString& title, const QString& body) {
    sent.append({title, body});
    return QtFuture::makeReadyFuture();
}

void FakeDesktop::chooseImage(QWindow* over, std::function<void(const QString&)> chosen) {
    ++imageDialogsShown;
    imageDialogParent = over;
    if (chosenImage) {
        chosen(*chosenImage);
    }
}

std::optional<AppUpdateManifest> FakeUpdateChecker::check(const QString& currentVersion) const {
    ++checks;
    gate.pass();
    QMutexLocker locker(&mutex);
    lastVersion = currentVersion;
    if (m_failure) {
        throw Error(*m_failure);
    }
    return m_offer;
}

void FakeUpdateChecker::answer(std::optional<AppUpdateManifest> offer) {
    QMutexLocker locker(&mutex);
    m_offer = std::move(offer);
    m_failure.reset();
}

void FakeUpdateChecker::fail(QString description) {
    QMutexLocker locker(&mutex);
    m_failure = std::move(description);
}

ModelHarness::ModelHarness() = default;

AppModel::Services ModelHarness::services() const {
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
    return services;
}

std::unique_ptr<AppModel> ModelHarness::makeModel(const AppTiming& timing) const {
    AppModel::Services s = services();
    s.timing = timing;
    return std::make_unique<AppModel>(std::move(s));
}

QString ModelHarness::preferencesPath() const {
    return home.filePath(".config/Lumora/preferences.json");
}

QString ModelHarness::data(const QString& name) const {
    return home.filePath(".local/share/Lumora/" + name);
}

void ModelHarness::storePreference(const QString& key, const QJsonValue& value) const {
    QJsonObject object;
    if (QFile::exists(preferencesPath())) {
        object = QJsonDocument::fromJson(readFile(preferencesPath())).object();
    }
    object.insert(key, value);
    writeFile(preferencesPath(), QJsonDocument(object).toJson());
}

std::optional<QJsonValue> ModelHarness::storedPreference(const QString& key) const {
    if (!QFile::exists(preferencesPath())) {
        return std::nullopt;
    }
    const QJsonObject object = QJsonDocument::fromJson(readFile(preferencesPath())).object();
    if (!object.contains(key)) {
        return std::nullopt;
    }
    return object.value(key);
}

UsageSnapshot usage(const QString& providerID, Availability availability,
                    std::optional<double> usedRatio, std::optional<QDateTime> resetsAt) {
    const bool codex = providerID == providers::codexID;
    QDateTime now = QDateTime::currentDateTimeUtc();
    now = now.addMSecs(-(now.toMSecsSinceEpoch() % 1000)); // whole seconds survive a save
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

PrivateSessionBus::PrivateSessionBus() {
    m_daemon.setProgram("dbus-daemon");
    m_daemon.setArguments({"--session", "--print-address", "--nofork"});
    m_daemon.setProcessChannelMode(QProcess::SeparateChannels);
    m_daemon.start();
    if (!m_daemon.waitForStarted(5000)) {
        ADD_FAILURE() << "dbus-daemon did not start (is the dbus package installed?)";
        return;
    }
    QDeadlineTimer deadline(std::chrono::seconds(10));
    QByteArray output;
    while (!output.contains('\n') && !deadline.hasExpired()) {
        m_daemon.waitForReadyRead(100);
        output += m_daemon.readAllStandardOutput();
    }
    m_address = QString::fromUtf8(output.left(output.indexOf('\n'))).trimmed();
    if (m_address.isEmpty()) {
        ADD_FAILURE() << "dbus-daemon printed no address";
    }
}

PrivateSessionBus::~PrivateSessionBus() {
    if (m_daemon.state() != QProcess::NotRunning) {
        m_daemon.terminate();
        if (!m_daemon.waitForFinished(5000)) {
            m_daemon.kill();
            m_daemon.waitForFinished(5000);
        }
    }
}

} // namespace lumora::test
