#include "core/UsageSnapshot.h"

#include "core/Errors.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace lumora {
namespace {

template <typename E, std::size_t N> using RawTable = std::array<std::pair<E, const char*>, N>;

constexpr RawTable<Availability, 4> availabilityTable{{
    {Availability::ready, "ready"},
    {Availability::limited, "limited"},
    {Availability::blocked, "blocked"},
    {Availability::unknown, "unknown"},
}};
constexpr RawTable<SnapshotSource, 5> sourceTable{{
    {SnapshotSource::officialCLI, "official_cli"},
    {SnapshotSource::officialAppServer, "official_app_server"},
    {SnapshotSource::localCache, "local_cache"},
    {SnapshotSource::preview, "preview"},
    {SnapshotSource::unavailable, "unavailable"},
}};
constexpr RawTable<Confidence, 5> confidenceTable{{
    {Confidence::exact, "exact"},
    {Confidence::confirmedLocally, "confirmed_locally"},
    {Confidence::estimated, "estimated"},
    {Confidence::lastKnown, "last_known"},
    {Confidence::unknown, "unknown"},
}};
constexpr RawTable<UsageWindow::Kind, 5> kindTable{{
    {UsageWindow::Kind::session, "session"},
    {UsageWindow::Kind::daily, "daily"},
    {UsageWindow::Kind::weekly, "weekly"},
    {UsageWindow::Kind::monthly, "monthly"},
    {UsageWindow::Kind::credits, "credits"},
}};

template <typename E, std::size_t N> QString toRaw(const RawTable<E, N>& table, E value) {
    for (const auto& [candidate, raw] : table) {
        if (candidate == value) {
            return QString::fromLatin1(raw);
        }
    }
    return {};
}

template <typename E, std::size_t N>
std::optional<E> fromRaw(const RawTable<E, N>& table, const QString& raw) {
    for (const auto& [candidate, text] : table) {
        if (raw == QLatin1String(text)) {
            return candidate;
        }
    }
    return std::nullopt;
}

double secondsBetween(const QDateTime& from, const QDateTime& to) {
    return static_cast<double>(from.msecsTo(to)) / 1000.0;
}

// Decoding helpers: each throws DecodingError when the member is not what it must be.
const QJsonValue& required(const QJsonValue& value) {
    if (value.isUndefined() || value.isNull()) {
        throw DecodingError();
    }
    return value;
}

QString decodeString(const QJsonValue& value) {
    if (!required(value).isString()) {
        throw DecodingError();
    }
    return value.toString();
}

double decodeNumber(const QJsonValue& value) {
    if (!required(value).isDouble()) {
        throw DecodingError();
    }
    return value.toDouble();
}

QDateTime decodeDate(const QJsonValue& value) {
    const auto date = parseIsoDateTime(decodeString(value));
    if (!date) {
        throw DecodingError();
    }
    return *date;
}

template <typename E, std::size_t N>
E decodeEnum(const RawTable<E, N>& table, const QJsonValue& value) {
    const auto decoded = fromRaw(table, decodeString(value));
    if (!decoded) {
        throw DecodingError();
    }
    return *decoded;
}

bool isAbsent(const QJsonValue& value) {
    return value.isUndefined() || value.isNull();
}

UsageWindow decodeWindow(const QJsonValue& value) {
    if (!value.isObject()) {
        throw DecodingError();
    }
    const QJsonObject object = value.toObject();
    const auto kind = decodeEnum(kindTable, object.value(QLatin1String("kind")));
    std::optional<double> ratio;
    if (const QJsonValue raw = object.value(QLatin1String("usedRatio")); !isAbsent(raw)) {
        ratio = decodeNumber(raw);
    }
    std::optional<QDateTime> resetsAt;
    if (const QJsonValue raw = object.value(QLatin1String("resetsAt")); !isAbsent(raw)) {
        resetsAt = decodeDate(raw);
    }
    return UsageWindow::unclamped(kind, ratio, resetsAt);
}

} // namespace

QString rawValue(Availability value) {
    return toRaw(availabilityTable, value);
}
QString rawValue(SnapshotSource value) {
    return toRaw(sourceTable, value);
}
QString rawValue(Confidence value) {
    return toRaw(confidenceTable, value);
}
QString rawValue(UsageWindow::Kind value) {
    return toRaw(kindTable, value);
}
std::optional<Availability> availabilityFromRaw(const QString& raw) {
    return fromRaw(availabilityTable, raw);
}
std::optional<SnapshotSource> snapshotSourceFromRaw(const QString& raw) {
    return fromRaw(sourceTable, raw);
}
std::optional<Confidence> confidenceFromRaw(const QString& raw) {
    return fromRaw(confidenceTable, raw);
}
std::optional<UsageWindow::Kind> windowKindFromRaw(const QString& raw) {
    return fromRaw(kindTable, raw);
}

