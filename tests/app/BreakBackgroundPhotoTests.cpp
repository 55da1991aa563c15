#include "AppTestSupport.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QWindow>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class BreakBackgroundPhotoTest : public ::testing::Test {
protected:
    // A real image file of the given format, with a recognisable size.
    QString writeImage(const QString& name, const char* format, QSize size) const {
        QImage image(size, QImage::Format_RGB32);
        image.fill(QColor(30, 120, 200));
        const QString path = harness.home.filePath("Pictures/" + name);
        QDir().mkpath(QFileInfo(path).absolutePath());
        EXPECT_TRUE(image.save(path, format));
        return path;
    }
    QString storedPhoto() const { return harness.data("break-background-image"); }

    ModelHarness harness;
};

} // namespace

TEST_F(BreakBackgroundPhotoTest, ImportingPngAndJpegKeepsTheBytesAndSelectsThePhotoStyle) {
    const auto model = harness.makeModel();
    BreakBackgroundPhoto& photo = *model->photo();
    EXPECT_FALSE(photo.hasBreakBackgroundImage());
    int imageChanges = 0;
    QObject::connect(&photo, &BreakBackgroundPhoto::breakBackgroundImageChanged,
                     [&] { ++imageChanges; });

    for (const auto& [name, format, size] : {std::tuple{"beach.png", "PNG", QSize(64, 48)},
                                             std::tuple{"forest.jpg", "JPEG", QSize(40, 30)}}) {
        const QString source = writeImage(name, format, size);
        model->preferences()->setBreakScreenStyle(BreakScreenStyle::motion);
        photo.importBreakBackgroundImage(source);
        EXPECT_EQ(readFile(storedPhoto()), readFile(source)) << name;
        EXPECT_EQ(photo.breakBackgroundImage().size(), size);
        EXPECT_TRUE(photo.breakBackgroundErrorMessage().isEmpty());
        EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::photo);
        EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("photo"));
    }
    EXPECT_EQ(imageChanges, 2);

    // The next start decodes the stored photo.
    const auto later = harness.makeModel();
    EXPECT_EQ(later->photo()->breakBackgroundImage().size(), QSize(40, 30));
}

TEST_F(BreakBackgroundPhotoTest, AFileThatIsNoImageChangesNothing) {
    const QString good = writeImage("good.png", "PNG", QSize(8, 8));
    const auto model = harness.makeModel();
    model->photo()->importBreakBackgroundImage(good);
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::minimal);
    const QByteArray storedBefore = readFile(storedPhoto());

    const QString fake = harness.home.filePath("Pictures/notes.png");
    writeFile(fake, "these are my notes, not a picture\n");
    for (const QString& path :
         {fake, harness.home.filePath("Pictures/missing.png"), harness.home.filePath("Pictures")}) {
        model->photo()->importBreakBackgroundImage(path);
        EXPECT_EQ(model->photo()->breakBackgroundErrorMessage(),
                  "That photo could not be used. Please choose another image.");
        EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::minimal);
        EXPECT_EQ(model->photo()->breakBackgroundImage().size(), QSize(8, 8));
        EXPECT_EQ(readFile(storedPhoto()), storedBefore);
    }

    // A good photo afterwards clears the message.
    model->photo()->importBreakBackgroundImage(good);
    EXPECT_TRUE(model->photo()->breakBackgroundErrorMessage().isEmpty());
}

TEST_F(BreakBackgroundPhotoTest, APhotoThatCannotBeStoredChangesNothing) {
    const QString source = writeImage("beach.png", "PNG", QSize(8, 8));
    // A folder where the stored photo should be: the rename cannot replace it.
    QDir().mkpath(storedPhoto());
    const auto model = harness.makeModel();
    model->photo()->importBreakBackgroundImage(source);
    EXPECT_EQ(model->photo()->breakBackgroundErrorMessage(),
              "That photo could not be used. Please choose another image.");
    EXPECT_FALSE(model->photo()->hasBreakBackgroundImage());
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::motion);
}

TEST_F(BreakBackgroundPhotoTest, RemovingThePhotoFallsBackOnlyFromThePhotoStyle) {
    const QString source = writeImage("beach.png", "PNG", QSize(8, 8));
    const auto model = harness.makeModel();
    model->photo()->importBreakBackgroundImage(source);
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::motion);

    model->removeBreakBackgroundImage();
    EXPECT_FALSE(QFileInfo::exists(storedPhoto()));
    EXPECT_FALSE(model->photo()->hasBreakBackgroundImage());
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::motion);

    model->photo()->importBreakBackgroundImage(source);
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::photo);
    model->removeBreakBackgroundImage();
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::minimal);
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("minimal"));

    // Removing when there is nothing to remove is quiet.
    model->removeBreakBackgroundImage();
    EXPECT_TRUE(model->photo()->breakBackgroundErrorMessage().isEmpty());
}

TEST_F(BreakBackgroundPhotoTest, AnUndecodableStoredPhotoGivesNoImageAndIsKept) {
    writeFile(storedPhoto(), "\x89PNG\r\n\x1a\n truncated");
    const auto model = harness.makeModel();
    EXPECT_FALSE(model->photo()->hasBreakBackgroundImage());
    EXPECT_TRUE(model->photo()->breakBackgroundErrorMessage().isEmpty());
    EXPECT_TRUE(QFileInfo::exists(storedPhoto()));
}

TEST_F(BreakBackgroundPhotoTest, ChoosingOpensTheDialogOverAVisibleSettingsWindow) {
    const auto model = harness.makeModel();
    // No settings window: a free-standing dialog; cancelling changes nothing.
    model->chooseBreakBackgroundImage();
    EXPECT_EQ(harness.desktop->imageDialogsShown, 1);
    EXPECT_EQ(harness.desktop->imageDialogParent, nullptr);
    EXPECT_FALSE(model->photo()->hasBreakBackgroundImage());

    QWindow settings;
    harness.desktop->settingsWindow = &settings;
    harness.desktop->chosenImage = writeImage("chosen.jpg", "JPEG", QSize(16, 9));
    model->chooseBreakBackgroundImage();
    EXPECT_EQ(harness.desktop->imageDialogParent, &settings);
    EXPECT_EQ(model->photo()->breakBackgroundImage().size(), QSize(16, 9));
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::photo);
}
