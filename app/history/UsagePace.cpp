#include "history/UsagePace.h"

#include "core/RelativeTime.h"
#include "core/UsageSnapshot.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace lumora {
namespace {

// Shares are compared to a hundredth of a percent, the history's own precision.
bool sameShare(double a, double b) {
    return std::llround(a * 10000.0) == std::llround(b * 10000.0);
}

UsagePace verdictOnly(UsagePace::Verdict verdict) {
    UsagePace pace;
    pace.verdict = verdict;
    return pace;
}

double hoursBetween(const QDateTime& from, const QDateTime& to) {
    return static_cast<double>(from.msecsTo(to)) / 3'600'000.0;
}

} // namespace

QList<PaceFigure> currentWindowFigures(QList<PaceFigure> figures, const QDateTime& now) {
    figures.removeIf([&](const PaceFigure& figure) {
        return !figure.capturedAt.isValid() || figure.capturedAt > now ||
               !std::isfinite(figure.usedRatio);
    });
    std::stable_sort(figures.begin(), figures.end(), [](const PaceFigure& a, const PaceFigure& b) {
        return a.capturedAt < b.capturedAt;
    });
    qsizetype first = figures.size() - 1;
    while (first > 0) {
        const PaceFigure& older = figures[first - 1];
        const PaceFigure& newer = figures[first];
        const bool resetBetween =
            (older.resetsAt && *older.resetsAt <= newer.capturedAt) ||
            (newer.usedRatio < older.usedRatio && !sameShare(newer.usedRatio, older.usedRatio));
        if (resetBetween) {
            break;
        }
        --first;
    }
    return first <= 0 ? figures : figures.mid(first);
}

UsagePace usagePace(QList<PaceFigure> figures, const QDateTime& now) {
    using Verdict = UsagePace::Verdict;
    const QList<PaceFigure> window = currentWindowFigures(std::move(figures), now);
    if (window.isEmpty()) {
        return {};
    }
    const PaceFigure& newest = window.last();
    if (remainingPercentage(newest.usedRatio).value_or(0) <= 0) {
        return verdictOnly(Verdict::atLimit);
    }
    const PaceFigure& oldest = window.first();
    if (window.size() < 2 || oldest.capturedAt.secsTo(newest.capturedAt) < paceMinimumSpanSeconds) {
        return {};
    }

    // Idle: the newest share has held since a moment half an hour or more ago.
    QDateTime heldSince = newest.capturedAt;
    for (qsizetype index = window.size() - 1;
         index >= 0 && sameShare(window[index].usedRatio, newest.usedRatio); --index) {
        heldSince = window[index].capturedAt;
    }
    if (heldSince.secsTo(now) >= paceIdleSeconds) {
        return verdictOnly(Verdict::idle);
    }

    // Least squares over hours since the oldest figure.
    double meanX = 0;
    double meanY = 0;
    for (const PaceFigure& figure : window) {
        meanX += hoursBetween(oldest.capturedAt, figure.capturedAt);
        meanY += figure.usedRatio;
    }
    meanX /= static_cast<double>(window.size());
    meanY /= static_cast<double>(window.size());
    double covariance = 0;
    double variance = 0;
    for (const PaceFigure& figure : window) {
        const double dx = hoursBetween(oldest.capturedAt, figure.capturedAt) - meanX;
        covariance += dx * (figure.usedRatio - meanY);
        variance += dx * dx;
    }
    const double rate = variance > 0 ? covariance / variance : 0;

    UsagePace pace = verdictOnly(Verdict::idle);
    pace.ratePerHour = std::max(rate, 0.0);
    if (rate <= 0) {
        if (newest.resetsAt) {
            pace.verdict = Verdict::leftAtReset;
            pace.leftAtReset = std::clamp(1.0 - newest.usedRatio, 0.0, 1.0);
        }
        return pace;
    }
    const double hoursToLimit = (1.0 - newest.usedRatio) / rate;
    pace.limitAt =
        newest.capturedAt.addMSecs(static_cast<qint64>(std::min(hoursToLimit, 1e6) * 3'600'000.0));
    if (newest.resetsAt && *pace.limitAt >= *newest.resetsAt) {
        pace.verdict = Verdict::leftAtReset;
        const double usedAtReset =
            newest.usedRatio + rate * hoursBetween(newest.capturedAt, *newest.resetsAt);
        pace.leftAtReset = std::clamp(1.0 - usedAtReset, 0.0, 1.0);
    } else {
        pace.verdict = Verdict::limitBeforeReset;
    }
    return pace;
}

QString paceText(const UsagePace& pace, const QDateTime& now) {
    switch (pace.verdict) {
    case UsagePace::Verdict::notEnoughData:
        return QCoreApplication::translate("UsagePace", "Not enough data for a pace yet");
    case UsagePace::Verdict::limitBeforeReset: {
        // A limit the projection puts in the past is about to be reached, not already reached.
        const QDateTime limit = std::max(*pace.limitAt, now.addSecs(1));
        return QCoreApplication::translate("UsagePace", "At this pace: limit %1")
            .arg(relativeTimeText(limit, now));
    }
    case UsagePace::Verdict::leftAtReset:
        return QCoreApplication::translate("UsagePace", "At this pace: %1% left at reset")
            .arg(std::llround(pace.leftAtReset.value_or(0) * 100.0));
    case UsagePace::Verdict::idle:
    case UsagePace::Verdict::atLimit:
        break;
    }
    return {};
}

} // namespace lumora
