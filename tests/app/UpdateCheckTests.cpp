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
        return {version, QUrl("https://downloads.example/lumora-" + version + ".tar.gz"),
                std::nullopt, std::nullopt};
    }
    void check(AppModel& model, bool userInitiated) const {
        ASSERT_TRUE(waitFor(model.checkForUpdates(userInitiated)));
    }

    ModelHarness harness;
};

} // namespace

TEST_F(UpdateCheckTest, WithoutAFeedOnlyTheUserHearsAboutIt) {
    harness.updateChecker.reset();
    const auto model = harness.makeModel();
    UpdateChecks& updates = *model->updates();
    EXPECT_FALSE(updates.updateFeedConfigured());

    check(*model, false);
    EXPECT_EQ(updates.statusMessage(), std::nullopt);
    check(*model, true);
    EXPECT_EQ(updates.updateStatusMessage(), "The update channel is not configured in this build.");
    EXPECT_FALSE(updates.isCheckingForUpdates());
}

TEST_F(UpdateCheckTest, SuccessfulChecksReportTheOfferOrThatLumoraIsCurrent) {
    const auto model = harness.makeModel();
    UpdateChecks& updates = *model->updates();
    EXPECT_TRUE(updates.updateFeedConfigured());

    harness.updateChecker->answer(offer("1.2.0"));
    check(*model, false); // the background check says so too
    EXPECT_EQ(updates.updateStatusMessage(), "Lumora 1.2.0 is available.");
    EXPECT_EQ(updates.availableUpdate(), offer("1.2.0"));
    EXPECT_EQ(updates.availableUpdateVersion(), "1.2.0");
    EXPECT_EQ(harness.updateChecker->lastVersion, "1.0.0");

    model->openAvailableUpdate();
    EXPECT_EQ(harness.desktop->openedUrls,
              QList<QUrl>({QUrl("https://downloads.example/lumora-1.2.0.tar.gz")}));

    // The version is shown as the feed spells it.
    harness.updateChecker->answer(offer("1.10.0-beta.2"));
    check(*model, true);
    EXPECT_EQ(updates.updateStatusMessage(), "Lumora 1.10.0-beta.2 is available.");

    harness.updateChecker->answer(std::nullopt);
    check(*model, false);
    EXPECT_EQ(updates.updateStatusMessage(), "Lumora is up to date.");
    EXPECT_FALSE(updates.hasAvailableUpdate()); // an earlier offer is cleared
    model->openAvailableUpdate();
    EXPECT_EQ(harness.desktop->openedUrls.size(), 1);
}

TEST_F(UpdateCheckTest, FailuresAreShownOnlyForTheUsersChecks) {
    const auto model = harness.makeModel();
    UpdateChecks& updates = *model->updates();
    harness.updateChecker->answer(offer("2.0.0"));
    check(*model, false);

    harness.updateChecker->fail("The update server did not return a valid response.");
    check(*model, false);
    EXPECT_EQ(updates.updateStatusMessage(), "Lumora 2.0.0 is available.");
    EXPECT_TRUE(updates.hasAvailableUpdate()); // kept through a failed background check

    QStringList messages;
    QObject::connect(&updates, &UpdateChecks::updateStatusMessageChanged,
                     [&] { messages << updates.updateStatusMessage(); });
    check(*model, true);
    // The user's check clears the line first, then shows why it failed.
    EXPECT_EQ(messages, QStringList({"", "The update server did not return a valid response."}));
    EXPECT_TRUE(updates.hasAvailableUpdate());
}

TEST_F(UpdateCheckTest, OneCheckAtATime) {
    harness.updateChecker->answer(std::nullopt);
    const auto model = harness.makeModel();
    UpdateChecks& updates = *model->updates();
    check(*model, false);
    ASSERT_EQ(updates.updateStatusMessage(), "Lumora is up to date.");

    harness.updateChecker->gate.close();
    const QFuture<void> background = model->checkForUpdates(false);
    ASSERT_TRUE(waitUntil([&] { return harness.updateChecker->gate.waiting() == 1; }));
    EXPECT_TRUE(updates.isCheckingForUpdates());

    const QFuture<void> user = model->checkForUpdates(true);
    EXPECT_TRUE(user.isFinished());                                    // dropped at once
    EXPECT_EQ(updates.updateStatusMessage(), "Lumora is up to date."); // and left alone

    harness.updateChecker->gate.open();
    ASSERT_TRUE(waitFor(background));
    EXPECT_FALSE(updates.isCheckingForUpdates());
    EXPECT_EQ(harness.updateChecker->checks, 2);
}

TEST_F(UpdateCheckTest, TheCoreCheckerReadsARealFeed) {
    const QString feed = harness.home.filePath("feed/manifest.json");
    writeFile(feed, R"({"version": "1.4.0", "downloadURL": "https://downloads.example/1.4.0"})");
    AppModel::Services services = harness.services();
    services.updateChecker = std::make_shared<FeedUpdateChecker>(QUrl::fromLocalFile(feed));
    AppModel model(services);

    ASSERT_TRUE(waitFor(model.checkForUpdates(true)));
    EXPECT_EQ(model.updates()->updateStatusMessage(), "Lumora 1.4.0 is available.");
    EXPECT_EQ(model.updates()->availableUpdate()->downloadURL,
              QUrl("https://downloads.example/1.4.0"));

    writeFile(feed, R"({"version": "1.5.0", "downloadURL": "http://downloads.example/1.5.0"})");
    ASSERT_TRUE(waitFor(model.checkForUpdates(true)));
    EXPECT_EQ(model.updates()->updateStatusMessage(), "The update download must use HTTPS.");
}

TEST_F(UpdateCheckTest, TheUpdateLoopChecksAtStartAndThenEveryInterval) {
    harness.updateChecker->answer(std::nullopt);
    AppTiming timing;
    timing.updateCheckInterval = std::chrono::milliseconds(10);
    timing.refreshInterval = std::chrono::hours(1);
    const auto model = harness.makeModel(timing);
    model->start();
    ASSERT_TRUE(waitUntil([&] { return harness.updateChecker->checks >= 3; }));
    EXPECT_EQ(model->updates()->updateStatusMessage(), "Lumora is up to date.");
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
    // Nothing was started or written by constructing either.
    settle();
    EXPECT_FALSE(QFile::exists(home.filePath(".config/Lumora/preferences.json")));
}
