// The transcript of a Codex app-server conversation: every line the server printed.
#include "FuzzCheck.h"

#include "core/CodexRateLimitParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace lumora;
    const QString transcript =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1800000000, Qt::UTC);
    try {
        const UsageSnapshot snapshot = CodexRateLimitParser().parse(transcript, now);
        FUZZ_CHECK(!snapshot.windows.isEmpty() && snapshot.windows.size() <= 2);
        for (const UsageWindow& window : snapshot.windows) {
            FUZZ_CHECK(window.usedRatio && *window.usedRatio >= 0.0 && *window.usedRatio <= 1.0);
        }
        FUZZ_CHECK(snapshot.availability != Availability::unknown);
        FUZZ_CHECK(!snapshot.compactRemainingText(now).isEmpty());
        const auto reread = UsageSnapshot::decode(snapshot.encode());
        FUZZ_CHECK(reread && reread->windows.size() == snapshot.windows.size());
    } catch (const CodexRateLimitParser::ParseError&) {
    }
    return 0;
}
