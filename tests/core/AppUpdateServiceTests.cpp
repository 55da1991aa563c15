#include "core/AppUpdate.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Case = AppUpdateError::Case;

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

// What a validation or a check answers, as text: "offer <version>", "nothing" or the error.
template <typename Check> std::string outcome(Check check) {
    try {
        const std::optional<AppUpdateManifest> offer = check();
        return offer ? "offer " + offer->version.toStdString() : "nothing";
    } catch (const Error& error) {
        return "error: " + error.description().toStdString();
    }
}
std::string outcome(const QByteArray& bytes, const QString& current) {
    return outcome([&] { return AppUpdateService::availableUpdate(bytes, current); });
}
std::string error(Case c) {
    return "error: " + AppUpdateError::descriptionOf(c).toStdString();
}

} // namespace

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
        // Size first: exactly the limit is fine, one byte more is refused before anything else.
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
        // Then the offered version, then the current one, both before the addresses.
        {manifest(R"("version": "banana", "downloadURL": "http://e.com")"), "garbage",
         error(Case::invalidVersion)},
        {goodManifest, "", error(Case::invalidVersion)},
        {manifest(R"("version": "2.0", "downloadURL": "http://e.com")"), "x",
         error(Case::invalidVersion)},
        // Then the download address, then the release notes, both before the comparison.
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
        {manifest(R"("version": "2.0", "downloadURL": "https://e.com", "releaseNotesURL": null,
                     "title": null, "extra": {"ignored": [1, 2]})"),
         "1.0", "offer 2.0"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(outcome(c.bytes, c.current), c.expected)
            << c.bytes.left(120).toStdString() << " / current " << c.current.toStdString();
    }

    const auto offer = AppUpdateService::availableUpdate(
        manifest(R"("version": " 1.5.0 ", "downloadURL": "https://e.com/d?x=1#top",
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

    // Local files are bounded like downloads; an endless device is cut off at the limit.
    writeFile(path, paddedTo(goodManifest, 65537));
    EXPECT_EQ(check(QUrl::fromLocalFile(path)), error(Case::manifestTooLarge));
    EXPECT_EQ(check(QUrl::fromLocalFile("/dev/zero")), error(Case::manifestTooLarge));
    EXPECT_EQ(check(QUrl::fromLocalFile(home.filePath("missing.json"))),
              "error: Could not read \u201c" + home.filePath("missing.json").toStdString() +
                  "\u201d: No such file or directory");
    EXPECT_TRUE(check(QUrl::fromLocalFile(home.path())).starts_with("error: Could not read"));

    // Port 1 on the loopback refuses connections: a request made anyway would end in a network
    // error, not in this one.
    EXPECT_EQ(check(QUrl("http://127.0.0.1:1/feed.json")), error(Case::invalidFeedURL));
    EXPECT_EQ(check(QUrl("ftp://127.0.0.1:1/feed.json")), error(Case::invalidFeedURL));
}
