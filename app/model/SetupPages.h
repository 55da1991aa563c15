#pragma once

#include <QString>

namespace lumora::setuppages {

// The outside pages the connection set-up sends the user to.
inline const QString claudeAuthentication =
    QStringLiteral("https://code.claude.com/docs/en/authentication");
inline const QString claudeInstallation = QStringLiteral("https://code.claude.com/docs/en/setup");
inline const QString codexProduct = QStringLiteral("https://openai.com/codex/");

} // namespace lumora::setuppages
