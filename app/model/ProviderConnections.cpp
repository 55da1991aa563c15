#include "model/ProviderConnections.h"

#include "core/Errors.h"
#include "model/Background.h"
#include "model/SetupPages.h"

#include <QUrl>

namespace lumora {
namespace {

using Kind = LocalProviderReadiness::Kind;

// What a failed hook installation or removal tells the user.
QString failureText(const std::exception& error) {
    if (const auto* known = dynamic_cast<const Error*>(&error)) {
        return known->description();
    }
    return QString::fromLocal8Bit(error.what());
}

// Runs an installer step and returns its error text, or nothing on success.
template <typename Step> std::optional<QString> attempt(Step step) {
    try {
        step();
        return std::nullopt;
    } catch (const std::exception& error) {
        return failureText(error);
    }
}

// The connection state a readiness verdict leads to. A ready provider shows as disconnected
// until its first refresh; what `setupRequired` means differs between the providers.
ProviderConnectionState stateAfter(const LocalProviderReadiness& readiness,
                                   const ProviderConnectionState& whenSetupRequired) {
    switch (readiness.kind()) {
    case Kind::ready:
        return ProviderConnectionState::disconnected();
    case Kind::executableMissing:
        return ProviderConnectionState::executableMissing();
    case Kind::loginRequired:
        return ProviderConnectionState::loginRequired();
    case Kind::setupRequired:
        return whenSetupRequired;
    case Kind::unavailable:
        return ProviderConnectionState::failed(readiness.message());
    }
    return ProviderConnectionState::failed(readiness.message());
}

} // namespace

ConnectionMonitor::ConnectionMonitor(QObject* parent) : QObject(parent) {
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &ConnectionMonitor::runCheck);
}

void ConnectionMonitor::begin(std::chrono::milliseconds interval, int checks, Check check,
                              Settles settles, std::function<void()> exhausted) {
    cancel();
    m_running = true;
    m_checksLeft = checks;
    m_check = std::move(check);
    m_settles = std::move(settles);
    m_exhausted = std::move(exhausted);
    m_timer.setInterval(interval);
    m_timer.start();
}

void ConnectionMonitor::cancel() {
    ++m_generation;
    m_running = false;
    m_timer.stop();
}

void ConnectionMonitor::runCheck() {
    const quint64 generation = m_generation;
    runInBackground(this, m_check, [this, generation](const LocalProviderReadiness& readiness) {
        if (generation != m_generation) {
            return; // cancelled or replaced while the check ran
        }
        if (m_settles(readiness)) {
            m_running = false;
            return;
        }
        if (--m_checksLeft > 0) {
            m_timer.start();
            return;
        }
        m_running = false;
        m_exhausted();
    });
}

ProviderConnections::ProviderConnections(Services services, AppPreferences* preferences,
                                         AppTiming timing, QObject* parent)
    : QObject(parent), m_services(std::move(services)), m_preferences(preferences),
      m_timing(timing) {}

void ProviderConnections::setClaudeState(ProviderConnectionState state) {
    if (!(m_claudeState == state)) {
        m_claudeState = std::move(state);
        emit claudeConnectionStateChanged();
    }
}

void ProviderConnections::setCodexState(ProviderConnectionState state) {
    if (!(m_codexState == state)) {
        m_codexState = std::move(state);
        emit codexConnectionStateChanged();
    }
}

void ProviderConnections::continueClaudeSetup() {
    switch (m_claudeState.kind()) {
    case ProviderConnectionState::Kind::setupRequired:
        setClaudeState(ProviderConnectionState::waiting());
        installClaudeHook();
        return;
    case ProviderConnectionState::Kind::loginRequired:
        openWebPage(setuppages::claudeAuthentication);
        setClaudeState(ProviderConnectionState::waiting());
        beginClaudeConnectionMonitoring();
        return;
    case ProviderConnectionState::Kind::executableMissing:
        openWebPage(setuppages::claudeInstallation);
        setClaudeState(ProviderConnectionState::waiting());
        beginClaudeConnectionMonitoring();
        return;
    default:
        checkClaudeReadiness();
        return;
    }
}

void ProviderConnections::continueCodexSetup() {
    switch (m_codexState.kind()) {
    case ProviderConnectionState::Kind::loginRequired:
        // There is no desktop application to sign in with here: the terminal it is.
        copyCommandAndOpenTerminal(codexLoginCommand);
        setCodexState(ProviderConnectionState::waiting());
        beginCodexConnectionMonitoring();
        return;
    case ProviderConnectionState::Kind::executableMissing:
        openWebPage(setuppages::codexProduct);
        setCodexState(ProviderConnectionState::waiting());
        beginCodexConnectionMonitoring();
        return;
    default:
        checkCodexReadiness();
        return;
    }
}

