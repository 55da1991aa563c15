#include "core/AppUpdate.h"
#include "support/TestSupport.h"

#include <QJsonDocument>

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

// What availableUpdate answers, as text: "offer <version>", "nothing" or "error: <description>".
std::string outcome(const QByteArray& bytes, const QString& current) {
    try {
        const auto offer = AppUpdateService::availableUpdate(bytes, current);
        return offer ? "offer " + offer->version.toStdString() : "nothing";
    } catch (const AppUpdateError& error) {
        return "error: " + error.description().toStdString();
    }
}
std::string error(Case c) {
    return "error: " + AppUpdateError::descriptionOf(c).toStdString();
}

} // namespace

TEST(AppUpdateService, ChecksRunInOrderAndTheFirstFailureWins) {
    const auto manifest = [](const char* members) {
        return QByteArray("{") + members + "}";
    };
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
        {manifest(R"("version": 1.5, "downloadURL": "https://e.com")"), "1.0",
         error(Case::invalidManifest)},
        {manifest(R"("version": "1.5", "downloadURL": null)"), "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": "1.5", "downloadURL": "")"), "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": "1.5", "downloadURL": "https://[::1")"), "1.0",
         error(Case::invalidManifest)},
        {manifest(R"("version": "1.5", "downloadURL": "https://e.com", "releaseNotesURL": 7)"),
         "1.0", error(Case::invalidManifest)},
        {manifest(R"("version": "1.5", "downloadURL": "https://e.com", "title": ["x"])"), "1.0",
         error(Case::invalidManifest)},
        // Then the offered version, then the current one, both before the addresses.
        {manifest(R"("version": "banana", "downloadURL": "http://e.com")"), "garbage",
         error(Case::invalidVersion)},
        {goodManifest, "", error(Case::invalidVersion)},
        {manifest(R"("version": "2.0", "downloadURL": "http://e.com")"), "x",
         error(Case::invalidVersion)},
        // Then the download address, then the release notes, both before the comparison.
        {manifest(
             R"("version": "2.0", "downloadURL": "http://e.com", "releaseNotesURL": "ftp://e")"),
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
}

TEST(AppUpdateService, ManifestKeepsItsFieldsAndRoundTrips) {
    const QByteArray bytes =
        R"({"version": " 1.5.0 ", "downloadURL": "https://example.com/d?x=1#top",
            "releaseNotesURL": "https://example.com/notes", "title": "Spring \u00E9dition"})";
    const auto offer = AppUpdateService::availableUpdate(bytes, "1.4");
    ASSERT_TRUE(offer);
    EXPECT_EQ(offer->version, " 1.5.0 "); // as the publisher spelled it
    EXPECT_EQ(offer->downloadURL, QUrl("https://example.com/d?x=1#top"));
    EXPECT_EQ(offer->releaseNotesURL, QUrl("https://example.com/notes"));
    EXPECT_EQ(offer->title, QString::fromUtf8("Spring \u00E9dition"));
    EXPECT_EQ(AppUpdateManifest::decode(QJsonDocument(offer->toJson()).toJson()), offer);

    const AppUpdateManifest minimal{"2.0", QUrl("https://e.com"), std::nullopt, std::nullopt};
    EXPECT_EQ(minimal.toJson().keys(), (QStringList{"downloadURL", "version"}));
    EXPECT_EQ(AppUpdateManifest::decode(QJsonDocument(minimal.toJson()).toJson()), minimal);
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

TEST(AppUpdateChecker, LocalFeedsAreReadDirectlyAndBounded) {
    TemporaryHome home;
    const QString path = home.filePath("feed.json");
    writeFile(path, goodManifest);
    EXPECT_EQ(AppUpdateChecker(QUrl::fromLocalFile(path)).check("1.0")->version, "1.5.0");
    EXPECT_FALSE(AppUpdateChecker(QUrl::fromLocalFile(path)).check("1.5.0"));
    EXPECT_FALSE(AppUpdateChecker(std::nullopt).check("1.0"));

    const auto checkFile = [](const QString& file) -> std::optional<Case> {
        try {
            AppUpdateChecker(QUrl::fromLocalFile(file)).check("1.0");
        } catch (const AppUpdateError& e) {
            return e.kind();
        }
        return std::nullopt;
    };
    writeFile(path, paddedTo(goodManifest, 65537));
    EXPECT_EQ(checkFile(path), Case::manifestTooLarge);
    // An endless device is cut off at the limit instead of being read for ever.
    EXPECT_EQ(checkFile("/dev/zero"), Case::manifestTooLarge);

    for (const QString& unreadable : {home.filePath("missing.json"), home.path()}) {
        try {
            AppUpdateChecker(QUrl::fromLocalFile(unreadable)).check("1.0");
            ADD_FAILURE() << "no error for " << unreadable.toStdString();
        } catch (const FileSystemError& e) {
            EXPECT_TRUE(e.description().contains(unreadable)) << e.what();
        }
    }
}

TEST(AppUpdateChecker, PlainHttpFeedIsRefusedBeforeAnyRequest) {
    // Port 1 on the loopback refuses connections: a request made anyway would end in a network
    // error, not in this one.
    for (const char* feed : {"http://127.0.0.1:1/feed.json", "ftp://127.0.0.1:1/feed.json"}) {
        try {
            AppUpdateChecker(QUrl(feed)).check("1.0");
            ADD_FAILURE() << feed << " was accepted";
        } catch (const AppUpdateError& e) {
            EXPECT_EQ(e.kind(), Case::invalidFeedURL);
            EXPECT_EQ(e.description(), "The update feed must use HTTPS.");
        }
    }
}
