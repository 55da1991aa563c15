#include "AppTestSupport.h"

#include "platform/DesktopServices.h"

#include <QClipboard>
#include <QGuiApplication>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// Terminals are looked up on PATH; each test gets a PATH of its own folder only, holding fake
// terminals that leave a mark when started.
class TerminalLauncherTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_previousPath = qgetenv("PATH");
        m_previousTerminal = qgetenv("TERMINAL");
        qputenv("PATH", bin().toLocal8Bit());
        qunsetenv("TERMINAL");
    }
    void TearDown() override {
        qputenv("PATH", m_previousPath);
        if (m_previousTerminal.isNull()) {
            qunsetenv("TERMINAL");
        } else {
            qputenv("TERMINAL", m_previousTerminal);
        }
    }
    QString bin() const { return home.filePath("bin"); }
    QString mark() const { return home.filePath("started"); }
    void installTerminal(const QString& name) const {
        writeScript(bin() + "/" + name, "echo " + name.toUtf8() + " > '" + mark().toUtf8() + "'\n");
    }
    QString startedTerminal() const {
        if (!waitUntil([&] { return QFile::exists(mark()) && !readFile(mark()).isEmpty(); },
                       std::chrono::seconds(5))) {
            return {};
        }
        return QString::fromUtf8(readFile(mark())).trimmed();
    }

    TemporaryHome home;

private:
    QByteArray m_previousPath;
    QByteArray m_previousTerminal;
};

} // namespace

TEST_F(TerminalLauncherTest, StartsTheFirstTerminalFoundInTheUsualOrder) {
    installTerminal("xterm");
    installTerminal("konsole");
    installTerminal("gnome-terminal");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin() + "/gnome-terminal");
    SystemTerminalLauncher launcher;
    EXPECT_TRUE(launcher.start());
    EXPECT_EQ(startedTerminal(), "gnome-terminal");

    installTerminal("x-terminal-emulator"); // the system's chosen default comes first
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin() + "/x-terminal-emulator");
}

TEST_F(TerminalLauncherTest, TheUsersTerminalVariableWins) {
    installTerminal("gnome-terminal");
    installTerminal("wezterm");
    qputenv("TERMINAL", "wezterm");
    SystemTerminalLauncher launcher;
    EXPECT_TRUE(launcher.start());
    EXPECT_EQ(startedTerminal(), "wezterm");

    // A path works too; one that names nothing falls through to the list.
    qputenv("TERMINAL", (bin() + "/wezterm").toLocal8Bit());
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin() + "/wezterm");
    qputenv("TERMINAL", "no-such-terminal");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin() + "/gnome-terminal");
}

TEST_F(TerminalLauncherTest, WithoutAnyTerminalNothingStarts) {
    writeFile(bin() + "/kitty", "not executable");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), std::nullopt);
    SystemTerminalLauncher launcher;
    EXPECT_FALSE(launcher.start());
}

TEST(SystemClipboard, ReplacesTheClipboardText) {
    QGuiApplication::clipboard()->setText("something the user copied");
    SystemClipboard clipboard;
    clipboard.setText("codex login");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "codex login");
}
