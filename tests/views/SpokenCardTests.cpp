#include "AppTestSupport.h"

#include "views/PopoverViewModel.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// What a screen reader says for a card, and the keys that move a focused card.
class SpokenCardTest : public ::testing::Test {
protected:
    void SetUp() override {
        harness.storePreference("providerEnabled", true);
        harness.storePreference("codexEnabled", true);
        model = harness.makeModel();
        popover = std::make_unique<PopoverViewModel>(model.get());
    }
    // Shows this Codex snapshot (Claude Code has none) as of `now`.
    void show(const UsageSnapshot& codex) {
        harness.codex->script->setSnapshot(codex);
        harness.claude->script->setSnapshot(usage("claude-code", Availability::ready, 0.1));
        ASSERT_TRUE(waitFor(model->refresh(false)));
        popover->setClock([this] { return now; });
    }
    QStringList order() const { return model->preferences()->providerOrder(); }

    ModelHarness harness;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<PopoverViewModel> popover;
    QDateTime now;
};

UsageSnapshot withWindow(UsageWindow window, std::optional<QString> message = std::nullopt) {
    UsageSnapshot snapshot = usage("codex", Availability::ready, 0.5);
    snapshot.windows = {std::move(window)};
    snapshot.staleAfterSeconds = 300;
    snapshot.statusMessage = std::move(message);
    return snapshot;
}

} // namespace

TEST_F(SpokenCardTest, EachBlockIsReadAsOneSentence) {
    using Kind = UsageWindow::Kind;
    now = QDateTime::currentDateTimeUtc().addSecs(5);
    const auto in = [&](qint64 seconds) {
        return now.addSecs(seconds);
    };
    const struct {
        UsageSnapshot snapshot;
        qint64 later; // seconds after the capture the card is read
        QString spoken;
    } rows[] = {
        {withWindow(UsageWindow(Kind::session, 0.42, in(2 * 3600 + 15 * 60 + 40))), 0,
         "Codex, 58 percent left, Session limit, resets in 2 hours 15 minutes"},
        {withWindow(UsageWindow(Kind::session, 0.99, in(3600 + 60))), 0,
         "Codex, 1 percent left, Session limit, resets in 1 hour 1 minute"},
        {withWindow(UsageWindow(Kind::weekly, 0.2, in(28 * 3600))), 0,
         "Codex, 80 percent left, Weekly limit, resets in 1 day 4 hours"},
        {withWindow(UsageWindow(Kind::weekly, 0.2, in(3 * 86400 + 1800))), 0,
         "Codex, 80 percent left, Weekly limit, resets in 3 days"},
        {withWindow(UsageWindow(Kind::session, 0.5, in(59))), 0,
         "Codex, 50 percent left, Session limit, resets in under a minute"},
        {withWindow(UsageWindow::unclamped(Kind::daily, 1.2, in(-60))), 0,
         "Codex, 0 percent left, Daily limit"},
        {withWindow(UsageWindow(Kind::credits, 0.1, std::nullopt)), 0,
         "Codex, 90 percent left, Credits"},
        {withWindow(UsageWindow(Kind::session, 0.5, std::nullopt)), 600,
         "Codex, Usage needs sync, Last update: 10 min ago"},
        {withWindow(UsageWindow(Kind::session, std::nullopt, std::nullopt), "Quota unknown."), 0,
         "Codex, Quota unknown."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.spoken.toStdString());
        UsageSnapshot snapshot = row.snapshot;
        snapshot.capturedAt = now.addSecs(-row.later);
        show(snapshot);
        EXPECT_EQ(popover->card("codex")->spokenText(), row.spoken);
    }

    // A provider still to connect is read with the step it needs.
    harness.storePreference("providerEnabled", false);
    popover.reset();
    model = harness.makeModel();
    popover = std::make_unique<PopoverViewModel>(model.get());
    EXPECT_EQ(popover->card("claude-code")->spokenText(),
              "Claude Code, Connect your existing local Claude Code session.");
}

TEST_F(SpokenCardTest, AltUpAndAltDownMoveTheFocusedCardAndSaveTheOrder) {
    // The Codex card, focused, first of two.
    const QStringList first = {"codex", "claude-code"};
    const QStringList last = {"claude-code", "codex"};
    const struct {
        int key;
        int modifiers;
        bool taken;
        QStringList order;
    } rows[] = {
        {Qt::Key_Up, Qt::AltModifier, true, first}, // first already
        {Qt::Key_Down, Qt::NoModifier, false, first},
        {Qt::Key_Down, Qt::AltModifier | Qt::ShiftModifier, false, first},
        {Qt::Key_Down, Qt::AltModifier | Qt::KeypadModifier, true, last},
        {Qt::Key_Down, Qt::AltModifier, true, last}, // last already
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.order.join(',').toStdString());
        EXPECT_EQ(popover->card("codex")->moveByKey(row.key, row.modifiers), row.taken);
        EXPECT_EQ(order(), row.order);
    }
    // Saved as a drag saves it.
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray({"claude-code", "codex"})));
}
