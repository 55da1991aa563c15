#include "AppTestSupport.h"

#include "core/Errors.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThreadPool>

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

void FakeClaudeProvider::installStatusLineSync() const {
    ++installs;
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

QFuture<void> FakeNotifier::send(const QString& title, const QString& body) {
    sent.append(title + " | " + body);
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
