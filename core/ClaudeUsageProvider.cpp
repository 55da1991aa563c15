#include "core/ClaudeUsageProvider.h"

#include "core/AtomicFile.h"
#include "core/DataFolder.h"
#include "core/ExecutableSearch.h"

#include <QFileInfo>

namespace lumora {
namespace {

ClaudeUsageProvider::Options withDefaults(ClaudeUsageProvider::Options options) {
    if (options.homeDirectory.isEmpty()) {
        options.homeDirectory = currentHomeDirectory();
    }
    if (options.hookHelper.isEmpty()) {
        options.hookHelper = locateHookHelper();
    }
    const QString folder = dataFolder(options.homeDirectory);
    if (!options.rateLimitCacheURL) {
        options.rateLimitCacheURL = folder + QStringLiteral("/claude-rate-limits.json");
    }
    if (!options.savedSnapshotURL) {
        options.savedSnapshotURL = folder + QStringLiteral("/claude-code-snapshot.json");
    }
    if (!options.now) {
        options.now = [] {
            return QDateTime::currentDateTimeUtc();
        };
    }
    return options;
}

} // namespace

ClaudeUsageProvider::ClaudeUsageProvider() : ClaudeUsageProvider(Options{}) {}

ClaudeUsageProvider::ClaudeUsageProvider(Options options)
    : ClaudeUsageProvider(withDefaults(std::move(options)), Resolved{}) {}

ClaudeUsageProvider::ClaudeUsageProvider(const Options& resolved, Resolved)
    : m_homeDirectory(resolved.homeDirectory),
      m_installer(resolved.homeDirectory, resolved.hookHelper),
      m_rateLimitCacheURL(*resolved.rateLimitCacheURL),
      m_savedSnapshotURL(*resolved.savedSnapshotURL), m_now(resolved.now) {}

std::optional<QString> ClaudeUsageProvider::locateClaudeExecutable() const {
    QStringList candidates;
    const QString fromEnvironment = qEnvironmentVariable("LUMORA_CLAUDE_PATH");
    if (!fromEnvironment.isEmpty()) {
        candidates << fromEnvironment; // as given; relative to the working folder
    }
    candidates << m_homeDirectory + QStringLiteral("/.local/bin/claude")
               << m_homeDirectory + QStringLiteral("/.npm-global/bin/claude")
               << QStringLiteral("/opt/homebrew/bin/claude")
               << QStringLiteral("/usr/local/bin/claude")
               << m_homeDirectory + QStringLiteral("/.claude/local/claude")
               << QStringLiteral("/usr/bin/claude");
    candidates << nvmCandidates(m_homeDirectory, QStringLiteral("claude"));
    return firstExecutable(candidates);
}

LocalProviderReadiness ClaudeUsageProvider::readiness() const {
    if (!locateClaudeExecutable()) {
        return LocalProviderReadiness::executableMissing();
    }
    return m_installer.isInstalled() ? LocalProviderReadiness::ready()
                                     : LocalProviderReadiness::setupRequired();
}

void ClaudeUsageProvider::installStatusLineSync() const {
    m_installer.install();
}

void ClaudeUsageProvider::uninstallStatusLineSync() const {
    m_installer.uninstall();
}

UsageSnapshot ClaudeUsageProvider::fetch(bool /*forceLiveRefresh*/) const {
    if (!locateClaudeExecutable()) {
        return noData(notInstalledMessage);
    }
    if (!m_installer.isInstalled()) {
        return noData(enableSyncMessage);
    }
    const QDateTime now = m_now();
    if (auto best = preferredSnapshot(loadRateLimitCache(now), loadSavedSnapshot())) {
        return *best;
    }
    return noData(sendMessageMessage);
}

std::optional<UsageSnapshot> ClaudeUsageProvider::loadRateLimitCache(const QDateTime& now) const {
    const QFileInfo info(m_rateLimitCacheURL);
    if (!info.exists()) {
        return std::nullopt;
    }
    QDateTime capturedAt = info.lastModified().toUTC();
    if (!capturedAt.isValid()) {
        capturedAt = now;
    }
    const auto bytes = readWholeFile(m_rateLimitCacheURL);
    if (!bytes) {
        return std::nullopt;
    }
    try {
        return m_cacheParser.parse(*bytes, capturedAt, now);
    } catch (const Error&) {
        return std::nullopt;
    }
}

std::optional<UsageSnapshot> ClaudeUsageProvider::loadSavedSnapshot() const {
    const auto bytes = readWholeFile(m_savedSnapshotURL);
    if (!bytes) {
        return std::nullopt;
    }
    auto snapshot = UsageSnapshot::decode(*bytes);
    if (snapshot) {
        snapshot->providerName = providers::claudeCodeName;
    }
    return snapshot;
}

std::optional<UsageSnapshot>
ClaudeUsageProvider::preferredSnapshot(std::optional<UsageSnapshot> cached,
                                       std::optional<UsageSnapshot> saved) {
    if (!cached) {
        return saved;
    }
    if (!saved) {
        return cached;
    }
    // Equal capture times prefer the saved snapshot.
    return cached->capturedAt > saved->capturedAt ? cached : saved;
}

UsageSnapshot ClaudeUsageProvider::noData(const QString& message) {
    return UsageSnapshot::unavailable(providers::claudeCodeID, providers::claudeCodeName, message);
}

} // namespace lumora
