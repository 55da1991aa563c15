#include "core/ClaudeRateLimitCacheParser.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace lumora {
namespace {

struct LimitWindow {
    double usedPercentage = 0;
    std::optional<double> resetsAt;
};

// A window member: absent or null gives nothing; an object must hold a numeric
// "used_percentage" and may hold a numeric or null "resets_at"; anything else fails the decode.
std::optional<LimitWindow> decodeWindow(const QJsonValue& value) {
    if (value.isUndefined() || value.isNull()) {
        return std::nullopt;
    }
    if (!value.isObject()) {
        throw DecodingError();
    }
    const QJsonObject object = value.toObject();
    const QJsonValue used = object.value(QLatin1String("used_percentage"));
    if (!used.isDouble()) {
        throw DecodingError();
    }
    LimitWindow window{used.toDouble(), std::nullopt};
    const QJsonValue resets = object.value(QLatin1String("resets_at"));
    if (resets.isDouble()) {
        window.resetsAt = resets.toDouble();
    } else if (!resets.isUndefined() && !resets.isNull()) {
        throw DecodingError();
    }
    return window;
}

UsageWindow convert(const LimitWindow& window, UsageWindow::Kind kind, const QDateTime& now) {
    if (window.resetsAt) {
        const QDateTime reset = dateFromEpochSeconds(*window.resetsAt);
        if (reset <= now) {
            // The window has rolled over since the hook wrote the file.
            return UsageWindow(kind, 0.0, std::nullopt);
        }
        return UsageWindow(kind, window.usedPercentage / 100.0, reset);
    }
    return UsageWindow(kind, window.usedPercentage / 100.0, std::nullopt);
}

} // namespace

UsageSnapshot ClaudeRateLimitCacheParser::parse(const QByteArray& bytes,
                                                const QDateTime& capturedAt,
                                                const QDateTime& now) const {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        throw JsonSyntaxError(error.errorString());
    }
    if (!document.isObject()) {
        throw DecodingError();
    }
    const QJsonObject payload = document.object();
    const auto fiveHour = decodeWindow(payload.value(QLatin1String("five_hour")));
    const auto sevenDay = decodeWindow(payload.value(QLatin1String("seven_day")));

    QList<UsageWindow> windows;
    if (fiveHour) {
        windows.append(convert(*fiveHour, UsageWindow::Kind::session, now));
    }
    if (sevenDay) {
        windows.append(convert(*sevenDay, UsageWindow::Kind::weekly, now));
    }
    if (windows.isEmpty()) {
        throw ParseError::usageNotFound();
    }

    // The first window alone decides: the five-hour window whenever there is one.
    const double ratio = windows.first().usedRatio.value_or(0.0);
    const Availability availability = ratio >= 0.995 ? Availability::blocked
                                      : ratio >= 0.8 ? Availability::limited
                                                     : Availability::ready;

    return UsageSnapshot{
        providers::claudeCodeID,     providers::claudeCodeName, capturedAt, availability, windows,
        SnapshotSource::officialCLI, Confidence::exact,         150,        std::nullopt};
}

} // namespace lumora
