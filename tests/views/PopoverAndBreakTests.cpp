// The popover (its placement, its view model, its window clicked and dragged as a user would) and
// the break (its rules, its view model, its windows and the desktop's reduce-motion setting).
#include "ViewTestSupport.h"
#include "cubefield/AmbientCubeField.h"
#include "platform/ReduceMotion.h"
#include "views/BreakDecorations.h"
#include "views/BreakWindows.h"
#include "views/PopoverPlacement.h"
#include "views/PopoverViewModel.h"
#include "views/ViewEngine.h"
#include <QDBusContext>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LumoraPlugin)

using namespace lumora;
using namespace lumora::test;
using Block = ProviderCardModel::Block;
using Tint = ProviderCardModel::Tint;
using State = ProviderConnectionState;
using Readiness = LocalProviderReadiness;

namespace {

// In full screen, with the view laid out to the window's size.
bool fullScreen(QQuickWindow* window) {
    auto* view = qobject_cast<QQuickView*>(window);
    return window->isVisible() && window->visibility() == QWindow::FullScreen && view &&
           view->rootObject() && view->rootObject()->size() == QSizeF(window->size());
}

// The portal's settings ("namespace key"), wrapped twice as Debian 12's portal does unless told.
class FakeSettingsPortal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
public:
    QHash<QString, QVariant> values;
    bool doublyWrapped = true;
public slots:
    QDBusVariant Read(const QString& nameSpace, const QString& key) {
        const auto found = values.constFind(nameSpace + QLatin1Char(' ') + key);
        if (found == values.constEnd()) {
            sendErrorReply("org.freedesktop.portal.Error.NotFound", "Requested setting not found");
            return {};
        }
        return doublyWrapped ? QDBusVariant(QVariant::fromValue(QDBusVariant(*found)))
                             : QDBusVariant(*found);
    }
};

} // namespace

