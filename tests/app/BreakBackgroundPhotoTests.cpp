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
    static constexpr const char* unusable =
        "That photo could not be used. Please choose another image.";

    ModelHarness harness;
};

} // namespace

TEST_F(BreakBackgroundPhotoTest, ImportingPngAndJpegKeepsTheBytesAndSelectsThePhotoStyle) {
    const auto model = harness.makeModel();
    for (const auto& [name, format, size] : {std::tuple{"beach.png", "PNG", QSize(64, 48)},
                                             std::tuple{"forest.jpg", "JPEG", QSize(40, 30)}}) {
        const QString source = writeImage(name, format, size);
        model->preferences()->setBreakScreenStyle(BreakScreenStyle::motion);
        model->photo()->importBreakBackgroundImage(source);
        EXPECT_EQ(readFile(storedPhoto()), readFile(source)) << name;
        EXPECT_EQ(model->photo()->breakBackgroundImage().size(), size);
        EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::photo);
        EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("photo"));
    }
    // The next start decodes the stored photo.
    EXPECT_EQ(harness.makeModel()->photo()->breakBackgroundImage().size(), QSize(40, 30));
}

TEST_F(BreakBackgroundPhotoTest, AnythingThatIsNoUsableImageChangesNothing) {
    const QString good = writeImage("good.png", "PNG", QSize(8, 8));
    const auto model = harness.makeModel();
    model->photo()->importBreakBackgroundImage(good);
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::minimal);
    const QByteArray storedBefore = readFile(storedPhoto());

    const QString text = harness.home.filePath("notes.png");
    writeFile(text, "these are my notes, not a picture\n");
    for (const QString& path : {text, harness.home.filePath("missing.png"), harness.home.path()}) {
        model->photo()->importBreakBackgroundImage(path);
        EXPECT_EQ(model->photo()->breakBackgroundErrorMessage(), unusable);
        EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::minimal);
        EXPECT_EQ(model->photo()->breakBackgroundImage().size(), QSize(8, 8));
        EXPECT_EQ(readFile(storedPhoto()), storedBefore);
    }
    model->photo()->importBreakBackgroundImage(good); // a good photo clears the message
    EXPECT_TRUE(model->photo()->breakBackgroundErrorMessage().isEmpty());

    // A photo that cannot be stored (a folder in the way) is refused the same way.
    QFile::remove(storedPhoto());
    QDir().mkpath(storedPhoto());
    const auto blocked = harness.makeModel();
    blocked->photo()->importBreakBackgroundImage(good);
    EXPECT_EQ(blocked->photo()->breakBackgroundErrorMessage(), unusable);
    EXPECT_FALSE(blocked->photo()->hasBreakBackgroundImage());
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
    model->removeBreakBackgroundImage();
    EXPECT_EQ(model->preferences()->breakScreenStyle(), BreakScreenStyle::minimal);
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("minimal"));
    model->removeBreakBackgroundImage(); // nothing left to remove: quiet
    EXPECT_TRUE(model->photo()->breakBackgroundErrorMessage().isEmpty());

    // A stored photo that does not decode gives no image at start, and stays on disk.
    writeFile(storedPhoto(), "\x89PNG\r\n\x1a\n truncated");
    EXPECT_FALSE(harness.makeModel()->photo()->hasBreakBackgroundImage());
    EXPECT_TRUE(QFileInfo::exists(storedPhoto()));
}
