// The motion break screen on an Xvfb screen of its own: frames presented per second, the
// process's CPU use while the break is shown, and its resident memory before the break, during
// it, 5 seconds after it ended and 35 seconds after (the views let go of their memory 30 seconds
// after the last window closed), with the share of anonymous memory (smaps).
//
// Run: build/bin/bench_break_screen [--size 3840x2160] [--seconds 20] [--scene-graph opengl]
//      [--break-style minimal] [--popover-first]
// With --popover-first the popover is opened and closed before the figure "before" is taken: the
// usual case, where Qt Quick is loaded already when a break starts.
// The scene graph is the tray's default (see views/SceneGraph.h) unless --scene-graph picks
// software or opengl (Mesa's llvmpipe under Xvfb) for a comparison.
#include "cubefield/AmbientCubeField.h"
#include "model/AppModel.h"
#include "platform/MemoryRelease.h"
#include "views/BreakWindows.h"
#include "views/PopoverWindow.h"
#include "views/SceneGraph.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QTemporaryDir>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

Q_IMPORT_QML_PLUGIN(LumoraPlugin)

namespace {

double residentMegabytes() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
        }
    }
    return -1;
}

// Anonymous resident memory, from /proc/self/smaps_rollup.
double anonymousMegabytes() {
    QFile file(QStringLiteral("/proc/self/smaps_rollup"));
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith("Anonymous:")) {
            return line.mid(10).trimmed().split(' ').first().toDouble() / 1024.0;
        }
    }
    return -1;
}

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// CPU time of another process, from /proc (user + system).
double processCpuSeconds(qint64 pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray text = stat.readAll();
    // The fields after the command name, which is in parentheses and may hold spaces.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13) {
        return 0;
    }
    return (fields[11].toDouble() + fields[12].toDouble()) / double(sysconf(_SC_CLK_TCK));
}