// The connection states' texts and button; the cards' order, swapped and stored; the figures.
TEST(PopoverViewModelTest, ConnectionStatesCardOrderAndUsageFiguresAsTheUserMeetsThem) {
    const auto codexAtRest = UsageSnapshot::unavailable("codex", "Codex", "");
    const auto claudeAtRest = UsageSnapshot::unavailable("claude-code", "Claude Code", "");
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
        EXPECT_EQ(std::tuple(ProviderCardModel::connectionMessage(codexAtRest, state),
                             ProviderCardModel::connectionMessage(claudeAtRest, state),
                             ProviderCardModel::connectionButtonTitle(codexAtRest, state),
                             ProviderCardModel::connectionButtonTitle(claudeAtRest, state)),
                  std::tuple(QString(message).replace("%1", "Codex"),
                             QString(message).replace("%1", "Claude Code"), codexButton,
                             claudeButton));
    }
    ModelHarness harness; // nothing enabled, both at rest: the privacy line and no switch
    QDateTime now;
    const auto model = harness.makeModel({.connectionCheckInterval = std::chrono::hours(1)});
    PopoverViewModel popover(model.get());
    popover.setClock([&] { return now; });
    ProviderCardModel& codexCard = *popover.card("codex");
    ProviderCardModel& claudeCard = *popover.card("claude-code");
    const auto show = [&](const UsageSnapshot& codex, const UsageSnapshot& claude) {
        harness.codex->script->setSnapshot(codex);
        harness.claude->script->setSnapshot(claude);
        ASSERT_TRUE(waitUntil([&] { return !model->isRefreshing(); })); // none in flight, then one
        ASSERT_TRUE(waitFor(model->refresh(false)));
    };
    for (const ProviderCardModel* card : {&codexCard, &claudeCard}) {
        EXPECT_EQ(std::tuple(card->block(), card->showsPrivacyLine(), card->showsSwitch(),
                             card->connectionBusy(), card->connectionButtonTitle()),
                  std::tuple(Block::Connection, true, false, false, "Connect"));
    }
    EXPECT_EQ(claudeCard.spokenText(),
              "Claude Code, Connect your existing local Claude Code session.");
    model->handleCodexReadiness(Readiness::unavailable("codex crashed"));
    EXPECT_EQ(std::tuple(codexCard.connectionMessage(), codexCard.showsPrivacyLine(),
                         codexCard.connectionButtonTitle()),
              std::tuple("codex crashed", false, "Try Again"));
    model->handleClaudeReadiness(Readiness::loginRequired());
    claudeCard.pressConnectionButton();
    ASSERT_EQ(std::tuple(model->connections()->claudeConnectionState(),
                         harness.desktop->openedUrls.size()),
              std::tuple(State::waiting(), 1));
    harness.claude->script->readinessGate.close();
    const int checksBefore = harness.claude->script->readinessChecks();
    claudeCard.pressConnectionButton();
    EXPECT_TRUE(claudeCard.block() == Block::Connection && claudeCard.connectionBusy());
    claudeCard.pressConnectionButton(); // a press while checking does nothing
    harness.claude->script->readinessGate.open();
    ASSERT_TRUE(waitUntil([&] { return model->preferences()->claudeEnabled(); }));
    EXPECT_EQ(harness.claude->script->readinessChecks(), checksBefore + 1);
    model->handleCodexReadiness(Readiness::executableMissing());
    codexCard.pressConnectionButton();
    EXPECT_EQ(std::tuple(model->connections()->codexConnectionState(),
                         harness.desktop->openedUrls.size()),
              std::tuple(State::waiting(), 2));
    // Entries in order, dividers between cards; a drag or Alt+arrow swaps (as moves), stores it.
    using E = PopoverEntries;
    PopoverEntries& entries = *popover.entries();
    const auto shownEntries = [&] {
        QStringList shown; // id, and "|" for a divider
        for (int i = 0; i < entries.rowCount(); ++i) {
            const QModelIndex at = entries.index(i);
            const auto* card = at.data(E::CardRole).value<ProviderCardModel*>();
            shown << (card && !card->isEmpty() ? at.data(E::ProviderIDRole).toString() : "empty") +
                         (at.data(E::ShowsDividerRole).toBool() ? "|" : "");
        }
        return shown.join(' ');
    };
    EXPECT_EQ(shownEntries(), "codex| claude-code");
    entries.setOrder({"claude-code", "unknown", "codex"});
    EXPECT_EQ(shownEntries(), "claude-code| empty| codex");
    EXPECT_TRUE(entries.index(0).data(E::CardRole).value<ProviderCardModel*>() == &claudeCard &&
                !popover.card("unknown"));
    QSignalSpy resets(&entries, &QAbstractItemModel::modelReset);
    QSignalSpy moves(&entries, &QAbstractItemModel::rowsMoved);
    entries.setOrder({"codex", "unknown", "claude-code"});
    EXPECT_EQ(std::tuple(resets.size(), moves.size(), shownEntries()),
              std::tuple(0, 2, "codex| empty| claude-code"));
    entries.setOrder({"codex", "claude-code"});
    moves.clear();
    codexCard.beginDrag();
    EXPECT_TRUE(codexCard.dragged() && !claudeCard.dragged() && // faded and smaller
                codexCard.dragOpacity() < 1.0 && codexCard.dragScale() < 1.0 &&
                claudeCard.dragOpacity() == 1.0);
    codexCard.dragEnter();
    EXPECT_FALSE(harness.storedPreference("providerOrder").has_value());
    claudeCard.dragEnter();
    const QStringList first = {"codex", "claude-code"}, last = {"claude-code", "codex"};
    EXPECT_EQ(harness.storedPreference("providerOrder"), QJsonArray::fromStringList(last));
    EXPECT_EQ(std::tuple(moves.size(), popover.draggedProviderID()), std::tuple(1, "codex"))
        << "the drag goes on until the drop";
    claudeCard.endDrag(); // the drop, on whichever card
    EXPECT_TRUE(popover.draggedProviderID().isEmpty() && !codexCard.dragged());
    EXPECT_EQ(model->preferences()->providerOrder(), last);
    // Only Alt, and the keypad's arrows, move a focused card.
    const std::tuple<int, int, bool, QStringList> keys[] = {
        {Qt::Key_Down, Qt::AltModifier, true, last}, // last already
        {Qt::Key_Up, Qt::NoModifier, false, last},
        {Qt::Key_Up, Qt::AltModifier | Qt::ShiftModifier, false, last},
        {Qt::Key_Up, Qt::AltModifier | Qt::KeypadModifier, true, first},
        {Qt::Key_Up, Qt::AltModifier, true, first}}; // first already
    for (const auto& [key, modifiers, taken, expected] : keys) {
        EXPECT_EQ(
            std::tuple(codexCard.moveByKey(key, modifiers), model->preferences()->providerOrder()),
            std::tuple(taken, expected))
            << key << modifiers;
    }
    EXPECT_EQ(harness.storedPreference("providerOrder"), QJsonArray::fromStringList(first));
    // A card's figures, tint, reset and spoken text; the stale state once too old.
    using W = UsageWindow;
    using K = UsageWindow::Kind;
    UsageSnapshot claude = UsageSnapshot::unavailable("claude-code", "Claude Code", "Hook quiet.");
    claude.availability = Availability::limited; // kept enabled and connected
    now = claude.capturedAt.addSecs(5);
    model->handleCodexReadiness(Readiness::ready()); // at rest, and on
    model->preferences()->setCodexEnabled(true);
    const std::tuple<UsageWindow, QString, int, Tint, QString, QString> figures[] = {
        {W::unclamped(K::session, 1.0, now.addSecs(8130)), "0", 0, Tint::Red,
         "Resets in 2 hr 15 min", "0 percent left, Session limit, resets in 2 hours 15 minutes"},
        {W::unclamped(K::daily, 1.25, {}), "0", 0, Tint::Red, "", "0 percent left, Daily limit"},
        {W(K::weekly, 0.996, now.addSecs(28 * 3600)), "0", 4, Tint::Red, "Resets in 1 day 4 hr",
         "0 percent left, Weekly limit, resets in 1 day 4 hours"},
        {W(K::monthly, 0.8, now.addSecs(3 * 86400 + 1800)), "20", 200, Tint::Orange,
         "Resets in 3 days", "20 percent left, Monthly limit, resets in 3 days"},
        {W(K::credits, 0.79, {}), "21", 210, Tint::Accent, "", "21 percent left, Credits"},
        {W(K::session, 0.99, now.addSecs(3660)), "1", 10, Tint::Orange, "Resets in 1 hr 1 min",
         "1 percent left, Session limit, resets in 1 hour 1 minute"},
        {W(K::session, 0.5, now.addSecs(59)), "50", 500, Tint::Accent, "Resets in under a minute",
         "50 percent left, Session limit, resets in under a minute"},
        {W(K::session, 0.42, now.addSecs(-30)), "58", 580, Tint::Accent, "Resets just now",
         "58 percent left, Session limit"}};
    UsageSnapshot codex = usage("codex", Availability::ready, 0.5);
    codex.staleAfterSeconds = 300;
    for (const auto& [window, percentage, bar, tint, reset, spoken] : figures) {
        codex.windows = {window};
        show(codex, claude);
        const ProviderCardModel& c = codexCard; // the bar in thousandths
        EXPECT_EQ(std::tuple(c.block(), c.percentageText(), qRound(c.barValue() * 1000), c.tint(),
                             c.resetText(), c.spokenText(), c.showsSwitch()),
                  std::tuple(Block::Usage, percentage, bar, tint, reset, "Codex, " + spoken, true));
    }
    EXPECT_EQ(std::tuple(codexCard.switchLabel(), claudeCard.block(), claudeCard.spokenText()),
              std::tuple("Show Codex in the menu bar", Block::Message, "Claude Code, Hook quiet."));
    claude.statusMessage.reset();
    show(codex, claude);
    EXPECT_EQ(claudeCard.statusText(), "Status is unavailable.");
    now = codex.capturedAt.addSecs(300); // stale only past 300 seconds
    show(codex, claude);
    EXPECT_EQ(codexCard.block(), Block::Usage);
    popover.setActive(true);
    now = codex.capturedAt.addSecs(301);
    ASSERT_TRUE(waitUntil([&] { return codexCard.block() == Block::Stale; }));
    popover.setActive(false);
    EXPECT_EQ(codexCard.spokenText() + codexCard.percentageText(),
              "Codex, Usage needs sync, Last update: 5 min ago");
    EXPECT_TRUE(ProviderCardModel::staleDetail().startsWith("Open Claude Code and send a message"));
}

