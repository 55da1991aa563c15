#pragma once

#include "core/UsageSnapshot.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

namespace lumora {

// Builds the one-line panel title, e.g. "Codex 93% · Claude Code 58%", or "Lumora" when nothing
// is shown.
class MenuBarDisplayFormatter {
public:
    QString format(const UsageSnapshot& codex, const UsageSnapshot& claude, bool showsCodex,
                   bool showsClaude, const QStringList& providerOrder, const QDateTime& now) const;
};

} // namespace lumora
