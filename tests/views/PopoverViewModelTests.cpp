#include "AppTestSupport.h"

#include "views/PopoverViewModel.h"

#include <QJsonArray>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Block = ProviderCardModel::Block;
using Tint = ProviderCardModel::Tint;
using Kind = ProviderConnectionState::Kind;
using State = ProviderConnectionState;
using Readiness = LocalProviderReadiness;

namespace {

class PopoverViewModelTest : public ::testing::Test {
protected:
    // Both providers switched on and refreshed once with these snapshots.
    void connect(const UsageSnapshot& codex, const UsageSnapshot& claude) {
        harness.enableBoth();
        build();
        showSnapshots(codex, claude);
    }
    void build() {
        AppTiming timing;
        timing.connectionCheckInterval = std::chrono::hours(1); // monitors keep waiting
        model = harness.makeModel(timing);
        popover = std::make_unique<PopoverViewModel>(model.get());
        popover->setClock([this] { return now; });
    }
    void showSnapshots(const UsageSnapshot& codex, const UsageSnapshot& claude) {
        harness.codex->script->setSnapshot(codex);
        harness.claude->script->setSnapshot(claude);
        ASSERT_TRUE(waitFor(model->refresh(false)));
        popover->setClock([this] { return now; });
    }
    ProviderCardModel& codexCard() const { return *popover->card("codex"); }
    ProviderCardModel& claudeCard() const { return *popover->card("claude-code"); }

    static UsageSnapshot snapshotWith(const QString& providerID, UsageWindow window) {
        UsageSnapshot snapshot = usage(providerID, Availability::ready, 0.5);
        snapshot.windows = {window};
        snapshot.staleAfterSeconds = 300;
        return snapshot;
    }

    ModelHarness harness;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<PopoverViewModel> popover;
    QDateTime now;
};

} // namespace

// The card's figures, what a screen reader says for it, across windows, ratios and resets.
TEST_F(PopoverViewModelTest, UsageBlockShowsWholePercentLeftWithTintLabelResetAndSpokenText) {
    using W = UsageWindow;
    using K = UsageWindow::Kind;
    const auto base = usage("codex", Availability::ready, 0.42);
    now = base.capturedAt.addSecs(10);
    const auto in = [&](qint64 seconds) {
        return std::optional(now.addSecs(seconds));
    };
    connect(base, usage("claude-code", Availability::ready, 0.1));
    const struct {
        UsageWindow window;
        QString percentage;
        double bar;
        Tint tint;
        QString reset, spoken;
    } rows[] = {
        {W::unclamped(K::session, 1.0, in(8130)), "0", 0, Tint::Red, "Resets in 2 hr 15 min",
         "0 percent left, Session limit, resets in 2 hours 15 minutes"},
        {W::unclamped(K::daily, 1.25, std::nullopt), "0", 0, Tint::Red, "",
         "0 percent left, Daily limit"},
        {W(K::weekly, 0.996, in(28 * 3600)), "0", 0.004, Tint::Red, "Resets in 1 day 4 hr",
         "0 percent left, Weekly limit, resets in 1 day 4 hours"},
        {W(K::monthly, 0.8, in(3 * 86400 + 1800)), "20", 0.2, Tint::Orange, "Resets in 3 days",
         "20 percent left, Monthly limit, resets in 3 days"},
        {W(K::credits, 0.79, std::nullopt), "21", 0.21, Tint::Accent, "",
         "21 percent left, Credits"},
        {W(K::session, 0.99, in(3660)), "1", 0.01, Tint::Orange, "Resets in 1 hr 1 min",
         "1 percent left, Session limit, resets in 1 hour 1 minute"},
        {W(K::session, 0.5, in(59)), "50", 0.5, Tint::Accent, "Resets in under a minute",
         "50 percent left, Session limit, resets in under a minute"},
        {W(K::session, 0.42, in(-30)), "58", 0.58, Tint::Accent, "Resets just now",
         "58 percent left, Session limit"},
    };
    for (const auto& row : rows) {
        showSnapshots(snapshotWith("codex", row.window),
                      usage("claude-code", Availability::ready, 0.1));
        const ProviderCardModel& card = codexCard();
        SCOPED_TRACE(row.spoken.toStdString());
        EXPECT_EQ(card.block(), Block::Usage);
        EXPECT_EQ(card.percentageText(), row.percentage);
        EXPECT_NEAR(card.barValue(), row.bar, 1e-9);
        EXPECT_EQ(card.tint(), row.tint);
        EXPECT_EQ(card.resetText(), row.reset);
        EXPECT_EQ(card.spokenText(), "Codex, " + row.spoken);
        EXPECT_TRUE(card.showsSwitch());
    }
    EXPECT_EQ(codexCard().switchLabel(), "Show Codex in the menu bar");
    EXPECT_EQ(claudeCard().percentageText(), "90");
    EXPECT_EQ(ProviderCardModel::percentSuffix(), "% left");
}