TEST(PopoverPlacement, OpensAwayFromTheNearestEdgesInsideTheAvailableArea) {
    const QSize size(340, 400);
    const QList<QRect> one = {QRect(0, 0, 1920, 1050)}; // a panel takes the bottom 30 pixels
    const QList<QRect> two = {QRect(0, 0, 1920, 1080), QRect(1920, 200, 1280, 800)};
    // A corner, the middle, off-screen (clamped), on the panel (kept above); two screens; small.
    const std::tuple<QList<QRect>, QPoint, QPoint> rows[] = {
        {one, {1900, 1049}, {1561, 650}}, {one, {960, 1040}, {621, 641}},
        {one, {-30, -40}, {0, 0}},        {one, {1910, 1070}, {1571, 650}},
        {two, {1925, 210}, {1925, 210}},  {two, {3190, 990}, {2851, 591}},
        {two, {1915, 10}, {1576, 10}},    {{QRect(100, 50, 320, 240)}, {300, 200}, {100, 50}}};
    for (const auto& [screens, cursor, expected] : rows) {
        EXPECT_EQ(popoverPosition(cursor, size, screens), expected)
            << cursor.x() << "," << cursor.y();
    }
}

// Controls reach the model, views are released and rebuilt, a drop swaps, losing focus closes.
TEST_F(ViewTest, PopoverWindowControlsReachTheModelADragSwapsCardsAndLosingFocusClosesIt) {
    harness.updateChecker = std::make_shared<FakeUpdateChecker>();
    harness.updateChecker->offer =
        AppUpdateManifest{"1.2.0", QUrl("https://example.org/lumora.deb"), {}, {}};
    harness.storePreference("providerEnabled", true); // Claude Code on, Codex off
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.42));
    harness.codex->script->setSnapshot(usage("codex", Availability::limited, 0.81));
    openPopover();
    EXPECT_TRUE(
        view->width() == 340 && popover->viewModel()->isActive() &&
        view->flags().testFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint));
    EXPECT_EQ(harness.codex->script->fetches(), 0) << "the opening refresh asks only who is on";
    ASSERT_TRUE(waitFor(model->checkForUpdates(true)));
    ASSERT_TRUE(waitUntil([&] { return item("updateButton")->isVisible(); }));
    test::screenshot(*view, "popover", "update-offered");
    harness.codex->script->readinessGate.close();
    click("connectionButton", item("card-codex"));
    test::screenshot(*view, "popover", "state-checking", false);
    harness.codex->script->readinessGate.open();
    ASSERT_TRUE(waitUntil([&] {
        return model->preferences()->codexEnabled() && harness.codex->script->fetches() == 1 &&
               item("menuBarSwitch", item("card-codex"))->isVisible() &&
               !item("refreshBusy")->isVisible();
    }));
    const int claudeFetches = harness.claude->script->fetches();
    click("refreshButton");
    EXPECT_TRUE(item("refreshBusy")->isVisible());
    ASSERT_TRUE(waitUntil([&] { return harness.claude->script->fetches() == claudeFetches + 1; }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true) << "the popover asks for live data";
    QSignalSpy closed(popover.get(), &PopoverWindow::closed);
    int breaksAtClose = -1; // the popover closes before the break
    QObject::connect(popover.get(), &PopoverWindow::closeRequested,
                     [&] { breaksAtClose = harness.desktop->breakWindowsShown; });
    click("breakButton");
    EXPECT_EQ(std::tuple(closed.size(), breaksAtClose, harness.desktop->breakWindowsShown),
              std::tuple(1, 0, 1));
    EXPECT_FALSE(popover->isShown() || view->isVisible() || popover->viewModel()->isActive());
    const std::shared_ptr<ViewEngine> views = ViewEngine::shared();
    QSignalSpy released(views.get(), &ViewEngine::released);
    views->setReleaseDelay(std::chrono::milliseconds(1));
    ASSERT_TRUE(waitUntil([&] { return released.size() == 1; }));
    EXPECT_FALSE(views->hasEngine());
    openPopover();
    EXPECT_TRUE(item("menuBarSwitch", item("card-codex"))->isVisible());
    QQuickItem* codex = item("card-codex");
    QQuickItem* claude = item("card-claude-code");
    ASSERT_LT(codex->mapToScene({}).y(), claude->mapToScene({}).y());
    QQuickItem* handle = item("dragHandle", codex);
    drag(handle, centre(claude)); // held over Claude Code's card, then dropped
    test::screenshot(*view, "popover", "dragging", false);
    QTest::mouseRelease(view, Qt::LeftButton, {}, centre(claude));
    EXPECT_EQ(harness.storedPreference("providerOrder"), QJsonArray({"claude-code", "codex"}));
    EXPECT_TRUE(popover->viewModel()->draggedProviderID().isEmpty() && item("card-codex") == codex);
    ASSERT_TRUE(waitUntil([&] {
        return codex->mapToScene({}).y() > claude->mapToScene({}).y() && codex->opacity() == 1.0 &&
               view->isActive();
    }));
    QWindow other;
    other.resize(100, 100);
    other.show();
    other.requestActivate();
    ASSERT_TRUE(waitUntil([&] { return closed.size() == 2 && !view->isVisible(); }));
    const QPoint corner = view->screen()->availableGeometry().bottomRight() - QPoint(5, 5);
    popover->show(corner);
    EXPECT_EQ(std::tuple(popover->window(), view->isVisible(), view->geometry().bottomRight()),
              std::tuple(view, true, corner));
}

