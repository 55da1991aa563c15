#include "AppTestSupport.h"
#include "ViewTestSupport.h"

#include "views/PopoverPlacement.h"
#include "views/PopoverViewModel.h"
#include "views/PopoverWindow.h"
#include "views/ViewEngine.h"

#include <QJsonArray>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

using PopoverWindowTest = ViewTest;

TEST(PopoverPlacement, OpensAwayFromTheNearestEdgesInsideTheAvailableArea) {
    const QSize size(340, 400);
    const QRect screen(0, 0, 1920, 1050); // a panel takes the bottom 30 pixels
    const struct {
        QPoint cursor;
        QPoint expected;
    } rows[] = {
        {{20, 5}, {20, 5}},          // top left: right of and below the cursor
        {{1900, 5}, {1561, 5}},      // top right: to the left
        {{1900, 1049}, {1561, 650}}, // bottom right: to the left and above
        {{20, 1049}, {20, 650}},     // bottom left: above
        {{960, 1040}, {621, 641}},   // bottom edge, right of the middle
        {{1919, 500}, {1580, 500}},  // right edge, above the middle
        {{-30, -40}, {0, 0}},        // outside every screen: clamped into the nearest
        {{1910, 1070}, {1571, 650}}, // on the panel itself: kept above it
    };
    for (const auto& row : rows) {
        EXPECT_EQ(popoverPosition(row.cursor, size, {screen}), row.expected)
            << row.cursor.x() << "," << row.cursor.y();
    }
    // Two screens side by side: the one under the cursor decides.
    const QList<QRect> two = {QRect(0, 0, 1920, 1080), QRect(1920, 200, 1280, 800)};
    EXPECT_EQ(popoverPosition({1925, 210}, size, two), QPoint(1925, 210));
    EXPECT_EQ(popoverPosition({3190, 990}, size, two), QPoint(2851, 591));
    EXPECT_EQ(popoverPosition({1915, 10}, size, two), QPoint(1576, 10));
    // A screen smaller than the popover: its top left corner.
    EXPECT_EQ(popoverPosition({300, 200}, size, {QRect(100, 50, 320, 240)}), QPoint(100, 50));
}

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

    // Connect on the Codex card: a readiness check, then Codex is on and shows its switch.
    click("connectionButton", item("card-codex"));
    ASSERT_TRUE(waitUntil([&] { return model->preferences()->codexEnabled(); }));
    ASSERT_TRUE(waitUntil([&] { return item("menuBarSwitch", item("card-codex"))->isVisible(); }));
    // Switching Codex on refreshes; the Refresh button turns no spinner when that is done.
    ASSERT_TRUE(waitUntil([&] {
        return harness.codex->script->fetches() == 1 && !item("refreshBusy")->isVisible();
    }));
    click("menuBarSwitch", item("card-codex"));
    EXPECT_FALSE(model->preferences()->showCodexInMenuBar());
    EXPECT_EQ(harness.storedPreference("showCodexInMenuBar"), QJsonValue(false));

    const int fetches = harness.codex->script->fetches();
    click("refreshButton");
    EXPECT_TRUE(item("refreshBusy")->isVisible());
    ASSERT_TRUE(waitUntil([&] { return harness.codex->script->fetches() == fetches + 1; }));
    EXPECT_EQ(harness.claude->script->fetches(), 0);

    QSignalSpy settings(popover.get(), &PopoverWindow::settingsRequested);
    QSignalSpy quit(popover->viewModel(), &PopoverViewModel::quitRequested);
    QSignalSpy closeRequested(popover.get(), &PopoverWindow::closeRequested);
    QSignalSpy closed(popover.get(), &PopoverWindow::closed);
    click("settingsButton");
    EXPECT_EQ(settings.size(), 1);
    click("quitButton");
    EXPECT_EQ(quit.size(), 1);
    click("breakButton");
    EXPECT_EQ(closeRequested.size(), 1);
    EXPECT_EQ(closed.size(), 1);
    EXPECT_FALSE(popover->isShown());
    EXPECT_FALSE(window->isVisible());
    EXPECT_FALSE(popover->viewModel()->isActive()) << "no clock while hidden";

    // A while after the last window closed (here at once) the views, the engine and the fonts
    // go; the next open builds them again, complete.
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

TEST_F(PopoverWindowTest, DraggingACardOntoTheOtherSwapsAndStoresTheOrder) {
    openPopover();
    QQuickItem* codex = item("card-codex");
    QQuickItem* claude = item("card-claude-code");
    ASSERT_LT(codex->mapToScene({}).y(), claude->mapToScene({}).y());

    // Dropped on itself: nothing changes.
    QQuickItem* handle = item("dragHandle", codex);
    drag(handle, centre(codex) + QPoint(40, 8));
    EXPECT_EQ(model->preferences()->providerOrder(), QStringList({"codex", "claude-code"}));
    EXPECT_FALSE(harness.storedPreference("providerOrder").has_value());
    EXPECT_TRUE(popover->viewModel()->draggedProviderID().isEmpty());

    drag(handle, centre(claude));
    EXPECT_EQ(model->preferences()->providerOrder(), QStringList({"claude-code", "codex"}));
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray({"claude-code", "codex"})));
    EXPECT_TRUE(popover->viewModel()->draggedProviderID().isEmpty());
    EXPECT_EQ(item("card-codex"), codex) << "the cards are moved, not rebuilt";
    ASSERT_TRUE(waitUntil([&] { return codex->mapToScene({}).y() > claude->mapToScene({}).y(); }));
    ASSERT_TRUE(waitUntil([&] { return codex->opacity() == 1.0; }));
}

TEST_F(PopoverWindowTest, ClosesWhenAnotherWindowTakesTheFocusAfterTheGrace) {
    openPopover();
    QSignalSpy closed(popover.get(), &PopoverWindow::closed);
    ASSERT_TRUE(waitUntil([&] { return popover->window()->isActive(); }));
    QWindow other;
    other.resize(100, 100);
    other.show();
    other.requestActivate();
    ASSERT_TRUE(waitUntil([&] { return closed.size() == 1; }));
    EXPECT_FALSE(popover->window()->isVisible());

    // A warm open shows the same window again; near the bottom right corner of the screen
    // it reaches up and to the left of the click.
    QQuickView* window = popover->window();
    const QRect screen = window->screen()->availableGeometry();
    const QPoint corner = screen.bottomRight() - QPoint(5, 5);
    popover->show(corner);
    EXPECT_EQ(popover->window(), window);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->geometry().bottomRight(), corner);
    popover->close();
    EXPECT_EQ(closed.size(), 2);
}
