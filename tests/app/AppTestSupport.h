#pragma once

#include "core/ClaudeUsageProvider.h"
#include "core/UsageProvider.h"
#include "model/AppModel.h"
#include "platform/DesktopServices.h"
#include "platform/Notifier.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFuture>
#include <QMutex>
#include <QProcess>
#include <QSemaphore>
#include <QThreadPool>
#include <QWaitCondition>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace lumora::test {

// Runs the event loop until `done` holds or the time is up; returns whether it held.
bool waitUntil(const std::function<bool()>& done,
               std::chrono::milliseconds timeout = std::chrono::seconds(10));

template <typename T>
bool waitFor(const QFuture<T>& future,
             std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    return waitUntil([&] { return future.isFinished(); }, timeout);
}

// Lets the event loop and the thread pool settle: every queued call and background task done.
void settle();

// A gate that background work can be held at until the test opens it.
class Gate {
public:
    void close();
    void open();
    // Blocks while closed; returns at once when open.
    void pass();
    // How many callers are waiting at the closed gate right now.
    int waiting() const;

private:
    mutable QMutex m_mutex;
    QWaitCondition m_opened;
    bool m_closed = false;
    int m_waiting = 0;
};

// The scripted behaviour of a fake provider, safe to use from the pool threads. Readiness
// answers are taken in order; the last one repeats.
class ProviderScript {
public:
    explicit ProviderScript(UsageSnapshot snapshot);

    void setSnapshot(UsageSnapshot snapshot);
    void setReadiness(std::deque<LocalProviderReadiness> answers);

    UsageSnapshot fetch(bool forceLive);
    LocalProviderReadiness readiness();

    int fetches() const { return m_fetches; }
    int readinessChecks() const { return m_readinessChecks; }
    std::optional<bool> lastForceLive() const;
    Gate fetchGate;
    Gate readinessGate;

private:
    mutable QMutex m_mutex;
    UsageSnapshot m_snapshot;
    std::deque<LocalProviderReadiness> m_readiness;
    std::optional<bool> m_lastForceLive;
    std::atomic<int> m_fetches{0};
    std::atomic<int> m_readinessChecks{0};
};

class FakeCodexProvider : public UsageProvider {
public:
    FakeCodexProvider();
    LocalProviderReadiness readiness() const override { return script->readiness(); }
    UsageSnapshot fetch(bool forceLive) const override { return script->fetch(forceLive); }
    std::shared_ptr<ProviderScript> script;
};

// A Claude Code provider whose answers are scripted; installing and removing the hook succeed or
// throw as told.
class FakeClaudeProvider : public ClaudeUsageProvider {
public:
    FakeClaudeProvider();
    LocalProviderReadiness readiness() const override { return script->readiness(); }
    UsageSnapshot fetch(bool forceLive) const override { return script->fetch(forceLive); }
    void installStatusLineSync() const override;
    void uninstallStatusLineSync() const override;

    std::shared_ptr<ProviderScript> script;
    std::atomic<bool> installFails{false};
    std::atomic<bool> uninstallFails{false};
    mutable std::atomic<int> installs{0};
    mutable std::atomic<int> uninstalls{0};
};

class FakeNotifier : public Notifier {
public:
    struct Sent {
        QString title;
        QString body;
    };
    QFuture<bool> requestAuthorization() override;
    QFuture<void> send(const QString& title, const QString& body) override;

    bool authorizes = true;
    int authorizationRequests = 0;
    QList<Sent> sent;
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
    bool start() override {
        ++terminalsStarted;
        return hasTerminal;
    }
    void chooseImage(QWindow* over, std::function<void(const QString&)> chosen) override;
    void showBreakWindow() override { ++breakWindowsShown; }
    void showSettingsWindow() override { ++settingsWindowsShown; }
    QWindow* visibleSettingsWindow() const override { return settingsWindow; }

    QList<QUrl> openedUrls;
    std::optional<QString> clipboard;
    bool hasTerminal = true;
    int terminalsStarted = 0;
    // What the file dialog answers: a path, or nothing for a cancelled dialog.
    std::optional<QString> chosenImage;
    QWindow* settingsWindow = nullptr;
    QWindow* imageDialogParent = nullptr;
    int imageDialogsShown = 0;
    int breakWindowsShown = 0;
    int settingsWindowsShown = 0;
};

class FakeUpdateChecker : public UpdateChecking {
public:
    std::optional<AppUpdateManifest> check(const QString& currentVersion) const override;

    void answer(std::optional<AppUpdateManifest> offer);
    void fail(QString description);

    mutable Gate gate;
    mutable std::atomic<int> checks{0};
    mutable QMutex mutex;
    mutable QString lastVersion;

private:
    std::optional<AppUpdateManifest> m_offer;
    std::optional<QString> m_failure;
};

// A temporary home with the real preferences file and snapshot caches in it, and fakes for the
// providers and the desktop.
class ModelHarness {
public:
    ModelHarness();

    AppModel::Services services() const;
    std::unique_ptr<AppModel> makeModel(const AppTiming& timing = {}) const;

    QString preferencesPath() const;
    QString data(const QString& name) const;
    QString claudeCachePath() const { return data("claude-code-snapshot.json"); }
    QString codexCachePath() const { return data("codex-snapshot.json"); }
    // Writes one key into the preferences file, as an earlier run would have.
    void storePreference(const QString& key, const QJsonValue& value) const;
    std::optional<QJsonValue> storedPreference(const QString& key) const;

    TemporaryHome home;
    std::shared_ptr<FakeClaudeProvider> claude = std::make_shared<FakeClaudeProvider>();
    std::shared_ptr<FakeCodexProvider> codex = std::make_shared<FakeCodexProvider>();
    std::shared_ptr<FakeNotifier> notifier = std::make_shared<FakeNotifier>();
    std::shared_ptr<FakeDesktop> desktop = std::make_shared<FakeDesktop>();
    std::shared_ptr<FakeUpdateChecker> updateChecker; // none: no update channel
};

// A usage snapshot with one session window, captured now.
UsageSnapshot usage(const QString& providerID, Availability availability,
                    std::optional<double> usedRatio,
                    std::optional<QDateTime> resetsAt = std::nullopt);

// A D-Bus daemon of the test's own, started as a child process and stopped with the object.
class PrivateSessionBus {
public:
    PrivateSessionBus();
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    bool isRunning() const { return !m_address.isEmpty(); }
    const QString& address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
};

} // namespace lumora::test
