#include "core/MenuBarDisplayFormatter.h"
#include "core/SnapshotCache.h"
#include "core/UsageSnapshot.h"
#include "support/TestSupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>
#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1772373909, Qt::UTC); // 2026-03-01T14:05:09Z

UsageSnapshot snapshotWith(QList<UsageWindow> windows) {
    return {
        providers::claudeCodeID,     providers::claudeCodeName, t0,  Availability::ready, windows,
        SnapshotSource::officialCLI, Confidence::exact,         150, std::nullopt};
}

UsageSnapshot usedSession(double ratio, std::optional<QDateTime> reset = std::nullopt) {
    return snapshotWith({UsageWindow(Kind::session, ratio, reset)});
}

} // namespace

// Halves round up; an exhausted window counts down; stale after the limit; unclamped figures.
TEST(UsageSnapshotTexts, RoundingStalenessCountdownAndMissingFigures) {
    const std::tuple<UsageSnapshot, qint64, QString, QString> cases[] = {
        // 1 - 0.995 is 0.5000000000000004 in doubles: one percent remains; halves round up.
        {usedSession(0.995), 0, "1%", "01%"},
        {usedSession(0.175), 0, "83%", "83%"},
        {usedSession(0.0), 0, "100%", "100%"},
        {usedSession(0.996, t0.addSecs(3600)), 0, "01hr 00min", "00%"},
        {usedSession(1, t0.addSecs(3 * 3600 + 59 * 60 + 30)), 0, "04hr 00min", "00%"},
        {usedSession(1, t0.addSecs(61)), 0, "00hr 02min", "00%"},
        {usedSession(1, t0.addSecs(26 * 3600)), 0, "26hr 00min", "00%"},
        {usedSession(1, t0.addSecs(-500)), 0, "00hr 00min", "00%"}, // a reset already passed
        {usedSession(1.0), 0, "--%", "00%"},                        // no reset time
        {usedSession(0.42), 150, "58%", "58%"},
        {usedSession(0.42), 151, "--%", "--%"},
        {snapshotWith({UsageWindow(Kind::weekly, 0.4, {}), UsageWindow(Kind::session, 0.1, {})}), 0,
         "90%", "90%"},
        {snapshotWith({UsageWindow(Kind::weekly, 0.40, {})}), 0, "60%", "60%"},
        {snapshotWith({}), 0, "--%", "--%"},
        {snapshotWith({UsageWindow(Kind::session, std::nullopt, {})}), 0, "--%", "--%"},
        {snapshotWith({UsageWindow::unclamped(Kind::session, 7.0, {})}), 0, "--%", "00%"},
        {snapshotWith({UsageWindow::unclamped(Kind::session, std::nan(""), {})}), 0, "--%", "--%"},
    };
    for (const auto& [snapshot, later, compact, percentage] : cases) {
        const QDateTime now = t0.addSecs(later);
        EXPECT_EQ(snapshot.compactRemainingText(now) + "|" + snapshot.remainingPercentageText(now),
                  compact + "|" + percentage);
    }
    EXPECT_TRUE(usedSession(0.42).isStale(t0.addMSecs(150001)));
    EXPECT_EQ(UsageWindow(Kind::session, 1.7, {}).usedRatio, 1.0); // clamped; decoding does not
    auto stored = usedSession(0.5).toJson();
    stored["windows"] = QJsonArray{QJsonObject{{"kind", "session"}, {"usedRatio", 1.7}}};
    EXPECT_EQ(UsageSnapshot::fromJson(stored).windows.first().usedRatio, 1.7);
}

