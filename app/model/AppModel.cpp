#include "model/AppModel.h"

#include "core/BuildInfo.h"
#include "core/CodexUsageProvider.h"
#include "core/DataFolder.h"
#include "core/Errors.h"
#include "core/MenuBarDisplayFormatter.h"
#include "model/Background.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <QPointer>

namespace lumora {
namespace {

UsageSnapshot claudeUnavailable(const QString& message) {
    return UsageSnapshot::unavailable(providers::claudeCodeID, providers::claudeCodeName, message);
}

UsageSnapshot codexUnavailable(const QString& message) {
    return UsageSnapshot::unavailable(providers::codexID, providers::codexName, message);
}

// A saved snapshot shown at start: the same figures, marked as the last ones known.
UsageSnapshot asLastKnown(UsageSnapshot snapshot) {
    snapshot.source = SnapshotSource::localCache;
    snapshot.confidence = Confidence::lastKnown;
    snapshot.statusMessage = AppModel::lastKnownStatusMessage;
    return snapshot;
}

// Fetches on the thread pool. Providers report problems as snapshots; should one throw anyway,
// the refresh still completes with a snapshot that says the status is unavailable.
QFuture<UsageSnapshot> fetchInBackground(std::shared_ptr<const UsageProvider> provider,
                                         bool forceLive, UsageSnapshot fallback) {
    return runOnPool([provider = std::move(provider), forceLive, fallback = std::move(fallback)] {
        try {
            return provider->fetch(forceLive);
        } catch (const std::exception&) {
            return fallback;
        }
    });
}

} // namespace

AppModel::Services AppModel::Services::standard(std::optional<QUrl> feedURL,
                                                std::optional<QString> currentVersion) {
    const QString home = currentHomeDirectory();
    Services services;
    services.claudeProvider = std::make_shared<ClaudeUsageProvider>();
    services.codexProvider = std::make_shared<CodexUsageProvider>();
    services.claudeCache = std::make_shared<SnapshotCache>(providers::claudeCodeID);
    services.codexCache = std::make_shared<SnapshotCache>(providers::codexID);
    services.preferences = std::make_shared<JsonFilePreferencesStore>();
    services.notifier = std::make_shared<DBusNotifier>();
    services.urlOpener = std::make_shared<DesktopUrlOpener>();
    services.clipboard = std::make_shared<SystemClipboard>();
    services.terminal = std::make_shared<SystemTerminalLauncher>();
    services.imageChooser = std::make_shared<FileDialogImageChooser>();
    services.windows = std::make_shared<NoWindows>();
    if (!feedURL) {
        feedURL = configuredUpdateFeedURL(QString::fromUtf8(buildinfo::updateFeedUrl));
    }
    if (feedURL) {
        services.updateChecker = std::make_shared<FeedUpdateChecker>(*feedURL);
    }
    const QString buildVersion = QString::fromLatin1(buildinfo::version);
    services.currentVersion =
        currentVersion.value_or(buildVersion.isEmpty() ? QStringLiteral("0.0.0") : buildVersion);
    services.breakBackgroundImagePath = BreakBackgroundPhoto::breakBackgroundImageURL(home);
    return services;
}

AppModel::AppModel(Services services, QObject* parent)
    : QObject(parent), m_services(std::move(services)),
      m_snapshot(claudeUnavailable(
          QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Claude Code status is unavailable.")))),
      m_codexSnapshot(codexUnavailable(
          QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Codex status is unavailable.")))) {
    // The update settings first, then the preferences, then the photo.
    m_updates = new UpdateChecks(m_services.updateChecker, m_services.currentVersion,
                                 m_services.urlOpener, m_services.timing, this);
    m_preferences = new AppPreferences(m_services.preferences, this);
    m_photo = new BreakBackgroundPhoto(m_services.breakBackgroundImagePath, m_preferences,
                                       m_services.imageChooser, m_services.windows, this);
    m_notifications = new UsageNotifications(m_services.notifier, this);
    m_history = new UsageHistory(m_services.historyPath.isEmpty()
                                     ? HistoryStore::defaultPath(currentHomeDirectory())
                                     : m_services.historyPath,
                                 m_preferences, this);
    m_claudeCacheWatcher =
        new ClaudeCacheWatcher(m_services.claudeProvider->rateLimitCacheURL(), this);
    connect(m_claudeCacheWatcher, &ClaudeCacheWatcher::cacheChanged, this,
            &AppModel::refreshClaude);
    if (m_services.notifier) {
        // "Take a Break" on a notification opens the break screen.
        m_services.notifier->setBreakHandler([model = QPointer<AppModel>(this)] {
            if (model) {
                model->showBreakWindow();
            }
        });
    }
    m_connections =
        new ProviderConnections({m_services.claudeProvider, m_services.codexProvider,
                                 m_services.urlOpener, m_services.clipboard, m_services.terminal},
                                m_preferences, m_services.timing, this);

    connect(m_preferences, &AppPreferences::claudeEnabledAssigned, this,
            &AppModel::onClaudeSwitchAssigned);
    connect(m_preferences, &AppPreferences::codexEnabledAssigned, this,
            &AppModel::onCodexSwitchAssigned);
    connect(m_preferences, &AppPreferences::alertsEnabledAssigned, this,
            &AppModel::onAlertsAssigned);
    connect(m_connections, &ProviderConnections::refreshRequested, this,
            [this](bool forceClaudeLive) { refresh(forceClaudeLive); });
    connect(m_connections, &ProviderConnections::claudeDisconnected, this, [this] {
        setSnapshot(claudeUnavailable(
            QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Claude Code is disconnected."))));
    });

    for (QObject* source : std::initializer_list<QObject*>{this, m_preferences, m_connections,
                                                           m_updates, m_photo, m_history}) {
        forwardChanges(source);
    }

    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(m_services.timing.refreshInterval);
    connect(&m_refreshTimer, &QTimer::timeout, this, &AppModel::runRefreshLoopPass);
}

AppModel::~AppModel() = default;

void AppModel::forwardChanges(QObject* source) {
    const QMetaMethod changedSignal = QMetaMethod::fromSignal(&AppModel::changed);
    const QMetaObject* meta = source->metaObject();
    for (int index = meta->propertyOffset(); index < meta->propertyCount(); ++index) {
        const QMetaProperty property = meta->property(index);
        if (property.hasNotifySignal() &&
            !(source == this && property.notifySignal() == changedSignal)) {
            connect(source, property.notifySignal(), this, changedSignal, Qt::UniqueConnection);
        }
    }
}

void AppModel::start() {
    if (m_hasStarted) {
        return;
    }
    m_hasStarted = true;
    m_claudeCacheWatcher->watch();
    whenFinished(this, loadCache(), [this](const QFuture<void>&) {
        whenFinished(this, refresh(false),
                     [this](const QFuture<void>&) { m_refreshTimer.start(); });
    });
    m_updates->start();
}

void AppModel::runRefreshLoopPass() {
    whenFinished(this, refresh(false), [this](const QFuture<void>&) { m_refreshTimer.start(); });
}

QFuture<void> AppModel::loadCache() {
    const auto load = [](std::shared_ptr<SnapshotCache> cache) {
        return runOnPool([cache = std::move(cache)] { return cache->load(); });
    };
    using Loaded = QFuture<std::optional<UsageSnapshot>>;
    const Loaded claude = load(m_services.claudeCache);
    const Loaded codex = load(m_services.codexCache);
    Completion completion;
    whenFinished(this, claude, [this, codex, completion](const Loaded& claudeLoaded) {
        if (const auto& saved = claudeLoaded.result()) {
            setSnapshot(asLastKnown(*saved));
        }
        whenFinished(this, codex, [this, completion](const Loaded& codexLoaded) {
            if (const auto& saved = codexLoaded.result()) {
                setCodexSnapshot(asLastKnown(*saved));
            }
            completion.finish();
        });
    });
    return completion.future();
}

QFuture<UsageSnapshot> AppModel::fetchClaude(bool forceLive) const {
    if (!m_preferences->claudeEnabled()) {
        return QtFuture::makeReadyFuture(claudeUnavailable(
            QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Claude Code is disconnected."))));
    }
    return fetchInBackground(m_services.claudeProvider, forceLive,
                             claudeUnavailable(QStringLiteral(QT_TRANSLATE_NOOP(
                                 "Messages", "Claude Code status is unavailable."))));
}

QFuture<UsageSnapshot> AppModel::fetchCodex() const {
    if (!m_preferences->codexEnabled()) {
        return QtFuture::makeReadyFuture(codexUnavailable(
            QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Codex is disconnected."))));
    }
    return fetchInBackground(m_services.codexProvider, false,
                             codexUnavailable(QStringLiteral(
                                 QT_TRANSLATE_NOOP("Messages", "Codex status is unavailable."))));
}

QFuture<void> AppModel::refresh(bool forceClaudeLive) {
    if (m_isRefreshing) {
        return finishedFuture();
    }
    setRefreshing(true);
    Completion completion;
    if (m_readingClaude) {
        // Reading Claude Code alone takes milliseconds: this refresh follows it.
        m_queuedRefresh.emplace(forceClaudeLive, completion);
    } else {
        runRefresh(forceClaudeLive, completion);
    }
    return completion.future();
}

void AppModel::runRefresh(bool forceClaudeLive, Completion completion) {
    const UsageSnapshot previousClaude = m_snapshot;
    const UsageSnapshot previousCodex = m_codexSnapshot;
    const QFuture<UsageSnapshot> claude = fetchClaude(forceClaudeLive);
    const QFuture<UsageSnapshot> codex = fetchCodex();
    whenFinished(this, claude, [=, this](const QFuture<UsageSnapshot>& claudeFetched) {
        whenFinished(this, codex, [=, this](const QFuture<UsageSnapshot>& codexFetched) {
            finishRefresh(
                {{claudeFetched.result(), previousClaude}, {codexFetched.result(), previousCodex}},
                [this, completion] {
                    setRefreshing(false);
                    completion.finish();
                    runQueuedRefresh();
                });
        });
    });
}

void AppModel::refreshClaude() {
    if (!m_preferences->claudeEnabled()) {
        return;
    }
    if (m_isRefreshing || m_readingClaude) {
        m_claudeAgain = true;
        return;
    }
    m_readingClaude = true;
    const UsageSnapshot previous = m_snapshot;
    whenFinished(this, fetchClaude(false), [=, this](const QFuture<UsageSnapshot>& fetched) {
        finishRefresh({{fetched.result(), previous}}, [this] {
            m_readingClaude = false;
            runQueuedRefresh();
        });
    });
}

void AppModel::runQueuedRefresh() {
    if (m_queuedRefresh) {
        const auto [forceClaudeLive, completion] = *std::exchange(m_queuedRefresh, std::nullopt);
        m_claudeAgain = false; // the full refresh reads Claude Code too
        runRefresh(forceClaudeLive, completion);
    } else if (std::exchange(m_claudeAgain, false)) {
        refreshClaude();
    }
}

void AppModel::finishRefresh(QList<Fetched> fetched, std::function<void()> done) {
    for (const Fetched& provider : fetched) {
        if (provider.next.providerID == providers::claudeCodeID) {
            setSnapshot(provider.next);
            m_connections->updateClaudeConnectionState(provider.next);
        } else {
            setCodexSnapshot(provider.next);
        }
    }
    for (const Fetched& provider : fetched) {
        m_history->record(provider.next);
    }
    m_claudeCacheWatcher->watch();

    // A snapshot without a verdict is never saved, so the last good one survives on disk.
    QList<std::pair<std::shared_ptr<SnapshotCache>, UsageSnapshot>> saves;
    for (const Fetched& provider : fetched) {
        if (provider.next.availability != Availability::unknown) {
            saves.append({provider.next.providerID == providers::claudeCodeID
                              ? m_services.claudeCache
                              : m_services.codexCache,
                          provider.next});
        }
    }
    const auto save = [saves] {
        for (const auto& [cache, snapshot] : saves) {
            try {
                cache->save(snapshot);
            } catch (const Error&) {
                // The cache only helps the next start; a failed save changes nothing now.
            }
        }
    };
    runInBackground(this, save, [=, this] { notifyInTurn(fetched, done); });
}

// The notifications of each provider in turn, Claude Code first, each waited for: the usage one
// (80%, the limit, a reset) and the pace warning.
void AppModel::notifyInTurn(QList<Fetched> fetched, std::function<void()> done) {
    if (fetched.isEmpty()) {
        done();
        return;
    }
    const Fetched provider = fetched.takeFirst();
    const QFuture<void> usage = m_preferences->alertsEnabled()
                                    ? notifyIfNeeded(provider.previous, provider.next)
                                    : finishedFuture();
    whenFinished(this, usage, [=, this](const QFuture<void>&) {
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const QFuture<void> pace =
            m_preferences->paceAlertsEnabled() && !provider.next.isStale(now)
                ? m_notifications->notifyPaceIfNeeded(provider.next,
                                                      m_history->pace(provider.next, now), now)
                : finishedFuture();
        whenFinished(this, pace, [=, this](const QFuture<void>&) { notifyInTurn(fetched, done); });
    });
}

QString AppModel::menuBarDisplayText() const {
    return menuBarDisplayText(QDateTime::currentDateTimeUtc());
}

QString AppModel::menuBarDisplayText(const QDateTime& now) const {
    return MenuBarDisplayFormatter().format(
        m_codexSnapshot, m_snapshot,
        m_preferences->showCodexInMenuBar() && m_preferences->codexEnabled(),
        m_preferences->showClaudeInMenuBar() && m_preferences->claudeEnabled(),
        m_preferences->providerOrder(), now);
}

QString AppModel::statusTitle(const UsageSnapshot& snapshot) const {
    return statusTitle(snapshot, QDateTime::currentDateTimeUtc());
}

QString AppModel::statusTitle(const UsageSnapshot& snapshot, const QDateTime& now) {
    const QString& name = snapshot.providerName;
    const double elapsed = static_cast<double>(snapshot.capturedAt.msecsTo(now)) / 1000.0;
    if (elapsed > snapshot.staleAfterSeconds) {
        return tr("%1 usage needs sync").arg(name);
    }
    switch (snapshot.availability) {
    case Availability::ready:
        return tr("%1 is available").arg(name);
    case Availability::limited:
        return tr("Approaching the limit");
    case Availability::blocked:
        return tr("%1 is resting").arg(name);
    case Availability::unknown:
        break;
    }
    return tr("Status unavailable");
}

void AppModel::onClaudeSwitchAssigned(bool enabled) {
    if (!enabled) {
        m_connections->claudeSwitchedOff();
    }
    refreshSoon();
}

void AppModel::onCodexSwitchAssigned(bool enabled) {
    if (!enabled) {
        m_connections->codexSwitchedOff();
    }
    refreshSoon();
}

void AppModel::onAlertsAssigned(bool enabled) {
    if (!enabled) {
        return;
    }
    m_notifications->requestPermission([this](bool granted) {
        if (!granted) {
            m_preferences->setAlertsEnabled(false);
        }
    });
}

// A switch starts its refresh from the event loop, after the code that flipped it has run: a
// set-up that goes on to ask for live data gets its refresh first, and this one is then dropped.
void AppModel::refreshSoon() {
    QMetaObject::invokeMethod(
        this, [this] { refresh(false); }, Qt::QueuedConnection);
}

void AppModel::setSnapshot(const UsageSnapshot& snapshot) {
    if (!(m_snapshot == snapshot)) {
        m_snapshot = snapshot;
        emit snapshotChanged();
    }
}

void AppModel::setCodexSnapshot(const UsageSnapshot& snapshot) {
    if (!(m_codexSnapshot == snapshot)) {
        m_codexSnapshot = snapshot;
        emit codexSnapshotChanged();
    }
}

void AppModel::setRefreshing(bool refreshing) {
    if (m_isRefreshing != refreshing) {
        m_isRefreshing = refreshing;
        emit isRefreshingChanged();
    }
}

void AppModel::swapProviders(const QString& first, const QString& second) {
    m_preferences->swapProviders(first, second);
}

void AppModel::continueClaudeSetup() {
    m_connections->continueClaudeSetup();
}

void AppModel::continueCodexSetup() {
    m_connections->continueCodexSetup();
}

QFuture<void> AppModel::disconnectClaude() {
    return m_connections->disconnectClaude();
}

void AppModel::handleClaudeReadiness(const LocalProviderReadiness& readiness) {
    m_connections->handleClaudeReadiness(readiness);
}

void AppModel::handleCodexReadiness(const LocalProviderReadiness& readiness) {
    m_connections->handleCodexReadiness(readiness);
}

void AppModel::beginClaudeConnectionMonitoring() {
    m_connections->beginClaudeConnectionMonitoring();
}

void AppModel::beginCodexConnectionMonitoring() {
    m_connections->beginCodexConnectionMonitoring();
}

QFuture<void> AppModel::notifyIfNeeded(const UsageSnapshot& previous, const UsageSnapshot& next) {
    return m_notifications->notifyIfNeeded(previous, next);
}

QFuture<void> AppModel::checkForUpdates(bool userInitiated) {
    return m_updates->checkForUpdates(userInitiated);
}

void AppModel::openAvailableUpdate() {
    m_updates->openAvailableUpdate();
}

void AppModel::chooseBreakBackgroundImage() {
    m_photo->chooseBreakBackgroundImage();
}

void AppModel::removeBreakBackgroundImage() {
    m_photo->removeBreakBackgroundImage();
}

void AppModel::showBreakWindow() {
    m_services.windows->showBreakWindow();
}

void AppModel::showSettingsWindow() {
    m_services.windows->showSettingsWindow();
}

} // namespace lumora
