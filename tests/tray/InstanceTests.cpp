// The lumora program: one tray per session with or without a bus, the commands that reach it, a
// clean quit, the hook repaired at start, and the popover shown when no panel hosts the tray.
#include "TraySupport.h"

#include "core/ClaudeStatusLineInstaller.h"
#include "tray/InstanceService.h"
#include "tray/StatusBarController.h"
#include "views/PopoverWindow.h"

#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <csignal>

using namespace lumora;
using namespace lumora::test;

namespace {

class InstanceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.isRunning()); }
    // Runs lumora to its end while this process keeps serving the bus.
    CommandOutcome lumora(const QStringList& arguments, const QStringList& variables = {}) {
        LumoraProcess process(home.path(), bus.address(), variables);
        process.start(arguments);
        const int exitCode = process.finish();
        return {exitCode, process.readAllStandardOutput(), process.readAllStandardError()};
    }

    TemporaryHome home;
    PrivateBus bus;
};

// What a window manager sends when the user presses a window's close button.
void askToClose(const QByteArray& display, xcb_window_t window) {
    xcb_connection_t* x = xcb_connect(display.constData(), nullptr);
    const auto atom = [x](const char* name) {
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, std::strlen(name), name), nullptr),
            &std::free);
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    };
    xcb_client_message_event_t event{XCB_CLIENT_MESSAGE, 32, 0, window, atom("WM_PROTOCOLS"), {}};
    event.data.data32[0] = atom("WM_DELETE_WINDOW");
    // Checked, so a round trip: a request merely flushed before the disconnect may get dropped.
    std::free(xcb_request_check(x, xcb_send_event_checked(x, 0, window, XCB_EVENT_MASK_NO_EVENT,
                                                          reinterpret_cast<const char*>(&event))));
    xcb_disconnect(x);
}

} // namespace

TEST_F(InstanceTest, CommandsReachTheRunningTrayAndASecondStartShowsItsPopover) {
    // None runs without a bus; a display that refuses the connection: the tray says what works.
    EXPECT_EQ(lumora({"break"}, {"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent"}).out,
              "Lumora is not running.\n");
    const CommandOutcome headless = lumora({}, {"QT_QPA_PLATFORM=", "DISPLAY=:1999"});
    EXPECT_EQ(std::pair(headless.exitCode, headless.err),
              std::pair(1, QString("Lumora needs a desktop session to show its tray. `lumora "
                                   "status` works without one.\n")));
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
    // A second lumora exits 0, and the first shows its popover.
    const CommandOutcome second = lumora({});
    EXPECT_EQ(second.exitCode, 0) << second.err.toStdString();
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
    EXPECT_EQ(lumora({"quit"}).exitCode, 0);
    EXPECT_EQ(service, nullptr);
    const CommandOutcome after = lumora({"popover"}); // on a bus without a tray
    EXPECT_EQ(std::pair(after.exitCode, after.out),
              std::pair(1, QString("Lumora is not running.\n")));
}

