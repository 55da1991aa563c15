// The lumora program itself: one tray per session, the commands that reach the running tray, a
// clean quit, and the hook repair at start.
#include "TraySupport.h"

#include "core/ClaudeStatusLineInstaller.h"
#include "tray/InstanceService.h"
#include "tray/StatusBarController.h"
#include "views/PopoverWindow.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <csignal>

using namespace lumora;
using namespace lumora::test;

namespace {

struct Finished {
    int exitCode = -1;
    QString out;
    QString err;
    qint64 milliseconds = 0;
};

class InstanceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.isRunning()); }
    void TearDown() override {
        if (tray.state() != QProcess::NotRunning) {
            tray.kill();
            tray.waitForFinished(5000);
        }
    }

    // Runs lumora to its end while this process keeps serving the bus.
    Finished lumora(const QStringList& arguments, const QString& busAddress = {}) {
        QProcess process;
        process.setProcessEnvironment(
            lumoraEnvironment(home.path(), busAddress.isEmpty() ? bus.address() : busAddress));
        process.setWorkingDirectory(home.path());
        QElapsedTimer clock;
        clock.start();
        process.start(builtExecutable("lumora"), arguments);
        const bool ended = waitUntil([&] { return process.state() == QProcess::NotRunning; },
                                     std::chrono::seconds(30));
        const qint64 elapsed = clock.elapsed();
        if (!ended) {
            ADD_FAILURE() << "lumora " << arguments.join(' ').toStdString() << " did not end";
            process.kill();
            process.waitForFinished();
        }
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError()), elapsed};
    }

    TemporaryHome home;
    PrivateBus bus;
    QProcess tray;
};

} // namespace

TEST_F(InstanceTest, CommandsReachTheRunningTrayAndASecondStartShowsItsPopover) {
    // None runs: every command says so, on a bus without a tray and without any bus.
    for (const char* command : {"popover", "break", "settings", "quit"}) {
        for (const QString& address : {bus.address(), QStringLiteral("unix:path=/nonexistent")}) {
            const Finished outcome = lumora({QString::fromLatin1(command)}, address);
            EXPECT_EQ(outcome.exitCode, 1) << command;
            EXPECT_EQ(outcome.out, "Lumora is not running.\n") << command;
        }
    }
    // Without a display, or with one that refuses the connection, the tray does not start and
    // says what works instead.
    for (const QString& display : {QString(), QStringLiteral(":1999")}) {
        QProcess headless;
        QProcessEnvironment environment = lumoraEnvironment(home.path(), bus.address());
        environment.remove("QT_QPA_PLATFORM");
        if (!display.isEmpty()) {
            environment.insert("DISPLAY", display);
        }
        headless.setProcessEnvironment(environment);
        headless.start(builtExecutable("lumora"), {});
        ASSERT_TRUE(headless.waitForFinished(30000));
        EXPECT_EQ(headless.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(headless.exitCode(), 1);
        EXPECT_EQ(QString::fromUtf8(headless.readAllStandardError()),
                  "Lumora needs a desktop session to show its tray. `lumora status` works "
                  "without one.\n");
    }

    // A tray of this process owns the name.
    ModelHarness harness;
    AppModel::Services services = harness.services();
    const auto windows = std::make_shared<RecordingWindows>();
    services.windows = windows;
    AppModel model(std::move(services));
    StatusBarController controller(&model);
    auto service = std::make_unique<InstanceService>(bus.connect("tray"));
    ASSERT_EQ(service->claim(), InstanceService::Claim::owned);
    service->setController(&controller);

    // A second lumora: exits 0 within a second, and the first shows its popover.
    const Finished second = lumora({});
    EXPECT_EQ(second.exitCode, 0) << second.err.toStdString();
    EXPECT_LT(second.milliseconds, 1000);
    EXPECT_TRUE(controller.popover()->isShown());
    controller.popover()->close();

    EXPECT_EQ(lumora({"popover"}).exitCode, 0);
    EXPECT_TRUE(controller.popover()->isShown());
    EXPECT_EQ(lumora({"break"}).exitCode, 0);
    EXPECT_EQ(windows->breaks, 1);
    EXPECT_FALSE(controller.popover()->isShown());
    EXPECT_EQ(lumora({"settings"}).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return windows->settings == 1; }));
    // Quit: the command returns once the tray has let go of its name.
    QObject::connect(&controller, &StatusBarController::quitRequested, [&] { service.reset(); });
    const Finished quit = lumora({"quit"});
    EXPECT_EQ(quit.exitCode, 0) << quit.out.toStdString();
    EXPECT_EQ(service, nullptr);
    EXPECT_EQ(lumora({"popover"}).out, "Lumora is not running.\n");
}

