// Versions, the update manifest and the feeds that need no network (the HTTPS
// feed has its own file).
#include "core/AppUpdate.h"
#include "core/ParsedVersion.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

using namespace lumora;
using namespace lumora::test;
using Case = AppUpdateError::Case;
using Identifier = ParsedVersion::Identifier;

namespace {

const QByteArray goodManifest =
    R"({"version": "1.5.0", "downloadURL": "https://example.com/lumora-1.5.0.tar.gz"})";

QByteArray paddedTo(QByteArray bytes, qsizetype size) {
    bytes.append(size - bytes.size(), ' ');
    return bytes;
}
QByteArray manifest(const char* members) {
    return QByteArray("{") + members + "}";
}

// What a validation or a check answers, as text: "offer <version>", "nothing"
// or the error.
template <typename Check> std::string outcome(Check check) {
    try {
        const std::optional<AppUpdateManifest> offer = check();
        return offer ? "offer " + offer->version.toStdString() : "nothing";
    } catch (const Error& error) {
        return "error: " + error.description().toStdString();
    }
}
std::string error(Case c) {
    return "error: " + AppUpdateError::descriptionOf(c).toStdString();
}

ParsedVersion version(const QString& text) {
    const std::optional<ParsedVersion> parsed = ParsedVersion::parse(text);
    EXPECT_TRUE(parsed) << text.toStdString();
    return parsed.value_or(ParsedVersion{});
}

} // namespace

TEST(ParsedVersion, ParsesWhatPeopleWrite) {
    constexpr qint64 max = std::numeric_limits<qint64>::max();
    constexpr qint64 min = std::numeric_limits<qint64>::min();
    const auto text = [](const char* value) {
        return Identifier::text(QString::fromUtf8(value));
    };
    const struct {
        QString input;
        QList<qint64> numbers;
        std::optional<QList<Identifier>> prerelease;
    } cases[] = {
        {"1.2.3", {1, 2, 3}, std::nullopt},
        {" \tv2.0 \n", {2, 0}, std::nullopt},
        {"V1.2", {1, 2}, std::nullopt},
        {"01.002", {1, 2}, std::nullopt},
        {"1.5.0-beta.2+build.7", {1, 5, 0}, QList{text("beta"), Identifier::number(2)}},
        {"1.0.0-rc-1", {1, 0, 0}, QList{text("rc-1")}},
        {"2.0+anything goes here ..", {2, 0}, std::nullopt},
        {"1.0--5.-", {1, 0}, QList{Identifier::number(-5), text("-")}},
        {"9223372036854775807", {max}, std::nullopt},
        {"1-9223372036854775808.-9223372036854775808",
         {1},
         QList{text("9223372036854775808"), Identifier::number(min)}},
        {QString::fromUtf8("1-\u00E9t\u00E9"), {1}, QList{text("\u00E9t\u00E9")}},
    };
    for (const auto& c : cases) {
        const std::optional<ParsedVersion> parsed = ParsedVersion::parse(c.input);
        ASSERT_TRUE(parsed) << c.input.toStdString();
        EXPECT_EQ(parsed->numbers, c.numbers) << c.input.toStdString();
        EXPECT_EQ(parsed->prerelease, c.prerelease) << c.input.toStdString();
    }
    for (const char* notAVersion : {"",          "   ",    "v",        "vv1",
                                    "1.x",       "1..2",   "1.",       ".1",
                                    "+5",        "1.0.0-", "1.0.0-+5", "1.0-beta..1",
                                    "1.0-beta.", "1 .0",   "1.0 0",    "9223372036854775808",
                                    "-1",        "v-1",    "0x10",     "\u0661.0"}) {
        EXPECT_FALSE(ParsedVersion::parse(QString::fromUtf8(notAVersion))) << notAVersion;
    }
}

TEST(ParsedVersion, NewerVersionEdgeCases) {
    const struct {
        const char* candidate;
        const char* current;
        bool newer;
    } cases[] = {
        {"1.2.1", "1.2", true},
        {"1.2", "1.2.0", false},
        {"1.2.0", "1.2", false},
        {"1.0.0", "1.0.0-beta.9", true},
        {"1.0.0-beta.9", "1.0.0", false},
        {"1.0.0-beta.10", "1.0.0-beta.9", true},
        {"1.0.0-beta.a", "1.0.0-beta.9", true},
        {"1.0.0-beta.1", "1.0.0-beta", true},
        {"1.0.0-beta", "1.0.0-beta.1", false},
        {"v2.0", "1.9.9", true},
        {"2.0+42", "2.0+41", false},
        {"2.0", "garbage", false},
        {"garbage", "1.0", false},
        {"10.0", "9.0", true},
        {"1.0.0-Beta", "1.0.0-alpha", false},
        {"1.0.0-alpha", "1.0.0-RC", true},
        {"1.0.0-rc", "1.0.0-beta", true},
        {"1.0.0-1", "1.0.0--1", true},
        {"1.0.0-beta", "1.0.0-999", true},
        {"9223372036854775807", "9223372036854775806.99", true},
        // By Unicode scalar values, not UTF-16 units: U+1F600 is after U+FFFD.
        {"1-\U0001F600", "1-\uFFFD", true},
        {"1-\uFFFD", "1-\U0001F600", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AppUpdateService::isNewerVersion(QString::fromUtf8(c.candidate),
                                                   QString::fromUtf8(c.current)),
                  c.newer)
            << c.candidate << " than " << c.current;
    }
    // Equal values, and versions that only differ in trailing zeros, are not
    // newer either way.
    EXPECT_EQ(version("1.0"), version("v1.0+7"));
    EXPECT_FALSE(version("1.0") == version("1.0.0"));
    EXPECT_TRUE(version("1.0") <= version("1.0.0") && version("1.0") >= version("1.0.0"));
}

