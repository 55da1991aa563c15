#pragma once

#include "core/ClaudeRateLimitCacheParser.h"
#include "core/ClaudeStatusLineInstaller.h"
#include "core/LocalProviderReadiness.h"
#include "core/UsageProvider.h"
#include "core/UsageSnapshot.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <optional>

namespace lumora {

// The single entry point to Claude Code usage. Everything comes from files: the rate-limit cache
// that the status-line hook writes, and the snapshot the application saved last. It never starts
// Claude Code and never uses the network. Holds no changing state; safe to call from any thread.
class ClaudeUsageProvider : public UsageProvider {
public:
    struct Options {
        QString homeDirectory; // default: the current user's home
        QString hookHelper;    // default: locateHookHelper()
        std::optional<QString>
            rateLimitCacheURL; // default: data folder + "claude-rate-limits.json"
        std::optional<QString>
            savedSnapshotURL;           // default: data folder + "claude-code-snapshot.json"
        std::function<QDateTime()> now; // default: the system clock (UTC)
    };

    ClaudeUsageProvider();
    explicit ClaudeUsageProvider(Options options);

    // Never fails: problems come back as a snapshot with a status message. The flag has no effect
    // on this provider (there is nothing live to refresh).
    UsageSnapshot fetch(bool forceLiveRefresh = false) const override;
    // ready, executableMissing or setupRequired.
    LocalProviderReadiness readiness() const override;
    // Install or remove the status-line hook; the installer's errors pass through unchanged.
    virtual void installStatusLineSync() const;
    virtual void uninstallStatusLineSync() const;

    std::optional<QString> locateClaudeExecutable() const;
    const ClaudeStatusLineInstaller& statusLineInstaller() const { return m_installer; }
    const QString& rateLimitCacheURL() const { return m_rateLimitCacheURL; }
    const QString& savedSnapshotURL() const { return m_savedSnapshotURL; }

    static inline const QString notInstalledMessage =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Claude Code is not installed."));
    static inline const QString enableSyncMessage =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Enable official Claude Code status sync."));
    static inline const QString sendMessageMessage = QStringLiteral(
        QT_TRANSLATE_NOOP("Messages", "Open Claude Code and send a message once to sync usage."));
    // The Claude Code release the hook was last checked against, running the real program: it
    // read the hook from its settings, ran it with its status JSON and showed what it printed.
    static inline const QString checkedClaudeCodeVersion = QStringLiteral("2.1.330");
    // Said with notInstalledMessage, so that whoever installs Claude Code knows what works.
    static inline const QString checkedVersionMessage =
        QStringLiteral("Lumora is checked with Claude Code %1.").arg(checkedClaudeCodeVersion);

private:
    struct Resolved {};
    ClaudeUsageProvider(const Options& resolved, Resolved);

    std::optional<UsageSnapshot> loadRateLimitCache(const QDateTime& now) const;
    std::optional<UsageSnapshot> loadSavedSnapshot() const;
    static std::optional<UsageSnapshot> preferredSnapshot(std::optional<UsageSnapshot> cached,
                                                          std::optional<UsageSnapshot> saved);
    static UsageSnapshot noData(const QString& message);

    ClaudeRateLimitCacheParser m_cacheParser;
    QString m_homeDirectory;
    ClaudeStatusLineInstaller m_installer;
    QString m_rateLimitCacheURL;
    QString m_savedSnapshotURL;
    std::function<QDateTime()> m_now;
};

} // namespace lumora
