#pragma once

#include "core/ClaudeUsageProvider.h"
#include "core/LocalProviderReadiness.h"
#include "core/SnapshotCache.h"
#include "core/UsageProvider.h"
#include "core/UsageSnapshot.h"
#include "model/AppPreferences.h"
#include "model/AppTiming.h"
#include "model/Background.h"
#include "model/BreakBackgroundPhoto.h"
#include "model/ClaudeCacheWatcher.h"
#include "model/ProviderConnections.h"
#include "model/UpdateChecks.h"
#include "model/UsageHistory.h"
#include "model/UsageNotifications.h"
#include "platform/DesktopServices.h"
#include "platform/Notifier.h"
#include "platform/PreferencesStore.h"

#include <QDateTime>
#include <QFuture>
#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>

namespace lumora {

// The coordinator of the tray application, on the main thread: it owns the providers and their
// snapshot caches, holds the latest snapshot of each provider, refreshes them every minute,
// sends the usage notifications, and gathers everything the views show. The user's choices, the
// connection set-up, the update checks and the background photo are parts of their own
// (preferences, connections, updates, photo), whose operations are also callable here.
//
// Blocking work (provider fetches, readiness checks, the hook installer, cache loads and saves,
// update checks) runs on Qt's thread pool; its results come back to the main thread before any
// property changes, and results that arrive after the model is gone are dropped. `changed` fires
// after every change of any property of the model or its parts.
class AppModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(lumora::UsageSnapshot snapshot READ snapshot NOTIFY snapshotChanged)
    Q_PROPERTY(lumora::UsageSnapshot codexSnapshot READ codexSnapshot NOTIFY codexSnapshotChanged)
    Q_PROPERTY(bool isRefreshing READ isRefreshing NOTIFY isRefreshingChanged)
    Q_PROPERTY(QString menuBarDisplayText READ menuBarDisplayText NOTIFY changed)
    Q_PROPERTY(lumora::AppPreferences* preferences READ preferences CONSTANT)
    Q_PROPERTY(lumora::ProviderConnections* connections READ connections CONSTANT)
    Q_PROPERTY(lumora::UpdateChecks* updates READ updates CONSTANT)
    Q_PROPERTY(lumora::BreakBackgroundPhoto* photo READ photo CONSTANT)

public:
    // Everything the model works with. standard() gives the real desktop; tests replace parts.
    struct Services {
        std::shared_ptr<ClaudeUsageProvider> claudeProvider;
        std::shared_ptr<UsageProvider> codexProvider;
        std::shared_ptr<SnapshotCache> claudeCache;
        std::shared_ptr<SnapshotCache> codexCache;
        std::shared_ptr<PreferencesStore> preferences;
        std::shared_ptr<Notifier> notifier;
        std::shared_ptr<UrlOpener> urlOpener;
        std::shared_ptr<Clipboard> clipboard;
        std::shared_ptr<TerminalLauncher> terminal;
        std::shared_ptr<ImageChooser> imageChooser;
        std::shared_ptr<WindowPresentation> windows;
        // Without one the build has no update channel.
        std::shared_ptr<UpdateChecking> updateChecker;
        QString currentVersion;
        QString breakBackgroundImagePath;
        // The usage history's file; empty: history.sqlite in the current user's data folder.
        QString historyPath;
        AppTiming timing;

        // The current user's files and desktop. The update checker reads `feedURL` when given,
        // else the feed configured in the build; the version is the build's unless given.
        static Services standard(std::optional<QUrl> feedURL = std::nullopt,
                                 std::optional<QString> currentVersion = std::nullopt);
    };

    // Reads the update settings, the preferences and the stored photo; starts nothing.
    explicit AppModel(Services services, QObject* parent = nullptr);
    ~AppModel() override;

    const UsageSnapshot& snapshot() const { return m_snapshot; }
    const UsageSnapshot& codexSnapshot() const { return m_codexSnapshot; }
    bool isRefreshing() const { return m_isRefreshing; }
    AppPreferences* preferences() const { return m_preferences; }
    ProviderConnections* connections() const { return m_connections; }
    UpdateChecks* updates() const { return m_updates; }
    BreakBackgroundPhoto* photo() const { return m_photo; }
    UsageNotifications* notifications() const { return m_notifications; }
    UsageHistory* history() const { return m_history; }

