#include "core/RelativeTime.h"

#include <QCoreApplication>

namespace lumora {
namespace {

// Whole phrases, never glued from pieces: languages put "in" and "ago" in different places and
// inflect the unit after them (German "in 2 Tagen", "vor 2 Tagen"). Hours and minutes are
// abbreviations that English does not inflect, so their English texts are right for any count
// without a translator; a day has its own text for exactly one, so that "1 day" stays right in
// English while translations inflect "%n days" for every other count.
QString futureText(int days, int hours, int minutes) {
    if (days == 1) {
        return hours > 0 ? QCoreApplication::translate("RelativeTime", "in 1 day %1 hr").arg(hours)
                         : QCoreApplication::translate("RelativeTime", "in 1 day");
    }
    if (days > 1) {
        return hours > 0
                   ? QCoreApplication::translate("RelativeTime", "in %n days %1 hr", nullptr, days)
                         .arg(hours)
                   : QCoreApplication::translate("RelativeTime", "in %n days", nullptr, days);
    }
    if (hours > 0) {
        return minutes > 0
                   ? QCoreApplication::translate("RelativeTime", "in %1 hr %2 min")
                         .arg(hours)
                         .arg(minutes)
                   : QCoreApplication::translate("RelativeTime", "in %n hr", nullptr, hours);
    }
    return QCoreApplication::translate("RelativeTime", "in %n min", nullptr, minutes);
}

QString pastText(int days, int hours, int minutes) {
    if (days == 1) {
        return hours > 0 ? QCoreApplication::translate("RelativeTime", "1 day %1 hr ago").arg(hours)
                         : QCoreApplication::translate("RelativeTime", "1 day ago");
    }
    if (days > 1) {
        return hours > 0
                   ? QCoreApplication::translate("RelativeTime", "%n days %1 hr ago", nullptr, days)
                         .arg(hours)
                   : QCoreApplication::translate("RelativeTime", "%n days ago", nullptr, days);
    }
    if (hours > 0) {
        return minutes > 0
                   ? QCoreApplication::translate("RelativeTime", "%1 hr %2 min ago")
                         .arg(hours)
                         .arg(minutes)
                   : QCoreApplication::translate("RelativeTime", "%n hr ago", nullptr, hours);
    }
    return QCoreApplication::translate("RelativeTime", "%n min ago", nullptr, minutes);
}

} // namespace

QString relativeTimeText(const QDateTime& moment, const QDateTime& now) {
    const qint64 seconds = now.secsTo(moment);
    if (seconds > -60 && seconds < 60) {
        return seconds > 0 ? QCoreApplication::translate("RelativeTime", "in under a minute")
                           : QCoreApplication::translate("RelativeTime", "just now");
    }
    const qint64 minutes = (seconds < 0 ? -seconds : seconds) / 60;
    const int days = static_cast<int>(minutes / (24 * 60));
    const int hours = static_cast<int>((minutes / 60) % 24);
    const int rest = static_cast<int>(minutes % 60);
    return seconds > 0 ? futureText(days, hours, rest) : pastText(days, hours, rest);
}

} // namespace lumora