TEST_F(InstanceTest, QuitEndsTheCodexConversationInFlightAndTheHookIsRepairedAtStart) {
    // Claude Code's hook, installed by a Lumora whose helper has since gone.
    const QString movedHelper = home.filePath("old-lumora/lumora-json");
    QDir().mkpath(QFileInfo(movedHelper).absolutePath());
    ASSERT_TRUE(QFile::copy(builtExecutable("lumora-json"), movedHelper));
    writeFile(home.filePath(".claude/settings.json"),
              "{\n  \"model\": \"opus\",\n  \"statusLine\": {\"type\": \"command\", \"command\": "
              "\"echo mine\"}\n}\n");
    const ClaudeStatusLineInstaller installer(home.path(), movedHelper);
    installer.install();
    QFile::remove(movedHelper);
    const QByteArray settings = readFile(installer.settingsPath());
    const QByteArray staleScript = readFile(installer.hookScriptPath());

    // Codex connected, and its app-server never answering: a conversation stays in flight. The
    // server runs a process of its own (as the Codex CLI's launcher does), whose pid is noted.
    const QString codex = home.filePath("tools/codex");
    const QString pidFile = home.filePath("app-server.pid");
    const QByteArray quoted = "'" + pidFile.toUtf8() + "'";
    writeScript(codex, "case \"$1\" in\nlogin) exit 0;;\napp-server) sleep 120 & echo $! > " +
                           quoted + ".tmp; mv " + quoted + ".tmp " + quoted + "; wait;;\nesac\n");
    writeFile(home.filePath(".config/Lumora/preferences.json"), "{\"codexEnabled\": true}");

    QProcessEnvironment environment = lumoraEnvironment(home.path(), bus.address());
    environment.insert("LUMORA_CODEX_PATH", codex);
    tray.setProcessEnvironment(environment);
    tray.setWorkingDirectory(home.path());
    // Starts the tray and returns the pid of its app-server once that is waiting.
    const auto startTray = [&]() -> qint64 {
        QFile::remove(pidFile);
        tray.start(builtExecutable("lumora"), {});
        if (!waitUntil([&] { return QFile::exists(pidFile); }, std::chrono::seconds(20))) {
            return 0;
        }
        return readFile(pidFile).trimmed().toLongLong();
    };
    const auto ended = [](qint64 pid) {
        return waitUntil([&] { return ::kill(static_cast<pid_t>(pid), 0) != 0; },
                         std::chrono::seconds(2));
    };
    const qint64 server = startTray();
    ASSERT_GT(server, 0);
    EXPECT_EQ(::kill(static_cast<pid_t>(server), 0), 0);

    // The script now names this build's helper and still chains the earlier status line;
    // Claude Code's settings are byte for byte what they were.
    const QByteArray repaired = readFile(installer.hookScriptPath());
    EXPECT_NE(repaired, staleScript);
    EXPECT_EQ(QString::fromUtf8(repaired),
              ClaudeStatusLineInstaller(home.path(), builtExecutable("lumora-json"))
                  .statusLineScript(QStringLiteral("echo mine")));
    EXPECT_EQ(readFile(installer.settingsPath()), settings);
    EXPECT_EQ(fileMode(installer.hookScriptPath()), 0700);

    // Quit: exit 0, and the app-server is gone with it.
    const Finished quit = lumora({"quit"});
    EXPECT_EQ(quit.exitCode, 0) << quit.out.toStdString();
    ASSERT_TRUE(waitUntil([&] { return tray.state() == QProcess::NotRunning; }));
    EXPECT_EQ(tray.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(tray.exitCode(), 0) << tray.readAllStandardError().toStdString();
    EXPECT_TRUE(ended(server)) << "the Codex app-server outlived the tray";

    // The session ending (SIGTERM) is a quit as well.
    const qint64 second = startTray();
    ASSERT_GT(second, 0);
    ::kill(static_cast<pid_t>(tray.processId()), SIGTERM);
    ASSERT_TRUE(waitUntil([&] { return tray.state() == QProcess::NotRunning; }));
    EXPECT_EQ(tray.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(tray.exitCode(), 0);
    EXPECT_TRUE(ended(second)) << "the Codex app-server outlived the tray";
}
