#include "core/MenuBarDisplayFormatter.h"

namespace lumora {

QString MenuBarDisplayFormatter::format(const UsageSnapshot& codex, const UsageSnapshot& claude,
                                        bool showsCodex, bool showsClaude,
                                        const QStringList& providerOrder,
                                        const QDateTime& now) const {
    QStringList parts;
    for (const QString& id : providerOrder) {
        if (id == providers::codexID && showsCodex) {
            parts.append(providers::codexName + QLatin1Char(' ') + codex.compactRemainingText(now));
        } else if (id == providers::claudeCodeID && showsClaude) {
            parts.append(providers::claudeCodeName + QLatin1Char(' ') +
                         claude.compactRemainingText(now));
        }
    }
    if (parts.isEmpty()) {
        return QStringLiteral("Lumora");
    }
    return parts.join(QStringLiteral(" \u00B7 "));
}

} // namespace lumora