// The countdown rounds up to whole minutes; the local 12-hour clock; columns in order; photo crop.
TEST(BreakViewRules, CountdownClockColumnsAndPhotoCrop) {
    const QDateTime now(QDate(2026, 3, 1), QTime(21, 5, 0), Qt::LocalTime);
    const std::pair<double, const char*> countdowns[] = {
        {3600, "1 hour 0 minutes"},   {3541, "1 hour 0 minutes"},
        {3540.5, "1 hour 0 minutes"}, {30, "1 minute"},
        {-90, "0 minutes"},           {3660, "1 hour 1 minute"},
        {3540, "59 minutes"},         {26 * 3600 + 125, "26 hours 3 minutes"}};
    for (const auto& [seconds, text] : countdowns) {
        EXPECT_EQ(BreakViewModel::resetCountdown(now.addMSecs(qint64(seconds * 1000)), now), text)
            << seconds;
    }
    QStringList clocks; // the local times, given in UTC
    for (const QTime time : {QTime(0, 30), QTime(12, 0), QTime(0, 0), QTime(11, 59, 59)}) {
        const QDateTime local(QDate(2026, 7, 4), time, Qt::LocalTime);
        clocks << BreakViewModel::clockTime(local.toUTC()) + BreakViewModel::meridiem(local);
    }
    EXPECT_EQ(clocks.join(' '), "12:30AM 12:00PM 12:00AM 11:59AM");
    const UsageSnapshot claude = usage("claude-code", Availability::ready, 0.01);
    const UsageSnapshot codex = usage("codex", Availability::blocked, 1.0);
    const QStringList codexFirst{"codex", "claude-code"},
        claudeFirst{"claude-code", "other", "codex"};
    const std::tuple<QStringList, bool, bool, QStringList> orders[] = {
        {codexFirst, true, true, codexFirst},  {claudeFirst, true, true, {"claude-code", "codex"}},
        {claudeFirst, false, true, {"codex"}}, {codexFirst, true, false, {"claude-code"}},
        {codexFirst, false, false, {}},        {{}, true, true, {}}};
    for (const auto& [order, claudeOn, codexOn, shown] : orders) {
        QStringList ids;
        for (const auto& s :
             BreakViewModel::breakSnapshots(order, claudeOn, codexOn, claude, codex)) {
            ids << s.providerID;
        }
        EXPECT_EQ(ids, shown) << order.join(',').toStdString() << claudeOn << codexOn;
    }
    EXPECT_EQ(QList({PhotoFill::croppedSource(QSizeF(3000, 1500), QSizeF(1440, 900)),
                     PhotoFill::croppedSource(QSizeF(1000, 2000), QSizeF(1000, 500)),
                     PhotoFill::croppedSource(QSizeF(), QSizeF(1000, 500))}),
              QList({QRectF(300, 0, 2400, 1500), QRectF(0, 750, 1000, 500), QRectF()}));
}

