#pragma once

#include "core/ClaudeUsageProvider.h"
#include "core/Errors.h"
#include "model/AppModel.h"
#include "support/TestSupport.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QJsonObject>
#include <QProcess>

#include <condition_variable>
#include <deque>
#include <mutex>

namespace lumora::test {

// Runs the event loop until `done` holds or the time is up; returns whether it held.
bool waitUntil(const std::function<bool()>& done,
               std::chrono::milliseconds timeout = std::chrono::seconds(10));
template <typename T> bool waitFor(const QFuture<T>& future) {
    return waitUntil([&] { return future.isFinished(); });
}
// Lets the thread pool and the event loop settle: every background task and queued call done.
void settle();
// Runs the event loop for this long (animations at rest, or something that does not happen).
void runEventsFor(std::chrono::milliseconds duration);

// Records every warning and error Qt reports while it exists (one at a time).
class WarningLog {
public:
    WarningLog();
    ~WarningLog();
    QStringList messages() const;
    void clear();
};

// A dbus-daemon of the test's own, as a child process, and connections to it.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    bool isRunning() const { return !m_address.isEmpty(); }
    QString address() const { return m_address; }
    QDBusConnection connect(const QString& name);
    // Calls a method and runs the event loop until the answer is there (the callee may be here).
    static QDBusMessage call(const QDBusConnection& connection, const QDBusMessage& message);
    // The unique name that owns `name`, or empty.
    static QString ownerOf(const QDBusConnection& connection, const QString& name);

private:
    QProcess m_daemon;
    QString m_address;
    QStringList m_connections;
};

// Holds background work until the test opens it. Standard locks rather than Qt's:
// ThreadSanitizer follows them through the waits.
class Gate {
public:
    void close() { set(true); }
    void open() { set(false); }
    void pass() { // blocks while closed
        std::unique_lock locker(m_mutex);
        ++m_waiting;
        m_opened.wait(locker, [this] { return !m_closed; });
        --m_waiting;
    }
    int waiting() const { return m_waiting; }

private:
    void set(bool closed) {
        std::unique_lock locker(m_mutex);
        m_closed = closed;
        m_opened.notify_all();
    }
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_closed = false;
    std::atomic<int> m_waiting{0};
};

// What a fake provider answers, safe to use from pool threads. Readiness answers are given in
// order; the last one repeats.
class ProviderScript {
public:
    explicit ProviderScript(UsageSnapshot snapshot) : m_snapshot(std::move(snapshot)) {}
    void setSnapshot(UsageSnapshot snapshot) {
        std::unique_lock locker(m_mutex);
        m_snapshot = std::move(snapshot);
    }
    void setReadiness(std::deque<LocalProviderReadiness> answers) {
        std::unique_lock locker(m_mutex);
        m_readiness = std::move(answers);
    }
    UsageSnapshot fetch(bool forceLive) {
        fetchGate.pass();
        ++m_fetches;
        m_lastForceLive = forceLive;
        std::unique_lock locker(m_mutex);
        return m_snapshot;
    }
    LocalProviderReadiness readiness() {
        readinessGate.pass();
        ++m_readinessChecks;
        std::unique_lock locker(m_mutex);
        const LocalProviderReadiness answer = m_readiness.front();
        m_readiness.size() > 1 ? m_readiness.pop_front() : void();
        return answer;
    }
    int fetches() const { return m_fetches; }
    int readinessChecks() const { return m_readinessChecks; }
    std::optional<bool> lastForceLive() const { return m_lastForceLive; }
    Gate fetchGate, readinessGate;

private:
    mutable std::mutex m_mutex;
    UsageSnapshot m_snapshot;
    std::deque<LocalProviderReadiness> m_readiness{LocalProviderReadiness::ready()};
    std::atomic<std::optional<bool>> m_lastForceLive;
    std::atomic<int> m_fetches{0}, m_readinessChecks{0};
};

class FakeCodexProvider : public UsageProvider {
public:
    LocalProviderReadiness readiness() const override { return script->readiness(); }
    UsageSnapshot fetch(bool forceLive) const override { return script->fetch(forceLive); }
    std::shared_ptr<ProviderScript> script = std::make_shared<ProviderScript>(
        UsageSnapshot::unavailable("codex", "Codex", "Codex fake has no data."));
};

// A Claude Code provider with scripted answers; the hook installs and uninstalls as told.
class FakeClaudeProvider : public ClaudeUsageProvider {
public:
    LocalProviderReadiness readiness() const override { return script->readiness(); }
    UsageSnapshot fetch(bool forceLive) const override { return script->fetch(forceLive); }
    void installStatusLineSync() const override { ++installs; }
    void uninstallStatusLineSync() const override {
        uninstallFails ? throw FileSystemError("The hook could not be removed.") : void();
    }
    std::shared_ptr<ProviderScript> script = std::make_shared<ProviderScript>(
        UsageSnapshot::unavailable("claude-code", "Claude Code", "Claude fake has no data."));
    std::atomic<bool> uninstallFails{false};
    mutable std::atomic<int> installs{0};
};