TEST_F(PopoverViewModelTest, OldSnapshotsNeedSyncAndMissingFiguresShowTheStatusMessage) {
    UsageSnapshot codex = usage("codex", Availability::ready, 0.2);
    codex.staleAfterSeconds = 300;
    UsageSnapshot claude = UsageSnapshot::unavailable("claude-code", "Claude Code", "Hook quiet.");
    claude.availability = Availability::limited; // kept enabled and connected
    now = codex.capturedAt.addSecs(300);
    connect(codex, claude);
    EXPECT_EQ(codexCard().block(), Block::Usage) << "exactly the stale-after age is still fresh";
    EXPECT_EQ(codexCard().percentageText(), "80");

    // While the popover is shown its clock runs: the card turns stale on its own.
    popover->setActive(true);
    now = codex.capturedAt.addSecs(301);
    EXPECT_EQ(codexCard().block(), Block::Usage);
    ASSERT_TRUE(waitUntil([&] { return codexCard().block() == Block::Stale; }));
    popover->setActive(false);
    EXPECT_EQ(codexCard().spokenText(), "Codex, Usage needs sync, Last update: 5 min ago");
    EXPECT_TRUE(codexCard().percentageText().isEmpty());
    EXPECT_EQ(ProviderCardModel::staleTitle(), "Usage needs sync");
    EXPECT_TRUE(ProviderCardModel::staleDetail().startsWith("Open Claude Code and send a message"));

    now = claude.capturedAt.addSecs(5);
    popover->setClock([this] { return now; });
    EXPECT_EQ(claudeCard().block(), Block::Message);
    EXPECT_EQ(claudeCard().spokenText(), "Claude Code, Hook quiet.");
    claude.statusMessage.reset();
    showSnapshots(codex, claude);
    EXPECT_EQ(claudeCard().statusText(), "Status is unavailable.");
}

TEST_F(PopoverViewModelTest, EveryConnectionStateHasItsMessageAndButton) {
    const auto codex = UsageSnapshot::unavailable("codex", "Codex", "");
    const auto claude = UsageSnapshot::unavailable("claude-code", "Claude Code", "");
    // %1 is the tool's name; the same for both where only one name is given.
    const struct {
        State state;
        QString message, codexButton, claudeButton;
    } rows[] = {
        {State::disconnected(), "Connect your existing local %1 session.", "Connect", "Connect"},
        {State::checking(), "Checking local setup…", "Checking", "Checking"},
        {State::executableMissing(), "%1 is not installed.", "Get Codex", "Install"},
        {State::loginRequired(), "Sign in through the official %1 app first.", "Open Sign In",
         "Open Sign In"},
        {State::setupRequired(),
         "Enable official Claude Code status sync. Lumora stores only usage and reset time.",
         "Enable Sync", "Enable Sync"},
        {State::waiting(), "Waiting for Claude Code usage…", "Check Now", "Check Now"},
        {State::failed("Codex setup is incomplete."), "Codex setup is incomplete.", "Try Again",
         "Try Again"},
    };
    for (const auto& row : rows) {
        const auto message = [&](const char* name) {
            return row.message.contains("%1") ? row.message.arg(name) : row.message;
        };
        EXPECT_EQ(ProviderCardModel::connectionMessage(codex, row.state), message("Codex"));
        EXPECT_EQ(ProviderCardModel::connectionMessage(claude, row.state), message("Claude Code"));
        EXPECT_EQ(ProviderCardModel::connectionButtonTitle(codex, row.state), row.codexButton);
        EXPECT_EQ(ProviderCardModel::connectionButtonTitle(claude, row.state), row.claudeButton);
    }

    // A fresh user: nothing enabled, both at rest; the privacy line and no switch.
    build();
    for (const ProviderCardModel* card : {&codexCard(), &claudeCard()}) {
        EXPECT_EQ(card->block(), Block::Connection);
        EXPECT_TRUE(card->showsPrivacyLine());
        EXPECT_FALSE(card->showsSwitch());
        EXPECT_FALSE(card->connectionBusy());
        EXPECT_EQ(card->connectionButtonTitle(), "Connect");
    }
    EXPECT_EQ(claudeCard().spokenText(),
              "Claude Code, Connect your existing local Claude Code session.");
    EXPECT_EQ(ProviderCardModel::privacyLine(),
              "Usage and reset time only. No chats, code, files, or credentials.");

    // The card follows the model's state; only `disconnected` has the privacy line.
    model->handleCodexReadiness(Readiness::unavailable("codex crashed"));
    EXPECT_EQ(codexCard().connectionMessage(), "codex crashed");
    EXPECT_EQ(codexCard().connectionButtonTitle(), "Try Again");
    EXPECT_FALSE(codexCard().showsPrivacyLine());
    model->handleClaudeReadiness(Readiness::setupRequired());
    EXPECT_EQ(claudeCard().connectionButtonTitle(), "Enable Sync");
}