QString isoDateTimeText(const QDateTime& dateTime) {
    const qint64 msecs = dateTime.toMSecsSinceEpoch();
    // Whole seconds, rounded down (towards the past) also before 1970.
    const qint64 seconds = msecs >= 0 ? msecs / 1000 : -((-msecs + 999) / 1000);
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toString(Qt::ISODate);
}

std::optional<QDateTime> parseIsoDateTime(const QString& text) {
    // Internet date-time: date, "T", time with seconds, optional fraction, "Z" or an offset.
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}(\.\d{1,9})?(Z|[+-]\d{2}:\d{2})$)"));
    if (!pattern.match(text).hasMatch()) {
        return std::nullopt;
    }
    QDateTime parsed = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!parsed.isValid()) {
        return std::nullopt;
    }
    return parsed.toUTC();
}

QDateTime dateFromEpochSeconds(double seconds) {
    // Years 1 to 9999: far beyond any real reset time, and what ISO 8601 text can hold, so a date
    // read from a tool always survives a save and load of the snapshot.
    constexpr double earliest = -62135596800.0; // 0001-01-01T00:00:00Z
    constexpr double latest = 253402300799.0;   // 9999-12-31T23:59:59Z
    if (std::isnan(seconds)) {
        seconds = 0;
    }
    seconds = std::clamp(seconds, earliest, latest);
    return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000.0), Qt::UTC);
}

std::optional<qint64> remainingPercentage(double usedRatio) {
    if (!std::isfinite(usedRatio)) {
        return std::nullopt;
    }
    const double ratio = std::clamp(usedRatio, 0.0, 1.0);
    // std::round rounds halves away from zero: 0.5 -> 1, 82.5 -> 83.
    return static_cast<qint64>(std::round((1.0 - ratio) * 100.0));
}

UsageWindow::UsageWindow(Kind kind, std::optional<double> usedRatio,
                         std::optional<QDateTime> resetsAt)
    : kind(kind), usedRatio(usedRatio), resetsAt(std::move(resetsAt)) {
    if (this->usedRatio) {
        const double ratio = *this->usedRatio;
        this->usedRatio = ratio > 1.0 ? 1.0 : (ratio > 0.0 ? ratio : 0.0);
    }
}

UsageWindow UsageWindow::unclamped(Kind kind, std::optional<double> usedRatio,
                                   std::optional<QDateTime> resetsAt) {
    UsageWindow window(kind, std::nullopt, std::move(resetsAt));
    window.usedRatio = usedRatio;
    return window;
}

bool UsageWindow::operator==(const UsageWindow& other) const {
    return kind == other.kind && usedRatio == other.usedRatio && resetsAt == other.resetsAt;
}

bool UsageSnapshot::operator==(const UsageSnapshot& other) const {
    return providerID == other.providerID && providerName == other.providerName &&
           capturedAt == other.capturedAt && availability == other.availability &&
           windows == other.windows && source == other.source && confidence == other.confidence &&
           staleAfterSeconds == other.staleAfterSeconds && statusMessage == other.statusMessage;
}

UsageSnapshot UsageSnapshot::unavailable(const QString& providerID, const QString& providerName,
                                         const QString& message) {
    return UsageSnapshot{providerID,
                         providerName,
                         QDateTime::currentDateTimeUtc(),
                         Availability::unknown,
                         {},
                         SnapshotSource::unavailable,
                         Confidence::unknown,
                         30,
                         message};
}