// Over a few thousand generated versions, many of them equivalent, `<` must be
// a strict weak order whose incomparable pairs are exactly the pairs with the
// same release and pre-release.
TEST(ParsedVersion, OrderingIsAStrictWeakOrder) {
    std::mt19937 random(20240611);
    const auto upTo = [&](qsizetype high) {
        return std::uniform_int_distribution<qsizetype>(0, high)(random);
    };
    // One to `most` entries of `pool`, joined by dots.
    const auto some = [&](const QStringList& pool, int most) {
        QStringList parts;
        for (qsizetype i = 1 + upTo(most - 1); i > 0; --i) {
            parts << pool[upTo(pool.size() - 1)];
        }
        return parts.join('.');
    };
    const QStringList numbers{"0", "00", "1", "2", "10", "9223372036854775807"};
    const QStringList identifiers{"0",     "1",    "02", "10",   "-3",
                                  "alpha", "beta", "RC", "rc-1", "\u00E9"};
    QList<ParsedVersion> versions;
    while (versions.size() < 2500) {
        versions << version((upTo(3) == 0 ? "v" : "") + some(numbers, 4) +
                            (upTo(1) == 1 ? "-" + some(identifiers, 3) : "") +
                            (upTo(4) == 0 ? "+build." + some(identifiers, 1) : ""));
    }
    // Same release numbers once the shorter list is padded with zeros, and the
    // same pre-release.
    const auto sameRelease = [](const ParsedVersion& a, const ParsedVersion& b) {
        for (qsizetype i = 0; i < std::max(a.numbers.size(), b.numbers.size()); ++i) {
            if (a.numbers.value(i, 0) != b.numbers.value(i, 0)) {
                return false;
            }
        }
        return a.prerelease == b.prerelease;
    };

    qint64 equivalentPairs = 0;
    for (const ParsedVersion& a : versions) {
        ASSERT_FALSE(a < a);
        for (const ParsedVersion& b : versions) {
            const bool less = a < b;
            const bool greater = b < a;
            ASSERT_FALSE(less && greater);
            ASSERT_EQ(!less && !greater, sameRelease(a, b));
            equivalentPairs += !less && !greater ? 1 : 0;
        }
    }
    // The pools are small on purpose: many pairs must tie for the test to mean
    // anything.
    EXPECT_GT(equivalentPairs, 10 * versions.size());
    for (int i = 0; i < 300000; ++i) {
        const ParsedVersion& a = versions[upTo(versions.size() - 1)];
        const ParsedVersion& b = versions[upTo(versions.size() - 1)];
        const ParsedVersion& c = versions[upTo(versions.size() - 1)];
        if (a < b && b < c) {
            ASSERT_TRUE(a < c);
        }
        if (!(a < b) && !(b < a) && b < c) {
            ASSERT_TRUE(a < c); // incomparability is transitive with the order
        }
    }
}

