#include "tray/TrayApplication.h"

#include "core/ClaudeStatusLineInstaller.h"
#include "core/DataFolder.h"
#include "model/AppModel.h"
#include "tray/ChildProcesses.h"
#include "tray/HookRepair.h"
#include "tray/InstanceService.h"
#include "tray/ResumeWatcher.h"
#include "tray/StatusBarController.h"
#include "tray/StatusItem.h"
#include "views/AppWindows.h"

#include <QApplication>
#include <QDBusConnection>

#include <cstdio>
#include <memory>

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
        std::fprintf(stderr, "%s\n", noDesktopMessage);
        return 1;
    }
    QGuiApplication::setDesktopFileName(QStringLiteral("lumora"));
    QCoreApplication::setApplicationName(QStringLiteral("Lumora"));
    const QtMessageHandler previousHandler = qInstallMessageHandler(desktopSessionMissing);
    QApplication app(argc, argv);
    qInstallMessageHandler(previousHandler);
    QApplication::setQuitOnLastWindowClosed(false);

    // One tray per session: a second start shows the first one's popover.
    const QDBusConnection bus = QDBusConnection::sessionBus();
    InstanceService instance(bus);
    if (instance.claim() == InstanceService::Claim::runningElsewhere) {
        return 0;
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

    statusItem.start();
    controller.start();
    const int code = QApplication::exec();
    endChildProcesses();
    return code;
}

} // namespace lumora
