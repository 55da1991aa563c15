#pragma once

#include "core/CodexAppServerSession.h"
#include "core/CodexRateLimitParser.h"
#include "core/LocalProviderReadiness.h"
#include "core/ProcessRunner.h"
#include "core/UsageProvider.h"
#include "core/UsageSnapshot.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace lumora {

// The single entry point to Codex usage. Readiness comes from `codex login status` (through the
// process runner); usage from one `codex app-server` conversation whose transcript the rate-limit
// parser reads. Every outcome is a value: readiness() never throws and fetch() always returns a
// snapshot, failures carrying their message. Holds no changing state; calls block while the
// child processes run and are safe from any thread. Overlapping calls start their own children.
class CodexUsageProvider : public UsageProvider {
public:
    struct Options {
        QString homeDirectory;                        // default: the current user's home
        std::optional<QString> executableOverride;    // tried before every other candidate
        std::shared_ptr<const ProcessRunning> runner; // default: QtProcessRunner()
        double loginStatusTimeoutSeconds = 5.0;
        CodexAppServerSession::Limits session; // the app-server time limit: 8 s
        std::function<QDateTime()> now;        // default: the system clock (UTC)
    };

    CodexUsageProvider();
    explicit CodexUsageProvider(Options options);

    // ready, executableMissing, loginRequired or unavailable (the check itself failed).
    LocalProviderReadiness readiness() const override;
    // Runs readiness() first and reads usage only when Codex is ready. Every fetch is live: the
    // flag changes nothing.
    UsageSnapshot fetch(bool forceLiveRefresh = false) const override;

    // The first executable among: the override, $LUMORA_CODEX_PATH (when not empty), the fixed
    // install locations, then nvm's Node versions, newest first. No search along PATH.
    std::optional<QString> locateCodexExecutable() const;

    static inline const QString notInstalledMessage =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Codex is not installed."));
    static inline const QString signInMessage =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Sign in to Codex to continue."));
    static inline const QString setupIncompleteMessage =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Codex setup is incomplete."));

private:
    static UsageSnapshot noData(const QString& message);

    CodexRateLimitParser m_parser;
    Options m_options;
};

} // namespace lumora
