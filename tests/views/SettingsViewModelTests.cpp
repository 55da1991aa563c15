#include "AppTestSupport.h"

#include "platform/Autostart.h"
#include "views/SettingsViewModel.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class SettingsViewModelTest : public ::testing::Test {
protected:
    void make() {
        model = harness.makeModel();
        viewModel = std::make_unique<SettingsViewModel>(
            model.get(),
            std::make_shared<AutostartEntry>(
                harness.home.filePath(".config/autostart/lumora.desktop"), "/usr/bin/lumora"));
    }

    ModelHarness harness;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<SettingsViewModel> viewModel;
};

} // namespace

TEST_F(SettingsViewModelTest, StatusRowsAndLastCheckedFollowTheClock) {
    harness.storePreference("providerEnabled", true);
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.2));
    make();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    const QDateTime capturedAt = model->snapshot().capturedAt;

    QDateTime now = capturedAt.addSecs(20);
    viewModel->setClock([&] { return now; });
    EXPECT_EQ(viewModel->claudeStatus(), "Claude Code is available");
    EXPECT_EQ(viewModel->lastChecked(), "just now");
    now = capturedAt.addSecs(3 * 60 + 20);
    EXPECT_EQ(viewModel->lastChecked(), "3 min ago");
    // Long after the snapshot the row says it needs a sync, as the model does.
    now = capturedAt.addDays(2);
    EXPECT_EQ(viewModel->claudeStatus(), AppModel::statusTitle(model->snapshot(), now));
    EXPECT_EQ(viewModel->claudeStatus(), "Claude Code usage needs sync");
    EXPECT_EQ(viewModel->lastChecked(), "2 days ago");

    // Showing the window re-reads the rows (and the times keep being re-read while it shows).
    int changes = 0;
    QObject::connect(viewModel.get(), &SettingsViewModel::changed, [&] { ++changes; });
    viewModel->setTicking(true);
    viewModel->setTicking(true);
    EXPECT_EQ(changes, 1);
    viewModel->setTicking(false);
}

// The descriptions, the photo controls and the update button are checked in the window.
TEST_F(SettingsViewModelTest, StyleChoicesAndPrivacyLines) {
    make();
    EXPECT_EQ(viewModel->styleTitles(), (QStringList{"Photo", "Motion", "Minimal"}));
    viewModel->selectStyle(2);
    viewModel->selectStyle(7);
    EXPECT_EQ(viewModel->selectedStyle(), 2) << "an unknown index changes nothing";
    EXPECT_EQ(viewModel->privacyLines().at(1),
              "Usage data stays on this computer and is never shared with advertisers.");
}
