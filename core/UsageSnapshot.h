#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace lumora {

enum class Availability { ready, limited, blocked, unknown };
enum class SnapshotSource { officialCLI, officialAppServer, localCache, preview, unavailable };
enum class Confidence { exact, confirmedLocally, estimated, lastKnown, unknown };

// One rate-limit window of a provider: how much of it is used and when it resets.
struct UsageWindow {
    enum class Kind { session, daily, weekly, monthly, credits };

    // Clamps a present ratio into 0...1; an absent ratio stays absent.
    UsageWindow(Kind kind, std::optional<double> usedRatio, std::optional<QDateTime> resetsAt);
    // Takes the ratio as it is (values read back from disk are not clamped).
    static UsageWindow unclamped(Kind kind, std::optional<double> usedRatio,
                                 std::optional<QDateTime> resetsAt);

    Kind id() const { return kind; }
    bool operator==(const UsageWindow& other) const;

    Kind kind;
    std::optional<double> usedRatio; // 0 = nothing used, 1 = all used; absent = unknown
    std::optional<QDateTime> resetsAt;
};

// One provider's usage at one moment: the value everything downstream works on.
struct UsageSnapshot {
    QString providerID;
    QString providerName;
    QDateTime capturedAt;
    Availability availability = Availability::unknown;
    QList<UsageWindow> windows;
    SnapshotSource source = SnapshotSource::unavailable;
    Confidence confidence = Confidence::unknown;
    double staleAfterSeconds = 30;
    std::optional<QString> statusMessage;

    bool operator==(const UsageSnapshot& other) const;

    // A snapshot without figures that only carries a message, captured now.
    static UsageSnapshot unavailable(const QString& providerID, const QString& providerName,
                                     const QString& message);
    static UsageSnapshot preview(const QDateTime& now);
    static UsageSnapshot codexPreview(const QDateTime& now);

    // The first session window, else the first window, else none.
    std::optional<UsageWindow> primaryWindow() const;
    bool isStale(const QDateTime& now) const;
    bool isStale() const;
    // Padded remaining share of the primary window for the break screen: "07%", "100%", "--%".
    QString remainingPercentageText(const QDateTime& now) const;
    // Short text for the panel and the popup: "7%", or "02hr 05min" to the reset when nothing is
    // left, "--%" when unknown or stale.
    QString compactRemainingText(const QDateTime& now) const;

    // The JSON form used on disk and by `lumora status --json`: ISO 8601 dates in UTC, whole
    // seconds; absent optionals left out.
    QJsonObject toJson() const;
    // Throws DecodingError when a required member is missing or has the wrong type, an
    // enumeration string is unknown or a date does not parse. Unknown members are ignored.
    static UsageSnapshot fromJson(const QJsonObject& object);
    // Parses bytes holding one snapshot; nullopt for anything that is not one.
    static std::optional<UsageSnapshot> decode(const QByteArray& bytes);
    // Pretty-printed JSON with sorted member names.
    QByteArray encode() const;
};

// Provider identifiers and display names.
namespace providers {
inline const QString claudeCodeID = QStringLiteral("claude-code");
inline const QString claudeCodeName = QStringLiteral("Claude Code");
inline const QString codexID = QStringLiteral("codex");
inline const QString codexName = QStringLiteral("Codex");
} // namespace providers

// Raw strings of the enumerations, as stored on disk.
QString rawValue(Availability value);
QString rawValue(SnapshotSource value);
QString rawValue(Confidence value);
QString rawValue(UsageWindow::Kind value);
std::optional<Availability> availabilityFromRaw(const QString& raw);
std::optional<SnapshotSource> snapshotSourceFromRaw(const QString& raw);
std::optional<Confidence> confidenceFromRaw(const QString& raw);
std::optional<UsageWindow::Kind> windowKindFromRaw(const QString& raw);

// ISO 8601 internet date-time in UTC with whole seconds ("2026-03-01T14:05:09Z").
QString isoDateTimeText(const QDateTime& dateTime);
std::optional<QDateTime> parseIsoDateTime(const QString& text);
// Seconds since the epoch (fractions kept to the millisecond), clamped to the years 1 to 9999.
QDateTime dateFromEpochSeconds(double seconds);

// Remaining share of a used ratio in whole percent: round((1 - ratio) * 100), halves away from
// zero. Ratios outside 0...1 count as their nearest bound; a non-finite ratio gives nullopt.
std::optional<qint64> remainingPercentage(double usedRatio);

} // namespace lumora
