// The break: its rules, its view model, its windows and the desktop's reduce-motion setting.
#include "ViewTestSupport.h"
#include "cubefield/AmbientCubeField.h"
#include "platform/ReduceMotion.h"
#include "views/BreakDecorations.h"
#include "views/BreakViewModel.h"
#include "views/BreakWindows.h"
#include <QDBusContext>
#include <QFontMetricsF>
#include <QPointer>
#include <QScreen>

using namespace lumora;
using namespace lumora::test;

namespace {

const QDateTime now(QDate(2026, 3, 1), QTime(21, 5, 0), Qt::LocalTime);

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

using BreakWindowsTest = ViewTest;
using ReduceMotionPortalTest = ViewTest;

// The countdown rounds up to whole minutes (milliseconds too); the clock is the local 12-hour one;
// columns in the order of the enabled providers; each style's background, colour and photo crop.
TEST(BreakViewRules, CountdownClockOrderStylesAndTypeface) {
    const std::pair<double, const char*> countdowns[] = {
        {3600, "1 hour 0 minutes"},   {3541, "1 hour 0 minutes"},
        {3540.5, "1 hour 0 minutes"}, {30, "1 minute"},
        {-90, "0 minutes"},           {3660, "1 hour 1 minute"},
        {3540, "59 minutes"},         {26 * 3600 + 125, "26 hours 3 minutes"}};
    for (const auto& [seconds, text] : countdowns) {
        EXPECT_EQ(BreakViewModel::resetCountdown(now.addMSecs(qint64(seconds * 1000)), now), text)
            << seconds;
    }
    const std::tuple<QTime, const char*, const char*> clocks[] = {
        {QTime(0, 30), "12:30", "AM"},
        {QTime(12, 0), "12:00", "PM"},
        {QTime(0, 0), "12:00", "AM"},
        {QTime(11, 59, 59), "11:59", "AM"}};
    for (const auto& [time, clock, marker] : clocks) {
        const QDateTime local(QDate(2026, 7, 4), time, Qt::LocalTime);
        EXPECT_EQ(BreakViewModel::clockTime(local.toUTC()) + BreakViewModel::meridiem(local),
                  QString(clock) + marker);
    }
    EXPECT_EQ(std::tuple(BreakViewModel::msecsToNextSecond(now.addMSecs(250)),
                         BreakViewModel::msecsToNextSecond(now)),
              std::tuple(750, 1000));
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
    using B = BreakViewModel::Background;
    using S = BreakScreenStyle;
    EXPECT_EQ(QList({BreakViewModel::background(S::photo, true),
                     BreakViewModel::background(S::photo, false),
                     BreakViewModel::background(S::motion, false),
                     BreakViewModel::background(S::minimal, true)}),
              QList({B::Photo, B::Black, B::Motion, B::Black}));
    EXPECT_EQ(QList({PhotoFill::croppedSource(QSizeF(3000, 1500), QSizeF(1440, 900)),
                     PhotoFill::croppedSource(QSizeF(1000, 2000), QSizeF(1000, 500)),
                     PhotoFill::croppedSource(QSizeF(), QSizeF(1000, 500))}),
              QList({QRectF(300, 0, 2400, 1500), QRectF(0, 750, 1000, 500), QRectF()}));
    const QFontMetricsF metrics(QFont(BreakViewModel::fontFamily(), 99)); // with tabular digits
    for (char digit = '1'; digit <= '9'; ++digit) {
        EXPECT_DOUBLE_EQ(metrics.horizontalAdvance(QChar(digit)), metrics.horizontalAdvance('0'));
    }
}

// Needs two screens: ctest's BreakWindowsTest.OnTwoScreens configures the offscreen platform so.
TEST_F(BreakWindowsTest, OneFullScreenWindowPerScreenTextUnderTheCursorAndAnyInputEndsAll) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (screens.size() < 2) {
        GTEST_SKIP() << "needs the offscreen platform with two screens";
    }
    model = harness.makeModel();
    BreakWindows breaks(model.get());
    for (const int under : {1, 0}) {
        QCursor::setPos(screens[under]->geometry().center());
        breaks.show();
        ASSERT_EQ(breaks.windows().size(), screens.size());
        const QList<QPointer<QQuickWindow>> created{breaks.windows()[0], breaks.windows()[1]};
        ASSERT_TRUE(waitUntil([&] { return std::ranges::all_of(breaks.windows(), fullScreen); }));
        for (QQuickWindow* window : breaks.windows()) {
            EXPECT_EQ(std::tuple(window->geometry(),
                                 bool(window->flags() & Qt::FramelessWindowHint), window->color(),
                                 window->findChild<QQuickItem*>("interface")->isVisible()),
                      std::tuple(window->screen()->geometry(), true, QColor(Qt::black),
                                 window == breaks.textWindow()));
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

// The GNOME and KDE keys on a bus of the test's own; the break windows follow their changes.
TEST_F(ReduceMotionPortalTest, ReadsGnomeAndKdeKeysAndFollowsChanges) {
    PrivateBus bus;
    ASSERT_TRUE(bus.isRunning());
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
    BreakWindows breakWindows(model.get(), nullptr, bus.connect("app"));
    breakWindows.show();
    BreakViewModel& view = *breakWindows.viewModel();
    EXPECT_EQ(
        view.statuses()->statuses(),
        (QList<BreakStatus>{{"codex", "CODEX", "93% LEFT", "Reset time unavailable", false},
                            {"claude-code", "CLAUDE CODE", "58% LEFT", "2 hours 1 minute", true}}));
    QQuickWindow* window = breakWindows.textWindow();
    ASSERT_TRUE(waitUntil([&] { return fullScreen(window); }));
    const QDateTime started = view.now();
    ASSERT_TRUE(waitUntil([&] { return view.now().time().second() != started.time().second(); },
                          std::chrono::seconds(3)));
    auto* field = window->findChild<AmbientCubeField*>("cubeField");
    EXPECT_EQ(std::tuple(field->reduceMotion(), view.background(),
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
                view.background() == BreakViewModel::Background::Motion);
    EXPECT_NEAR(view.secondaryInformationColorValue().alphaF(), 0.64, 0.001);
    breakWindows.end();
    QSignalSpy changes(&view, &BreakViewModel::statusesChanged);
    model->preferences()->setCodexEnabled(false);
    model->preferences()->setClaudeEnabled(false);
    EXPECT_EQ(std::pair(view.hasStatuses(), changes.size()), std::pair(false, qsizetype(1)));
}

#include "BreakTests.moc"
