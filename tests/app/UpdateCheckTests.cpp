#include "AppTestSupport.h"

#include "core/BuildInfo.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class UpdateCheckTest : public ::testing::Test {
protected:
    void SetUp() override { harness.updateChecker = std::make_shared<FakeUpdateChecker>(); }
    static AppUpdateManifest offer(const QString& version) {
        return {version, QUrl("https://downloads.example/lumora-" + version), std::nullopt,
                std::nullopt};
    }
    // Runs one check to its end and returns the status line.
    static QString check(AppModel& model, bool userInitiated) {
        EXPECT_TRUE(waitFor(model.checkForUpdates(userInitiated)));
        return model.updates()->updateStatusMessage();
    }

    ModelHarness harness;
};

} // namespace

TEST_F(UpdateCheckTest, WithoutAFeedOnlyTheUserHearsAboutIt) {
    harness.updateChecker.reset();
    const auto model = harness.makeModel();
    EXPECT_FALSE(model->updates()->updateFeedConfigured());
    check(*model, false);
    EXPECT_EQ(model->updates()->statusMessage(), std::nullopt);
    EXPECT_EQ(check(*model, true), "The update channel is not configured in this build.");
}

TEST_F(UpdateCheckTest, ResultsAndFailuresOfBackgroundAndUserChecks) {
    const auto model = harness.makeModel();
    UpdateChecks& updates = *model->updates();
    harness.updateChecker->offer = offer("1.2.0");
    EXPECT_EQ(check(*model, false), "Lumora 1.2.0 is available."); // background checks say so
    EXPECT_EQ(harness.updateChecker->lastVersion, "1.0.0");
    model->openAvailableUpdate();
    EXPECT_EQ(harness.desktop->openedUrls,
              QList<QUrl>({QUrl("https://downloads.example/lumora-1.2.0")}));

    // A failed background check is silent and keeps the offer.
    harness.updateChecker->failure = "The update server did not return a valid response.";
    EXPECT_EQ(check(*model, false), "Lumora 1.2.0 is available.");
    EXPECT_EQ(updates.availableUpdateVersion(), "1.2.0");
    // The user's check clears the line first, then says why it failed.
    QStringList lines;
    QObject::connect(&updates, &UpdateChecks::updateStatusMessageChanged,
                     [&] { lines << updates.updateStatusMessage(); });
    check(*model, true);
    EXPECT_EQ(lines, QStringList({"", "The update server did not return a valid response."}));

    harness.updateChecker->failure.reset();
    harness.updateChecker->offer.reset();
    EXPECT_EQ(check(*model, false), "Lumora is up to date.");
    EXPECT_FALSE(updates.hasAvailableUpdate()); // the earlier offer is gone
    model->openAvailableUpdate();
    EXPECT_EQ(harness.desktop->openedUrls.size(), 1);
}

TEST_F(UpdateCheckTest, OneCheckAtATime) {
    const auto model = harness.makeModel();
    EXPECT_EQ(check(*model, false), "Lumora is up to date.");
    harness.updateChecker->gate.close();
    const QFuture<void> background = model->checkForUpdates(false);
    ASSERT_TRUE(waitUntil([&] { return harness.updateChecker->gate.waiting() == 1; }));
    EXPECT_TRUE(model->updates()->isCheckingForUpdates());

    EXPECT_TRUE(model->checkForUpdates(true).isFinished());                      // dropped at once
    EXPECT_EQ(model->updates()->updateStatusMessage(), "Lumora is up to date."); // untouched
    harness.updateChecker->gate.open();
    ASSERT_TRUE(waitFor(background));
    EXPECT_FALSE(model->updates()->isCheckingForUpdates());
    EXPECT_EQ(harness.updateChecker->checks, 2);
}

TEST_F(UpdateCheckTest, TheCoreCheckerReadsARealFeedAndTheLoopRepeats) {
    const QString feed = harness.home.filePath("feed/manifest.json");
    writeFile(feed, R"({"version": "1.4.0", "downloadURL": "https://downloads.example/1.4.0"})");
    AppTiming timing;
    timing.updateCheckInterval = std::chrono::milliseconds(10);
    timing.refreshInterval = std::chrono::hours(1);
    AppModel::Services services = harness.services(timing);
    services.updateChecker = std::make_shared<FeedUpdateChecker>(QUrl::fromLocalFile(feed));
    AppModel model(services);
    model.start();
    ASSERT_TRUE(waitUntil([&] { return model.updates()->hasAvailableUpdate(); }));
    EXPECT_EQ(model.updates()->updateStatusMessage(), "Lumora 1.4.0 is available.");

    // The loop checks again by itself and finds the new manifest.
    writeFile(feed, R"({"version": "1.5.0", "downloadURL": "https://downloads.example/1.5.0"})");
    ASSERT_TRUE(waitUntil([&] { return model.updates()->availableUpdateVersion() == "1.5.0"; }));

    // The user's check shows what is wrong with the feed (a user check that meets a running loop
    // check is dropped, hence the retries).
    writeFile(feed, R"({"version": "1.6.0", "downloadURL": "http://downloads.example/1.6.0"})");
    EXPECT_TRUE(
        waitUntil([&] { return check(model, true) == "The update download must use HTTPS."; }));
}

TEST(StandardServices, TakeTheFeedAndVersionFromTheBuildUnlessGiven) {
    TemporaryHome home;
    AppModel built(AppModel::Services::standard());
    EXPECT_EQ(built.updates()->updateFeedConfigured(),
              configuredUpdateFeedURL(QString::fromUtf8(buildinfo::updateFeedUrl)).has_value());
    EXPECT_EQ(built.updates()->currentVersion(), QString::fromUtf8(buildinfo::version));

    AppModel given(
        AppModel::Services::standard(QUrl("https://updates.example/lumora.json"), "2.5.0"));
    EXPECT_TRUE(given.updates()->updateFeedConfigured());
    EXPECT_EQ(given.updates()->currentVersion(), "2.5.0");
    settle();
    EXPECT_FALSE(QFile::exists(home.filePath(".config/Lumora/preferences.json")));
}
