#include "core/RelativeTime.h"

namespace lumora {
namespace {

QString durationText(qint64 minutes) {
    const qint64 days = minutes / (24 * 60);
    const qint64 hours = (minutes / 60) % 24;
    const qint64 rest = minutes % 60;
    if (days > 0) {
        const QString dayText = QStringLiteral("%1 %2").arg(days).arg(
            days == 1 ? QStringLiteral("day") : QStringLiteral("days"));
        return hours > 0 ? dayText + QStringLiteral(" %1 hr").arg(hours) : dayText;
    }
    if (hours > 0) {
        return rest > 0 ? QStringLiteral("%1 hr %2 min").arg(hours).arg(rest)
                        : QStringLiteral("%1 hr").arg(hours);
    }
    return QStringLiteral("%1 min").arg(rest);
}

} // namespace

QString relativeTimeText(const QDateTime& moment, const QDateTime& now) {
    const qint64 seconds = now.secsTo(moment);
    if (seconds >= 60) {
        return QStringLiteral("in ") + durationText(seconds / 60);
    }
    if (seconds <= -60) {
        return durationText(-seconds / 60) + QStringLiteral(" ago");
    }
    return seconds > 0 ? QStringLiteral("in under a minute") : QStringLiteral("just now");
}

} // namespace lumora