TEST_F(PopoverViewModelTest, ConnectionButtonChecksReadinessOrContinuesSetup) {
    build();
    // Waiting: "Check Now" runs the connect action (checking, readiness, its verdict).
    model->handleClaudeReadiness(Readiness::loginRequired());
    claudeCard().pressConnectionButton();
    ASSERT_EQ(model->connections()->claudeConnectionState().kind(), Kind::waiting);
    EXPECT_EQ(harness.desktop->openedUrls.size(), 1); // the sign-in page
    harness.claude->script->setReadiness({Readiness::ready()});
    harness.claude->script->readinessGate.close();
    const int checksBefore = harness.claude->script->readinessChecks();
    claudeCard().pressConnectionButton();
    EXPECT_EQ(claudeCard().block(), Block::Connection);
    EXPECT_TRUE(claudeCard().connectionBusy());
    claudeCard().pressConnectionButton(); // a press while checking does nothing
    harness.claude->script->readinessGate.open();
    ASSERT_TRUE(waitUntil([&] { return model->preferences()->claudeEnabled(); }));
    EXPECT_EQ(harness.claude->script->readinessChecks(), checksBefore + 1);
    EXPECT_EQ(model->connections()->claudeConnectionState(), State::disconnected());
    EXPECT_EQ(harness.claude->installs, 0);

    // Failed: "Try Again" checks again rather than installing anything.
    harness.codex->script->setReadiness({Readiness::unavailable("no answer")});
    codexCard().pressConnectionButton();
    ASSERT_TRUE(waitUntil([&] { return codexCard().connectionButtonTitle() == "Try Again"; }));
    EXPECT_EQ(codexCard().connectionMessage(), "no answer");
    harness.codex->script->setReadiness({Readiness::executableMissing()});
    codexCard().pressConnectionButton();
    ASSERT_TRUE(waitUntil([&] { return codexCard().connectionButtonTitle() == "Get Codex"; }));
    // Missing: "Get Codex" continues the set-up (the product page, then waiting).
    codexCard().pressConnectionButton();
    EXPECT_EQ(model->connections()->codexConnectionState(), State::waiting());
    EXPECT_EQ(harness.desktop->openedUrls.size(), 2);
    EXPECT_EQ(codexCard().connectionMessage(), "Waiting for Claude Code usage…");
}

TEST_F(PopoverViewModelTest, EntriesFollowTheOrderWithDividersBetweenCardsOnly) {
    build();
    PopoverEntries& entries = *popover->entries();
    const auto row = [&](int index, int role) {
        return entries.data(entries.index(index), role);
    };
    ASSERT_EQ(entries.rowCount(), 2);
    EXPECT_EQ(row(0, PopoverEntries::ProviderIDRole), "codex");
    EXPECT_TRUE(row(0, PopoverEntries::ShowsDividerRole).toBool());
    EXPECT_FALSE(row(1, PopoverEntries::ShowsDividerRole).toBool());

    entries.setOrder({"codex"});
    EXPECT_EQ(entries.rowCount(), 1);
    EXPECT_FALSE(row(0, PopoverEntries::ShowsDividerRole).toBool());
    entries.setOrder({"claude-code", "unknown", "codex"});
    EXPECT_EQ(row(0, PopoverEntries::CardRole).value<ProviderCardModel*>(), &claudeCard());
    const auto* empty = row(1, PopoverEntries::CardRole).value<ProviderCardModel*>();
    ASSERT_NE(empty, nullptr);
    EXPECT_TRUE(empty->isEmpty());
    EXPECT_FALSE(claudeCard().isEmpty());
    EXPECT_EQ(popover->card("unknown"), nullptr);

    // An exchange is reported as moves, so that the views keep their items.
    QSignalSpy resets(&entries, &QAbstractItemModel::modelReset);
    QSignalSpy moves(&entries, &QAbstractItemModel::rowsMoved);
    entries.setOrder({"codex", "unknown", "claude-code"});
    EXPECT_EQ(resets.size(), 0);
    EXPECT_EQ(moves.size(), 2);
    EXPECT_EQ(entries.order(), QStringList({"codex", "unknown", "claude-code"}));
    EXPECT_EQ(row(2, PopoverEntries::ProviderIDRole), "claude-code");
}