void ProviderConnections::installClaudeHook() {
    runInBackground(
        this,
        [provider = m_services.claudeProvider] {
            return attempt([&] { provider->installStatusLineSync(); });
        },
        [this](const std::optional<QString>& failure) {
            if (failure) {
                setClaudeState(ProviderConnectionState::failed(*failure));
                return;
            }
            m_preferences->setClaudeEnabled(true);
            setClaudeState(ProviderConnectionState::disconnected());
            emit refreshRequested(true);
        });
}

QFuture<void> ProviderConnections::disconnectClaude() {
    Completion completion;
    runInBackground(
        this,
        [provider = m_services.claudeProvider] {
            return attempt([&] { provider->uninstallStatusLineSync(); });
        },
        [this, completion](const std::optional<QString>& failure) {
            if (failure) {
                setClaudeState(ProviderConnectionState::failed(*failure));
            } else {
                m_preferences->setClaudeEnabled(false);
                setClaudeState(ProviderConnectionState::disconnected());
                emit claudeDisconnected();
            }
            completion.finish();
        });
    return completion.future();
}

void ProviderConnections::checkClaudeReadiness() {
    setClaudeState(ProviderConnectionState::checking());
    runInBackground(
        this, [provider = m_services.claudeProvider] { return provider->readiness(); },
        [this](const LocalProviderReadiness& readiness) { handleClaudeReadiness(readiness); });
}

void ProviderConnections::checkCodexReadiness() {
    setCodexState(ProviderConnectionState::checking());
    runInBackground(
        this, [provider = m_services.codexProvider] { return provider->readiness(); },
        [this](const LocalProviderReadiness& readiness) { handleCodexReadiness(readiness); });
}

void ProviderConnections::handleClaudeReadiness(const LocalProviderReadiness& readiness) {
    // Claude Code's set-up is Lumora's hook, which the connect button installs.
    setClaudeState(stateAfter(readiness, ProviderConnectionState::setupRequired()));
    if (readiness.kind() == Kind::ready) {
        m_preferences->setClaudeEnabled(true);
    }
}

void ProviderConnections::handleCodexReadiness(const LocalProviderReadiness& readiness) {
    // Codex has no hook to install: an incomplete set-up is for the user to finish.
    setCodexState(stateAfter(readiness, ProviderConnectionState::failed(codexSetupIncomplete)));
    if (readiness.kind() == Kind::ready) {
        m_preferences->setCodexEnabled(true);
    }
}

void ProviderConnections::beginClaudeConnectionMonitoring() {
    m_claudeMonitor.begin(
        m_timing.connectionCheckInterval, m_timing.connectionChecks,
        [provider = m_services.claudeProvider] { return provider->readiness(); },
        [this](const LocalProviderReadiness& readiness) {
            // Anything but a missing tool is news worth showing (sign-in done, hook needed).
            if (readiness.kind() == Kind::executableMissing) {
                return false;
            }
            handleClaudeReadiness(readiness);
            return true;
        },
        [this] { setClaudeState(ProviderConnectionState::disconnected()); });
}

void ProviderConnections::beginCodexConnectionMonitoring() {
    m_codexMonitor.begin(
        m_timing.connectionCheckInterval, m_timing.connectionChecks,
        [provider = m_services.codexProvider] { return provider->readiness(); },
        [this](const LocalProviderReadiness& readiness) {
            if (readiness.kind() != Kind::ready) {
                return false;
            }
            handleCodexReadiness(readiness);
            return true;
        },
        [this] { setCodexState(ProviderConnectionState::disconnected()); });
}

void ProviderConnections::claudeSwitchedOff() {
    setClaudeState(ProviderConnectionState::disconnected());
    m_claudeMonitor.cancel();
}

void ProviderConnections::codexSwitchedOff() {
    setCodexState(ProviderConnectionState::disconnected());
    m_codexMonitor.cancel();
}

void ProviderConnections::updateClaudeConnectionState(const UsageSnapshot& snapshot) {
    if (!m_preferences->claudeEnabled()) {
        return;
    }
    if (snapshot.statusMessage == ClaudeUsageProvider::notInstalledMessage) {
        setClaudeState(ProviderConnectionState::executableMissing());
    } else if (snapshot.statusMessage == ClaudeUsageProvider::enableSyncMessage) {
        setClaudeState(ProviderConnectionState::setupRequired());
    } else if (snapshot.availability != Availability::unknown) {
        setClaudeState(ProviderConnectionState::disconnected());
    }
}

void ProviderConnections::copyCommandAndOpenTerminal(const QString& command) {
    m_services.clipboard->setText(command);
    m_services.terminal->start();
}

void ProviderConnections::openWebPage(const QString& address) {
    const QUrl url(address, QUrl::StrictMode);
    if (url.isValid()) {
        m_services.urlOpener->open(url);
    }
}

} // namespace lumora
