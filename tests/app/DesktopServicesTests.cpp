#include "AppTestSupport.h"

#include <QClipboard>
#include <QGuiApplication>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

// Terminals are found on PATH (here a folder of fake ones that leave a mark when started), with
// $TERMINAL first, then the system's default, then the usual list.
TEST(TerminalLauncher, StartsTheUsersThenTheSystemsThenTheFirstUsualTerminal) {
    TemporaryHome home;
    const QString bin = home.filePath("bin");
    const QString mark = home.filePath("started");
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", bin.toLocal8Bit());
    qunsetenv("TERMINAL");
    const auto install = [&](const QString& name) {
        writeScript(bin + "/" + name, "echo " + name.toUtf8() + " > '" + mark.toUtf8() + "'\n");
    };
    const auto started = [&] {
        QFile::remove(mark);
        EXPECT_TRUE(SystemTerminalLauncher().start());
        waitUntil([&] { return QFile::exists(mark) && !readFile(mark).isEmpty(); },
                  std::chrono::seconds(5));
        return QString::fromUtf8(readFile(mark)).trimmed();
    };
    writeFile(bin + "/kitty", "not executable");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), std::nullopt);
    EXPECT_FALSE(SystemTerminalLauncher().start());
    for (const char* name : {"xterm", "konsole", "gnome-terminal", "wezterm"}) {
        install(name);
    }
    EXPECT_EQ(started(), "gnome-terminal");
    qputenv("TERMINAL", "wezterm");
    EXPECT_EQ(started(), "wezterm");
    qputenv("TERMINAL", (bin + "/wezterm").toLocal8Bit());
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/wezterm");
    qputenv("TERMINAL", "no-such-terminal");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/gnome-terminal");
    install("x-terminal-emulator");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/x-terminal-emulator");
    qunsetenv("TERMINAL");
    qputenv("PATH", path);
    QGuiApplication::clipboard()->setText("something the user copied");
    SystemClipboard().setText("codex login");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "codex login");
}
