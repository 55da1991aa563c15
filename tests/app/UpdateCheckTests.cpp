#include "AppTestSupport.h"

#include "core/BuildInfo.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class UpdateCheckTest : public ::testing::Test {
protected:
    ModelHarness h;
};

// Runs one check to its end and returns the status line.
QString check(AppModel& model, bool userInitiated) {
    EXPECT_TRUE(waitFor(model.checkForUpdates(userInitiated)));
    return model.updates()->updateStatusMessage();
}

} // namespace

// Background checks are quiet on failure, a user's check says why, one check runs at a time.
TEST_F(UpdateCheckTest, BackgroundChecksAreQuietOnFailureUserChecksSayWhyOneRunsAtATime) {
    const auto none = h.makeModel(); // no feed: only the user hears about it
    EXPECT_FALSE(none->updates()->updateFeedConfigured());
    check(*none, false);
    EXPECT_EQ(none->updates()->statusMessage(), std::nullopt);
    EXPECT_EQ(check(*none, true), "The update channel is not configured in this build.");

    h.updateChecker = std::make_shared<FakeUpdateChecker>();
    FakeUpdateChecker& checker = *h.updateChecker;
    const auto model = h.makeModel();
    UpdateChecks& updates = *model->updates();
    checker.offer = AppUpdateManifest{"1.2.0", QUrl("https://downloads.example/lumora-1.2.0"),
                                      std::nullopt, std::nullopt};
    EXPECT_EQ(check(*model, false), "Lumora 1.2.0 is available.");
    EXPECT_EQ(checker.lastVersion, "1.0.0");
    model->openAvailableUpdate();
    EXPECT_EQ(h.desktop->openedUrls, QList<QUrl>({checker.offer->downloadURL}));
    checker.failure = "The update server did not return a valid response.";
    EXPECT_EQ(check(*model, false), "Lumora 1.2.0 is available."); // silent, the offer kept
    QStringList lines;
    QObject::connect(&updates, &UpdateChecks::updateStatusMessageChanged,
                     [&] { lines << updates.updateStatusMessage(); });
    check(*model, true); // cleared first, then the reason
    EXPECT_EQ(lines, QStringList({"", "The update server did not return a valid response."}));
    checker.failure.reset();
    checker.offer.reset();
    EXPECT_EQ(check(*model, false), "Lumora is up to date.");
    EXPECT_FALSE(updates.hasAvailableUpdate());
    model->openAvailableUpdate();
    EXPECT_EQ(h.desktop->openedUrls.size(), 1);

    checker.gate.close();
    const QFuture<void> background = model->checkForUpdates(false);
    ASSERT_TRUE(waitUntil([&] { return checker.gate.waiting() == 1; }));
    EXPECT_TRUE(updates.isCheckingForUpdates());
    EXPECT_TRUE(model->checkForUpdates(true).isFinished()); // dropped at once, line untouched
    EXPECT_EQ(updates.updateStatusMessage(), "Lumora is up to date.");
    checker.gate.open();
    ASSERT_TRUE(waitFor(background));
    EXPECT_FALSE(updates.isCheckingForUpdates());
    EXPECT_EQ(checker.checks, 5);
}

// The core checker reads a real feed file, the loop repeats, and a plain-HTTP download is refused.
TEST_F(UpdateCheckTest, TheCoreCheckerReadsARealFeedAndTheLoopRepeats) {
    const QString feed = h.home.filePath("feed/manifest.json");
    const auto publish = [&](const char* version, const char* scheme) {
        writeFile(feed, QStringLiteral(R"({"version": "%1", "downloadURL": "%2://dl.example/%1"})")
                            .arg(version, scheme)
                            .toUtf8());
    };
    publish("1.4.0", "https");
    AppTiming timing;
    timing.updateCheckInterval = std::chrono::milliseconds(10);
    timing.refreshInterval = std::chrono::hours(1);
    AppModel::Services services = h.services(timing);
    services.updateChecker = std::make_shared<FeedUpdateChecker>(QUrl::fromLocalFile(feed));
    AppModel model(services);
    model.start();
    ASSERT_TRUE(waitUntil([&] { return model.updates()->hasAvailableUpdate(); }));
    EXPECT_EQ(model.updates()->updateStatusMessage(), "Lumora 1.4.0 is available.");
    publish("1.5.0", "https"); // found by the loop itself
    ASSERT_TRUE(waitUntil([&] { return model.updates()->availableUpdateVersion() == "1.5.0"; }));
    publish("1.6.0", "http"); // a user check that meets a loop check is dropped: retried
    EXPECT_TRUE(
        waitUntil([&] { return check(model, true) == "The update download must use HTTPS."; }));

    // The standard services take the feed and version from the build unless given.
    AppModel built(AppModel::Services::standard());
    EXPECT_EQ(built.updates()->updateFeedConfigured(),
              configuredUpdateFeedURL(QString::fromUtf8(buildinfo::updateFeedUrl)).has_value());
    EXPECT_EQ(built.updates()->currentVersion(), QString::fromUtf8(buildinfo::version));
    AppModel given(
        AppModel::Services::standard(QUrl("https://updates.example/lumora.json"), "2.5.0"));
    EXPECT_TRUE(given.updates()->updateFeedConfigured());
    EXPECT_EQ(given.updates()->currentVersion(), "2.5.0");
    settle();
    EXPECT_FALSE(QFile::exists(h.home.preferencesFile()));
}
