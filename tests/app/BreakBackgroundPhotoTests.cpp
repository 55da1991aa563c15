#include "AppTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class BreakBackgroundPhotoTest : public ::testing::Test {
protected:
    // A real image file, recognisable by its size.
    QString writeImage(const QString& name, const char* format, QSize size) const {
        QImage image(size, QImage::Format_RGB32);
        image.fill(QColor(30, 120, 200));
        const QString path = harness.home.filePath(name);
        EXPECT_TRUE(image.save(path, format));
        return path;
    }
    QString storedPhoto() const { return harness.data("break-background-image"); }

    ModelHarness harness;
};

} // namespace

// An imported PNG or JPEG is kept byte for byte and selects the photo style; anything else is
// refused with a message and changes nothing; removing it falls back only from the photo style.
TEST_F(BreakBackgroundPhotoTest, ImportRefuseAndRemove) {
    const auto model = harness.makeModel();
    BreakBackgroundPhoto& photo = *model->photo();
    AppPreferences& preferences = *model->preferences();
    for (const auto& [name, format, size] : {std::tuple{"forest.jpg", "JPEG", QSize(40, 30)},
                                             std::tuple{"beach.png", "PNG", QSize(8, 8)}}) {
        const QString source = writeImage(name, format, size);
        preferences.setBreakScreenStyle(BreakScreenStyle::motion);
        photo.importBreakBackgroundImage(source);
        EXPECT_EQ(readFile(storedPhoto()), readFile(source)) << name;
        EXPECT_EQ(photo.breakBackgroundImage().size(), size);
        EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("photo"));
    }
    EXPECT_EQ(harness.makeModel()->photo()->breakBackgroundImage().size(), QSize(8, 8));

    const QString good = harness.home.filePath("beach.png");
    const QString unusable = "That photo could not be used. Please choose another image.";
    preferences.setBreakScreenStyle(BreakScreenStyle::minimal);
    const QByteArray storedBefore = readFile(storedPhoto());
    writeFile(harness.home.filePath("notes.png"), "these are my notes, not a picture\n");
    for (const char* path : {"notes.png", "missing.png", ""}) {
        photo.importBreakBackgroundImage(harness.home.filePath(path));
        EXPECT_EQ(photo.breakBackgroundErrorMessage(), unusable) << path;
        EXPECT_EQ(preferences.breakScreenStyle(), BreakScreenStyle::minimal);
        EXPECT_EQ(photo.breakBackgroundImage().size(), QSize(8, 8));
        EXPECT_EQ(readFile(storedPhoto()), storedBefore);
    }
    photo.importBreakBackgroundImage(good);
    EXPECT_TRUE(photo.breakBackgroundErrorMessage().isEmpty());

    preferences.setBreakScreenStyle(BreakScreenStyle::motion);
    model->removeBreakBackgroundImage();
    EXPECT_FALSE(QFileInfo::exists(storedPhoto()));
    EXPECT_FALSE(photo.hasBreakBackgroundImage());
    EXPECT_EQ(preferences.breakScreenStyle(), BreakScreenStyle::motion);
    photo.importBreakBackgroundImage(good);
    model->removeBreakBackgroundImage();
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("minimal"));
    model->removeBreakBackgroundImage(); // nothing left to remove: quiet
    EXPECT_TRUE(photo.breakBackgroundErrorMessage().isEmpty());

    // A stored photo that does not decode gives no image at start, and stays on disk.
    writeFile(storedPhoto(), "\x89PNG\r\n\x1a\n truncated");
    EXPECT_FALSE(harness.makeModel()->photo()->hasBreakBackgroundImage());
    EXPECT_TRUE(QFileInfo::exists(storedPhoto()));
    // A photo that cannot be stored (a folder in the way) is refused the same way.
    QFile::remove(storedPhoto());
    QDir().mkpath(storedPhoto());
    const auto blocked = harness.makeModel();
    blocked->photo()->importBreakBackgroundImage(good);
    EXPECT_EQ(blocked->photo()->breakBackgroundErrorMessage(), unusable);
    EXPECT_FALSE(blocked->photo()->hasBreakBackgroundImage());
}
