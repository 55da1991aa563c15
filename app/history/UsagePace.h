#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

namespace lumora {

// One figure of a usage window: its used share at a moment, and when the window was to reset.
struct PaceFigure {
    QDateTime capturedAt;
    double usedRatio = 0;
    std::optional<QDateTime> resetsAt;
};

// Where a window is heading at the rate it has been used since it began.
struct UsagePace {
    enum class Verdict {
        notEnoughData,    // fewer than two figures of this window, or less than ten minutes
        idle,             // the share has not moved for half an hour (or went down)
        atLimit,          // nothing is left already
        limitBeforeReset, // the window runs out before it resets (or it has no reset time)
        leftAtReset,      // the window resets before it runs out
    };
    Verdict verdict = Verdict::notEnoughData;
    double ratePerHour = 0;            // used share per hour, from a least-squares fit
    std::optional<QDateTime> limitAt;  // when the window reaches 100% at that rate
    std::optional<double> leftAtReset; // the share left when it resets

    bool operator==(const UsagePace&) const = default;
};

// The pace of the window of the newest figure. Figures captured after `now` (the clock went
// back since) are left out, the rest taken in time order; a figure belongs to an earlier window
// when that window had reset by the time of a later figure, or when the share went down after
// it. The rate is the least-squares slope of the share over the figures of the current window;
// the limit is projected from the newest figure.
UsagePace usagePace(QList<PaceFigure> figures, const QDateTime& now);
// The figures `usagePace` keeps: those of the newest figure's window, oldest first.
QList<PaceFigure> currentWindowFigures(QList<PaceFigure> figures, const QDateTime& now);

// "At this pace: limit in 1 hr 20 min", "At this pace: 35% left at reset", "Not enough data for
// a pace yet"; nothing when the window is idle or at its limit.
QString paceText(const UsagePace& pace, const QDateTime& now);

// The least time the pace must show between the first and the newest figure, and how long the
// share must stand still before there is no pace any more.
inline constexpr qint64 paceMinimumSpanSeconds = 10 * 60;
inline constexpr qint64 paceIdleSeconds = 30 * 60;

} // namespace lumora
