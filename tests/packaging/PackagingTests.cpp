#include "support/TestSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lumora::test;

namespace {

const QString version = QStringLiteral(LUMORA_TEST_VERSION);

struct ToolRun {
    int exitCode = -1;
    QString out; // standard output and error together
};

ToolRun run(const QString& program, const QStringList& arguments,
            const QList<QPair<QString, QString>>& environment = {}) {
    QProcess process;
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : environment) {
        variables.insert(name, value);
    }
    process.setProcessEnvironment(variables);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(100000)) {
        ADD_FAILURE() << program.toStdString() << " did not finish";
        process.kill();
        process.waitForFinished();
    }
    const bool exited =
        process.exitStatus() == QProcess::NormalExit && process.error() != QProcess::FailedToStart;
    return {exited ? process.exitCode() : -1, QString::fromUtf8(process.readAll())};
}

// Every file under `root`, as paths relative to it.
QSet<QString> filesUnder(const QString& root) {
    QSet<QString> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files.insert(QDir(root).relativeFilePath(it.next()));
    }
    return files;
}

const QSet<QString> installedFiles{
    "bin/lumora",
    "libexec/lumora/lumora-json",
    "share/applications/lumora.desktop",
    "share/icons/hicolor/scalable/apps/lumora.svg",
    "share/metainfo/io.github.lumora.Lumora.metainfo.xml",
};

} // namespace

TEST(InstallTest, AnInstalledCopyRunsItsOwnHelperAndTheDesktopAcceptsItsFiles) {
    QTemporaryDir stage;
    const QString prefix = "/opt/lumora test";
    const ToolRun install = run("cmake", {"--install", LUMORA_TEST_BUILD_DIR, "--prefix", prefix},
                                {{"DESTDIR", stage.path()}});
    ASSERT_EQ(install.exitCode, 0) << install.out.toStdString();
    const QString root = stage.path() + prefix;
    EXPECT_EQ(filesUnder(root), installedFiles);
    EXPECT_TRUE(QFileInfo(root + "/libexec/lumora/lumora-json").isExecutable());

    const ToolRun entry =
        run("desktop-file-validate", {root + "/share/applications/lumora.desktop"});
    EXPECT_EQ(entry.exitCode, 0) << entry.out.toStdString();
    EXPECT_FALSE(entry.out.contains("error")) << entry.out.toStdString();
    const ToolRun metainfo =
        run("appstreamcli", {"validate", "--no-net",
                             root + "/share/metainfo/io.github.lumora.Lumora.metainfo.xml"});
    EXPECT_EQ(metainfo.exitCode, 0) << metainfo.out.toStdString();

    // The installed lumora in a scratch home: it installs a hook that calls the installed helper,
    // and reads what that hook saved.
    const QString lumora = root + "/bin/lumora";
    TemporaryHome home;
    EXPECT_EQ(runLumoraAt(lumora, home.path(), {"--version"}).out, "Lumora " + version + "\n");
    writeScript(home.filePath(".local/bin/claude"), "exit 0\n");
    const CommandOutcome connect = runLumoraAt(lumora, home.path(), {"connect", "claude"});
    ASSERT_EQ(connect.exitCode, 0) << connect.out.toStdString() << connect.err.toStdString();
    const QString hook = home.filePath(".local/share/Lumora/claude-statusline.sh");
    const QString script = QString::fromUtf8(readFile(hook));
    const QString helper = root + "/libexec/lumora/lumora-json";
    EXPECT_TRUE(script.contains("'" + helper + "'")) << script.toStdString();
    EXPECT_FALSE(script.contains(LUMORA_TEST_BUILD_DIR)) << script.toStdString();

    QProcess status;
    status.start("/bin/sh", {hook});
    status.write(R"({"model":{"id":"m"},"rate_limits":{"five_hour":{"used_percentage":42}}})");
    status.closeWriteChannel();
    ASSERT_TRUE(status.waitForFinished(10000));
    EXPECT_EQ(status.exitCode(), 0) << status.readAllStandardError().toStdString();
    EXPECT_TRUE(QFileInfo::exists(home.filePath(".local/share/Lumora/claude-rate-limits.json")));
    EXPECT_EQ(runLumoraAt(lumora, home.path(), {"status"}).out, "Claude Code 58%\n");
}

TEST(PackageTest, TheDebianPackageHoldsLumoraItsHelperAndDesktopFilesAndRuns) {
    QTemporaryDir work;
    const ToolRun cpack = run("cpack", {"--config", LUMORA_TEST_BUILD_DIR "/CPackConfig.cmake",
                                        "-G", "DEB", "-B", work.path()});
    ASSERT_EQ(cpack.exitCode, 0) << cpack.out.toStdString();
    const QString architecture = run("dpkg", {"--print-architecture"}).out.trimmed();
    const QString deb = work.filePath(QString("lumora_%1_%2.deb").arg(version, architecture));
    ASSERT_TRUE(QFileInfo::exists(deb)) << cpack.out.toStdString();

    const auto field = [&](const QString& name) {
        return run("dpkg-deb", {"--field", deb, name}).out.trimmed();
    };
    EXPECT_EQ(field("Package"), "lumora");
    EXPECT_EQ(field("Version"), version);
    EXPECT_EQ(field("Architecture"), architecture);
    const QString depends = field("Depends");
    // Found by shlibdeps, and named for what is loaded at run time.
    for (const char* dependency :
         {"libc6", "libqt6core6", "qml6-module-qtquick-controls", "qml6-module-qtquick-dialogs",
          "libqt6gui6", "libqt6dbus6", "libqt6svg6", "fonts-urw-base35",
          "default-dbus-session-bus | dbus-session-bus"}) {
        EXPECT_TRUE(depends.contains(dependency)) << dependency << " in " << depends.toStdString();
    }

    // No maintainer scripts: the control archive holds the control file and the checksums.
    const QString control = work.filePath("control");
    ASSERT_EQ(run("dpkg-deb", {"--control", deb, control}).exitCode, 0);
    EXPECT_EQ(QDir(control).entryList(QDir::Files), QStringList({"control", "md5sums"}));

    const QString unpacked = work.filePath("root");
    const ToolRun extract = run("dpkg-deb", {"--extract", deb, unpacked});
    ASSERT_EQ(extract.exitCode, 0) << extract.out.toStdString();
    QSet<QString> expected;
    for (const QString& file : installedFiles) {
        expected.insert("usr/" + file);
    }
    EXPECT_EQ(filesUnder(unpacked), expected);
    const ToolRun unpackedVersion = run(unpacked + "/usr/bin/lumora", {"--version"});
    EXPECT_EQ(unpackedVersion.exitCode, 0);
    EXPECT_EQ(unpackedVersion.out, "Lumora " + version + "\n");
}
