#include "tray/TrayApplication.h"

#include "views/SceneGraph.h"

#include "core/ClaudeStatusLineInstaller.h"
#include "core/DataFolder.h"
#include "model/AppModel.h"
#include "platform/MemoryRelease.h"
#include "translations/Translations.h"
#include "tray/ChildProcesses.h"
#include "tray/HookRepair.h"
#include "tray/InstanceLock.h"
#include "tray/InstanceService.h"
#include "tray/ResumeWatcher.h"
#include "tray/StatusBarController.h"
#include "tray/StatusItem.h"
#include "views/AppWindows.h"

#include <QApplication>
#include <QDBusConnection>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace lumora {
namespace {

// Qt ends the process with a fatal message when the display refuses the connection. While the
// application object is made, that message becomes ours and a normal exit code.
void desktopSessionMissing(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "%s\n", noDesktopMessage);
        std::fflush(stderr);
        std::_Exit(1);
    }
}

int quitSignalPipe[2] = {-1, -1};

void onQuitSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(quitSignalPipe[1], &byte, 1);
}

// SIGTERM (the session ending) and SIGINT quit the tray as its Quit does, so that the children
// it runs are ended too. The handler only writes to a pipe; the event loop does the rest.
void quitOnSignals(QObject* context) {
    if (::pipe2(quitSignalPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    auto* notifier = new QSocketNotifier(quitSignalPipe[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [] {
        char byte = 0;
        while (::read(quitSignalPipe[0], &byte, 1) > 0) {
        }
        QCoreApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = onQuitSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

} // namespace

bool hasDesktopSession() {
    const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    if (!platform.isEmpty() && !platform.startsWith(QLatin1String("xcb")) &&
        !platform.startsWith(QLatin1String("wayland"))) {
        return true;
    }
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

int runTray(int& argc, char** argv) {
    if (!hasDesktopSession()) {
        QCoreApplication app(argc, argv);
        installTranslations(app);
        std::fprintf(stderr, "%s\n",
                     qPrintable(QCoreApplication::translate("Messages", noDesktopMessage)));
        return 1;
    }
    releaseFreedMemoryPromptly();
    QGuiApplication::setDesktopFileName(QStringLiteral("lumora"));
    QCoreApplication::setApplicationName(QStringLiteral("Lumora"));
    const QtMessageHandler previousHandler = qInstallMessageHandler(desktopSessionMissing);
    QApplication app(argc, argv);
    qInstallMessageHandler(previousHandler);
    installTranslations(app);
    QApplication::setQuitOnLastWindowClosed(false);
    chooseSceneGraph();

    // One tray per session: a second start shows the first one's popover. Without a session
    // bus, a lock file per user and display keeps it to one tray all the same.
    const QDBusConnection bus = QDBusConnection::sessionBus();
    InstanceService instance(bus);
    InstanceLock lock;
    switch (instance.claim()) {
    case InstanceService::Claim::runningElsewhere:
        return 0;
    case InstanceService::Claim::noBus:
        if (!lock.tryLock()) {
            return 0;
        }
        break;
    case InstanceService::Claim::owned:
        break;
    }

    repairHookScript(currentHomeDirectory(), locateHookHelper());

    AppModel::Services services = AppModel::Services::standard();
    const std::shared_ptr<Notifier> notifier = services.notifier;
    const auto windows = std::make_shared<AppWindows>();
    services.windows = windows;
    AppModel model(std::move(services));
    windows->setModel(&model);

    StatusBarController controller(&model);
    QObject::connect(&controller, &StatusBarController::quitRequested, &app,
                     &QCoreApplication::quit);
    instance.setController(&controller);
    StatusItem statusItem(&controller, bus, notifier);
    ResumeWatcher resume(QDBusConnection::systemBus());
    QObject::connect(&resume, &ResumeWatcher::resumed, &model, [&model] { model.refresh(false); });

    quitOnSignals(&app);
    statusItem.start();
    controller.start();
    const int code = QApplication::exec();
    endChildProcesses();
    return code;
}

} // namespace lumora
