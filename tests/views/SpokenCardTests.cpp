// What a screen reader says for a card, the keys that move a focused card, and the settings' focus
// rings as a keyboard user meets them (build/screenshots/settings/focus-*.png, to be looked
// at). The popover's focus order is tested by keyboard in tests/a11y.
#include "SettingsTestSupport.h"

#include "views/PopoverViewModel.h"

#include <QJsonArray>
#include <QTest>

namespace lumora::test {
namespace {

UsageSnapshot codexWith(UsageWindow window, std::optional<QString> message = std::nullopt) {
    UsageSnapshot snapshot = usage("codex", Availability::ready, 0.5);
    snapshot.windows = {std::move(window)};
    snapshot.staleAfterSeconds = 300;
    snapshot.statusMessage = std::move(message);
    return snapshot;
}

// Presses Tab until the control named `name` has the focus, at most `limit` times.
QQuickItem* tabTo(QQuickWindow& view, const QString& name, int limit = 40) {
    for (int step = 0; step < limit; ++step) {
        QTest::keyClick(&view, Qt::Key_Tab);
        if (view.activeFocusItem() && view.activeFocusItem()->objectName() == name) {
            return view.activeFocusItem();
        }
    }
    ADD_FAILURE() << "Tab never reached " << name.toStdString();
    return nullptr;
}

} // namespace

TEST(SpokenCardTest, EachBlockIsReadAsOneSentenceAndAltArrowsMoveTheCard) {
    using Kind = UsageWindow::Kind;
    ModelHarness harness;
    harness.storePreference("codexEnabled", true);
    harness.storePreference("providerEnabled", false);
    auto model = harness.makeModel();
    PopoverViewModel popover(model.get());
    // Read as Claude Code still to connect: with the step it needs.
    EXPECT_EQ(popover.card("claude-code")->spokenText(),
              "Claude Code, Connect your existing local Claude Code session.");

    harness.storePreference("providerEnabled", true);
    model = harness.makeModel();
    PopoverViewModel connected(model.get());
    const QDateTime now = QDateTime::currentDateTimeUtc().addSecs(5);
    connected.setClock([&] { return now; });
    const struct {
        UsageSnapshot snapshot;
        qint64 later; // seconds after the capture the card is read
        QString spoken;
    } rows[] = {
        {codexWith(UsageWindow(Kind::session, 0.42, now.addSecs(2 * 3600 + 15 * 60 + 40))), 0,
         "58 percent left, Session limit, resets in 2 hours 15 minutes"},
        {codexWith(UsageWindow(Kind::session, 0.99, now.addSecs(3600 + 60))), 0,
         "1 percent left, Session limit, resets in 1 hour 1 minute"},
        {codexWith(UsageWindow(Kind::weekly, 0.2, now.addSecs(28 * 3600))), 0,
         "80 percent left, Weekly limit, resets in 1 day 4 hours"},
        {codexWith(UsageWindow(Kind::weekly, 0.2, now.addSecs(3 * 86400 + 1800))), 0,
         "80 percent left, Weekly limit, resets in 3 days"},
        {codexWith(UsageWindow(Kind::session, 0.5, now.addSecs(59))), 0,
         "50 percent left, Session limit, resets in under a minute"},
        {codexWith(UsageWindow::unclamped(Kind::daily, 1.2, now.addSecs(-60))), 0,
         "0 percent left, Daily limit"},
        {codexWith(UsageWindow(Kind::credits, 0.1, std::nullopt)), 0, "90 percent left, Credits"},
        {codexWith(UsageWindow(Kind::session, 0.5, std::nullopt)), 600,
         "Usage needs sync, Last update: 10 min ago"},
        {codexWith(UsageWindow(Kind::session, std::nullopt, std::nullopt), "Quota unknown."), 0,
         "Quota unknown."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.spoken.toStdString());
        UsageSnapshot snapshot = row.snapshot;
        snapshot.capturedAt = now.addSecs(-row.later);
        harness.codex->script->setSnapshot(snapshot);
        ASSERT_TRUE(waitFor(model->refresh(false)));
        EXPECT_EQ(connected.card("codex")->spokenText(), "Codex, " + row.spoken);
    }

    // Alt+Up and Alt+Down on the focused Codex card, first of two; only Alt, and the keypad's.
    const QStringList first = {"codex", "claude-code"}, last = {"claude-code", "codex"};
    const struct {
        int key, modifiers;
        bool taken;
        QStringList order;
    } keys[] = {
        {Qt::Key_Up, Qt::AltModifier, true, first}, // first already
        {Qt::Key_Down, Qt::NoModifier, false, first},
        {Qt::Key_Down, Qt::AltModifier | Qt::ShiftModifier, false, first},
        {Qt::Key_Down, Qt::AltModifier | Qt::KeypadModifier, true, last},
        {Qt::Key_Down, Qt::AltModifier, true, last}, // last already
    };
    for (const auto& row : keys) {
        EXPECT_EQ(connected.card("codex")->moveByKey(row.key, row.modifiers), row.taken);
        EXPECT_EQ(model->preferences()->providerOrder(), row.order) << row.key << row.modifiers;
    }
    // Saved as a drag saves it.
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray::fromStringList(last)));
}

using FocusScreenshots = SettingsWindowTest;

// Tab reaches each control, opened on the first; the settings form scrolls each into sight.
TEST_F(FocusScreenshots, SettingsControls) {
    open();
    QQuickWindow& view = *window->window();
    ASSERT_TRUE(waitUntil([&] { return view.activeFocusItem() != nullptr; }));
    EXPECT_EQ(view.activeFocusItem()->objectName(), "refreshButton");
    for (const QString name : {"styleButtonMinimal", "colorWell", "resetColorButton",
                               "startAtLoginSwitch", "keepHistorySwitch"}) {
        QQuickItem* control = tabTo(view, name);
        ASSERT_NE(control, nullptr);
        const QRectF shown = control->mapRectToScene(control->boundingRect());
        EXPECT_TRUE(shown.top() >= 0 && shown.bottom() <= view.height()) << name.toStdString();
        screenshot("focus-" + name);
    }
    // Back up to the top: the form follows.
    QQuickItem* refresh = item("refreshButton");
    refresh->forceActiveFocus(Qt::BacktabFocusReason);
    EXPECT_GE(refresh->mapRectToScene(refresh->boundingRect()).top(), 0);
}

} // namespace lumora::test
