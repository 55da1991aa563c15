#include "core/LocaleFormats.h"

#include <QRegularExpression>

namespace lumora {
namespace {

// Whether the locale is the plain C one: named so, or the system locale with LC_TIME unset, "C"
// or "POSIX" (with or without a codeset, as in C.UTF-8).
bool isPlainC(const QLocale& locale) {
    if (locale != QLocale::system()) {
        return locale.language() == QLocale::C;
    }
    QString name;
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        name = qEnvironmentVariable(variable);
        if (!name.isEmpty()) {
            break;
        }
    }
    name = name.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('@'), 0, 0);
    return name.isEmpty() || name == QLatin1String("C") || name == QLatin1String("POSIX");
}

} // namespace

QLocale timeLocale() {
    return QLocale();
}

bool uses12HourClock(const QLocale& locale) {
    return isPlainC(locale) || locale.timeFormat(QLocale::ShortFormat)
                                   .contains(QLatin1String("ap"), Qt::CaseInsensitive);
}

QString shortTimeText(const QTime& time, const QLocale& locale) {
    // Some locales' short form has seconds ("HH:mm:ss"): they go, with their separator.
    static const QRegularExpression seconds(QStringLiteral("[^hHmsaApP]*ss?"));
    QString format = locale.timeFormat(QLocale::ShortFormat);
    format.remove(seconds);
    return locale.toString(time, format);
}

QString dayAndTimeText(const QDateTime& moment, const QDateTime& now, const QLocale& locale) {
    const QDateTime local = moment.toLocalTime();
    const QString time = shortTimeText(local.time(), locale);
    if (now.secsTo(moment) < 24 * 3600) {
        return time;
    }
    return locale.dayName(local.date().dayOfWeek(), QLocale::ShortFormat) + QLatin1Char(' ') + time;
}

} // namespace lumora
