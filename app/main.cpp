#include "cli/CommandLine.h"
#include "translations/Translations.h"

#include <QCoreApplication>
#include <QTextStream>

#ifdef LUMORA_WITH_TRAY
#include "tray/TrayApplication.h"

#include <QtQml/qqmlextensionplugin.h>

// The views' QML module, compiled into this program; loaded when the first window opens.
Q_IMPORT_QML_PLUGIN(LumoraPlugin)
#endif

int main(int argc, char** argv) {
#ifdef LUMORA_WITH_TRAY
    // Without a command: the tray. With one: the command line, which needs no display.
    if (argc <= 1) {
        return lumora::runTray(argc, argv);
    }
#endif
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Lumora"));
    lumora::installTranslations(app);
    QTextStream out(stdout);
    QTextStream err(stderr);
    return lumora::cli::run(QCoreApplication::arguments().mid(1), out, err);
}
