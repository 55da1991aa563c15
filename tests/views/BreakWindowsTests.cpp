#include "ViewTestSupport.h"

#include "cubefield/AmbientCubeField.h"
#include "platform/ReduceMotion.h"
#include "views/BreakViewModel.h"
#include "views/BreakWindows.h"

#include <QCursor>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QGuiApplication>
#include <QPointer>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QTest>

#include <gtest/gtest.h>

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
    QCursor::setPos(screens[1]->geometry().center());

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
    EXPECT_EQ(breakWindows.textWindow()->screen(), screens[1]);
    EXPECT_NE(created[0]->screen(), created[1]->screen());
    EXPECT_TRUE(breakWindows.viewModel()->isTicking());

    // Asked again while shown: the same windows, still in full screen.
    breakWindows.show();
    EXPECT_EQ(breakWindows.windows(), QList<QQuickWindow*>({created[0], created[1]}));
    EXPECT_TRUE(allFullScreen(breakWindows));

    // A click on the window without text ends the break everywhere.
    QQuickWindow* other = created[0] == breakWindows.textWindow() ? created[1] : created[0];
    QTest::mouseClick(other, Qt::LeftButton); // in its middle
    EXPECT_FALSE(breakWindows.isShown());
    EXPECT_TRUE(breakWindows.windows().isEmpty());
    ASSERT_TRUE(waitUntil([&] { return created[0].isNull() && created[1].isNull(); }));
    EXPECT_FALSE(breakWindows.viewModel()->isTicking());

    // The next break, on new windows: the text follows the cursor; Escape ends it.
    QCursor::setPos(screens[0]->geometry().center());
    breakWindows.show();
    ASSERT_EQ(breakWindows.windows().size(), screens.size());
    ASSERT_TRUE(waitUntil([&] { return allFullScreen(breakWindows); }));
    EXPECT_EQ(breakWindows.textWindow()->screen(), screens[0]);
    EXPECT_TRUE(textShown(breakWindows.textWindow()));
    QPointer<QQuickWindow> text = breakWindows.textWindow();
    QTest::keyClick(text.data(), Qt::Key_Escape);
    EXPECT_TRUE(breakWindows.windows().isEmpty());
    ASSERT_TRUE(waitUntil([&] { return text.isNull(); }));
    EXPECT_EQ(significantWarnings(warnings), QStringList());
}

namespace {

// The desktop portal's settings interface, answering from a table, as Debian 12's portal does
// (the value in a second variant) unless told otherwise.
class FakeSettingsPortal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    QHash<QString, QVariant> values; // "namespace key"
    bool doublyWrapped = true;

public slots:
    QDBusVariant Read(const QString& nameSpace, const QString& key) {
        const auto found = values.constFind(nameSpace + QLatin1Char(' ') + key);
        if (found == values.constEnd()) {
            sendErrorReply(QStringLiteral("org.freedesktop.portal.Error.NotFound"),
                           QStringLiteral("Requested setting not found"));
            return {};
        }
        return doublyWrapped ? QDBusVariant(QVariant::fromValue(QDBusVariant(*found)))
                             : QDBusVariant(*found);
    }
};

// A dbus-daemon of the test's own with a portal on it.
class ReduceMotionPortalTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.isRunning()); }
    void startPortal() {
        portalBus = bus.connect("portal");
        ASSERT_TRUE(portalBus.registerObject(ReduceMotionSetting::portalPath, &portal,
                                             QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(portalBus.registerService(ReduceMotionSetting::portalService));
    }
    void announce(const QString& nameSpace, const QString& key, const QVariant& value) {
        QDBusMessage signal = QDBusMessage::createSignal(ReduceMotionSetting::portalPath,
                                                         ReduceMotionSetting::settingsInterface,
                                                         QStringLiteral("SettingChanged"));
        signal << nameSpace << key << QVariant::fromValue(QDBusVariant(value));
        ASSERT_TRUE(portalBus.send(signal));
    }
    // What a fresh reader says once it has its answers.
    bool readsReduceMotion() {
        ReduceMotionSetting setting(bus.connect("client"));
        EXPECT_TRUE(waitUntil([&] { return setting.hasAnswers(); }));
        return setting.reduceMotion();
    }

    PrivateBus bus;
    FakeSettingsPortal portal;
    QDBusConnection portalBus{QStringLiteral("none")};
};

const QString gnome = QStringLiteral("org.gnome.desktop.interface enable-animations");
const QString kde = QStringLiteral("org.kde.kdeglobals.KDE AnimationDurationFactor");

} // namespace

TEST_F(ReduceMotionPortalTest, ReadsGnomeAndKdeKeysAndFollowsChanges) {
    // No portal on the bus: motion.
    EXPECT_FALSE(readsReduceMotion());

    startPortal();
    // Neither key (a desktop that has neither): motion.
    EXPECT_FALSE(readsReduceMotion());
    portal.values[gnome] = false;
    EXPECT_TRUE(readsReduceMotion());
    portal.values[gnome] = true;
    EXPECT_FALSE(readsReduceMotion());
    portal.values.clear();
    portal.values[kde] = 0.0;
    EXPECT_TRUE(readsReduceMotion());
    portal.values[kde] = 0.5;
    EXPECT_FALSE(readsReduceMotion());
    // Newer portals answer with the value in one variant.
    portal.doublyWrapped = false;
    portal.values[kde] = 0.0;
    EXPECT_TRUE(readsReduceMotion());
    // A value of the wrong type says nothing.
    portal.values[kde] = QStringLiteral("none");
    EXPECT_FALSE(readsReduceMotion());

    // The break windows read it and follow the portal's change signal. In the photo style without
    // a photo they are black and the field does not draw, until motion is chosen.
    portal.values.clear();
    portal.values[gnome] = true;
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
    const auto heard = [&](bool animations) {
        return waitUntil([&] {
            announce("org.gnome.desktop.interface", "enable-animations", animations);
            return field->reduceMotion() == !animations;
        });
    };
    ASSERT_TRUE(heard(false));
    ASSERT_TRUE(heard(true));
    EXPECT_EQ(field->framesRendered(), 0u);
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::motion);
    // The first frames of a full-screen field take long in an unoptimised build on a busy machine.
    ASSERT_TRUE(waitUntil([&] { return field->framesRendered() >= 2; }, std::chrono::seconds(90)));
    EXPECT_NE(window->grabWindow().pixelColor(5, 5), QColor(Qt::black));
    breakWindows.end();
    EXPECT_EQ(significantWarnings(warnings), QStringList());
}

#include "BreakWindowsTests.moc"
