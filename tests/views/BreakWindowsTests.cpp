#include "ViewTestSupport.h"

#include "cubefield/AmbientCubeField.h"
#include "platform/ReduceMotion.h"
#include "views/BreakViewModel.h"
#include "views/BreakWindows.h"

#include <QDBusContext>
#include <QPointer>
#include <QScreen>
#include <QTest>

using namespace lumora;
using namespace lumora::test;

namespace {

// In full screen, with the view laid out to the window's size.
bool fullScreen(QQuickWindow* window) {
    auto* view = qobject_cast<QQuickView*>(window);
    return window->isVisible() && window->visibility() == QWindow::FullScreen && view &&
           view->rootObject() && view->rootObject()->size() == QSizeF(window->size());
}

bool allFullScreen(const BreakWindows& windows) {
    const QList<QQuickWindow*> all = windows.windows();
    return !all.isEmpty() && std::all_of(all.begin(), all.end(), fullScreen);
}

bool textShown(QQuickWindow* window) {
    auto* text = window->findChild<QQuickItem*>(QStringLiteral("interface"));
    return text && text->isVisible();
}

} // namespace

// Needs two screens: ctest's BreakWindowsTest.OnTwoScreens configures the offscreen platform so.
TEST(BreakWindowsTest, OneFullScreenWindowPerScreenTextUnderTheCursorAndAnyInputEndsAll) {
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (screens.size() < 2) {
        GTEST_SKIP() << "needs the offscreen platform with two screens";
    }
    WarningLog warnings;
    ModelHarness harness;
    auto model = harness.makeModel();
    BreakWindows breakWindows(model.get());
    // Each break on new windows, the text on the cursor's screen; Escape or a click ends it all.
    for (const int under : {1, 0}) {
        QCursor::setPos(screens[under]->geometry().center());
        breakWindows.show();
        ASSERT_EQ(breakWindows.windows().size(), screens.size());
        const QList<QPointer<QQuickWindow>> created{breakWindows.windows()[0],
                                                    breakWindows.windows()[1]};
        ASSERT_TRUE(waitUntil([&] { return allFullScreen(breakWindows); }));
        for (QQuickWindow* window : breakWindows.windows()) {
            EXPECT_EQ(window->geometry(), window->screen()->geometry());
            EXPECT_TRUE(window->flags() & Qt::FramelessWindowHint);
            EXPECT_EQ(window->color(), QColor(Qt::black));
            EXPECT_EQ(textShown(window), window == breakWindows.textWindow());
        }
        ASSERT_NE(breakWindows.textWindow(), nullptr);
        EXPECT_EQ(breakWindows.textWindow()->screen(), screens[under]);
        EXPECT_NE(created[0]->screen(), created[1]->screen());
        EXPECT_TRUE(breakWindows.viewModel()->isTicking());
        if (under == 1) { // asked again while shown: the same windows; a click on the other ends
            breakWindows.show();
            EXPECT_EQ(breakWindows.windows(), QList<QQuickWindow*>({created[0], created[1]}));
            EXPECT_TRUE(allFullScreen(breakWindows));
            QTest::mouseClick(created[0] == breakWindows.textWindow() ? created[1] : created[0],
                              Qt::LeftButton);
        } else {
            QTest::keyClick(breakWindows.textWindow(), Qt::Key_Escape);
        }
        EXPECT_FALSE(breakWindows.isShown());
        EXPECT_TRUE(breakWindows.windows().isEmpty());
        ASSERT_TRUE(waitUntil([&] { return created[0].isNull() && created[1].isNull(); }));
        EXPECT_FALSE(breakWindows.viewModel()->isTicking());
    }
    EXPECT_EQ(significantWarnings(warnings), QStringList());
}

namespace {

// The desktop portal's settings interface answering from a table ("namespace key"), with the
// value in a second variant as Debian 12's portal does unless told otherwise.
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

// On a dbus-daemon of the test's own: the GNOME and KDE keys, then the break windows following
// the portal's change signal.
TEST(ReduceMotionPortalTest, ReadsGnomeAndKdeKeysAndFollowsChanges) {
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
        portal.values.clear();
        if (!key.isEmpty()) {
            portal.values[key] = value;
        }
        portal.doublyWrapped = doublyWrapped;
        EXPECT_EQ(readsReduceMotion(), reduced)
            << key.toStdString() << value.toString().toStdString();
    }
    // In the photo style without a photo the windows are black and the field does not draw,
    // until motion is chosen.
    portal.values = {{gnome, true}};
    WarningLog warnings;
    ModelHarness harness;
    harness.storePreference("breakScreenStyle", "photo");
    auto model = harness.makeModel();
    BreakWindows breakWindows(model.get(), nullptr, bus.connect("app"));
    breakWindows.show();
    QQuickWindow* window = breakWindows.textWindow();
    ASSERT_TRUE(waitUntil([&] { return fullScreen(window); }));
    auto* field = window->findChild<AmbientCubeField*>("cubeField");
    EXPECT_FALSE(field->reduceMotion());
    EXPECT_EQ(breakWindows.viewModel()->background(), BreakViewModel::Background::Black);
    EXPECT_FALSE(window->findChild<QQuickItem*>("motionBackground")->isVisible());
    EXPECT_EQ(window->grabWindow().pixelColor(5, 5), QColor(Qt::black));
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
    EXPECT_NE(window->grabWindow().pixelColor(5, 5), QColor(Qt::black));
    breakWindows.end();
    EXPECT_EQ(significantWarnings(warnings), QStringList());
}

#include "BreakWindowsTests.moc"