TEST_F(InstanceTest, QuitEndsTheCodexConversationInFlightAndTheHookIsRepairedAtStart) {
    // Claude Code's hook, installed by a Lumora whose helper has since gone.
    const QString movedHelper = home.filePath("old-lumora/lumora-json");
    ASSERT_TRUE(QDir(home.path()).mkpath("old-lumora") &&
                QFile::copy(builtExecutable("lumora-json"), movedHelper));
    writeFile(home.filePath(".claude/settings.json"),
              "{\n  \"model\": \"opus\",\n  \"statusLine\": {\"type\": \"command\", \"command\": "
              "\"echo mine\"}\n}\n");
    const ClaudeStatusLineInstaller installer(home.path(), movedHelper);
    installer.install();
    QFile::remove(movedHelper);
    const QByteArray settings = readFile(installer.settingsPath());

    // Codex connected, its app-server never answering: a conversation stays in flight. The
    // server runs a process of its own (as the Codex CLI's launcher does), whose pid is noted.
    const QString codex = home.filePath("tools/codex"), pidFile = home.filePath("app-server.pid");
    writeScript(codex, QString("case \"$1\" in\nlogin) exit 0;;\napp-server) sleep 120 & echo $! > "
                               "'%1.tmp'; mv '%1.tmp' '%1'; wait;;\nesac\n")
                           .arg(pidFile)
                           .toUtf8());
    writeFile(home.preferencesFile(), "{\"codexEnabled\": true}");
    LumoraProcess tray(home.path(), bus.address(), {"LUMORA_CODEX_PATH=" + codex});
    // Starts the tray and returns the pid of its app-server once that is waiting.
    const auto startTray = [&]() -> pid_t {
        QFile::remove(pidFile);
        tray.start();
        return waitUntil([&] { return QFile::exists(pidFile); }, std::chrono::seconds(20))
                   ? readFile(pidFile).trimmed().toInt()
                   : 0;
    };
    const auto ended = [](pid_t pid) {
        return waitUntil([&] { return ::kill(pid, 0) != 0; }, std::chrono::seconds(2));
    };
    const pid_t server = startTray();
    ASSERT_GT(server, 0);
    // The script now names this build's helper and still chains the earlier status line;
    // Claude Code's settings are byte for byte what they were.
    const ClaudeStatusLineInstaller repaired(home.path(), builtExecutable("lumora-json"));
    EXPECT_EQ(QString::fromUtf8(readFile(installer.hookScriptPath())),
              repaired.statusLineScript("echo mine"));
    EXPECT_EQ(readFile(installer.settingsPath()), settings);
    EXPECT_EQ(fileMode(installer.hookScriptPath()), 0700);

    // Quit, and the session ending (SIGTERM): exit 0, and the app-server is gone with the tray.
    EXPECT_EQ(lumora({"quit"}).exitCode, 0);
    EXPECT_EQ(tray.finish(), 0) << tray.report();
    EXPECT_TRUE(ended(server)) << "the Codex app-server outlived the tray";
    const pid_t second = startTray();
    ASSERT_GT(second, 0);
    ::kill(pid_t(tray.processId()), SIGTERM);
    EXPECT_EQ(tray.finish(), 0) << tray.report();
    EXPECT_TRUE(ended(second)) << "the Codex app-server outlived the tray";
}

