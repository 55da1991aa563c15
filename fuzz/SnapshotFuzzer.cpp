// Snapshot files on disk: a user can edit them, and a crash or a bad write can truncate them.
#include "FuzzCheck.h"

#include "core/UsageSnapshot.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace lumora;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto snapshot = UsageSnapshot::decode(bytes);
    if (!snapshot) {
        return 0;
    }
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1800000000, Qt::UTC);
    // Whatever was stored (ratios of 1e308, NaN-free but absurd dates), the texts must not fail.
    FUZZ_CHECK(!snapshot->compactRemainingText(now).isEmpty());
    FUZZ_CHECK(!snapshot->remainingPercentageText(now).isEmpty());
    (void)snapshot->primaryWindow();
    // Saving is stable: what a save writes loads back to a snapshot that saves identically.
    const QByteArray saved = snapshot->encode();
    const auto reloaded = UsageSnapshot::decode(saved);
    FUZZ_CHECK(reloaded.has_value());
    FUZZ_CHECK(reloaded->encode() == saved);
    return 0;
}