TEST_F(PopoverViewModelTest, DraggingOntoAnotherCardSwapsAtOnceAndStoresTheOrder) {
    build();
    QSignalSpy moves(popover->entries(), &QAbstractItemModel::rowsMoved);
    codexCard().beginDrag();
    EXPECT_TRUE(codexCard().dragged());
    EXPECT_FALSE(claudeCard().dragged());
    EXPECT_LT(codexCard().dragOpacity(), 1.0); // the dragged card is faded and smaller
    EXPECT_LT(codexCard().dragScale(), 1.0);
    EXPECT_EQ(claudeCard().dragOpacity(), 1.0);
    codexCard().dragEnter();
    EXPECT_EQ(model->preferences()->providerOrder(), QStringList({"codex", "claude-code"}));
    claudeCard().dragEnter();
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray({"claude-code", "codex"})));
    EXPECT_EQ(moves.size(), 1);
    EXPECT_EQ(popover->draggedProviderID(), "codex") << "the drag goes on until the drop";
    claudeCard().endDrag(); // the drop, on whichever card
    EXPECT_TRUE(popover->draggedProviderID().isEmpty());
    EXPECT_FALSE(codexCard().dragged());
    popover->dragEntered("codex"); // no drag, no swap
    EXPECT_EQ(model->preferences()->providerOrder(), QStringList({"claude-code", "codex"}));

    // Alt+Up and Alt+Down on a focused card move it as a drag does; only Alt, and the keypad's.
    const QStringList first = {"codex", "claude-code"}, last = {"claude-code", "codex"};
    const struct {
        int key, modifiers;
        bool taken;
        QStringList order;
    } keys[] = {
        {Qt::Key_Down, Qt::AltModifier, true, last}, // last already
        {Qt::Key_Up, Qt::NoModifier, false, last},
        {Qt::Key_Up, Qt::AltModifier | Qt::ShiftModifier, false, last},
        {Qt::Key_Up, Qt::AltModifier | Qt::KeypadModifier, true, first},
        {Qt::Key_Up, Qt::AltModifier, true, first}, // first already
    };
    for (const auto& row : keys) {
        EXPECT_EQ(codexCard().moveByKey(row.key, row.modifiers), row.taken);
        EXPECT_EQ(model->preferences()->providerOrder(), row.order) << row.key << row.modifiers;
    }
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray::fromStringList(first)));
}

// The update button, the refresh and the break; the window test clicks the rest.
TEST_F(PopoverViewModelTest, ButtonsAskForLiveDataAndCloseBeforeTheBreak) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.updateChecker->offer =
        AppUpdateManifest{"1.2.0", QUrl("https://example.org/lumora-1.2.0.deb"), {}, {}};
    harness.storePreference("providerEnabled", true);
    build();
    ASSERT_TRUE(waitFor(model->checkForUpdates(true)));
    EXPECT_EQ(popover->updateToolTip(), "Download Lumora 1.2.0");

    popover->refresh();
    EXPECT_TRUE(popover->isRefreshing());
    ASSERT_TRUE(waitUntil([&] { return !popover->isRefreshing(); }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true) << "the popover asks for live data";

    int breaksAtClose = -1;
    QObject::connect(popover.get(), &PopoverViewModel::closeRequested,
                     [&] { breaksAtClose = harness.desktop->breakWindowsShown; });
    popover->startBreak();
    EXPECT_EQ(breaksAtClose, 0);
    EXPECT_EQ(harness.desktop->breakWindowsShown, 1);
}