// Without any session bus, ten starts at once leave one tray; once it ends the next is the tray.
using NoBusInstanceTest = InstanceTest;
TEST_F(NoBusInstanceTest, TenStartsAtOnceLeaveOneTray) {
    QTemporaryDir runtime;
    ASSERT_TRUE(QFile::setPermissions(runtime.path(),
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    const auto start = [&] {
        auto tray =
            std::make_unique<LumoraProcess>(home.path(), "unix:path=/nonexistent",
                                            QStringList{"XDG_RUNTIME_DIR=" + runtime.path()});
        tray->start();
        return tray;
    };
    std::vector<std::unique_ptr<LumoraProcess>> trays;
    std::generate_n(std::back_inserter(trays), 10, start);
    const auto running = [&] {
        return std::count_if(trays.begin(), trays.end(),
                             [](const auto& t) { return t->state() != QProcess::NotRunning; });
    };
    // Nine give way at once, each with exit code 0; one stays, and ends with 0 on SIGTERM.
    ASSERT_TRUE(waitUntil([&] { return running() <= 1; }, std::chrono::seconds(30)));
    EXPECT_FALSE(waitUntil([&] { return running() == 0; }, std::chrono::seconds(2)));
    ASSERT_EQ(running(), 1);
    for (const auto& tray : trays) {
        if (tray->state() != QProcess::NotRunning) {
            ::kill(pid_t(tray->processId()), SIGTERM);
        }
        EXPECT_EQ(tray->finish(), 0) << tray->report();
    }
    const auto next = start();
    EXPECT_FALSE(
        waitUntil([&] { return next->state() == QProcess::NotRunning; }, std::chrono::seconds(2)));
}

// On an X server of its own with no panel: the popover it shows once is a normal window with a
// title bar that a window manager puts in the task bar; closing it leaves the tray running.
using NoTrayStartTest = InstanceTest;
TEST_F(NoTrayStartTest, ThePopoverIsANormalWindowAndClosingItLeavesTheTrayRunning) {
    if (QStandardPaths::findExecutable("Xvfb").isEmpty()) {
        GTEST_SKIP() << "Xvfb is missing (package xvfb)";
    }
    // -noreset: an X server that resets when its last client leaves (xdotool's, here) refuses
    // the connections that arrive meanwhile.
    QProcess xvfb;
    xvfb.start("Xvfb",
               {"-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"});
    ASSERT_TRUE(xvfb.waitForReadyRead(10000));
    const QByteArray display = ":" + xvfb.readLine().trimmed();
    const QList<QPair<QString, QString>> x11{{"DISPLAY", display}};
    const auto shownWindows = [&] {
        return runProgram("xdotool", {"search", "--onlyvisible", "--name", "^Lumora$"}, {}, x11)
            .out.trimmed();
    };
    LumoraProcess tray(home.path(), bus.address(), {"QT_QPA_PLATFORM=xcb", "DISPLAY=" + display});
    tray.start();
    // After its wait for a panel: the popover as a window of its own.
    QString window;
    ASSERT_TRUE(
        waitUntil([&] { return !(window = shownWindows()).isEmpty(); }, std::chrono::seconds(20)))
        << tray.report();
    ASSERT_FALSE(window.contains('\n')) << "more than one window: " << window.toStdString();
    const QString properties = runProgram("xprop",
                                          {"-id", window, "_NET_WM_WINDOW_TYPE", "_MOTIF_WM_HINTS",
                                           "WM_TRANSIENT_FOR", "_NET_WM_STATE"},
                                          {}, x11)
                                   .out.trimmed();
    EXPECT_TRUE(properties.contains("_NET_WM_WINDOW_TYPE(ATOM) = _NET_WM_WINDOW_TYPE_NORMAL\n"))
        << properties.toStdString();
    // Motif hints (flags, functions, decorations), when there are any, keep the title (8) among
    // the decorations and moving (4) and closing (32) among the functions.
    const QRegularExpressionMatch motif =
        QRegularExpression("_MOTIF_WM_HINTS\\(_MOTIF_WM_HINTS\\) = (\\w+), (\\w+), (\\w+)")
            .match(properties);
    const auto hint = [&](int i) {
        return motif.captured(i).toUInt(nullptr, 16);
    };
    EXPECT_TRUE(!motif.hasMatch() || (hint(1) & 1) == 0 || (hint(2) & 36) == 36);
    EXPECT_TRUE(!motif.hasMatch() || (hint(1) & 2) == 0 || (hint(3) & 8) != 0);
    // Not transient, and in the task bar and the window list, not kept above the user's windows.
    EXPECT_TRUE(properties.contains("WM_TRANSIENT_FOR:  not found.")) << properties.toStdString();
    EXPECT_TRUE(properties.endsWith("_NET_WM_STATE:  not found.")) << properties.toStdString();

    // Its close button: the window goes, the tray stays and still answers.
    askToClose(display, window.toUInt());
    ASSERT_TRUE(waitUntil([&] { return shownWindows().isEmpty(); })) << tray.report();
    EXPECT_EQ(tray.state(), QProcess::Running);
    EXPECT_EQ(lumora({"popover"}).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] { return !shownWindows().isEmpty(); }));
    EXPECT_EQ(lumora({"quit"}).exitCode, 0);
    EXPECT_EQ(tray.finish(), 0) << tray.report();
    xvfb.terminate();
    xvfb.waitForFinished(5000);
}
