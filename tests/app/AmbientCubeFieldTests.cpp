#include "AppTestSupport.h"
#include "cubefield/AmbientCubeField.h"

#include <QElapsedTimer>
#include <QQuickWindow>
#include <QSGRendererInterface>

#include <gtest/gtest.h>

#include <cmath>

using namespace lumora;
using namespace lumora::test;
using namespace std::chrono_literals;

// Motion reduced: one frozen frame per size. In motion: at most 45 frames a second, none while
// hidden in any way or without height, and the item can be destroyed with a frame in flight.
TEST(AmbientCubeFieldItem, DrawsOnlyWhatIsSeenAtMost45FramesASecond) {
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); // offscreen: no GPU
    QQuickWindow window;
    window.resize(320, 200);
    auto* field = new AmbientCubeField(window.contentItem());
    field->setSize(QSizeF(320, 200));
    const auto frames = [&] {
        return field->framesRendered();
    };
    const auto reach = [&](quint64 n) {
        return waitUntil([&] { return frames() >= n; });
    };
    // Once the one frame that may have been in flight has landed, no frame comes.
    const auto expectStill = [&](const char* what) {
        ASSERT_TRUE(waitUntil([&] { return !field->isDrawing(); })) << what;
        const quint64 before = frames();
        runEventsFor(300ms);
        EXPECT_EQ(frames(), before) << what;
        EXPECT_FALSE(field->isDrawing()) << what;
    };
    runEventsFor(200ms);
    EXPECT_EQ(frames(), 0u); // never shown
    field->setReduceMotion(true);
    window.show();
    ASSERT_TRUE(reach(1));
    const QImage frozen = window.grabWindow();
    runEventsFor(300ms);
    EXPECT_EQ(frames(), 1u);
    EXPECT_EQ(window.grabWindow(), frozen);
    field->setSize(QSizeF(300, 200)); // a new size: one new frozen frame
    ASSERT_TRUE(reach(2));
    runEventsFor(300ms);
    EXPECT_EQ(frames(), 2u);

    field->setReduceMotion(false);
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(reach(14));
    runEventsFor(300ms);
    EXPECT_LE(double(frames() - 2), std::ceil(clock.elapsed() / 1000.0 * 45) + 1);
    const QImage moving = window.grabWindow();
    ASSERT_TRUE(reach(frames() + 3));
    EXPECT_NE(window.grabWindow(), moving);
    for (const bool wholeWindow : {false, true}) {
        wholeWindow ? window.hide() : field->setVisible(false);
        expectStill(wholeWindow ? "window hidden" : "item hidden");
        wholeWindow ? window.show() : field->setVisible(true);
        ASSERT_TRUE(reach(frames() + 1));
    }
    field->setSize(QSizeF(300, 0));
    expectStill("zero height");
    EXPECT_EQ(window.grabWindow().pixelColor(160, 100), window.color()); // the window's own
    field->setSize(QSizeF(300, 200));
    ASSERT_TRUE(reach(frames() + 1));

    field->setReduceMotion(true); // a moving frame in flight lands, then the frozen one
    expectStill("frozen again");
    const quint64 frozenAt = frames();
    field->setSize(QSizeF(320, 200));
    ASSERT_TRUE(reach(frozenAt + 1));
    runEventsFor(100ms);
    EXPECT_EQ(window.grabWindow(), frozen);

    window.resize(1920, 1080);
    for (int k = 0; k < 6; ++k) {
        delete field;
        field = new AmbientCubeField(window.contentItem());
        field->setSize(QSizeF(1920, 1080));
        runEventsFor(std::chrono::milliseconds(7 * k));
    }
    ASSERT_TRUE(reach(1));
}
