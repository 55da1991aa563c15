#include "SettingsTestSupport.h"

#include "history/HistoryStore.h"

#include <QFileInfo>

using namespace lumora;
using namespace lumora::test;

namespace {
using HistorySettingsTest = SettingsWindowTest;
} // namespace

// The pace switch and the history's controls, clicked as a user would, on the real file.
TEST_F(HistorySettingsTest, PaceWarningsKeepAndClearTheHistory) {
    harness.storePreference("providerEnabled", true);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.4));
    open();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    const QString file = HistoryStore::defaultPath(harness.home.path());
    const auto rows = [&] {
        return HistoryStore(file, HistoryStore::Access::readOnly)
            .figures(QDateTime::currentDateTimeUtc().addDays(-1))
            .size();
    };
    ASSERT_EQ(rows(), 1) << "the refresh recorded its figure";
    screenshot("pace-warnings", "paceAlerts");
    click("paceAlertsSwitch");
    EXPECT_EQ(harness.storedPreference("paceAlertsEnabled"), QJsonValue(false));
    screenshot("history", "clearHistoryButton");

    click("clearHistoryButton");
    EXPECT_EQ(rows(), 0);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.5));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_EQ(rows(), 1) << "a cleared history goes on recording";

    click("keepHistorySwitch");
    EXPECT_EQ(harness.storedPreference("keepUsageHistory"), QJsonValue(false));
    EXPECT_FALSE(QFileInfo::exists(file)) << "turning the history off deletes it";
    EXPECT_FALSE(shown("clearHistoryButton"));
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.6));
    ASSERT_TRUE(waitFor(model->refresh(false)));
    EXPECT_FALSE(QFileInfo::exists(file)) << "nothing is recorded while it is off";
    screenshot("history-off", "keepHistory");
}
