// Lumora as users get it: installed under a temporary DESTDIR and prefix, and as a Debian package.
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <gtest/gtest.h>

using namespace lumora::test;

// Installed: the files users get, which the desktop's validators accept, and the installed lumora's
// hook calls the installed helper. Packaged: name, version, architecture, dependencies, no
// maintainer scripts, the same files under /usr, and it runs.
TEST(InstallTest, AnInstalledCopyAndTheDebianPackageHoldTheFilesAndRunTheirOwnHelper) {
    const QString version = LUMORA_TEST_VERSION, prefix = "/opt/lumora test";
    const QSet<QString> installedFiles{"bin/lumora", "libexec/lumora/lumora-json",
                                       "share/applications/lumora.desktop",
                                       "share/icons/hicolor/scalable/apps/lumora.svg",
                                       "share/metainfo/io.github.lumora.Lumora.metainfo.xml"};
    const auto filesUnder = [](const QString& root) { // all but folders, by their relative paths
        const QString found = runProgram("find", {root, "!", "-type", "d", "-printf", "%P\n"}).out;
        const QStringList files = found.split('\n', Qt::SkipEmptyParts);
        return QSet<QString>(files.begin(), files.end());
    };
    QTemporaryDir work;
    const QString root = work.path() + prefix, unpacked = work.filePath("root");
    const CommandOutcome install =
        runProgram("cmake", {"--install", LUMORA_TEST_BUILD_DIR, "--prefix", prefix}, {},
                   {{"DESTDIR", work.path()}});
    ASSERT_EQ(install.exitCode, 0) << (install.out + install.err).toStdString();
    EXPECT_EQ(filesUnder(root), installedFiles);
    EXPECT_TRUE(QFileInfo(root + "/libexec/lumora/lumora-json").isExecutable());
    for (const CommandOutcome& check :
         {runProgram("desktop-file-validate", {root + "/share/applications/lumora.desktop"}),
          runProgram("appstreamcli",
                     {"validate", "--no-net",
                      root + "/share/metainfo/io.github.lumora.Lumora.metainfo.xml"})}) {
        const QString said = check.out + check.err;
        EXPECT_TRUE(check.exitCode == 0 && !said.contains("error")) << said.toStdString();
    }
    const QString lumora = root + "/bin/lumora";
    TemporaryHome home;
    EXPECT_EQ(runLumoraAt(lumora, home.path(), {"--version"}).out, "Lumora " + version + "\n");
    writeScript(home.filePath(".local/bin/claude"), "exit 0\n");
    const CommandOutcome connect = runLumoraAt(lumora, home.path(), {"connect", "claude"});
    ASSERT_EQ(connect.exitCode, 0) << (connect.out + connect.err).toStdString();
    const QString hook = home.dataFile("claude-statusline.sh"), script = readFile(hook);
    EXPECT_TRUE(script.contains("'" + root + "/libexec/lumora/lumora-json'") &&
                !script.contains(LUMORA_TEST_BUILD_DIR))
        << script.toStdString();
    const CommandOutcome status =
        runProgram("/bin/sh", {hook},
                   R"({"model":{"id":"m"},"rate_limits":{"five_hour":{"used_percentage":42}}})");
    EXPECT_EQ(status.exitCode, 0) << status.err.toStdString();
    EXPECT_EQ(runLumoraAt(lumora, home.path(), {"status"}).out, "Claude Code 58%\n");
    const CommandOutcome cpack =
        runProgram("cpack", {"--config", LUMORA_TEST_BUILD_DIR "/CPackConfig.cmake", "-G", "DEB",
                             "-B", work.path()});
    ASSERT_EQ(cpack.exitCode, 0) << (cpack.out + cpack.err).toStdString();
    const QString architecture = runProgram("dpkg", {"--print-architecture"}).out.trimmed();
    const QString deb = work.filePath(QString("lumora_%1_%2.deb").arg(version, architecture));
    const auto field = [&](const char* name) {
        return runProgram("dpkg-deb", {"--field", deb, name}).out.trimmed();
    };
    EXPECT_EQ(field("Package") + ' ' + field("Version") + ' ' + field("Architecture"),
              "lumora " + version + ' ' + architecture);
    const QString depends = field("Depends");
    QStringList missing = QString("libc6,libqt6core6,qml6-module-qtquick-controls,libqt6gui6,"
                                  "qml6-module-qtquick-dialogs,libqt6dbus6,libqt6svg6,"
                                  "fonts-urw-base35,default-dbus-session-bus | dbus-session-bus")
                              .split(',');
    missing.removeIf([&](const QString& dependency) { return depends.contains(dependency); });
    EXPECT_EQ(missing, QStringList()) << depends.toStdString();
    ASSERT_EQ(runProgram("dpkg-deb", {"--control", deb, work.filePath("control")}).exitCode, 0);
    EXPECT_EQ(QDir(work.filePath("control")).entryList(QDir::Files),
              QStringList({"control", "md5sums"}));
    ASSERT_EQ(runProgram("dpkg-deb", {"--extract", deb, unpacked}).exitCode, 0);
    EXPECT_EQ(std::pair(filesUnder(unpacked + "/usr"),
                        QDir(unpacked).entryList(QDir::AllEntries | QDir::NoDotAndDotDot)),
              std::pair(installedFiles, QStringList{"usr"}));
    EXPECT_EQ(runProgram(unpacked + "/usr/bin/lumora", {"--version"}).out,
              "Lumora " + version + "\n");
}
