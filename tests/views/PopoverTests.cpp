// The popover: its placement, its view model, and its window clicked and dragged as a user would.
#include "ViewTestSupport.h"
#include "views/PopoverPlacement.h"
#include "views/PopoverViewModel.h"
#include "views/ViewEngine.h"
#include <QJsonArray>
#include <QScreen>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LumoraPlugin)

using namespace lumora;
using namespace lumora::test;
using Block = ProviderCardModel::Block;
using Tint = ProviderCardModel::Tint;
using State = ProviderConnectionState;
using Readiness = LocalProviderReadiness;

namespace {

// A model on fake providers whose monitors keep waiting, and the popover's model on it at `now`.
class PopoverViewModelTest : public ::testing::Test {
protected:
    void build() {
        model = harness.makeModel({.connectionCheckInterval = std::chrono::hours(1)});
        popover = std::make_unique<PopoverViewModel>(model.get());
        popover->setClock([this] { return now; });
    }
    void show(const UsageSnapshot& codex, const UsageSnapshot& claude) {
        harness.codex->script->setSnapshot(codex);
        harness.claude->script->setSnapshot(claude);
        ASSERT_TRUE(waitFor(model->refresh(false)));
    }
    ProviderCardModel& codexCard() const { return *popover->card("codex"); }
    ProviderCardModel& claudeCard() const { return *popover->card("claude-code"); }

    ModelHarness harness;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<PopoverViewModel> popover;
    QDateTime now;
};

} // namespace

// A card's figures, tint, reset and spoken text; past its stale-after age it turns stale itself.
TEST_F(PopoverViewModelTest, UsageBlockShowsWholePercentLeftWithTintLabelResetAndSpokenText) {
    using W = UsageWindow;
    using K = UsageWindow::Kind;
    UsageSnapshot claude = UsageSnapshot::unavailable("claude-code", "Claude Code", "Hook quiet.");
    claude.availability = Availability::limited; // kept enabled and connected
    now = claude.capturedAt.addSecs(5);
    harness.enableBoth();
    build();
    const std::tuple<UsageWindow, QString, double, Tint, QString, QString> rows[] = {
        {W::unclamped(K::session, 1.0, now.addSecs(8130)), "0", 0, Tint::Red,
         "Resets in 2 hr 15 min", "0 percent left, Session limit, resets in 2 hours 15 minutes"},
        {W::unclamped(K::daily, 1.25, {}), "0", 0, Tint::Red, "", "0 percent left, Daily limit"},
        {W(K::weekly, 0.996, now.addSecs(28 * 3600)), "0", 0.004, Tint::Red, "Resets in 1 day 4 hr",
         "0 percent left, Weekly limit, resets in 1 day 4 hours"},
        {W(K::monthly, 0.8, now.addSecs(3 * 86400 + 1800)), "20", 0.2, Tint::Orange,
         "Resets in 3 days", "20 percent left, Monthly limit, resets in 3 days"},
        {W(K::credits, 0.79, {}), "21", 0.21, Tint::Accent, "", "21 percent left, Credits"},
        {W(K::session, 0.99, now.addSecs(3660)), "1", 0.01, Tint::Orange, "Resets in 1 hr 1 min",
         "1 percent left, Session limit, resets in 1 hour 1 minute"},
        {W(K::session, 0.5, now.addSecs(59)), "50", 0.5, Tint::Accent, "Resets in under a minute",
         "50 percent left, Session limit, resets in under a minute"},
        {W(K::session, 0.42, now.addSecs(-30)), "58", 0.58, Tint::Accent, "Resets just now",
         "58 percent left, Session limit"}};
    UsageSnapshot codex = usage("codex", Availability::ready, 0.5);
    codex.staleAfterSeconds = 300;
    for (const auto& [window, percentage, bar, tint, reset, spoken] : rows) {
        codex.windows = {window};
        show(codex, claude);
        const ProviderCardModel& card = codexCard();
        EXPECT_EQ(std::tuple(card.block(), card.percentageText(), card.tint(), card.resetText(),
                             card.spokenText(), card.showsSwitch()),
                  std::tuple(Block::Usage, percentage, tint, reset, "Codex, " + spoken, true));
        EXPECT_NEAR(card.barValue(), bar, 1e-9) << spoken.toStdString();
    }
    EXPECT_EQ(
        std::tuple(codexCard().switchLabel(), claudeCard().block(), claudeCard().spokenText()),
        std::tuple("Show Codex in the menu bar", Block::Message, "Claude Code, Hook quiet."));
    claude.statusMessage.reset();
    show(codex, claude);
    EXPECT_EQ(claudeCard().statusText(), "Status is unavailable.");
    now = codex.capturedAt.addSecs(300); // stale only past 300 seconds
    show(codex, claude);
    EXPECT_EQ(codexCard().block(), Block::Usage);
    popover->setActive(true);
    now = codex.capturedAt.addSecs(301);
    ASSERT_TRUE(waitUntil([&] { return codexCard().block() == Block::Stale; }));
    popover->setActive(false);
    EXPECT_EQ(codexCard().spokenText() + codexCard().percentageText(),
              "Codex, Usage needs sync, Last update: 5 min ago");
    EXPECT_TRUE(ProviderCardModel::staleDetail().startsWith("Open Claude Code and send a message"));
}

