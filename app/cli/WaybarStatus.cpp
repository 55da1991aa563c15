#include "cli/WaybarStatus.h"
#include "core/LocaleFormats.h"
#include "core/Messages.h"
#include "core/UsageWindowLabel.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <optional>

namespace lumora::cli {
namespace {

// The share left of the main window in whole percent, when the figures are current and known.
std::optional<int> remainingPercent(const UsageSnapshot& snapshot, const QDateTime& now) {
    if (snapshot.isStale(now)) {
        return std::nullopt;
    }
    const auto window = snapshot.primaryWindow();
    if (!window || !window->usedRatio) {
        return std::nullopt;
    }
    return static_cast<int>(std::lround(std::max(0.0, 1.0 - *window->usedRatio) * 100.0));
}

// A time today as the locale's short time; another day with its short date too.
QString shortTime(const QDateTime& when, const QDateTime& now, const QLocale& locale) {
    const QDateTime local = when.toLocalTime();
    if (local.date() == now.toLocalTime().date()) {
        return shortTimeText(local.time(), locale);
    }
    return locale.toString(local.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
           shortTimeText(local.time(), locale);
}

QString tooltipLine(const UsageSnapshot& snapshot, const QDateTime& now, const QLocale& locale) {
    const QString name = snapshot.providerName;
    if (snapshot.isStale(now)) {
        return QCoreApplication::translate("WaybarStatus", "%1: usage needs sync (last update %2)")
            .arg(name, shortTime(snapshot.capturedAt, now, locale));
    }
    const auto percent = remainingPercent(snapshot, now);
    if (!percent) {
        return QCoreApplication::translate("WaybarStatus", "%1: %2",
                                           "Codex: Codex is not installed.")
            .arg(name, snapshot.statusMessage
                           ? shownMessage(*snapshot.statusMessage)
                           : QCoreApplication::translate("WaybarStatus", "Status is unavailable."));
    }
    const UsageWindow window = *snapshot.primaryWindow();
    const QString label = usageWindowLabel(window.kind);
    if (window.resetsAt) {
        return QCoreApplication::translate("WaybarStatus", "%1 · %2: %3% left, resets %4")
            .arg(name, label)
            .arg(*percent)
            .arg(shortTime(*window.resetsAt, now, locale));
    }
    return QCoreApplication::translate("WaybarStatus", "%1 · %2: %3% left")
        .arg(name, label)
        .arg(*percent);
}

int severity(Availability availability) {
    switch (availability) {
    case Availability::blocked:
        return 3;
    case Availability::limited:
        return 2;
    case Availability::ready:
        return 1;
    case Availability::unknown:
        return 0;
    }
    return 0;
}

} // namespace

QJsonObject waybarStatus(const QString& title, const QList<UsageSnapshot>& shown,
                         const QHash<QString, UsagePace>& paces, const QDateTime& now,
                         const QLocale& locale) {
    Availability worst = Availability::unknown;
    bool stale = false;
    std::optional<int> lowest;
    QStringList lines;
    for (const UsageSnapshot& snapshot : shown) {
        if (severity(snapshot.availability) > severity(worst)) {
            worst = snapshot.availability;
        }
        stale = stale || snapshot.isStale(now);
        if (const auto percent = remainingPercent(snapshot, now)) {
            lowest = std::min(lowest.value_or(*percent), *percent);
        }
        lines << tooltipLine(snapshot, now, locale);
        if (const auto pace = paces.find(snapshot.providerID); pace != paces.end()) {
            if (const QString text = paceText(*pace, now); !text.isEmpty()) {
                lines << QStringLiteral("  ") + text;
            }
        }
    }
    if (shown.isEmpty()) {
        lines << QCoreApplication::translate("WaybarStatus",
                                             "No tool is shown. Connect one with `lumora connect "
                                             "claude` or `lumora connect codex`.");
    }

    QJsonArray classes{rawValue(worst)};
    if (stale) {
        classes.append(QStringLiteral("stale"));
    }
    QJsonObject status{{QStringLiteral("text"), title.toHtmlEscaped()},
                       {QStringLiteral("tooltip"), lines.join(QLatin1Char('\n')).toHtmlEscaped()},
                       {QStringLiteral("class"), classes}};
    if (lowest) {
        status.insert(QStringLiteral("percentage"), *lowest);
    }
    return status;
}

} // namespace lumora::cli
