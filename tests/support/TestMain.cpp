// Test entry point: a private HOME and XDG folders before anything runs; with LUMORA_TEST_GUI_
// APPLICATION a QGuiApplication (WIDGETS: a QApplication) on the offscreen platform by default.
#if defined(LUMORA_TEST_WIDGETS_APPLICATION)
#include <QApplication>
#define LUMORA_TEST_GUI_APPLICATION
using TestApplication = QApplication;
#elif defined(LUMORA_TEST_GUI_APPLICATION)
#include <QGuiApplication>
using TestApplication = QGuiApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
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
    // No tool overrides; English texts and times unless a test sets another language.
    for (const char* name : {"LUMORA_CLAUDE_PATH", "LUMORA_CODEX_PATH", "LANGUAGE", "LC_ALL",
                             "LC_MESSAGES", "LC_TIME"}) {
        qunsetenv(name);
    }
    qputenv("LANG", "C.UTF-8");

#ifdef LUMORA_TEST_GUI_APPLICATION
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // No session bus (tests start a private one) and no preferred terminal of the real desktop.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + root + "/no-session-bus");
    qputenv("XDG_RUNTIME_DIR", root);
    qunsetenv("TERMINAL");
#endif
    TestApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
