#include "SettingsTestSupport.h"

#include "views/AppWindows.h"

#include <QApplication>
#include <QFileDialog>

using namespace lumora;
using namespace lumora::test;

namespace {

using SettingsWindowBehaviour = SettingsWindowTest;

QList<QWindow*> settingsWindows() {
    QList<QWindow*> found;
    for (QWindow* candidate : QGuiApplication::topLevelWindows()) {
        if (candidate->title() == "Lumora Settings") {
            found << candidate;
        }
    }
    return found;
}

QFileDialog* openFileDialog() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<QFileDialog*>(widget); dialog && dialog->isVisible()) {
            return dialog;
        }
    }
    return nullptr;
}

} // namespace

TEST_F(SettingsWindowBehaviour, OneFixedWindowAboveOthersRaisedAgainAfterItIsShown) {
    open();
    QQuickWindow* first = window->window();
    EXPECT_EQ(first->title(), "Lumora Settings");
    EXPECT_EQ(first->size(), QSize(520, 520));
    EXPECT_EQ(first->minimumSize(), QSize(520, 520));
    EXPECT_EQ(first->maximumSize(), QSize(520, 520));
    EXPECT_TRUE(first->flags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(first->flags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_EQ(window->visibleWindow(), first);
    // The view fills the window.
    EXPECT_EQ(item("scroller")->size(), QSizeF(520, 520));

    // Another window takes the focus right after the settings window was shown (as a popover
    // closing at that moment does); the second raise wins it back.
    int raised = 0;
    QObject::connect(window.get(), &SettingsWindow::raised, [&] { ++raised; });
    QWindow other;
    other.resize(200, 200);
    window->show();
    other.show();
    other.requestActivate();
    EXPECT_EQ(raised, 1);
    ASSERT_TRUE(waitUntil([&] { return raised == 2; }));
    ASSERT_TRUE(waitUntil([&] { return QGuiApplication::focusWindow() == first; }));
    EXPECT_EQ(window->window(), first);
    EXPECT_EQ(settingsWindows(), QList<QWindow*>{first});

    // Closing only hides it; the next show brings back the same window.
    first->close();
    EXPECT_FALSE(first->isVisible());
    EXPECT_EQ(window->visibleWindow(), nullptr);
    window->show();
    EXPECT_EQ(window->visibleWindow(), first);
    window->hide();
    EXPECT_EQ(window->visibleWindow(), nullptr);
    EXPECT_EQ(settingsWindows(), QList<QWindow*>{first});
}

// The desktop's file dialog sits on the settings window while that is shown, and stands alone in
// front of everything otherwise; a file accepted in it becomes the photo.
TEST(SettingsImageDialog, OpensOverTheSettingsWindowOrInFrontOfEverything) {
    WarningLog warnings;
    ModelHarness harness;
    AppModel::Services services = harness.services();
    auto windows = std::make_shared<AppWindows>();
    services.windows = windows;
    services.imageChooser = std::make_shared<FileDialogImageChooser>();
    auto model = std::make_unique<AppModel>(services);
    windows->setModel(model.get());

    model->showSettingsWindow();
    QWindow* settings = windows->visibleSettingsWindow();
    ASSERT_NE(settings, nullptr);
    ASSERT_TRUE(waitUntil([&] { return settings->isExposed(); }));
    model->chooseBreakBackgroundImage();
    QFileDialog* dialog = openFileDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), "Choose a Break Background");
    EXPECT_EQ(dialog->labelText(QFileDialog::Accept), "Choose Photo");
    EXPECT_EQ(dialog->fileMode(), QFileDialog::ExistingFile);
    EXPECT_TRUE(dialog->nameFilters().join(' ').contains("*.png"));
    EXPECT_FALSE(dialog->nameFilters().join(' ').contains("*.txt"));
    EXPECT_EQ(dialog->windowHandle()->transientParent(), settings);
    EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
    dialog->reject();
    ASSERT_TRUE(waitUntil([&] { return openFileDialog() == nullptr; }));

    windows->settingsWindow().hide();
    model->chooseBreakBackgroundImage();
    dialog = openFileDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowHandle()->transientParent(), nullptr);
    EXPECT_TRUE(dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    QImage image(32, 24, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    const QString path = harness.home.filePath("lake.png");
    ASSERT_TRUE(image.save(path));
    dialog->selectFile(path);
    QMetaObject::invokeMethod(dialog, "accept");
    ASSERT_TRUE(waitUntil([&] { return model->photo()->hasBreakBackgroundImage(); }));
    EXPECT_EQ(model->photo()->breakBackgroundImage().size(), QSize(32, 24));
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::photo);
    settle();
    const QStringList messages = significantWarnings(warnings);
    EXPECT_TRUE(messages.isEmpty()) << messages.join('\n').toStdString();
}
