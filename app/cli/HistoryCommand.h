#pragma once

#include "core/UsageSnapshot.h"
#include "history/UsagePace.h"

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QStringList>
#include <QTextStream>

namespace lumora::cli {

// `lumora history [--provider ID] [--since 7d] [--json | --csv]`: the figures the tray has kept,
// oldest first, as a table, a JSON array or CSV with a header row (times in ISO 8601 UTC).
int history(const QStringList& options, QTextStream& out, QTextStream& err);

// The pace of each snapshot's main window from the kept history (read-only; nothing when the
// tray has kept none), by provider id.
QHash<QString, UsagePace> pacesFromHistory(const QList<UsageSnapshot>& snapshots,
                                           const QDateTime& now);

// What `status --json` adds to a snapshot: "pace" (verdict, rate per hour, the projected limit
// time, the share left at the reset, the popover's sentence) and "weeklyWindow".
QJsonObject withPaceAndWeekly(const UsageSnapshot& snapshot, const UsagePace& pace,
                              const QDateTime& now);

} // namespace lumora::cli