// A snapshot survives its file to the second; a file holding no snapshot is left untouched.
TEST(UsageSnapshotJson, RoundTripThroughTheCacheFileAndWhatIsNotASnapshot) {
    TemporaryHome home;
    SnapshotCache cache(providers::codexID, std::nullopt, home.path());
    EXPECT_EQ(cache.fileURL(), home.path() + "/.local/share/Lumora/codex-snapshot.json");
    EXPECT_FALSE(cache.load()); // fresh system: no folder yet
    auto snapshot = snapshotWith({UsageWindow(Kind::session, 0.25, t0.addMSecs(3600750)),
                                  UsageWindow(Kind::weekly, std::nullopt, std::nullopt)});
    snapshot.capturedAt = t0.addMSecs(999);
    snapshot.statusMessage = QStringLiteral("Hello \u00B7 world");
    cache.save(snapshot);
    auto expected = snapshot;
    expected.capturedAt = t0; // fractions of a second are dropped
    expected.windows[0].resetsAt = t0.addSecs(3600);
    EXPECT_EQ(cache.load(), expected);
    EXPECT_EQ(UsageSnapshot::decode(snapshot.encode()), expected);
    const QJsonObject good = usedSession(0.3, t0).toJson();
    const auto load = [&](const QByteArray& bytes) {
        writeFile(cache.fileURL(), bytes);
        const auto loaded = cache.load();
        EXPECT_EQ(readFile(cache.fileURL()), bytes);
        return loaded;
    };
    const auto with = [&](const char* key, const QJsonValue& value) {
        QJsonObject changed = good;
        changed.insert(key, value); // Undefined removes the member
        return load(QJsonDocument(changed).toJson());
    };
    EXPECT_TRUE(with("statusMessage", QJsonValue::Undefined) &&
                with("statusMessage", QJsonValue::Null));
    EXPECT_EQ(with("capturedAt", "2026-03-01T16:05:09+02:00")->capturedAt, t0);
    for (const auto& [key, value] : std::initializer_list<std::pair<const char*, QJsonValue>>{
             {"source", "official_CLI"},
             {"capturedAt", "yesterday"},
             {"windows", QJsonObject{}},
             {"windows", QJsonArray{QJsonObject{{"kind", "hourly"}}}},
             {"windows", QJsonArray{QJsonObject{{"kind", "session"}, {"usedRatio", "1"}}}}}) {
        EXPECT_FALSE(with(key, value)) << key;
    }
    for (const char* junk :
         {"", "[]", "null", "{", "\"x\"", "{\"providerID\": 1}", "\xff\xfe garbage"}) {
        EXPECT_FALSE(load(junk)) << junk;
    }
    SnapshotCache(providers::claudeCodeID, home.filePath("elsewhere.json")).save(snapshot);
    EXPECT_TRUE(QFileInfo::exists(home.filePath("elsewhere.json")));
}

// The tools in the chosen order, each switch, the middle dot, a countdown and a stale figure.
TEST(MenuBarTitle, OrderSwitchesAndSeparator) {
    auto codex = usedSession(0.07);
    codex.providerID = providers::codexID;
    const auto claude = usedSession(0.42), exhausted = usedSession(1.0, t0.addSecs(65 * 60));
    const QStringList order{"codex", "claude-code"};
    const std::tuple<UsageSnapshot, bool, bool, QStringList, int, QString> cases[] = {
        {claude, true, true, order, 0, "Codex 93% \u00B7 Claude Code 58%"},
        {claude, true, true, {"claude-code", "codex"}, 0, "Claude Code 58% \u00B7 Codex 93%"},
        {claude, false, true, order, 0, "Claude Code 58%"},
        {claude, false, false, order, 0, "Lumora"},
        {claude, true, true, {}, 0, "Lumora"},
        {exhausted, false, true, order, 0, "Claude Code 01hr 05min"},
        {claude, true, false, order, 200, "Codex --%"},
    };
    for (const auto& [claude, showsCodex, showsClaude, order, later, expected] : cases) {
        EXPECT_EQ(MenuBarDisplayFormatter().format(codex, claude, showsCodex, showsClaude, order,
                                                   t0.addSecs(later)),
                  expected);
    }
}
