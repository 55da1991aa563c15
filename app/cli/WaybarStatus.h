#pragma once

#include "core/LocaleFormats.h"
#include "core/UsageSnapshot.h"
#include "history/UsagePace.h"

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QLocale>
#include <QString>

namespace lumora::cli {

// The status as waybar's custom module reads it (`return-type: json`):
//   text        the panel title
//   tooltip     one line per shown provider: its main window, the share left and the reset time,
//               and under it the pace when the kept history shows one
//   class       the worst availability among the shown providers ("blocked", "limited", "ready",
//               else "unknown"), and "stale" when a shown snapshot is no longer current
//   percentage  the lowest share left among the current figures; absent when none is known
// Waybar reads text and tooltip as Pango markup, so both are escaped.
QJsonObject waybarStatus(const QString& title, const QList<UsageSnapshot>& shown,
                         const QHash<QString, UsagePace>& paces, const QDateTime& now,
                         const QLocale& locale = timeLocale());

} // namespace lumora::cli