    // Starts the refresh loop (cached snapshots, a refresh, then one per interval) and the update
    // loop. Only the first call does anything.
    Q_INVOKABLE void start();
    // Shows the snapshots saved by the last run as last known figures.
    QFuture<void> loadCache();
    // Fetches both providers at once (a switched-off one gives its disconnected snapshot), then
    // saves the snapshots that have a verdict, records their figures and sends the due
    // notifications. A refresh asked for while one runs is dropped; one asked for while only
    // Claude Code is being read follows that. The future finishes when everything is done.
    Q_INVOKABLE QFuture<void> refresh(bool forceClaudeLive);
    // Reads Claude Code alone, as soon as nothing else is being read: its status-line hook has
    // just written new figures. Shows no progress; several requests meanwhile make one read.
    void refreshClaude();

    // The status item's title, e.g. "Codex 93% · Claude Code 58%".
    QString menuBarDisplayText() const;
    QString menuBarDisplayText(const QDateTime& now) const;
    // A one-line status of one provider for the settings view.
    Q_INVOKABLE QString statusTitle(const lumora::UsageSnapshot& snapshot) const;
    static QString statusTitle(const UsageSnapshot& snapshot, const QDateTime& now);

    // The operations of the parts.
    Q_INVOKABLE void swapProviders(const QString& first, const QString& second);
    Q_INVOKABLE void continueClaudeSetup();
    Q_INVOKABLE void continueCodexSetup();
    Q_INVOKABLE QFuture<void> disconnectClaude();
    void handleClaudeReadiness(const LocalProviderReadiness& readiness);
    void handleCodexReadiness(const LocalProviderReadiness& readiness);
    void beginClaudeConnectionMonitoring();
    void beginCodexConnectionMonitoring();
    QFuture<void> notifyIfNeeded(const UsageSnapshot& previous, const UsageSnapshot& next);
    Q_INVOKABLE QFuture<void> checkForUpdates(bool userInitiated);
    Q_INVOKABLE void openAvailableUpdate();
    Q_INVOKABLE void chooseBreakBackgroundImage();
    Q_INVOKABLE void removeBreakBackgroundImage();
    Q_INVOKABLE void showBreakWindow();
    Q_INVOKABLE void showSettingsWindow();

    static inline const QString lastKnownStatusMessage =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Last known local status"));

signals:
    void snapshotChanged();
    void codexSnapshotChanged();
    void isRefreshingChanged();
    // After every change of anything the views show.
    void changed();

private:
    void forwardChanges(QObject* source);
    void onClaudeSwitchAssigned(bool enabled);
    void onCodexSwitchAssigned(bool enabled);
    void onAlertsAssigned(bool enabled);
    void refreshSoon();
    void runRefreshLoopPass();
    QFuture<UsageSnapshot> fetchClaude(bool forceLive) const;
    QFuture<UsageSnapshot> fetchCodex() const;
    void runRefresh(bool forceClaudeLive, Completion completion);
    // A provider's new snapshot and the one it replaces.
    struct Fetched {
        UsageSnapshot next;
        UsageSnapshot previous;
    };
    void finishRefresh(QList<Fetched> fetched, std::function<void()> done);
    void notifyInTurn(QList<Fetched> fetched, std::function<void()> done);
    // Starts what was asked for while a refresh ran.
    void runQueuedRefresh();
    void setSnapshot(const UsageSnapshot& snapshot);
    void setCodexSnapshot(const UsageSnapshot& snapshot);
    void setRefreshing(bool refreshing);

    Services m_services;
    AppPreferences* m_preferences;
    ProviderConnections* m_connections;
    UpdateChecks* m_updates;
    BreakBackgroundPhoto* m_photo;
    UsageNotifications* m_notifications;
    UsageHistory* m_history;
    ClaudeCacheWatcher* m_claudeCacheWatcher;
    UsageSnapshot m_snapshot;
    UsageSnapshot m_codexSnapshot;
    bool m_isRefreshing = false;
    bool m_hasStarted = false;
    bool m_readingClaude = false; // a Claude-only refresh runs
    bool m_claudeAgain = false;   // another one is due after the running refresh
    std::optional<std::pair<bool, Completion>> m_queuedRefresh; // force flag, its future
    QTimer m_refreshTimer;
};

} // namespace lumora