// Reduce-motion keys on a private bus, followed by the break; one window per screen, input ends it.
TEST_F(ViewTest, BreakWindowsFollowReduceMotionAndOneFullScreenOnEachScreenEndsOnAnyInput) {
    PrivateBus bus;
    FakeSettingsPortal portal;
    const auto readsReduceMotion = [&] { // what a fresh reader says once it has its answers
        ReduceMotionSetting setting(bus.connect("client"));
        EXPECT_TRUE(waitUntil([&] { return setting.hasAnswers(); }));
        return setting.reduceMotion();
    };
    EXPECT_FALSE(readsReduceMotion()) << "no portal on the bus: motion";
    QDBusConnection portalBus = bus.connect("portal");
    ASSERT_TRUE(portalBus.registerObject(ReduceMotionSetting::portalPath, &portal,
                                         QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(portalBus.registerService(ReduceMotionSetting::portalService));
    const QString gnome = "org.gnome.desktop.interface enable-animations";
    const QString kde = "org.kde.kdeglobals.KDE AnimationDurationFactor";
    // Neither key, each key, a newer portal's single variant, and a value of the wrong type.
    const std::tuple<QString, QVariant, bool, bool> rows[] = {
        {"", {}, true, false},      {gnome, false, true, true}, {gnome, true, true, false},
        {kde, 0.0, true, true},     {kde, 0.5, true, false},    {kde, 0.0, false, true},
        {kde, "none", false, false}};
    for (const auto& [key, value, doublyWrapped, reduced] : rows) {
        portal.values = {{key, value}}; // "" is no key
        portal.doublyWrapped = doublyWrapped;
        EXPECT_EQ(readsReduceMotion(), reduced)
            << key.toStdString() << value.toString().toStdString();
    }
    // Columns from the snapshots and switches, a clock ticking while shown; in the photo style
    // without a photo the windows are black and the field does not draw until motion is chosen.
    portal.values = {{gnome, true}};
    warnings.clear();
    harness.storePreference("breakScreenStyle", "photo");
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 30);
    harness.enableBoth(usage("claude-code", Availability::ready, 0.42, reset),
                       usage("codex", Availability::ready, 0.07));
    model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    BreakWindows breaks(model.get(), nullptr, bus.connect("app"));
    breaks.show();
    BreakViewModel& shown = *breaks.viewModel();
    EXPECT_EQ(
        shown.statuses()->statuses(),
        (QList<BreakStatus>{{"codex", "CODEX", "93% LEFT", "Reset time unavailable", false},
                            {"claude-code", "CLAUDE CODE", "58% LEFT", "2 hours 1 minute", true}}));
    QQuickWindow* window = breaks.textWindow();
    ASSERT_TRUE(waitUntil([&] { return fullScreen(window); }));
    const QDateTime started = shown.now();
    ASSERT_TRUE(waitUntil([&] { return shown.now().time().second() != started.time().second(); },
                          std::chrono::seconds(3)));
    auto* field = window->findChild<AmbientCubeField*>("cubeField");
    EXPECT_EQ(std::tuple(field->reduceMotion(), shown.background(),
                         window->findChild<QQuickItem*>("motionBackground")->isVisible(),
                         window->grabWindow().pixelColor(5, 5)),
              std::tuple(false, BreakViewModel::Background::Black, false, QColor(Qt::black)));
    // Announced until heard: the reader's subscription may still be on its way to the bus.
    for (const bool animations : {false, true}) {
        ASSERT_TRUE(waitUntil([&] {
            QDBusMessage signal = QDBusMessage::createSignal(ReduceMotionSetting::portalPath,
                                                             ReduceMotionSetting::settingsInterface,
                                                             "SettingChanged");
            signal << "org.gnome.desktop.interface"
                   << "enable-animations" << QVariant::fromValue(QDBusVariant(animations));
            return portalBus.send(signal) && field->reduceMotion() == !animations;
        }));
    }
    EXPECT_EQ(field->framesRendered(), 0u);
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::motion);
    // The first frames of a full-screen field take long in an unoptimised build on a busy machine.
    ASSERT_TRUE(waitUntil([&] { return field->framesRendered() >= 2; }, std::chrono::seconds(90)));
    EXPECT_TRUE(window->grabWindow().pixelColor(5, 5) != QColor(Qt::black) &&
                shown.background() == BreakViewModel::Background::Motion);
    breaks.end();
    QSignalSpy changes(&shown, &BreakViewModel::statusesChanged);
    model->preferences()->setCodexEnabled(false);
    model->preferences()->setClaudeEnabled(false);
    EXPECT_EQ(std::pair(shown.hasStatuses(), changes.size()), std::pair(false, qsizetype(1)));
    // A window on each screen (ctest configures the offscreen platform with two), the text on the
    // one under the cursor; a key or a click on any of them ends the break.
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::minimal);
    const QList<QScreen*> screens = QGuiApplication::screens();
    ASSERT_EQ(screens.size(), 2);
    for (const int under : {1, 0}) {
        QCursor::setPos(screens[under]->geometry().center());
        breaks.show();
        ASSERT_EQ(breaks.windows().size(), screens.size());
        const QList<QPointer<QQuickWindow>> created{breaks.windows()[0], breaks.windows()[1]};
        ASSERT_TRUE(waitUntil([&] { return std::ranges::all_of(breaks.windows(), fullScreen); }));
        for (QQuickWindow* window : breaks.windows()) { // frameless, the text on one only
            EXPECT_EQ(std::pair(bool(window->flags() & Qt::FramelessWindowHint),
                                window->findChild<QQuickItem*>("interface")->isVisible()),
                      std::pair(true, window == breaks.textWindow()));
        }
        EXPECT_TRUE(breaks.textWindow()->screen() == screens[under] &&
                    created[0]->screen() != created[1]->screen() &&
                    breaks.viewModel()->isTicking());
        if (under == 1) { // asked again while shown: the same windows; a click on the other ends
            breaks.show();
            EXPECT_TRUE(breaks.windows() == QList<QQuickWindow*>({created[0], created[1]}) &&
                        std::ranges::all_of(breaks.windows(), fullScreen));
            QTest::mouseClick(created[0] == breaks.textWindow() ? created[1] : created[0],
                              Qt::LeftButton);
        } else {
            QTest::keyClick(breaks.textWindow(), Qt::Key_Escape);
        }
        EXPECT_FALSE(breaks.isShown() || !breaks.windows().isEmpty() ||
                     breaks.viewModel()->isTicking());
        ASSERT_TRUE(waitUntil([&] { return created[0].isNull() && created[1].isNull(); }));
    }
}

#include "PopoverAndBreakTests.moc"
