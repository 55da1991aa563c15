// Entry point of the test executables. Before anything else runs it gives the process a
// private HOME and private XDG folders inside a temporary folder, so that nothing a test does
// (or a child process it starts) can read or write the real home folder.
//
// Built with LUMORA_TEST_GUI_APPLICATION it starts a QGuiApplication instead (with
// LUMORA_TEST_WIDGETS_APPLICATION a QApplication, for the file dialog and the XEmbed tray icon),
// on the offscreen platform unless QT_QPA_PLATFORM says otherwise, so that tests of app/ need no
// display.
#if defined(LUMORA_TEST_WIDGETS_APPLICATION)
#include <QApplication>
#define LUMORA_TEST_GUI_APPLICATION
#elif defined(LUMORA_TEST_GUI_APPLICATION)
#include <QGuiApplication>
#else
#include <QCoreApplication>
#endif
#include <QDir>
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
    qunsetenv("LUMORA_CLAUDE_PATH");
    qunsetenv("LUMORA_CODEX_PATH");
    // English texts and times whatever the developer's desktop speaks; a test that wants another
    // language sets it for itself (or for the lumora it starts).
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LC_TIME"}) {
        qunsetenv(name);
    }
    qputenv("LANG", "C.UTF-8");

#ifdef LUMORA_TEST_GUI_APPLICATION
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // No notification, clipboard or terminal of the real desktop: the session bus points
    // nowhere (tests that need D-Bus start a private bus) and no preferred terminal is set.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + root + "/no-session-bus");
    qputenv("XDG_RUNTIME_DIR", root);
    qunsetenv("TERMINAL");
#if defined(LUMORA_TEST_WIDGETS_APPLICATION)
    QApplication app(argc, argv);
#else
    QGuiApplication app(argc, argv);
#endif
#else
    QCoreApplication app(argc, argv);
#endif
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
