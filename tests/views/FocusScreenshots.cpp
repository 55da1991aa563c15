#include "SettingsTestSupport.h"

#include "views/PopoverWindow.h"

#include <QDir>
#include <QQuickView>
#include <QTest>

using namespace lumora;
using namespace lumora::test;

namespace {

// The focus rings as a keyboard user meets them, one PNG per focused control: to be looked at
// after a change of the views (build/bin/screenshots/). Tab walks each view; every control
// photographed must be reached, and the settings form must have scrolled it into sight.
class FocusScreenshots : public SettingsWindowTest {
protected:
    // Presses Tab until the control named `name` has the focus; at most `limit` times.
    static QQuickItem* tabTo(QQuickWindow& view, const QString& name, int limit = 40) {
        for (int step = 0; step < limit; ++step) {
            QTest::keyClick(&view, Qt::Key_Tab);
            QQuickItem* focused = view.activeFocusItem();
            if (focused && focused->objectName() == name) {
                return focused;
            }
        }
        ADD_FAILURE() << "Tab never reached " << name.toStdString();
        return nullptr;
    }
    static void save(QQuickWindow& view, const QString& name) {
        // Switches and rings settle first.
        const QDateTime until = QDateTime::currentDateTimeUtc().addMSecs(300);
        waitUntil([&] { return QDateTime::currentDateTimeUtc() >= until; });
        const QString folder = QCoreApplication::applicationDirPath() + "/screenshots";
        QDir().mkpath(folder);
        EXPECT_TRUE(saveScreenshot(view, folder + "/focus-" + name + ".png"));
    }
};

} // namespace

TEST_F(FocusScreenshots, SettingsControlsScrollIntoSightWithTheirRing) {
    open();
    QQuickWindow& view = *window->window();
    // Opened on its first control.
    ASSERT_TRUE(waitUntil([&] { return view.activeFocusItem() != nullptr; }));
    EXPECT_EQ(view.activeFocusItem()->objectName(), "refreshButton")
        << view.activeFocusItem()->metaObject()->className();
    for (const QString name : {"styleButtonMinimal", "colorWell", "resetColorButton",
                               "startAtLoginSwitch", "keepHistorySwitch"}) {
        QQuickItem* control = tabTo(view, name);
        ASSERT_NE(control, nullptr);
        const QRectF shown = control->mapRectToScene(control->boundingRect());
        EXPECT_GE(shown.top(), 0) << name.toStdString();
        EXPECT_LE(shown.bottom(), view.height()) << name.toStdString();
        save(view, "settings-" + name);
    }
    // Back up to the top: the form follows.
    QQuickItem* refresh = item("refreshButton");
    refresh->forceActiveFocus(Qt::BacktabFocusReason);
    EXPECT_GE(refresh->mapRectToScene(refresh->boundingRect()).top(), 0);
}

TEST_F(FocusScreenshots, PopoverControls) {
    harness.storePreference("providerEnabled", true);
    harness.storePreference("codexEnabled", true);
    harness.codex->script->setSnapshot(usage("codex", Availability::ready, 0.3));
    harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.42,
                                              QDateTime::currentDateTimeUtc().addSecs(8130)));
    model = harness.makeModel();
    PopoverWindow popover(model.get());
    popover.show(QPoint(0, 0));
    ASSERT_TRUE(waitUntil([&] { return popover.window()->isExposed(); }));
    ASSERT_TRUE(waitUntil([&] { return !model->isRefreshing(); }));
    QQuickWindow& view = *popover.window();
    // Opened on its first control, without a ring until the keyboard moves the focus.
    ASSERT_NE(view.activeFocusItem(), nullptr);
    EXPECT_EQ(view.activeFocusItem()->objectName(), "refreshButton");
    for (const QString name :
         {"card-codex", "menuBarSwitch", "breakButton", "settingsButton", "refreshButton"}) {
        ASSERT_NE(tabTo(view, name, 10), nullptr);
        save(view, "popover-" + name);
    }
}