class FakeNotifier : public Notifier {
public:
    QFuture<bool> requestAuthorization() override {
        ++authorizationRequests;
        return QtFuture::makeReadyFuture(true);
    }
    QFuture<void> send(const QString& title, const QString& body) override {
        sent.append(title + " | " + body);
        return QtFuture::makeReadyFuture();
    }
    int authorizationRequests = 0;
    QStringList sent; // "title | body"
};

// Every desktop seam at once, recording what the model asked of it.
class FakeDesktop : public UrlOpener,
                    public Clipboard,
                    public TerminalLauncher,
                    public ImageChooser,
                    public WindowPresentation {
public:
    void open(const QUrl& url) override { openedUrls.append(url); }
    void setText(const QString& text) override { clipboard = text; }
    bool start() override { return ++terminalsStarted; }
    void chooseImage(QWindow*, std::function<void(const QString&)> chosen) override {
        chosenImage ? chosen(*chosenImage) : void();
    }
    void showBreakWindow() override { ++breakWindowsShown; }
    void showSettingsWindow() override {}
    QWindow* visibleSettingsWindow() const override { return settingsWindow; }
    QList<QUrl> openedUrls;
    int breakWindowsShown = 0, terminalsStarted = 0;
    std::optional<QString> clipboard;
    std::optional<QString> chosenImage; // what the file dialog answers; nothing: cancelled
    QWindow* settingsWindow = nullptr;
};

// The desktop's notification service on a PrivateBus: advertises `capabilities`, records what
// it gets and raises the signals of a pressed button or a closed notification.
class FakeNotificationService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QList<QVariantList> received; // the arguments of each Notify, in order
    QStringList capabilities{"body", "actions"};
    bool registerOn(QDBusConnection connection); // the service's name and object
    QStringList summaries() const;

public slots:
    uint Notify(const QString& appName, uint replacesId, const QString& icon,
                const QString& summary, const QString& body, const QStringList& actions,
                const QVariantMap& hints, int expireTimeout) {
        received.append({appName, replacesId, icon, summary, body, actions, hints, expireTimeout});
        return static_cast<uint>(received.size());
    }
    QStringList GetCapabilities() { return capabilities; }
    QString GetServerInformation(QString& vendor, QString& version, QString& specVersion) {
        vendor = version = specVersion = QStringLiteral("test");
        return QStringLiteral("fake-notifications");
    }
};

class FakeUpdateChecker : public UpdateChecking {
public:
    std::optional<AppUpdateManifest> check(const QString& currentVersion) const override {
        ++checks;
        gate.pass();
        std::unique_lock locker(mutex);
        lastVersion = currentVersion;
        return failure ? throw Error(*failure) : offer;
    }
    mutable Gate gate;
    mutable std::atomic<int> checks{0};
    mutable std::mutex mutex;
    mutable QString lastVersion;
    std::optional<AppUpdateManifest> offer; // set before checking
    std::optional<QString> failure;         // thrown as an Error when set
};

// A temporary home with the real preferences file and caches, and fakes for everything else.
class ModelHarness {
public:
    // Opens every gate, so that no pool thread stays blocked after a failed test.
    ~ModelHarness();
    AppModel::Services services(const AppTiming& timing = {}) const;
    std::unique_ptr<AppModel> makeModel(const AppTiming& timing = {}) const {
        return std::make_unique<AppModel>(services(timing));
    }
    // The real Claude Code provider in this home, with Claude Code installed (a script) and its
    // hook when asked; the models made from then on use it.
    std::shared_ptr<ClaudeUsageProvider> useRealClaude(bool withHook = false);
    QString preferencesPath() const { return home.preferencesFile(); }
    QString data(const QString& name) const { return home.dataFile(name); }
    // Writes one key into the preferences file, as an earlier run would have.
    void storePreference(const QString& key, const QJsonValue& value) const {
        JsonFilePreferencesStore(preferencesPath()).setValue(key, value);
    }
    // Both providers switched on in the preferences file, answering these when given.
    void enableBoth(const std::optional<UsageSnapshot>& claudeAnswer = std::nullopt,
                    const std::optional<UsageSnapshot>& codexAnswer = std::nullopt) const;
    QJsonObject storedPreferences() const { // empty without a file
        return QFile::exists(preferencesPath()) ? readJsonObject(preferencesPath()) : QJsonObject();
    }
    std::optional<QJsonValue> storedPreference(const QString& key) const {
        const QJsonObject stored = storedPreferences();
        return stored.contains(key) ? std::optional(stored.value(key)) : std::nullopt;
    }
    TemporaryHome home;
    std::shared_ptr<FakeClaudeProvider> claude = std::make_shared<FakeClaudeProvider>();
    std::shared_ptr<FakeCodexProvider> codex = std::make_shared<FakeCodexProvider>();
    std::shared_ptr<FakeNotifier> notifier = std::make_shared<FakeNotifier>();
    std::shared_ptr<FakeDesktop> desktop = std::make_shared<FakeDesktop>();
    std::shared_ptr<FakeUpdateChecker> updateChecker; // none: no update channel
    std::shared_ptr<ClaudeUsageProvider> realClaude;
};

// A snapshot with one session window, captured now (whole seconds, as the caches store them).
UsageSnapshot usage(const QString& providerID, Availability availability,
                    std::optional<double> usedRatio,
                    std::optional<QDateTime> resetsAt = std::nullopt);

} // namespace lumora::test