void runEvents(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

int usage() {
    std::fprintf(stderr, "usage: bench_break_screen [--size WIDTHxHEIGHT] [--seconds N] "
                         "[--scene-graph software|opengl] [--break-style STYLE] "
                         "[--popover-first]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    int width = 1920;
    int height = 1080;
    int seconds = 20;
    QByteArray sceneGraph;
    QByteArray style = "motion";
    bool popoverFirst = false;
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument = argv[i];
        if (argument == "--size" && i + 1 < argc) {
            if (std::sscanf(argv[++i], "%dx%d", &width, &height) != 2 || width <= 0 ||
                height <= 0) {
                return usage();
            }
        } else if (argument == "--seconds" && i + 1 < argc) {
            seconds = QByteArray(argv[++i]).toInt();
            if (seconds <= 0) {
                return usage();
            }
        } else if (argument == "--popover-first") {
            popoverFirst = true;
        } else if (argument == "--break-style" && i + 1 < argc) {
            style = argv[++i];
        } else if (argument == "--scene-graph" && i + 1 < argc) {
            sceneGraph = argv[++i];
            if (sceneGraph != "software" && sceneGraph != "opengl") {
                return usage();
            }
        } else {
            return usage();
        }
    }

    // A home of its own, with the motion style chosen.
    QTemporaryDir home;
    const QByteArray root = home.path().toLocal8Bit();
    qputenv("HOME", root);
    qputenv("XDG_DATA_HOME", root + "/.local/share");
    qputenv("XDG_CONFIG_HOME", root + "/.config");
    QDir().mkpath(home.path() + "/.config/Lumora");
    QFile preferences(home.path() + "/.config/Lumora/preferences.json");
    if (!preferences.open(QIODevice::WriteOnly) ||
        preferences.write("{\"breakScreenStyle\": \"" + style + "\"}\n") <= 0) {
        return 1;
    }
    preferences.close();

    // The X server, on the first free display number it finds.
    QProcess xvfb;
    xvfb.setProcessChannelMode(QProcess::SeparateChannels);
    xvfb.start(QStringLiteral("Xvfb"),
               {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                QStringLiteral("0"), QStringLiteral("%1x%2x24").arg(width).arg(height),
                QStringLiteral("-nolisten"), QStringLiteral("tcp")});
    if (!xvfb.waitForStarted(5000) || !xvfb.waitForReadyRead(10000)) {
        std::fprintf(stderr, "Xvfb did not start (package xvfb)\n");
        return 1;
    }
    const QByteArray display = xvfb.readLine().trimmed();
    qputenv("DISPLAY", ":" + display);
    qputenv("QT_QPA_PLATFORM", "xcb");
    qunsetenv("WAYLAND_DISPLAY");
    qunsetenv("QT_QUICK_BACKEND");

    int result = 0;
    lumora::releaseFreedMemoryPromptly(); // as the tray does at start
    {
        QApplication app(argc, argv);
        if (sceneGraph == "software") {
            QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        } else if (sceneGraph == "opengl") {
            QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
        } else {
            lumora::chooseSceneGraph();
        }
        lumora::AppModel model(lumora::AppModel::Services::standard());
        lumora::BreakWindows breakWindows(&model);
        lumora::PopoverWindow popover(&model);
        if (popoverFirst) {
            popover.show(QPoint(0, 0));
            runEvents(1000);
            popover.close();
        }

        runEvents(1000);
        const double before = residentMegabytes();
        const double anonymousBefore = anonymousMegabytes();

        breakWindows.show();
        QQuickWindow* window = breakWindows.textWindow();
        if (!window) {
            std::fprintf(stderr, "no break window\n");
            return 1;
        }
        int frames = 0;
        QObject::connect(window, &QQuickWindow::frameSwapped, [&] { ++frames; });
        runEvents(2000); // the first frames, fonts and textures
        frames = 0;
        auto* field = window->findChild<lumora::AmbientCubeField*>();
        const quint64 drawnStart = field ? field->framesRendered() : 0;
        QElapsedTimer clock;
        clock.start();
        const double cpuStart = cpuSeconds();
        const double serverStart = processCpuSeconds(xvfb.processId());
        runEvents(seconds * 1000);
        const double elapsed = clock.elapsed() / 1000.0;
        const double cpu = cpuSeconds() - cpuStart;
        const double serverCpu = processCpuSeconds(xvfb.processId()) - serverStart;
        const double during = residentMegabytes();
        const quint64 drawn = field ? field->framesRendered() - drawnStart : 0;
        const auto api = window->rendererInterface()->graphicsApi();

        breakWindows.end();
        runEvents(5000);
        const double after = residentMegabytes();
        runEvents(30000);
        const double later = residentMegabytes();
        const double anonymousLater = anonymousMegabytes();

        std::printf("%s break screen %dx%d, %s scene graph, %d s%s\n", style.constData(), width,
                    height, api == QSGRendererInterface::Software ? "software" : "OpenGL", seconds,
                    popoverFirst ? ", popover shown before" : "");
        std::printf("  frames presented per second: %.1f (background frames drawn: %.1f)\n",
                    frames / elapsed, double(drawn) / elapsed);
        std::printf("  CPU: %.0f%% of one core (the X server: %.0f%%)\n", 100.0 * cpu / elapsed,
                    100.0 * serverCpu / elapsed);
        std::printf("  resident memory: before %.1f MB, during %.1f MB, 5 s after %.1f MB "
                    "(%+.1f MB), 35 s after %.1f MB (%+.1f MB)\n",
                    before, during, after, after - before, later, later - before);
        std::printf("  anonymous memory: before %.1f MB, 35 s after %.1f MB (%+.1f MB)\n",
                    anonymousBefore, anonymousLater, anonymousLater - anonymousBefore);

        // A second break reuses the windows: memory after it is what the tray keeps.
        breakWindows.show();
        runEvents(3000);
        breakWindows.end();
        runEvents(5000);
        std::printf("  5 s after a second break: %.1f MB\n", residentMegabytes());
    }
    xvfb.terminate();
    xvfb.waitForFinished(5000);
    return result;
}
