#include "cubefield/AmbientCubeField.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QTimer>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>

using lumora::AmbientCubeField;

namespace {

// Runs the event loop for `ms` milliseconds.
void runEvents(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Runs the event loop until `done` holds or `timeoutMs` pass; returns whether it held.
bool runEventsUntil(const std::function<bool()>& done, int timeoutMs = 10000) {
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > timeoutMs) {
            return false;
        }
        runEvents(5);
    }
    return true;
}

class AmbientCubeFieldItem : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        // The offscreen platform has no GPU; Qt Quick's software renderer still calls
        // updatePaintNode and can grab the window.
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }

    void SetUp() override {
        window = std::make_unique<QQuickWindow>();
        window->resize(320, 200);
        field = new AmbientCubeField(window->contentItem());
        field->setSize(QSizeF(320, 200));
    }

    void showAndWaitForFirstFrame() {
        window->show();
        ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() >= 1; }));
    }

    std::unique_ptr<QQuickWindow> window;
    AmbientCubeField* field = nullptr; // owned by the window's content item
};

} // namespace

// Never shown, hidden or without size it draws nothing; shown, frames move at most 45 a second.
TEST_F(AmbientCubeFieldItem, AnimatesAtMost45FramesASecondAndDrawsNothingWhileHidden) {
    runEvents(200);
    EXPECT_EQ(field->framesRendered(), 0u);
    showAndWaitForFirstFrame();
    QElapsedTimer clock;
    clock.start();
    const quint64 start = field->framesRendered();
    ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() >= start + 12; }));
    runEvents(300);
    const double seconds = clock.elapsed() / 1000.0;
    const quint64 frames = field->framesRendered() - start;
    EXPECT_LE(double(frames), std::ceil(seconds * 45) + 1) << frames << " frames in " << seconds;

    const QImage before = window->grabWindow();
    const quint64 now = field->framesRendered();
    ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() >= now + 3; }));
    EXPECT_NE(window->grabWindow(), before);

    // After each way of hiding, the one frame that may have been in flight lands (later on a slow,
    // instrumented build); after that no frame comes, and showing again draws.
    const auto expectNoFramesWhile = [&](const char* what) {
        // Not drawing: the frame has been handed over and counted.
        ASSERT_TRUE(runEventsUntil([&] { return !field->isDrawing(); })) << what;
        const quint64 frames = field->framesRendered();
        runEvents(300);
        EXPECT_EQ(field->framesRendered(), frames) << what;
        EXPECT_FALSE(field->isDrawing()) << what;
    };
    const auto expectFramesAgain = [&] {
        const quint64 frames = field->framesRendered();
        ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() > frames; }));
    };

    field->setVisible(false);
    expectNoFramesWhile("item hidden");
    field->setVisible(true);
    expectFramesAgain();

    window->hide();
    expectNoFramesWhile("window hidden");
    window->show();
    expectFramesAgain();

    field->setSize(QSizeF(320, 0));
    expectNoFramesWhile("zero height");
    // Nothing on screen either: the window shows its own (black) background.
    const QImage grabbed = window->grabWindow();
    EXPECT_EQ(grabbed.pixelColor(160, 100), window->color());
}

TEST_F(AmbientCubeFieldItem, ReducedMotionDrawsOneFrozenFrame) {
    field->setReduceMotion(true);
    showAndWaitForFirstFrame();
    const QImage first = window->grabWindow();
    runEvents(400);
    EXPECT_EQ(field->framesRendered(), 1u);
    EXPECT_EQ(window->grabWindow(), first);

    // A new size draws one new frozen frame; the same phase-0 picture at that size.
    field->setSize(QSizeF(300, 200));
    ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() == 2; }));
    runEvents(300);
    EXPECT_EQ(field->framesRendered(), 2u);

    // Switching motion on animates; switching it off again freezes once more.
    field->setReduceMotion(false);
    ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() >= 5; }));
    field->setReduceMotion(true);
    // A moving frame in flight lands first, then the frozen one is drawn.
    ASSERT_TRUE(runEventsUntil([&] { return !field->isDrawing(); }));
    const quint64 frozenAt = field->framesRendered();
    runEvents(300);
    EXPECT_EQ(field->framesRendered(), frozenAt);
    field->setSize(QSizeF(320, 200));
    ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() == frozenAt + 1; }));
    runEvents(100);
    EXPECT_EQ(window->grabWindow(), first);
}

TEST_F(AmbientCubeFieldItem, CanBeDestroyedWithAFrameInFlight) {
    window->resize(1920, 1080);
    field->setSize(QSizeF(1920, 1080));
    window->show();
    for (int k = 0; k < 5; ++k) {
        runEvents(7 * k);
        delete field;
        field = new AmbientCubeField(window->contentItem());
        field->setSize(QSizeF(1920, 1080));
    }
    ASSERT_TRUE(runEventsUntil([&] { return field->framesRendered() >= 1; }));
}