// Each state's message (%1 the tool's name) and button; a fresh user's cards; the button's actions.
TEST_F(PopoverViewModelTest, EveryConnectionStateHasItsMessageAndButtonWhichActs) {
    const auto codex = UsageSnapshot::unavailable("codex", "Codex", "");
    const auto claude = UsageSnapshot::unavailable("claude-code", "Claude Code", "");
    const std::tuple<State, QString, QString, QString> rows[] = {
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
         "Try Again"}};
    for (const auto& [state, message, codexButton, claudeButton] : rows) {
        EXPECT_EQ(std::tuple(ProviderCardModel::connectionMessage(codex, state),
                             ProviderCardModel::connectionMessage(claude, state),
                             ProviderCardModel::connectionButtonTitle(codex, state),
                             ProviderCardModel::connectionButtonTitle(claude, state)),
                  std::tuple(QString(message).replace("%1", "Codex"),
                             QString(message).replace("%1", "Claude Code"), codexButton,
                             claudeButton));
    }
    build(); // nothing enabled, both at rest: the privacy line and no switch
    for (const ProviderCardModel* card : {&codexCard(), &claudeCard()}) {
        EXPECT_EQ(std::tuple(card->block(), card->showsPrivacyLine(), card->showsSwitch(),
                             card->connectionBusy(), card->connectionButtonTitle()),
                  std::tuple(Block::Connection, true, false, false, "Connect"));
    }
    EXPECT_EQ(claudeCard().spokenText(),
              "Claude Code, Connect your existing local Claude Code session.");
    model->handleCodexReadiness(Readiness::unavailable("codex crashed"));
    EXPECT_EQ(std::tuple(codexCard().connectionMessage(), codexCard().showsPrivacyLine(),
                         codexCard().connectionButtonTitle()),
              std::tuple("codex crashed", false, "Try Again"));
    model->handleClaudeReadiness(Readiness::loginRequired());
    claudeCard().pressConnectionButton();
    ASSERT_EQ(model->connections()->claudeConnectionState(), State::waiting());
    EXPECT_EQ(harness.desktop->openedUrls.size(), 1);
    harness.claude->script->readinessGate.close();
    const int checksBefore = harness.claude->script->readinessChecks();
    claudeCard().pressConnectionButton();
    EXPECT_TRUE(claudeCard().block() == Block::Connection && claudeCard().connectionBusy());
    claudeCard().pressConnectionButton(); // a press while checking does nothing
    harness.claude->script->readinessGate.open();
    ASSERT_TRUE(waitUntil([&] { return model->preferences()->claudeEnabled(); }));
    EXPECT_EQ(std::tuple(harness.claude->script->readinessChecks(), harness.claude->installs.load(),
                         model->connections()->claudeConnectionState()),
              std::tuple(checksBefore + 1, 0, State::disconnected()));
    model->handleCodexReadiness(Readiness::executableMissing());
    codexCard().pressConnectionButton();
    EXPECT_EQ(std::tuple(model->connections()->codexConnectionState(),
                         harness.desktop->openedUrls.size()),
              std::tuple(State::waiting(), 2));
}

