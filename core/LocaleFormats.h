#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

namespace lumora {

// The locale times and dates are shown in: the desktop's, whose time formats Qt reads from
// LC_TIME (LC_ALL first, LANG last), unless this process chose another with QLocale::setDefault.
QLocale timeLocale();
// Whether the locale reads the time on a 12-hour clock with AM and PM (en_US does, de_DE and
// fr_FR do not). The plain C locale has no clock of its own and keeps Lumora's 12-hour one.
bool uses12HourClock(const QLocale& locale = timeLocale());
// A time of day in the locale's short form, without seconds: "4:05 PM", "16:05".
QString shortTimeText(const QTime& time, const QLocale& locale = timeLocale());
// A moment as the local time of day, with the day of the week in front when it is not within
// the next day: "16:05", "Mon 09:00".
QString dayAndTimeText(const QDateTime& moment, const QDateTime& now,
                       const QLocale& locale = timeLocale());

} // namespace lumora
