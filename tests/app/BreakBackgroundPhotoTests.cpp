#include "AppTestSupport.h"

#include <QDir>
#include <QImage>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

// An imported PNG or JPEG is kept byte for byte and selects the photo style; anything else is
// refused with a message and changes nothing; removing it falls back only from the photo style.
TEST(BreakBackgroundPhotoTest, ImportRefuseAndRemove) {
    ModelHarness h;
    const auto model = h.makeModel();
    BreakBackgroundPhoto& photo = *model->photo();
    AppPreferences& preferences = *model->preferences();
    const QString stored = h.data("break-background-image");
    const QString good = h.home.filePath("beach.png");
    const QString unusable = "That photo could not be used. Please choose another image.";
    for (const auto& [name, format, size] : {std::tuple{"forest.jpg", "JPEG", QSize(40, 30)},
                                             std::tuple{"beach.png", "PNG", QSize(8, 8)}}) {
        QImage image(size, QImage::Format_RGB32); // recognisable by its size
        image.fill(QColor(30, 120, 200));
        ASSERT_TRUE(image.save(h.home.filePath(name), format));
        preferences.setBreakScreenStyle(BreakScreenStyle::motion);
        photo.importBreakBackgroundImage(h.home.filePath(name));
        EXPECT_EQ(readFile(stored), readFile(h.home.filePath(name))) << name;
        EXPECT_EQ(photo.breakBackgroundImage().size(), size);
        EXPECT_EQ(h.storedPreference("breakScreenStyle"), QJsonValue("photo"));
    }
    EXPECT_EQ(h.makeModel()->photo()->breakBackgroundImage().size(), QSize(8, 8));
    preferences.setBreakScreenStyle(BreakScreenStyle::minimal);
    const QByteArray storedBefore = readFile(stored);
    writeFile(h.home.filePath("notes.png"), "these are my notes, not a picture\n");
    for (const char* path : {"notes.png", "missing.png", ""}) {
        photo.importBreakBackgroundImage(h.home.filePath(path));
        EXPECT_EQ(photo.breakBackgroundErrorMessage(), unusable) << path;
        EXPECT_EQ(preferences.breakScreenStyle(), BreakScreenStyle::minimal);
        EXPECT_EQ(photo.breakBackgroundImage().size(), QSize(8, 8));
        EXPECT_EQ(readFile(stored), storedBefore);
    }
    photo.importBreakBackgroundImage(good);
    EXPECT_TRUE(photo.breakBackgroundErrorMessage().isEmpty());
    preferences.setBreakScreenStyle(BreakScreenStyle::motion);
    model->removeBreakBackgroundImage();
    EXPECT_FALSE(QFile::exists(stored) || photo.hasBreakBackgroundImage());
    EXPECT_EQ(preferences.breakScreenStyle(), BreakScreenStyle::motion);
    photo.importBreakBackgroundImage(good);
    model->removeBreakBackgroundImage();
    EXPECT_EQ(h.storedPreference("breakScreenStyle"), QJsonValue("minimal"));
    model->removeBreakBackgroundImage(); // nothing left to remove: quiet
    EXPECT_TRUE(photo.breakBackgroundErrorMessage().isEmpty());

    // A stored photo that does not decode gives no image at start, and stays on disk.
    writeFile(stored, "\x89PNG\r\n\x1a\n truncated");
    EXPECT_FALSE(h.makeModel()->photo()->hasBreakBackgroundImage());
    EXPECT_TRUE(QFile::exists(stored));
    // A photo that cannot be stored (a folder in the way) is refused the same way.
    QFile::remove(stored);
    QDir().mkpath(stored);
    const auto blocked = h.makeModel();
    blocked->photo()->importBreakBackgroundImage(good);
    EXPECT_EQ(blocked->photo()->breakBackgroundErrorMessage(), unusable);
    EXPECT_FALSE(blocked->photo()->hasBreakBackgroundImage());
}
