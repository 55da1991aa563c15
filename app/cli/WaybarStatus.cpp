#include "cli/WaybarStatus.h"
#include "core/UsageWindowLabel.h"

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
        return locale.toString(local.time(), QLocale::ShortFormat);
    }
    return locale.toString(local, QLocale::ShortFormat);
}

QString tooltipLine(const UsageSnapshot& snapshot, const QDateTime& now, const QLocale& locale) {
    const QString name = snapshot.providerName;
    if (snapshot.isStale(now)) {
        return QStringLiteral("%1: usage needs sync (last update %2)")
            .arg(name, shortTime(snapshot.capturedAt, now, locale));
    }
    const auto percent = remainingPercent(snapshot, now);
    if (!percent) {
        return name + QStringLiteral(": ") +
               snapshot.statusMessage.value_or(QStringLiteral("Status is unavailable."));
    }
    const UsageWindow window = *snapshot.primaryWindow();
    QString line =
        QStringLiteral("%1 · %2: %3% left").arg(name, usageWindowLabel(window.kind)).arg(*percent);
    if (window.resetsAt) {
        line += QStringLiteral(", resets ") + shortTime(*window.resetsAt, now, locale);
    }
    return line;
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
        lines << QStringLiteral("No tool is shown. Connect one with `lumora connect claude` or "
                                "`lumora connect codex`.");
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
