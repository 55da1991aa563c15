#include "ViewTestSupport.h"

#include "views/PopoverPlacement.h"
#include "views/PopoverViewModel.h"
#include "views/ViewEngine.h"

#include <QJsonArray>
#include <QScreen>
#include <QSignalSpy>

using namespace lumora;
using namespace lumora::test;

using PopoverWindowTest = ViewTest;

TEST(PopoverPlacement, OpensAwayFromTheNearestEdgesInsideTheAvailableArea) {
    const QSize size(340, 400);
    const QList<QRect> one = {QRect(0, 0, 1920, 1050)}; // a panel takes the bottom 30 pixels
    const QList<QRect> two = {QRect(0, 0, 1920, 1080), QRect(1920, 200, 1280, 800)};
    const std::tuple<QList<QRect>, QPoint, QPoint> rows[] = {
        {one, {20, 5}, {20, 5}},          // top left: right of and below the cursor
        {one, {1900, 5}, {1561, 5}},      // top right: to the left
        {one, {1900, 1049}, {1561, 650}}, // bottom right: to the left and above
        {one, {20, 1049}, {20, 650}},     // bottom left: above
        {one, {960, 1040}, {621, 641}},   // bottom edge, right of the middle
        {one, {1919, 500}, {1580, 500}},  // right edge, above the middle
        {one, {-30, -40}, {0, 0}},        // outside every screen: clamped into the nearest
        {one, {1910, 1070}, {1571, 650}}, // on the panel itself: kept above it
        {two, {1925, 210}, {1925, 210}},  // two screens: the one under the cursor decides
        {two, {3190, 990}, {2851, 591}},
        {two, {1915, 10}, {1576, 10}},
        {{QRect(100, 50, 320, 240)}, {300, 200}, {100, 50}}}; // a smaller screen: its corner
    for (const auto& [screens, cursor, expected] : rows) {
        EXPECT_EQ(popoverPosition(cursor, size, screens), expected)
            << cursor.x() << "," << cursor.y();
    }
}

// Each control reaches the model; the views are released a while after the last window closed
// and built again, complete, at the next open.
TEST_F(PopoverWindowTest, LoadsWithoutWarningsAndEachControlReachesTheModel) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.updateChecker->offer =
        AppUpdateManifest{"1.2.0", QUrl("https://example.org/lumora.deb"), {}, {}};
    openPopover();
    QQuickView* window = popover->window();
    EXPECT_EQ(window->width(), 340);
    EXPECT_TRUE(
        window->flags().testFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint));
    EXPECT_EQ(harness.codex->script->fetches() + harness.claude->script->fetches(), 0)
        << "both off: the opening refresh asks nobody";
    EXPECT_TRUE(popover->viewModel()->isActive());
    ASSERT_TRUE(waitFor(model->checkForUpdates(true)));
    ASSERT_TRUE(waitUntil([&] { return item("updateButton")->isVisible(); }));
    click("updateButton");
    EXPECT_EQ(harness.desktop->openedUrls, QList<QUrl>({QUrl("https://example.org/lumora.deb")}));
    // Connect on the Codex card: a readiness check, then Codex is on, refreshed, with its switch.
    click("connectionButton", item("card-codex"));
    ASSERT_TRUE(waitUntil([&] { return model->preferences()->codexEnabled(); }));
    ASSERT_TRUE(waitUntil([&] { return item("menuBarSwitch", item("card-codex"))->isVisible(); }));
    ASSERT_TRUE(waitUntil([&] {
        return harness.codex->script->fetches() == 1 && !item("refreshBusy")->isVisible();
    }));
    click("menuBarSwitch", item("card-codex"));
    EXPECT_EQ(harness.storedPreference("showCodexInMenuBar"), QJsonValue(false));
    click("refreshButton");
    EXPECT_TRUE(item("refreshBusy")->isVisible());
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->fetches() == 2; }));
    EXPECT_EQ(harness.claude->script->fetches(), 0);
    QSignalSpy settings(popover.get(), &PopoverWindow::settingsRequested);
    QSignalSpy quit(popover->viewModel(), &PopoverViewModel::quitRequested);
    QSignalSpy closeRequested(popover.get(), &PopoverWindow::closeRequested);
    QSignalSpy closed(popover.get(), &PopoverWindow::closed);
    click("settingsButton");
    click("quitButton");
    click("breakButton");
    EXPECT_EQ(QList({settings.size(), quit.size(), closeRequested.size(), closed.size()}),
              QList<qsizetype>({1, 1, 1, 1}));
    EXPECT_FALSE(popover->isShown() || window->isVisible());
    EXPECT_FALSE(popover->viewModel()->isActive()) << "no clock while hidden";
    const std::shared_ptr<ViewEngine> views = ViewEngine::shared();
    QSignalSpy released(views.get(), &ViewEngine::released);
    views->setReleaseDelay(std::chrono::milliseconds(1));
    ASSERT_TRUE(waitUntil([&] { return released.size() == 1; }));
    EXPECT_FALSE(views->hasEngine());
    popover->show(QPoint(0, 0));
    view = popover->window();
    ASSERT_TRUE(waitUntil([&] { return view->isExposed(); }));
    EXPECT_TRUE(item("menuBarSwitch", item("card-codex"))->isVisible());
}

// A card dropped on itself changes nothing; on the other it swaps, moved rather than rebuilt.
TEST_F(PopoverWindowTest, DraggingACardOntoTheOtherSwapsAndStoresTheOrder) {
    openPopover();
    QQuickItem* codex = item("card-codex");
    QQuickItem* claude = item("card-claude-code");
    ASSERT_LT(codex->mapToScene({}).y(), claude->mapToScene({}).y());
    QQuickItem* handle = item("dragHandle", codex);
    drag(handle, centre(codex) + QPoint(40, 8));
    EXPECT_FALSE(harness.storedPreference("providerOrder").has_value());
    EXPECT_TRUE(popover->viewModel()->draggedProviderID().isEmpty());
    drag(handle, centre(claude));
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray({"claude-code", "codex"})));
    EXPECT_TRUE(popover->viewModel()->draggedProviderID().isEmpty());
    EXPECT_EQ(item("card-codex"), codex);
    ASSERT_TRUE(waitUntil([&] { return codex->mapToScene({}).y() > claude->mapToScene({}).y(); }));
    ASSERT_TRUE(waitUntil([&] { return codex->opacity() == 1.0; }));
}

// Another window taking the focus closes it; a warm open near the screen's bottom right corner
// shows the same window again, up and to the left of the click.
TEST_F(PopoverWindowTest, ClosesWhenAnotherWindowTakesTheFocusAfterTheGrace) {
    openPopover();
    QSignalSpy closed(popover.get(), &PopoverWindow::closed);
    ASSERT_TRUE(waitUntil([&] { return popover->window()->isActive(); }));
    QWindow other;
    other.resize(100, 100);
    other.show();
    other.requestActivate();
    ASSERT_TRUE(waitUntil([&] { return closed.size() == 1; }));
    QQuickView* window = popover->window();
    EXPECT_FALSE(window->isVisible());
    const QPoint corner = window->screen()->availableGeometry().bottomRight() - QPoint(5, 5);
    popover->show(corner);
    EXPECT_EQ(popover->window(), window);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->geometry().bottomRight(), corner);
    popover->close();
    EXPECT_EQ(closed.size(), 2);
}