TEST(AppUpdateService, ChecksRunInOrderAndTheFirstFailureWins) {
    const struct {
        QByteArray bytes;
        QString current;
        std::string expected;
    } cases[] = {
        {goodManifest, "1.4.2", "offer 1.5.0"},
        {goodManifest, "1.5.0", "nothing"},
        {goodManifest, "1.6", "nothing"},
        {goodManifest, "1.5.0-beta.3", "offer 1.5.0"},
        // Size first: exactly the limit is fine, one byte more is refused before
        // anything else.
        {paddedTo(goodManifest, 65536), "1.0", "offer 1.5.0"},
        {paddedTo(goodManifest, 65537), "1.0", error(Case::manifestTooLarge)},
        {paddedTo("not json", 65537), "garbage", error(Case::manifestTooLarge)},
        // Then the JSON shape, before any version is looked at.
        {"not json", "garbage", error(Case::invalidManifest)},
        {"", "1.0", error(Case::invalidManifest)},
        {R"(["1.5.0"])", "1.0", error(Case::invalidManifest)},
        {goodManifest + " trailing", "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": "1.5.0")"), "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": 1.5, "downloadURL": "https://e.com")"), "1",
         error(Case::invalidManifest)},
        {manifest(R"("version": "1.5", "downloadURL": null)"), "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": "1.5", "downloadURL": "")"), "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": "1", "downloadURL": "https://[::1")"), "1",
         error(Case::invalidManifest)},
        {manifest(R"("version": "1", "downloadURL": "https://e.com", "releaseNotesURL": 7)"), "1",
         error(Case::invalidManifest)},
        {manifest(R"("version": "1", "downloadURL": "https://e.com", "title": ["x"])"), "1",
         error(Case::invalidManifest)},
        // Then the offered version, then the current one, both before the
        // addresses.
        {manifest(R"("version": "banana", "downloadURL": "http://e.com")"), "garbage",
         error(Case::invalidVersion)},
        {goodManifest, "", error(Case::invalidVersion)},
        {manifest(R"("version": "2.0", "downloadURL": "http://e.com")"), "x",
         error(Case::invalidVersion)},
        // Then the download address, then the release notes, both before the
        // comparison.
        {manifest(R"("version": "2", "downloadURL": "http://e.com", "releaseNotesURL": "ftp://e")"),
         "1.0", error(Case::insecureDownloadURL)},
        {manifest(R"("version": "2.0", "downloadURL": "download")"), "1.0",
         error(Case::insecureDownloadURL)},
        {manifest(
             R"("version": "0.1", "downloadURL": "https://e.com", "releaseNotesURL": "ftp://e")"),
         "1.0", error(Case::insecureReleaseNotesURL)},
        {manifest(
             R"("version": "0.1", "downloadURL": "https://e.com", "releaseNotesURL": "notes")"),
         "1.0", error(Case::insecureReleaseNotesURL)},
        // Accepted variations.
        {manifest(R"("version": "2.0", "downloadURL": "HTTPS://EXAMPLE.COM/x",
                     "releaseNotesURL": "HtTpS://e.com/notes", "title": "Two")"),
         "1.0", "offer 2.0"},
        {manifest(
             R"("version": "2.0", "downloadURL": "https://e.com", "releaseNotesURL": null,
                     "title": null, "extra": {"ignored": [1, 2]})"),
         "1.0", "offer 2.0"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(outcome([&] { return AppUpdateService::availableUpdate(c.bytes, c.current); }),
                  c.expected)
            << c.bytes.left(120).toStdString() << " / current " << c.current.toStdString();
    }

    const auto offer = AppUpdateService::availableUpdate(
        manifest(
            R"("version": " 1.5.0 ", "downloadURL": "https://e.com/d?x=1#top",
                    "releaseNotesURL": "https://e.com/notes", "title": "Spring \u00E9dition")"),
        "1.4");
    ASSERT_TRUE(offer);
    EXPECT_EQ(*offer, (AppUpdateManifest{" 1.5.0 ", QUrl("https://e.com/d?x=1#top"),
                                         QUrl("https://e.com/notes"), "Spring \u00E9dition"}));
}

TEST(AppUpdateService, FeedSettingMustBeHttps) {
    EXPECT_EQ(configuredUpdateFeedURL("  HTTPS://updates.example.com/lumora.json \n"),
              QUrl("https://updates.example.com/lumora.json"));
    for (const char* refused : {"", "   \t\n", "http://updates.example.com/lumora.json",
                                "updates.example.com/lumora.json", "file:///tmp/lumora.json",
                                "https://exa mple.com/lumora.json", "https://[::1"}) {
        EXPECT_EQ(configuredUpdateFeedURL(refused), std::nullopt) << refused;
    }
}

TEST(AppUpdateChecker, FeedsThatNeedNoNetwork) {
    TemporaryHome home;
    const QString path = home.filePath("feed.json");
    const auto check = [](const QUrl& feed, const QString& current = "1.0") {
        return outcome([&] { return AppUpdateChecker(feed).check(current); });
    };
    writeFile(path, goodManifest);
    EXPECT_EQ(check(QUrl::fromLocalFile(path)), "offer 1.5.0");
    EXPECT_EQ(check(QUrl::fromLocalFile(path), "1.5.0"), "nothing");
    EXPECT_EQ(outcome([] { return AppUpdateChecker(std::nullopt).check("1.0"); }), "nothing");

    // Local files are bounded like downloads; an endless device is cut off at the
    // limit.
    writeFile(path, paddedTo(goodManifest, 65537));
    EXPECT_EQ(check(QUrl::fromLocalFile(path)), error(Case::manifestTooLarge));
    EXPECT_EQ(check(QUrl::fromLocalFile("/dev/zero")), error(Case::manifestTooLarge));
    EXPECT_EQ(check(QUrl::fromLocalFile(home.filePath("missing.json"))),
              "error: Could not read \u201c" + home.filePath("missing.json").toStdString() +
                  "\u201d: No such file or directory");
    EXPECT_TRUE(check(QUrl::fromLocalFile(home.path())).starts_with("error: Could not read"));

    // Port 1 on the loopback refuses connections: a request made anyway would end
    // in a network error, not in this one.
    EXPECT_EQ(check(QUrl("http://127.0.0.1:1/feed.json")), error(Case::invalidFeedURL));
    EXPECT_EQ(check(QUrl("ftp://127.0.0.1:1/feed.json")), error(Case::invalidFeedURL));
}
