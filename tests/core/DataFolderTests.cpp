#include "core/AtomicFile.h"
#include "core/DataFolder.h"
#include "core/Errors.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace lumora;
using namespace lumora::test;

TEST(DataFolder, FollowsXdgDataHomeOnlyWhenAbsolute) {
    TemporaryHome home;
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/.local/share/Lumora");
    qputenv("XDG_DATA_HOME", "relative/data");
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/.local/share/Lumora");
    qputenv("XDG_DATA_HOME", (home.path() + "/xdg").toLocal8Bit());
    EXPECT_EQ(dataFolder(home.path()), home.path() + "/xdg/Lumora");
    EXPECT_EQ(claudeSettingsPath(home.path()), home.path() + "/.claude/settings.json");
}

TEST(AtomicFile, ReplacesContentWithRequestedModeAndLeavesNoTemporaryFiles) {
    TemporaryHome home;
    const QString path = home.filePath("a/b/file.json");
    createFolders(home.filePath("a/b"), 0700);
    EXPECT_EQ(fileMode(home.filePath("a")), 0700);
    EXPECT_EQ(fileMode(home.filePath("a/b")), 0700);

    writeFileAtomically(path, "first", 0600);
    EXPECT_EQ(readFile(path), "first");
    EXPECT_EQ(fileMode(path), 0600);

    // Without explicit permissions an existing file keeps its mode.
    ::chmod(QFile::encodeName(path).constData(), 0640);
    writeFileAtomically(path, "second");
    EXPECT_EQ(readFile(path), "second");
    EXPECT_EQ(fileMode(path), 0640);
    EXPECT_EQ(QDir(home.filePath("a/b")).entryList(QDir::Files), QStringList{"file.json"});
}

TEST(AtomicFile, FailureThrowsTheSystemTextAndLeavesNothingBehind) {
    TemporaryHome home;
    // Renaming a file over a non-empty folder fails even for root.
    writeFile(home.filePath("target/inside"), "old");
    try {
        writeFileAtomically(home.filePath("target"), "new");
        ADD_FAILURE() << "expected a FileSystemError";
    } catch (const FileSystemError& error) {
        EXPECT_TRUE(error.description().contains("target")) << error.what();
    }
    EXPECT_EQ(readFile(home.filePath("target/inside")), "old");
    EXPECT_EQ(QDir(home.path()).entryList(QDir::Files | QDir::Hidden), QStringList{});
    EXPECT_THROW(writeFileAtomically(home.filePath("missing-folder/file"), "x"), FileSystemError);
}

TEST(AtomicFile, ReaderRefusesMissingAndOversizedFiles) {
    TemporaryHome home;
    EXPECT_FALSE(readWholeFile(home.filePath("missing")).has_value());
    writeFile(home.filePath("big"), QByteArray(100, 'x'));
    EXPECT_FALSE(readWholeFile(home.filePath("big"), 99).has_value());
    EXPECT_EQ(readWholeFile(home.filePath("big"), 100).value().size(), 100);
    EXPECT_FALSE(readWholeFile(home.path()).has_value()); // a folder
}
