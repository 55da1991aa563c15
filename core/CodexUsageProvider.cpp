#include "core/CodexUsageProvider.h"

#include "core/DataFolder.h"
#include "core/ExecutableSearch.h"

namespace lumora {
namespace {

CodexUsageProvider::Options withDefaults(CodexUsageProvider::Options options) {
    if (options.homeDirectory.isEmpty()) {
        options.homeDirectory = currentHomeDirectory();
    }
    if (!options.runner) {
        options.runner = std::make_shared<QtProcessRunner>();
    }
    if (!options.now) {
        options.now = [] {
            return QDateTime::currentDateTimeUtc();
        };
    }
    return options;
}

} // namespace

CodexUsageProvider::CodexUsageProvider() : CodexUsageProvider(Options{}) {}

CodexUsageProvider::CodexUsageProvider(Options options)
    : m_options(withDefaults(std::move(options))) {}

std::optional<QString> CodexUsageProvider::locateCodexExecutable() const {
    const QString& home = m_options.homeDirectory;
    QStringList candidates;
    if (m_options.executableOverride) {
        candidates << *m_options.executableOverride;
    }
    const QString fromEnvironment = qEnvironmentVariable("LUMORA_CODEX_PATH");
    if (!fromEnvironment.isEmpty()) {
        candidates << fromEnvironment; // as given; relative to the working folder
    }
    candidates << QStringLiteral("/Applications/ChatGPT.app/Contents/Resources/codex")
               << QStringLiteral("/opt/homebrew/bin/codex")
               << QStringLiteral("/usr/local/bin/codex")
               << home + QStringLiteral("/.local/bin/codex")
               << home + QStringLiteral("/.npm-global/bin/codex")
               << QStringLiteral("/usr/bin/codex");
    candidates << nvmCandidates(home, QStringLiteral("codex"));
    return firstExecutable(candidates);
}

LocalProviderReadiness CodexUsageProvider::readiness() const {
    const auto executable = locateCodexExecutable();
    if (!executable) {
        return LocalProviderReadiness::executableMissing();
    }
    try {
        const ProcessResult result =
            m_options.runner->run(*executable, {QStringLiteral("login"), QStringLiteral("status")},
                                  QString(), m_options.loginStatusTimeoutSeconds);
        // Only the exit status counts; what `login status` prints varies between versions.
        return result.exitCode == 0 ? LocalProviderReadiness::ready()
                                    : LocalProviderReadiness::loginRequired();
    } catch (const Error& error) {
        return LocalProviderReadiness::unavailable(error.description());
    }
}

UsageSnapshot CodexUsageProvider::fetch(bool /*forceLiveRefresh*/) const {
    const LocalProviderReadiness readiness = this->readiness();
    switch (readiness.kind()) {
    case LocalProviderReadiness::Kind::ready:
        break;
    case LocalProviderReadiness::Kind::executableMissing:
        return noData(notInstalledMessage);
    case LocalProviderReadiness::Kind::loginRequired:
        return noData(signInMessage);
    case LocalProviderReadiness::Kind::setupRequired:
        return noData(setupIncompleteMessage);
    case LocalProviderReadiness::Kind::unavailable:
        return noData(readiness.message());
    }

    // The executable may have gone since the readiness check.
    const auto executable = locateCodexExecutable();
    if (!executable) {
        return noData(notInstalledMessage);
    }
    try {
        const QString transcript =
            CodexAppServerSession(*executable, m_options.session).readRateLimits();
        return m_parser.parse(transcript, m_options.now());
    } catch (const Error& error) {
        return noData(error.description());
    }
}

UsageSnapshot CodexUsageProvider::noData(const QString& message) {
    return UsageSnapshot::unavailable(providers::codexID, providers::codexName, message);
}

} // namespace lumora
