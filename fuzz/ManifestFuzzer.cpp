// The update feed's manifest, which comes from a server, and the version strings in it. The first
// line of the input is the running version, the rest is the manifest.
#include "FuzzCheck.h"

#include "core/AppUpdate.h"
#include "core/ParsedVersion.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace lumora;
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qsizetype newline = input.indexOf('\n');
    const QString current = QString::fromUtf8(newline < 0 ? input : input.left(newline));
    const QByteArray manifest = newline < 0 ? QByteArray() : input.mid(newline + 1);

    try {
        const auto offer = AppUpdateService::availableUpdate(manifest, current);
        if (offer) {
            // Only https offers of a strictly newer, well-formed version get through.
            FUZZ_CHECK(manifest.size() <= AppUpdateService::maximumManifestSize);
            FUZZ_CHECK(offer->downloadURL.scheme().compare("https", Qt::CaseInsensitive) == 0);
            FUZZ_CHECK(!offer->releaseNotesURL ||
                       offer->releaseNotesURL->scheme().compare("https", Qt::CaseInsensitive) == 0);
            FUZZ_CHECK(AppUpdateService::isNewerVersion(offer->version, current));
        }
    } catch (const AppUpdateError&) {
    }

    // The ordering is a strict weak order on whatever parses.
    const auto a = ParsedVersion::parse(current);
    const auto b = ParsedVersion::parse(QString::fromUtf8(manifest.left(64)));
    if (a && b) {
        FUZZ_CHECK(!(*a < *a));
        FUZZ_CHECK(!(*a < *b && *b < *a));
        FUZZ_CHECK(!(*a == *b) || (!(*a < *b) && !(*b < *a)));
    }
    if (a) {
        FUZZ_CHECK(!a->numbers.isEmpty());
        for (const qint64 number : a->numbers) {
            FUZZ_CHECK(number >= 0);
        }
        FUZZ_CHECK(!a->prerelease || !a->prerelease->isEmpty());
    }
    return 0;
}