// Entries in order, dividers between cards; a drag or Alt+arrow swaps (as moves) and stores it.
TEST_F(PopoverViewModelTest, EntriesFollowTheOrderAndDraggingOrAltArrowsSwapAndStoreIt) {
    build();
    using E = PopoverEntries;
    PopoverEntries& entries = *popover->entries();
    const auto rows = [&] {
        QStringList shown; // id, and "|" for a divider
        for (int i = 0; i < entries.rowCount(); ++i) {
            const QModelIndex at = entries.index(i);
            const auto* card = at.data(E::CardRole).value<ProviderCardModel*>();
            shown << (card && !card->isEmpty() ? at.data(E::ProviderIDRole).toString() : "empty") +
                         (at.data(E::ShowsDividerRole).toBool() ? "|" : "");
        }
        return shown.join(' ');
    };
    EXPECT_EQ(rows(), "codex| claude-code");
    entries.setOrder({"codex"});
    EXPECT_EQ(rows(), "codex");
    entries.setOrder({"claude-code", "unknown", "codex"});
    EXPECT_EQ(rows(), "claude-code| empty| codex");
    EXPECT_EQ(entries.index(0).data(E::CardRole).value<ProviderCardModel*>(), &claudeCard());
    EXPECT_EQ(popover->card("unknown"), nullptr);
    QSignalSpy resets(&entries, &QAbstractItemModel::modelReset);
    QSignalSpy moves(&entries, &QAbstractItemModel::rowsMoved);
    entries.setOrder({"codex", "unknown", "claude-code"});
    EXPECT_EQ(std::tuple(resets.size(), moves.size(), rows()),
              std::tuple(0, 2, "codex| empty| claude-code"));
    entries.setOrder({"codex", "claude-code"});
    moves.clear();
    codexCard().beginDrag();
    EXPECT_TRUE(codexCard().dragged() && !claudeCard().dragged() && // faded and smaller
                codexCard().dragOpacity() < 1.0 && codexCard().dragScale() < 1.0 &&
                claudeCard().dragOpacity() == 1.0);
    codexCard().dragEnter();
    EXPECT_FALSE(harness.storedPreference("providerOrder").has_value());
    claudeCard().dragEnter();
    const QStringList first = {"codex", "claude-code"}, last = {"claude-code", "codex"};
    EXPECT_EQ(harness.storedPreference("providerOrder"), QJsonArray::fromStringList(last));
    EXPECT_EQ(std::tuple(moves.size(), popover->draggedProviderID()), std::tuple(1, "codex"))
        << "the drag goes on until the drop";
    claudeCard().endDrag(); // the drop, on whichever card
    EXPECT_TRUE(popover->draggedProviderID().isEmpty() && !codexCard().dragged());
    EXPECT_EQ(model->preferences()->providerOrder(), last);
    // Only Alt, and the keypad's arrows, move a focused card.
    const std::tuple<int, int, bool, QStringList> keys[] = {
        {Qt::Key_Down, Qt::AltModifier, true, last}, // last already
        {Qt::Key_Up, Qt::NoModifier, false, last},
        {Qt::Key_Up, Qt::AltModifier | Qt::ShiftModifier, false, last},
        {Qt::Key_Up, Qt::AltModifier | Qt::KeypadModifier, true, first},
        {Qt::Key_Up, Qt::AltModifier, true, first}}; // first already
    for (const auto& [key, modifiers, taken, expected] : keys) {
        EXPECT_EQ(std::tuple(codexCard().moveByKey(key, modifiers),
                             model->preferences()->providerOrder()),
                  std::tuple(taken, expected))
            << key << modifiers;
    }
    EXPECT_EQ(harness.storedPreference("providerOrder"), QJsonArray::fromStringList(first));
}

TEST(PopoverPlacement, OpensAwayFromTheNearestEdgesInsideTheAvailableArea) {
    const QSize size(340, 400);
    const QList<QRect> one = {QRect(0, 0, 1920, 1050)}; // a panel takes the bottom 30 pixels
    const QList<QRect> two = {QRect(0, 0, 1920, 1080), QRect(1920, 200, 1280, 800)};
    // The corners, the edges beside the middle, outside every screen (clamped into the nearest),
    // on the panel (kept above it); on two screens the one under the cursor; a smaller screen.
    const std::tuple<QList<QRect>, QPoint, QPoint> rows[] = {
        {one, {20, 5}, {20, 5}},          {one, {1900, 5}, {1561, 5}},
        {one, {1900, 1049}, {1561, 650}}, {one, {20, 1049}, {20, 650}},
        {one, {960, 1040}, {621, 641}},   {one, {1919, 500}, {1580, 500}},
        {one, {-30, -40}, {0, 0}},        {one, {1910, 1070}, {1571, 650}},
        {two, {1925, 210}, {1925, 210}},  {two, {3190, 990}, {2851, 591}},
        {two, {1915, 10}, {1576, 10}},    {{QRect(100, 50, 320, 240)}, {300, 200}, {100, 50}}};
    for (const auto& [screens, cursor, expected] : rows) {
        EXPECT_EQ(popoverPosition(cursor, size, screens), expected)
            << cursor.x() << "," << cursor.y();
    }
}

using PopoverWindowTest = ViewTest;

