#include "core/CodexRateLimitParser.h"

#include "core/JsonInteger.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace lumora {
namespace {

// The records of the server's answer, decoded strictly: a member of the wrong type fails the
// whole line (DecodingError), a missing or null optional member is absent.
struct RateLimitWindow {
    qint64 usedPercent = 0;
    std::optional<qint64> windowDurationMins;
    std::optional<qint64> resetsAt;
};

struct RateLimitRecord {
    std::optional<RateLimitWindow> primary;
    std::optional<RateLimitWindow> secondary;
    std::optional<QString> rateLimitReachedType;
};

struct ResultPayload {
    RateLimitRecord rateLimits;
    // The entry "codex" of "rateLimitsByLimitId"; the other entries are decoded only to check
    // them.
    std::optional<RateLimitRecord> codexLimits;
};

struct ResponseEnvelope {
    std::optional<qint64> id;
    std::optional<ResultPayload> result;
};

bool isPresent(const QJsonValue& value) {
    return !value.isUndefined() && !value.isNull();
}

QJsonObject objectOf(const QJsonValue& value) {
    if (!value.isObject()) {
        throw DecodingError();
    }
    return value.toObject();
}

qint64 integerOf(const QJsonValue& value) {
    const auto integer = jsonInteger(value);
    if (!integer) {
        throw DecodingError();
    }
    return *integer;
}

std::optional<qint64> optionalInteger(const QJsonObject& object, QLatin1String key) {
    const QJsonValue value = object.value(key);
    return isPresent(value) ? std::optional(integerOf(value)) : std::nullopt;
}

std::optional<QString> optionalString(const QJsonObject& object, QLatin1String key) {
    const QJsonValue value = object.value(key);
    if (!isPresent(value)) {
        return std::nullopt;
    }
    if (!value.isString()) {
        throw DecodingError();
    }
    return value.toString();
}

std::optional<RateLimitWindow> decodeWindow(const QJsonValue& value) {
    if (!isPresent(value)) {
        return std::nullopt;
    }
    const QJsonObject object = objectOf(value);
    return RateLimitWindow{integerOf(object.value(QLatin1String("usedPercent"))),
                           optionalInteger(object, QLatin1String("windowDurationMins")),
                           optionalInteger(object, QLatin1String("resetsAt"))};
}

RateLimitRecord decodeRecord(const QJsonValue& value) {
    const QJsonObject object = objectOf(value);
    RateLimitRecord record{decodeWindow(object.value(QLatin1String("primary"))),
                           decodeWindow(object.value(QLatin1String("secondary"))),
                           optionalString(object, QLatin1String("rateLimitReachedType"))};
    optionalString(object, QLatin1String("planType")); // checked for its type, not used
    return record;
}

std::optional<ResultPayload> decodeResult(const QJsonValue& value) {
    if (!isPresent(value)) {
        return std::nullopt;
    }
    const QJsonObject object = objectOf(value);
    const QJsonValue general = object.value(QLatin1String("rateLimits"));
    if (!isPresent(general)) {
        throw DecodingError();
    }
    ResultPayload result{decodeRecord(general), std::nullopt};
    const QJsonValue byID = object.value(QLatin1String("rateLimitsByLimitId"));
    if (isPresent(byID)) {
        const QJsonObject entries = objectOf(byID);
        for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
            RateLimitRecord record = decodeRecord(entry.value());
            if (entry.key() == QLatin1String("codex")) {
                result.codexLimits = std::move(record);
            }
        }
    }
    return result;
}

std::optional<ResponseEnvelope> decodeEnvelope(const QString& line) {
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
    if (!document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    try {
        return ResponseEnvelope{optionalInteger(object, QLatin1String("id")),
                                decodeResult(object.value(QLatin1String("result")))};
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

bool isLineBreak(QChar c) {
    switch (c.unicode()) {
    case u'\n':
    case u'\v':
    case u'\f':
    case u'\r':
    case 0x0085:
    case 0x2028:
    case 0x2029:
        return true;
    default:
        return false;
    }
}

// Non-empty lines; a CR LF pair leaves an empty line between its halves, which is dropped.
QList<QStringView> linesOf(const QString& text) {
    QList<QStringView> lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i == text.size() || isLineBreak(text[i])) {
            if (i > start) {
                lines.append(QStringView(text).sliced(start, i - start));
            }
            start = i + 1;
        }
    }
    return lines;
}

// The window kind for a window of `minutes` length; a window of unknown length is a session.
UsageWindow::Kind kindForDuration(std::optional<qint64> minutes) {
    using Kind = UsageWindow::Kind;
    if (!minutes || *minutes <= 360) {
        return Kind::session;
    }
    if (*minutes <= 1440) {
        return Kind::daily;
    }
    if (*minutes <= 10080) {
        return Kind::weekly;
    }
    if (*minutes <= 43200) {
        return Kind::monthly;
    }
    return Kind::credits;
}

UsageWindow windowFrom(const RateLimitWindow& window) {
    std::optional<QDateTime> resetsAt;
    if (window.resetsAt) {
        resetsAt = dateFromEpochSeconds(static_cast<double>(*window.resetsAt));
    }
    return UsageWindow(kindForDuration(window.windowDurationMins),
                       static_cast<double>(window.usedPercent) / 100.0, resetsAt);
}

} // namespace

UsageSnapshot CodexRateLimitParser::parse(const QString& transcript,
                                          const QDateTime& capturedAt) const {
    std::optional<ResultPayload> answer;
    for (const QStringView line : linesOf(transcript)) {
        auto envelope = decodeEnvelope(line.toString());
        if (envelope && envelope->id == 2 && envelope->result) {
            answer = std::move(envelope->result);
            break;
        }
    }
    if (!answer) {
        throw ParseError::rateLimitResponseNotFound();
    }

    const RateLimitRecord* record =
        answer->codexLimits ? &*answer->codexLimits : &answer->rateLimits;

    QList<UsageWindow> windows;
    for (const auto& window : {record->primary, record->secondary}) {
        if (window) {
            windows.append(windowFrom(*window));
        }
    }
    if (windows.isEmpty()) {
        throw ParseError::windowNotFound();
    }

    double highest = 0;
    bool anyReset = false;
    for (const UsageWindow& window : windows) {
        highest = std::max(highest, window.usedRatio.value_or(0.0));
        anyReset = anyReset || window.resetsAt.has_value();
    }
    const Availability availability = record->rateLimitReachedType ? Availability::blocked
                                      : highest >= 0.995           ? Availability::blocked
                                      : highest >= 0.8             ? Availability::limited
                                                                   : Availability::ready;

    return UsageSnapshot{providers::codexID,
                         providers::codexName,
                         capturedAt,
                         availability,
                         windows,
                         SnapshotSource::officialAppServer,
                         anyReset ? Confidence::exact : Confidence::confirmedLocally,
                         120,
                         std::nullopt};
}

} // namespace lumora