UsageSnapshot UsageSnapshot::preview(const QDateTime& now) {
    return UsageSnapshot{providers::claudeCodeID,
                         providers::claudeCodeName,
                         now,
                         Availability::limited,
                         {UsageWindow(UsageWindow::Kind::session, 0.82, now.addSecs(6138)),
                          UsageWindow(UsageWindow::Kind::weekly, 0.59, now.addSecs(259200))},
                         SnapshotSource::preview,
                         Confidence::estimated,
                         86400,
                         QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Preview data"))};
}

UsageSnapshot UsageSnapshot::codexPreview(const QDateTime& now) {
    return UsageSnapshot{providers::codexID,
                         providers::codexName,
                         now,
                         Availability::ready,
                         {UsageWindow(UsageWindow::Kind::weekly, 0.07, now.addSecs(596160))},
                         SnapshotSource::preview,
                         Confidence::exact,
                         86400,
                         QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Preview data"))};
}

std::optional<UsageWindow> UsageSnapshot::primaryWindow() const {
    for (const UsageWindow& window : windows) {
        if (window.kind == UsageWindow::Kind::session) {
            return window;
        }
    }
    if (windows.isEmpty()) {
        return std::nullopt;
    }
    return windows.first();
}

bool UsageSnapshot::isStale(const QDateTime& now) const {
    return secondsBetween(capturedAt, now) > staleAfterSeconds;
}

bool UsageSnapshot::isStale() const {
    return isStale(QDateTime::currentDateTimeUtc());
}

QString UsageSnapshot::remainingPercentageText(const QDateTime& now) const {
    const double elapsed = secondsBetween(capturedAt, now);
    if (!(elapsed <= staleAfterSeconds)) { // also catches NaN
        return QStringLiteral("--%");
    }
    const auto window = primaryWindow();
    if (!window || !window->usedRatio) {
        return QStringLiteral("--%");
    }
    const auto remaining = remainingPercentage(*window->usedRatio);
    if (!remaining) {
        return QStringLiteral("--%");
    }
    return QString::asprintf("%02lld%%", static_cast<long long>(std::max<qint64>(*remaining, 0)));
}

QString UsageSnapshot::compactRemainingText(const QDateTime& now) const {
    const double elapsed = secondsBetween(capturedAt, now);
    if (!(elapsed <= staleAfterSeconds)) {
        return QStringLiteral("--%");
    }
    const auto window = primaryWindow();
    if (!window || !window->usedRatio) {
        return QStringLiteral("--%");
    }
    const auto remaining = remainingPercentage(*window->usedRatio);
    if (!remaining) {
        return QStringLiteral("--%");
    }
    if (*remaining >= 1) {
        return QString::number(*remaining) + QLatin1Char('%');
    }
    if (!window->resetsAt) {
        return QStringLiteral("--%");
    }
    const double seconds = std::max(0.0, secondsBetween(now, *window->resetsAt));
    const auto minutes = static_cast<qint64>(std::ceil(seconds / 60.0));
    const qint64 hours = minutes / 60;
    const qint64 mins = minutes - hours * 60;
    return QCoreApplication::translate("UsageSnapshot", "%1hr %2min", "time to the reset")
        .arg(hours, 2, 10, QLatin1Char('0'))
        .arg(mins, 2, 10, QLatin1Char('0'));
}

QJsonObject UsageSnapshot::toJson() const {
    QJsonArray windowArray;
    for (const UsageWindow& window : windows) {
        QJsonObject object{{QStringLiteral("kind"), rawValue(window.kind)}};
        if (window.usedRatio) {
            object.insert(QStringLiteral("usedRatio"), *window.usedRatio);
        }
        if (window.resetsAt) {
            object.insert(QStringLiteral("resetsAt"), isoDateTimeText(*window.resetsAt));
        }
        windowArray.append(object);
    }
    QJsonObject object{
        {QStringLiteral("providerID"), providerID},
        {QStringLiteral("providerName"), providerName},
        {QStringLiteral("capturedAt"), isoDateTimeText(capturedAt)},
        {QStringLiteral("availability"), rawValue(availability)},
        {QStringLiteral("windows"), windowArray},
        {QStringLiteral("source"), rawValue(source)},
        {QStringLiteral("confidence"), rawValue(confidence)},
        {QStringLiteral("staleAfterSeconds"), staleAfterSeconds},
    };
    if (statusMessage) {
        object.insert(QStringLiteral("statusMessage"), *statusMessage);
    }
    return object;
}

UsageSnapshot UsageSnapshot::fromJson(const QJsonObject& object) {
    UsageSnapshot snapshot;
    snapshot.providerID = decodeString(object.value(QLatin1String("providerID")));
    snapshot.providerName = decodeString(object.value(QLatin1String("providerName")));
    snapshot.capturedAt = decodeDate(object.value(QLatin1String("capturedAt")));
    snapshot.availability =
        decodeEnum(availabilityTable, object.value(QLatin1String("availability")));
    const QJsonValue windows = required(object.value(QLatin1String("windows")));
    if (!windows.isArray()) {
        throw DecodingError();
    }
    for (const QJsonValue& window : windows.toArray()) {
        snapshot.windows.append(decodeWindow(window));
    }
    snapshot.source = decodeEnum(sourceTable, object.value(QLatin1String("source")));
    snapshot.confidence = decodeEnum(confidenceTable, object.value(QLatin1String("confidence")));
    snapshot.staleAfterSeconds = decodeNumber(object.value(QLatin1String("staleAfterSeconds")));
    if (const QJsonValue message = object.value(QLatin1String("statusMessage"));
        !isAbsent(message)) {
        snapshot.statusMessage = decodeString(message);
    }
    return snapshot;
}

std::optional<UsageSnapshot> UsageSnapshot::decode(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    try {
        return fromJson(document.object());
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

QByteArray UsageSnapshot::encode() const {
    return QJsonDocument(toJson()).toJson(QJsonDocument::Indented);
}

} // namespace lumora
