// The rate-limit cache written by the status-line hook, which holds whatever Claude Code sent.
#include "FuzzCheck.h"

#include "core/ClaudeRateLimitCacheParser.h"

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace lumora;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1800000000, Qt::UTC);
    try {
        const UsageSnapshot snapshot = ClaudeRateLimitCacheParser().parse(bytes, now, now);
        FUZZ_CHECK(!snapshot.windows.isEmpty() && snapshot.windows.size() <= 2);
        for (const UsageWindow& window : snapshot.windows) {
            FUZZ_CHECK(window.usedRatio && *window.usedRatio >= 0.0 && *window.usedRatio <= 1.0);
            FUZZ_CHECK(!window.resetsAt || *window.resetsAt > now);
        }
        // The texts never fail, whatever the figures.
        FUZZ_CHECK(!snapshot.compactRemainingText(now).isEmpty());
        FUZZ_CHECK(!snapshot.remainingPercentageText(now).isEmpty());
        // What the parser produced survives the snapshot cache's round trip.
        const auto reread = UsageSnapshot::decode(snapshot.encode());
        FUZZ_CHECK(reread && reread->windows.size() == snapshot.windows.size());
    } catch (const Error&) {
        // Malformed or empty caches are reported as errors, which the provider treats as absent.
    }
    return 0;
}
