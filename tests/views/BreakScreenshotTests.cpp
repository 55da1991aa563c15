#include "AppTestSupport.h"
#include "ViewTestSupport.h"

#include "cubefield/AmbientCubeField.h"
#include "views/BreakViewModel.h"

#include <QDir>
#include <QLinearGradient>
#include <QPainter>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// A landscape-like test photo, wider than the screens, so that the crop shows.
void writePhoto(const QString& path) {
    QImage photo(3000, 1500, QImage::Format_RGB32);
    QPainter painter(&photo);
    QLinearGradient sky(0, 0, 0, 1500);
    sky.setColorAt(0, QColor(40, 90, 160));
    sky.setColorAt(0.6, QColor(240, 180, 120));
    sky.setColorAt(1, QColor(30, 60, 40));
    painter.fillRect(photo.rect(), sky);
    painter.setBrush(QColor(250, 230, 170));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPointF(1500, 800), 160, 160);
    painter.setBrush(QColor(20, 40, 30));
    painter.drawRect(0, 1000, 3000, 500);
    painter.end();
    QDir().mkpath(QFileInfo(path).path());
    ASSERT_TRUE(photo.save(path, "PNG"));
}

} // namespace

// Renders the break view in every style, at two screen sizes, with two, one and no providers,
// into the screenshot folder "break".
TEST(BreakScreenshots, EveryStyleSizeAndProviderSet) {
    WarningLog warnings;
    ModelHarness harness;
    writePhoto(harness.data("break-background-image"));
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 14 * 60);
    harness.enableBoth(usage("claude-code", Availability::ready, 0.42, reset),
                       usage("codex", Availability::ready, 0.07));
    auto model = harness.makeModel();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    BreakViewModel viewModel(model.get());
    viewModel.setActive(true);

    const QString folder = screenshotFolder("break");
    auto engine = makeQmlEngine();
    const struct {
        const char* name;
        bool claude, codex;
    } providerSets[] = {{"both", true, true}, {"one", true, false}, {"none", false, false}};
    for (const BreakScreenStyle style :
         {BreakScreenStyle::photo, BreakScreenStyle::motion, BreakScreenStyle::minimal}) {
        model->preferences()->setBreakScreenStyle(style);
        for (const QSize size : {QSize(1440, 900), QSize(3840, 2160)}) {
            for (const auto& providers : providerSets) {
                model->preferences()->setClaudeEnabled(providers.claude);
                model->preferences()->setCodexEnabled(providers.codex);
                // The switches start refreshes of their own; the figures come back after them.
                settle();
                ASSERT_TRUE(waitFor(model->refresh(false)));
                QQuickView view(engine.get(), nullptr);
                view.setResizeMode(QQuickView::SizeRootObjectToView);
                view.setInitialProperties(
                    {{"viewModel", QVariant::fromValue(&viewModel)}, {"showsText", true}});
                view.setSource(QUrl("qrc:/qt/qml/Lumora/BreakView.qml"));
                ASSERT_TRUE(view.errors().isEmpty());
                view.resize(size);
                view.show();
                ASSERT_TRUE(waitUntil([&] { return view.rootObject()->size() == QSizeF(size); }));
                auto* field = view.findChild<AmbientCubeField*>("cubeField");
                if (style == BreakScreenStyle::motion) {
                    // A first frame at 4K takes long in an unoptimised build on a busy machine.
                    ASSERT_TRUE(waitUntil([&] { return field->framesRendered() >= 1; },
                                          std::chrono::seconds(90)));
                }
                const QString name = QStringLiteral("break-%1-%2x%3-%4.png")
                                         .arg(AppPreferences::rawValue(style))
                                         .arg(size.width())
                                         .arg(size.height())
                                         .arg(providers.name);
                ASSERT_TRUE(saveScreenshot(view, folder + "/" + name)) << name.toStdString();
                auto* statusRow = view.findChild<QQuickItem*>("statusRow");
                EXPECT_EQ(statusRow->isVisible(), providers.claude || providers.codex);
            }
        }
    }
    EXPECT_TRUE(warnings.messages().isEmpty()) << warnings.messages().join('\n').toStdString();
}