// Each control reaches the model; the views are released after the last close and rebuilt; a card
// dropped on the other swaps them (on itself nothing); losing the focus closes the popover, and a
// warm open near the bottom right corner shows the same window up and left of the click.
TEST_F(PopoverWindowTest, EachControlReachesTheModelADragSwapsCardsAndLosingTheFocusClosesIt) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.updateChecker->offer =
        AppUpdateManifest{"1.2.0", QUrl("https://example.org/lumora.deb"), {}, {}};
    harness.storePreference("providerEnabled", true); // Claude Code on, Codex off
    openPopover();
    EXPECT_TRUE(view->width() == 340 && view->flags().testFlags(Qt::Tool | Qt::FramelessWindowHint |
                                                                Qt::WindowStaysOnTopHint));
    EXPECT_EQ(harness.codex->script->fetches(), 0) << "the opening refresh asks only who is on";
    EXPECT_TRUE(popover->viewModel()->isActive());
    ASSERT_TRUE(waitFor(model->checkForUpdates(true)));
    ASSERT_TRUE(waitUntil([&] { return item("updateButton")->isVisible(); }));
    EXPECT_EQ(popover->viewModel()->updateToolTip(), "Download Lumora 1.2.0");
    click("updateButton");
    EXPECT_EQ(harness.desktop->openedUrls, QList<QUrl>({QUrl("https://example.org/lumora.deb")}));
    click("connectionButton", item("card-codex"));
    ASSERT_TRUE(waitUntil([&] {
        return model->preferences()->codexEnabled() && harness.codex->script->fetches() == 1 &&
               item("menuBarSwitch", item("card-codex"))->isVisible() &&
               !item("refreshBusy")->isVisible();
    }));
    click("menuBarSwitch", item("card-codex"));
    EXPECT_EQ(harness.storedPreference("showCodexInMenuBar"), QJsonValue(false));
    const int claudeFetches = harness.claude->script->fetches();
    click("refreshButton");
    EXPECT_TRUE(item("refreshBusy")->isVisible());
    ASSERT_TRUE(waitUntil([&] {
        return harness.codex->script->fetches() == 2 &&
               harness.claude->script->fetches() == claudeFetches + 1;
    }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true) << "the popover asks for live data";
    QSignalSpy settings(popover.get(), &PopoverWindow::settingsRequested);
    QSignalSpy quit(popover->viewModel(), &PopoverViewModel::quitRequested);
    QSignalSpy closed(popover.get(), &PopoverWindow::closed);
    int breaksAtClose = -1; // the popover closes before the break
    QObject::connect(popover.get(), &PopoverWindow::closeRequested,
                     [&] { breaksAtClose = harness.desktop->breakWindowsShown; });
    click("settingsButton");
    click("quitButton");
    click("breakButton");
    EXPECT_EQ(std::tuple(settings.size(), quit.size(), closed.size(), breaksAtClose,
                         harness.desktop->breakWindowsShown),
              std::tuple(1, 1, 1, 0, 1));
    EXPECT_FALSE(popover->isShown() || view->isVisible() || popover->viewModel()->isActive());
    const std::shared_ptr<ViewEngine> views = ViewEngine::shared();
    QSignalSpy released(views.get(), &ViewEngine::released);
    views->setReleaseDelay(std::chrono::milliseconds(1));
    ASSERT_TRUE(waitUntil([&] { return released.size() == 1; }));
    EXPECT_FALSE(views->hasEngine());
    popover->show(QPoint(0, 0));
    view = popover->window();
    ASSERT_TRUE(waitUntil([&] { return view->isExposed(); }));
    EXPECT_TRUE(item("menuBarSwitch", item("card-codex"))->isVisible());
    QQuickItem* codex = item("card-codex");
    QQuickItem* claude = item("card-claude-code");
    ASSERT_LT(codex->mapToScene({}).y(), claude->mapToScene({}).y());
    QQuickItem* handle = item("dragHandle", codex);
    drag(handle, centre(codex) + QPoint(40, 8));
    EXPECT_FALSE(harness.storedPreference("providerOrder").has_value());
    drag(handle, centre(claude));
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray({"claude-code", "codex"})));
    EXPECT_TRUE(popover->viewModel()->draggedProviderID().isEmpty());
    EXPECT_EQ(item("card-codex"), codex);
    ASSERT_TRUE(waitUntil([&] { return codex->mapToScene({}).y() > claude->mapToScene({}).y(); }));
    ASSERT_TRUE(waitUntil([&] { return codex->opacity() == 1.0 && view->isActive(); }));
    QWindow other;
    other.resize(100, 100);
    other.show();
    other.requestActivate();
    ASSERT_TRUE(waitUntil([&] { return closed.size() == 2; }));
    EXPECT_FALSE(view->isVisible());
    const QPoint corner = view->screen()->availableGeometry().bottomRight() - QPoint(5, 5);
    popover->show(corner);
    EXPECT_EQ(std::tuple(popover->window(), view->isVisible(), view->geometry().bottomRight()),
              std::tuple(view, true, corner));
    popover->close();
    EXPECT_EQ(closed.size(), 3);
}
