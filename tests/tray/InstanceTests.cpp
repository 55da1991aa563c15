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

#include <xcb/xcb.h>

using namespace lumora;
using namespace lumora::test;

namespace {

using InstanceTest = TrayTest;

// What a window manager sends when the user presses a window's close button; checked, so a round
// trip: a request merely flushed before the disconnect may get dropped.
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
    // A tray of this process owns the name; a second lumora exits 0 and shows its popover.
    ModelHarness harness;
    AppModel::Services services = harness.services();
    const auto windows = std::make_shared<RecordingWindows>();
    services.windows = windows;
    AppModel model(std::move(services));
    StatusBarController controller(&model);
    auto service = std::make_unique<InstanceService>(bus.connect("tray"));
    ASSERT_EQ(service->claim(), InstanceService::Claim::owned);
    service->setController(&controller);
    const CommandOutcome second = lumora({});
    EXPECT_EQ(second.exitCode, 0) << second.err.toStdString();
    EXPECT_TRUE(controller.popover()->isShown());
    controller.popover()->close();
    EXPECT_EQ(lumora({"popover"}).exitCode, 0);
    EXPECT_TRUE(controller.popover()->isShown());
    EXPECT_EQ(lumora({"break"}).exitCode, 0);
    EXPECT_EQ(std::pair(windows->breaks, controller.popover()->isShown()), std::pair(1, false));
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
    writeScript(codex, "case \"$1\" in\nlogin) exit 0;;\napp-server) sleep 120 & echo $! > '" +
                           pidFile.toUtf8() + ".tmp'; mv '" + pidFile.toUtf8() + ".tmp' '" +
                           pidFile.toUtf8() + "'; wait;;\nesac\n");
    writeFile(home.preferencesFile(), "{\"codexEnabled\": true}");
    LumoraProcess tray(home.path(), bus.address(), {"LUMORA_CODEX_PATH=" + codex});
    // Starts the tray and returns the pid of its app-server once that is waiting.
    const auto startTray = [&] {
        QFile::remove(pidFile);
        tray.start();
        return waitUntil([&] { return QFile::exists(pidFile); }, std::chrono::seconds(20))
                   ? pid_t(readFile(pidFile).trimmed().toInt())
                   : 0;
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
    for (const bool quit : {true, false}) {
        const pid_t pid = quit ? server : startTray();
        ASSERT_GT(pid, 0);
        EXPECT_EQ(quit ? lumora({"quit"}).exitCode : (tray.terminate(), 0), 0);
        EXPECT_EQ(tray.finish(), 0) << tray.report();
        EXPECT_TRUE(waitUntil([&] { return ::kill(pid, 0) != 0; }, std::chrono::seconds(2)))
            << "the Codex app-server outlived the tray";
    }
}

// Without any session bus, ten starts at once leave one tray; once it ends the next is the tray.
using NoBusInstanceTest = InstanceTest;
TEST_F(NoBusInstanceTest, TenStartsAtOnceLeaveOneTray) {
    QTemporaryDir runtime;
    ASSERT_TRUE(QFile::setPermissions(runtime.path(),
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    std::vector<std::unique_ptr<LumoraProcess>> trays;
    for (int i = 0; i < 11; ++i) {
        trays.push_back(
            std::make_unique<LumoraProcess>(home.path(), "unix:path=/nonexistent",
                                            QStringList{"XDG_RUNTIME_DIR=" + runtime.path()}));
        i < 10 ? trays.back()->start() : void();
    }
    const auto running = [&] {
        return std::count_if(trays.begin(), trays.end(),
                             [](const auto& t) { return t->state() != QProcess::NotRunning; });
    };
    // Nine give way at once, each with exit code 0; one stays, and ends with 0 on SIGTERM.
    ASSERT_TRUE(waitUntil([&] { return running() <= 1; }, std::chrono::seconds(30)));
    EXPECT_FALSE(waitUntil([&] { return running() == 0; }, std::chrono::seconds(2)));
    ASSERT_EQ(running(), 1);
    for (int i = 0; i < 10; ++i) {
        trays[i]->terminate(); // SIGTERM, to the one still running
        EXPECT_EQ(trays[i]->finish(), 0) << trays[i]->report();
    }
    trays[10]->start();
    EXPECT_FALSE(waitUntil([&] { return running() == 0; }, std::chrono::seconds(2)));
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
    const auto x11 = [&](const QString& program, const QStringList& arguments) {
        return runProgram(program, arguments, {}, {{"DISPLAY", display}}).out.trimmed();
    };
    const auto shownWindows = [&] {
        return x11("xdotool", {"search", "--onlyvisible", "--name", "^Lumora$"});
    };
    LumoraProcess tray(home.path(), bus.address(), {"QT_QPA_PLATFORM=xcb", "DISPLAY=" + display});
    tray.start();
    // After its wait for a panel: the popover as a window of its own.
    QString window;
    ASSERT_TRUE(
        waitUntil([&] { return !(window = shownWindows()).isEmpty(); }, std::chrono::seconds(20)))
        << tray.report();
    ASSERT_FALSE(window.contains('\n')) << "more than one window: " << window.toStdString();
    // Normal, not transient, and in the task bar and the window list, not kept above the user's
    // windows; Motif hints (flags, functions, decorations), when there are any, keep the title (8)
    // among the decorations and moving (4) and closing (32) among the functions.
    QStringList properties = x11("xprop", {"-id", window, "_NET_WM_WINDOW_TYPE", "_MOTIF_WM_HINTS",
                                           "WM_TRANSIENT_FOR", "_NET_WM_STATE"})
                                 .split('\n');
    const QString motif = properties.takeAt(1);
    EXPECT_EQ(properties.join('\n'),
              "_NET_WM_WINDOW_TYPE(ATOM) = _NET_WM_WINDOW_TYPE_NORMAL\nWM_TRANSIENT_FOR:  not "
              "found.\n_NET_WM_STATE:  not found.");
    const QStringList hints =
        QRegularExpression("= (\\w+), (\\w+), (\\w+)").match(motif).capturedTexts();
    const uint flags = hints.value(1).toUInt(nullptr, 16),
               functions = hints.value(2).toUInt(nullptr, 16);
    EXPECT_TRUE(((flags & 1) == 0 || (functions & 36) == 36) &&
                ((flags & 2) == 0 || (hints.value(3).toUInt(nullptr, 16) & 8) != 0))
        << motif.toStdString();

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
