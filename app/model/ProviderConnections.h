#pragma once

#include "core/ClaudeUsageProvider.h"
#include "core/LocalProviderReadiness.h"
#include "core/UsageProvider.h"
#include "model/AppPreferences.h"
#include "model/AppTiming.h"
#include "model/ProviderConnectionState.h"
#include "platform/DesktopServices.h"

#include <QFuture>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

namespace lumora {

// Watches a provider until its tool is ready: one readiness check per interval on the thread
// pool, at most a fixed number of checks. A new begin() or cancel() discards everything the
// previous run still had in flight.
class ConnectionMonitor : public QObject {
    Q_OBJECT

public:
    using Check = std::function<LocalProviderReadiness()>;
    // True when the readiness ends the watch (it has been handled).
    using Settles = std::function<bool(const LocalProviderReadiness&)>;

    explicit ConnectionMonitor(QObject* parent = nullptr);

    void begin(std::chrono::milliseconds interval, int checks, Check check, Settles settles,
               std::function<void()> exhausted);
    void cancel();
    bool isRunning() const { return m_running; }

private:
    void runCheck();

    QTimer m_timer;
    quint64 m_generation = 0;
    bool m_running = false;
    int m_checksLeft = 0;
    Check m_check;
    Settles m_settles;
    std::function<void()> m_exhausted;
};

// The connection set-up of both providers: their ProviderConnectionState, the continue-setup
// actions behind each provider's connection button, the readiness verdicts, the monitors that
// wait while the user installs or signs in elsewhere, and disconnecting Claude Code.
class ProviderConnections : public QObject {
    Q_OBJECT
    Q_PROPERTY(lumora::ProviderConnectionState claudeConnectionState READ claudeConnectionState
                   NOTIFY claudeConnectionStateChanged)
    Q_PROPERTY(lumora::ProviderConnectionState codexConnectionState READ codexConnectionState NOTIFY
                   codexConnectionStateChanged)

public:
    struct Services {
        std::shared_ptr<ClaudeUsageProvider> claudeProvider;
        std::shared_ptr<UsageProvider> codexProvider;
        std::shared_ptr<UrlOpener> urlOpener;
        std::shared_ptr<Clipboard> clipboard;
        std::shared_ptr<TerminalLauncher> terminal;
    };

    static inline const QString codexLoginCommand = QStringLiteral("codex login");
    static inline const QString codexSetupIncomplete =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Codex setup is incomplete."));

    ProviderConnections(Services services, AppPreferences* preferences, AppTiming timing,
                        QObject* parent = nullptr);

    const ProviderConnectionState& claudeConnectionState() const { return m_claudeState; }
    const ProviderConnectionState& codexConnectionState() const { return m_codexState; }

    void continueClaudeSetup();
    void continueCodexSetup();
    // Removes the status-line hook; the future finishes when the outcome has been applied.
    QFuture<void> disconnectClaude();

    void handleClaudeReadiness(const LocalProviderReadiness& readiness);
    void handleCodexReadiness(const LocalProviderReadiness& readiness);
    void beginClaudeConnectionMonitoring();
    void beginCodexConnectionMonitoring();
    // A connect button's check: the state becomes `checking`, the provider's readiness is asked
    // on the thread pool, and its verdict is handled as above.
    void checkClaudeReadiness();
    void checkCodexReadiness();
    bool isClaudeMonitorRunning() const { return m_claudeMonitor.isRunning(); }
    bool isCodexMonitorRunning() const { return m_codexMonitor.isRunning(); }

    // A provider switched off: no set-up in progress any more.
    void claudeSwitchedOff();
    void codexSwitchedOff();
    // Follows the Claude Code provider's own verdicts after a refresh (only while it is on).
    void updateClaudeConnectionState(const UsageSnapshot& snapshot);

signals:
    void claudeConnectionStateChanged();
    void codexConnectionStateChanged();
    // The hook has just been installed: the model should fetch live Claude Code data.
    void refreshRequested(bool forceClaudeLive);
    // The hook has been removed: the model should show Claude Code as disconnected.
    void claudeDisconnected();

private:
    void setClaudeState(ProviderConnectionState state);
    void setCodexState(ProviderConnectionState state);
    void installClaudeHook();
    void copyCommandAndOpenTerminal(const QString& command);
    void openWebPage(const QString& address);

    Services m_services;
    AppPreferences* m_preferences;
    AppTiming m_timing;
    ProviderConnectionState m_claudeState;
    ProviderConnectionState m_codexState;
    ConnectionMonitor m_claudeMonitor;
    ConnectionMonitor m_codexMonitor;
};

} // namespace lumora
