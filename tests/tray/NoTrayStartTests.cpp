// The real lumora on an X server of the test's own (Xvfb) with neither a StatusNotifierWatcher
// nor an XEmbed tray: the popover it shows once is a normal window with a title bar that a window
// manager puts in the task bar, and closing it leaves the tray running.
#include "TraySupport.h"

#include <QRegularExpression>
#include <QStandardPaths>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

using namespace lumora::test;

namespace {

// What an X tool prints for the test's display.
QString x11Tool(const QByteArray& display, const QString& tool, const QStringList& arguments) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(display));
    process.setProcessEnvironment(environment);
    process.start(tool, arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// What a window manager sends when the user presses a window's close button.
void askToClose(const QByteArray& display, xcb_window_t window) {
    xcb_connection_t* connection = xcb_connect(display.constData(), nullptr);
    const auto atom = [connection](const char* name) {
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, std::strlen(name), name), nullptr);
        const xcb_atom_t value = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        std::free(reply);
        return value;
    };
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom("WM_PROTOCOLS");
    event.data.data32[0] = atom("WM_DELETE_WINDOW");
    // Checked, and so a round trip: a request merely flushed before the disconnect is now and
    // then dropped by the server under load.
    std::free(xcb_request_check(
        connection, xcb_send_event_checked(connection, 0, window, XCB_EVENT_MASK_NO_EVENT,
                                           reinterpret_cast<const char*>(&event))));
    xcb_disconnect(connection);
}

} // namespace

TEST(NoTrayStartTest, ThePopoverIsANormalWindowAndClosingItLeavesTheTrayRunning) {
    if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty()) {
        GTEST_SKIP() << "Xvfb is missing (package xvfb)";
    }
    TemporaryHome home;
    PrivateBus bus;
    ASSERT_TRUE(bus.isRunning());
    QProcess xvfb;
    xvfb.start(QStringLiteral("Xvfb"),
               {"-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
    ASSERT_TRUE(xvfb.waitForReadyRead(10000));
    const QByteArray display = ":" + xvfb.readLine().trimmed();

    QProcessEnvironment environment = lumoraEnvironment(home.path(), bus.address());
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(display));
    QProcess tray;
    tray.setProcessEnvironment(environment);
    tray.setProcessChannelMode(QProcess::MergedChannels);
    tray.start(builtExecutable("lumora"), {});
    // What the tray printed, and whether it still runs: the story of a failure.
    const auto trayReport = [&tray] {
        return (tray.state() == QProcess::NotRunning
                    ? "lumora ended with " + QByteArray::number(tray.exitCode()) + ": "
                    : QByteArray("lumora runs: ")) +
               tray.readAll();
    };
    const auto shownWindows = [&] {
        return x11Tool(display, "xdotool", {"search", "--onlyvisible", "--name", "^Lumora$"});
    };

    // After its wait for a panel: the popover as a window of its own.
    QString window;
    ASSERT_TRUE(
        waitUntil([&] { return !(window = shownWindows()).isEmpty(); }, std::chrono::seconds(20)))
        << trayReport().toStdString();
    ASSERT_FALSE(window.contains('\n')) << "more than one window: " << window.toStdString();
    const QString properties =
        x11Tool(display, "xprop",
                {"-id", window, "_NET_WM_WINDOW_TYPE", "_MOTIF_WM_HINTS", "WM_TRANSIENT_FOR"});
    EXPECT_TRUE(properties.contains("_NET_WM_WINDOW_TYPE(ATOM) = _NET_WM_WINDOW_TYPE_NORMAL\n"))
        << properties.toStdString();
    // A title bar, and a window that can be moved and closed: Motif hints (flags, functions,
    // decorations) that keep the title (8) among the decorations and moving (4) and closing (32)
    // among the functions, when there are any.
    const QRegularExpressionMatch motif =
        QRegularExpression("_MOTIF_WM_HINTS\\(_MOTIF_WM_HINTS\\) = (\\w+), (\\w+), (\\w+)")
            .match(properties);
    if (motif.hasMatch()) {
        const uint flags = motif.captured(1).toUInt(nullptr, 16);
        EXPECT_TRUE((flags & 1) == 0 || (motif.captured(2).toUInt(nullptr, 16) & 36) == 36);
        EXPECT_TRUE((flags & 2) == 0 || (motif.captured(3).toUInt(nullptr, 16) & 8) != 0)
            << properties.toStdString();
    }
    EXPECT_TRUE(properties.contains("WM_TRANSIENT_FOR:  not found.")) << properties.toStdString();
    // In the task bar and the window list, not kept above the user's windows.
    EXPECT_EQ(x11Tool(display, "xprop", {"-id", window, "_NET_WM_STATE"}),
              "_NET_WM_STATE:  not found.");

    // Its close button: the window goes, the tray stays and still answers.
    askToClose(display, window.toUInt());
    ASSERT_TRUE(waitUntil([&] { return shownWindows().isEmpty(); })) << trayReport().toStdString();
    EXPECT_EQ(tray.state(), QProcess::Running);
    const QList<QPair<QString, QString>> sessionBus{{"DBUS_SESSION_BUS_ADDRESS", bus.address()}};
    EXPECT_EQ(runLumora(home.path(), {"popover"}, sessionBus).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] { return !shownWindows().isEmpty(); }));
    EXPECT_EQ(runLumora(home.path(), {"quit"}, sessionBus).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] { return tray.state() == QProcess::NotRunning; }));
    EXPECT_EQ(tray.exitCode(), 0);
    xvfb.terminate();
    xvfb.waitForFinished(5000);
}
