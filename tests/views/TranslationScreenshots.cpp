// The popover, the settings window and the break screen in German and French, as PNGs beside
// the test program (screenshots/*-de-*.png, *-fr-*.png), to be looked at after a change of a
// text or a translation: German texts are long, and nothing may be clipped or overlap.
#include "SettingsTestSupport.h"
#include "TranslationSupport.h"

#include "views/BreakViewModel.h"
#include "views/PopoverWindow.h"

#include <QDir>
#include <QQmlEngine>
#include <QQuickView>

namespace lumora::test {
namespace {

class TranslationScreenshots : public SettingsWindowTest,
                               public ::testing::WithParamInterface<const char*> {
protected:
    static QString path(const QString& name) {
        const QString folder = QCoreApplication::applicationDirPath() + "/screenshots";
        QDir().mkpath(folder);
        return folder + "/" + name + ".png";
    }
    // Lets animations (bars, switches, opacity) come to rest first.
    static void rest() {
        settle();
        const QDateTime until = QDateTime::currentDateTimeUtc().addMSecs(400);
        waitUntil([&] { return QDateTime::currentDateTimeUtc() >= until; });
    }
};

TEST_P(TranslationScreenshots, PopoverSettingsAndBreakScreen) {
    const Language language{QLocale(QString::fromLatin1(GetParam()))};
    const QString code = QString::fromLatin1(GetParam()).left(2);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    UsageSnapshot codex = usage("codex", Availability::ready, 0.07, now.addSecs(3 * 86400 + 600));
    codex.windows.append({UsageWindow::Kind::weekly, 0.36, now.addSecs(4 * 86400)});
    harness.storePreference("providerEnabled", true);
    harness.storePreference("codexEnabled", true);
    harness.codex->script->setSnapshot(codex);
    harness.claude->script->setSnapshot(
        usage("claude-code", Availability::limited, 0.86, now.addSecs(2 * 3600 + 15 * 60 + 30)));
    open();
    ASSERT_TRUE(waitFor(model->refresh(false)));

    screenshot(code + "-connections");
    screenshot(code + "-break-screen", "styleDescription");
    screenshot(code + "-notifications", "paceAlerts");
    screenshot(code + "-privacy", "clearHistoryButton");
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::photo);
    screenshot(code + "-photo", "choosePhotoButton");

    {
        PopoverWindow popover(model.get());
        popover.show(QPoint(0, 0));
        ASSERT_TRUE(waitUntil([&] { return popover.window()->isExposed(); }));
        rest();
        EXPECT_TRUE(saveScreenshot(*popover.window(), path("popover-" + code + "-connected")));
        // Claude Code switched off: its card asks to connect it.
        model->preferences()->setClaudeEnabled(false);
        rest();
        EXPECT_TRUE(saveScreenshot(*popover.window(), path("popover-" + code + "-connect")));
        // Its figures twelve minutes old: the card asks for a sync.
        UsageSnapshot stale = usage("claude-code", Availability::ready, 0.42);
        stale.capturedAt = stale.capturedAt.addSecs(-12 * 60);
        harness.claude->script->setSnapshot(stale);
        model->preferences()->setClaudeEnabled(true);
        ASSERT_TRUE(waitFor(model->refresh(false)));
        rest();
        EXPECT_TRUE(saveScreenshot(*popover.window(), path("popover-" + code + "-stale")));
    }

    BreakViewModel viewModel(model.get());
    viewModel.setActive(true);
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::minimal);
    auto engine = makeQmlEngine();
    QQuickView view(engine.get(), nullptr);
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setInitialProperties(
        {{"viewModel", QVariant::fromValue(&viewModel)}, {"showsText", true}});
    view.setSource(QUrl("qrc:/qt/qml/Lumora/BreakView.qml"));
    ASSERT_TRUE(view.errors().isEmpty());
    view.resize(1440, 900);
    view.show();
    ASSERT_TRUE(waitUntil([&] { return view.rootObject()->size() == QSizeF(1440, 900); }));
    rest();
    EXPECT_TRUE(saveScreenshot(view, path("break-" + code + "-1440x900")));
}

INSTANTIATE_TEST_SUITE_P(Languages, TranslationScreenshots, ::testing::Values("de_DE", "fr_FR"));

} // namespace
} // namespace lumora::test
