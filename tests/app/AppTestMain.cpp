// Entry point of the application-model tests. Like the core tests' main it moves HOME and the
// XDG folders into a private temporary folder first; it then starts a QGuiApplication on the
// offscreen platform, so that clipboard and images work without a display. The session bus is
// pointed nowhere: tests that need D-Bus start a private bus of their own.
#include <QDir>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QTemporaryDir privateRoot(QDir::tempPath() + QStringLiteral("/lumora-test-XXXXXX"));
    if (!privateRoot.isValid()) {
        return 1;
    }
    const QByteArray root = privateRoot.path().toLocal8Bit();
    qputenv("LUMORA_TEST_PROCESS_HOME", root);
    qputenv("HOME", root);
    qputenv("XDG_DATA_HOME", root + "/.local/share");
    qputenv("XDG_CONFIG_HOME", root + "/.config");
    qputenv("XDG_CACHE_HOME", root + "/.cache");
    qputenv("XDG_RUNTIME_DIR", root);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + root + "/no-session-bus");
    qunsetenv("LUMORA_CLAUDE_PATH");
    qunsetenv("LUMORA_CODEX_PATH");
    qunsetenv("TERMINAL");

    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
