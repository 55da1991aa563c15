// The tray's cost, measured on the real lumora program against a private bus and a watcher of
// this program's own, with fake Claude Code and Codex tools connected:
//   - start to registered status item, median of 10 starts;
//   - resident memory right after start (no window opened yet), after the popover has been
//     opened and closed, and 35 s later (the tray lets go of its windows' memory 30 s after the
//     last one closed), each with its share of anonymous memory and of mapped files (smaps);
//   - CPU time of the tray itself over an idle period (default 5 minutes).
// Runs under Xvfb when it is installed (as on a desktop), else on the offscreen platform.
// Usage: bench_tray [--idle-seconds N] [--starts N] [--history FILE]
// With --history the home starts with FILE as its usage history (bench_history --fill makes one of
// 90 days).
#include "core/ClaudeStatusLineInstaller.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace {

class Watcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")

public:
    QStringList registered;

public slots:
    void RegisterStatusNotifierItem(const QString& service) { registered.append(service); }
};

// Runs the event loop until `done` holds, looking every 5 ms; false when the time is up.
bool waitUntil(const std::function<bool()>& done, int milliseconds) {
    QDeadlineTimer deadline(milliseconds);
    while (!done()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QEventLoop loop;
        QTimer::singleShot(5, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// Runs the event loop for a while without using the processor.
void idle(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

QString firstLine(QProcess& process) {
    QDeadlineTimer deadline(10000);
    while (!process.canReadLine() && !deadline.hasExpired()) {
        process.waitForReadyRead(100);
    }
    return QString::fromUtf8(process.readLine()).trimmed();
}

// Resident memory from /proc/PID/smaps_rollup: "R MB (anonymous A MB, files F MB)".
QString memoryFigures(qint64 pid) {
    QFile file(QStringLiteral("/proc/%1/smaps_rollup").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return QStringLiteral("unknown");
    }
    qint64 rss = 0;
    qint64 anonymous = 0;
    for (const QByteArray& line : file.readAll().split('\n')) {
        const auto kib = [&line] {
            return line.split(':').value(1).trimmed().split(' ').first().toLongLong();
        };
        if (line.startsWith("Rss:")) {
            rss = kib();
        } else if (line.startsWith("Anonymous:")) {
            anonymous = kib();
        }
    }
    return QStringLiteral("%1 MB (anonymous %2 MB, files %3 MB)")
        .arg(rss / 1024.0, 0, 'f', 1)
        .arg(anonymous / 1024.0, 0, 'f', 1)
        .arg((rss - anonymous) / 1024.0, 0, 'f', 1);
}

// utime + stime of the process itself, in clock ticks.
qint64 cpuTicks(qint64 pid) {
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const QByteArray stat = file.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return fields.value(11).toLongLong() + fields.value(12).toLongLong();
}

void writeFile(const QString& path, const QByteArray& bytes, bool executable = false) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(bytes);
    file.close();
    if (executable) {
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    int idleSeconds = 300;
    int starts = 10;
    QString history;
    const QStringList arguments = app.arguments();
    for (int i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments[i] == QLatin1String("--idle-seconds")) {
            idleSeconds = arguments[i + 1].toInt();
        } else if (arguments[i] == QLatin1String("--starts")) {
            starts = std::max(1, arguments[i + 1].toInt());
        } else if (arguments[i] == QLatin1String("--history")) {
            history = arguments[i + 1];
        }
    }
    const QString bin = QCoreApplication::applicationDirPath();
    const QString lumora = bin + QStringLiteral("/lumora");

    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--print-address"),
                  QStringLiteral("--nofork")});
    const QString address = firstLine(daemon);
    if (address.isEmpty()) {
        std::fprintf(stderr, "bench_tray: dbus-daemon did not start\n");
        return 1;
    }
    QProcess xvfb;
    QString display;
    if (!QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty()) {
        xvfb.start(QStringLiteral("Xvfb"),
                   {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                    QStringLiteral("0"), QStringLiteral("1920x1080x24"),
                    QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        const QString number = firstLine(xvfb);
        if (!number.isEmpty()) {
            display = QLatin1Char(':') + number;
        }
    }

    QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("bench"));
    Watcher watcher;
    bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                       QDBusConnection::ExportAllSlots);
    bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"));

    // A home with both tools connected: Codex answers the app-server, Claude Code's hook is in.
    QTemporaryDir home;
    const QString codex = home.filePath(QStringLiteral("tools/codex"));
    writeFile(
        codex,
        "#!/bin/sh\ncase \"$1\" in\nlogin) exit 0;;\napp-server) echo >> \"$0.log\"; read -r _; "
        "echo '{\"id\":1,\"result\":{}}'; read -r _; read -r _; echo "
        "'{\"id\":2,\"result\":{\"rateLimits\":{\"primary\":{\"usedPercent\":7,"
        "\"windowDurationMins\":300}}}}'; exec cat > /dev/null;;\nesac\n",
        true);
    const QString claude = home.filePath(QStringLiteral("tools/claude"));
    writeFile(claude, "#!/bin/sh\nexit 0\n", true);
    const lumora::ClaudeStatusLineInstaller installer(home.path(),
                                                      bin + QStringLiteral("/lumora-json"));
    installer.install();
    // What the hook would have saved from Claude Code's last status update.
    writeFile(installer.rateLimitCachePath(),
              QByteArray(R"({"five_hour":{"used_percentage":42,"resets_at":)") +
                  QByteArray::number(QDateTime::currentSecsSinceEpoch() + 3 * 3600) + "}}");
    if (!history.isEmpty() && !QFile::copy(history, home.filePath(QStringLiteral(
                                                        ".local/share/Lumora/history.sqlite")))) {
        std::fprintf(stderr, "bench_tray: cannot copy the history %s\n", qPrintable(history));
        return 1;
    }
    writeFile(home.filePath(QStringLiteral(".config/Lumora/preferences.json")),
              R"({"codexEnabled": true, "providerEnabled": true, "showClaudeInMenuBar": true})");

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.remove(QStringLiteral("XDG_DATA_HOME"));
    environment.remove(QStringLiteral("XDG_CONFIG_HOME"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
    environment.insert(QStringLiteral("LUMORA_CODEX_PATH"), codex);
    environment.insert(QStringLiteral("LUMORA_CLAUDE_PATH"), claude);
    if (display.isEmpty()) {
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    } else {
        environment.insert(QStringLiteral("DISPLAY"), display);
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    }

    const auto call = [&](const QString& service, const QString& path, const QString& interface,
                          const QString& method, const QVariantList& args = {}) {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(args);
        bus.call(message, QDBus::BlockWithGui, 10000);
    };
    const auto quit = [&](QProcess& tray) {
        call(QStringLiteral("io.github.lumora.Lumora"), QStringLiteral("/io/github/lumora/Lumora"),
             QStringLiteral("io.github.lumora.Lumora"), QStringLiteral("Quit"));
        if (!waitUntil([&] { return tray.state() == QProcess::NotRunning; }, 15000)) {
            tray.kill();
            tray.waitForFinished();
        }
    };

    std::printf("bench_tray: platform %s\n",
                display.isEmpty() ? "offscreen" : qPrintable("xcb on Xvfb " + display));
    QList<double> startTimes;
    QProcess tray;
    tray.setProcessEnvironment(environment);
    tray.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    for (int run = 0; run <= starts; ++run) {
        watcher.registered.clear();
        QElapsedTimer clock;
        clock.start();
        tray.start(lumora, {});
        if (!waitUntil([&] { return !watcher.registered.isEmpty(); }, 20000)) {
            std::fprintf(stderr, "bench_tray: the item did not register\n");
            return 1;
        }
        const double elapsed = static_cast<double>(clock.nsecsElapsed()) / 1e6;
        if (run < starts) {
            startTimes.append(elapsed);
            quit(tray);
        }
    }
    std::sort(startTimes.begin(), startTimes.end());
    const double median =
        startTimes.size() % 2
            ? startTimes[startTimes.size() / 2]
            : (startTimes[startTimes.size() / 2 - 1] + startTimes[startTimes.size() / 2]) / 2.0;
    std::printf("start to registered item: median %.0f ms over %lld starts (min %.0f, max %.0f)\n",
                median, static_cast<long long>(startTimes.size()), startTimes.first(),
                startTimes.last());

    // The last start stays up: its memory, the popover, then the idle minutes.
    const qint64 pid = tray.processId();
    idle(3000);
    std::printf("resident memory after start: %s\n", qPrintable(memoryFigures(pid)));
    const QString item = watcher.registered.first();
    for (int i = 0; i < 2; ++i) {
        call(item, QStringLiteral("/StatusNotifierItem"),
             QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("ContextMenu"),
             {100, 100});
        idle(3000);
    }
    std::printf("resident memory after the popover opened and closed: %s\n",
                qPrintable(memoryFigures(pid)));
    idle(35000);
    std::printf("resident memory 35 s after the popover closed: %s (target 45 MB)\n",
                qPrintable(memoryFigures(pid)));
    const auto conversations = [&] {
        QFile log(codex + QStringLiteral(".log"));
        return log.open(QIODevice::ReadOnly) ? log.readAll().count('\n') : 0;
    };
    const qsizetype conversationsBefore = conversations();
    const qint64 before = cpuTicks(pid);
    QElapsedTimer idleClock;
    idleClock.start();
    idle(idleSeconds * 1000);
    const qint64 after = cpuTicks(pid);
    const double seconds = static_cast<double>(idleClock.elapsed()) / 1000.0;
    const double cpuSeconds = static_cast<double>(after - before) / ::sysconf(_SC_CLK_TCK);
    std::printf("idle CPU over %.0f s: %.2f s of CPU, %.3f%% of one core\n", seconds, cpuSeconds,
                100.0 * cpuSeconds / seconds);
    std::printf("resident memory after the idle period: %s\n", qPrintable(memoryFigures(pid)));
    const QDBusMessage label = bus.call(
        QDBusMessage::createMethodCall(item, QStringLiteral("/StatusNotifierItem"),
                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                       QStringLiteral("Get"))
            << QStringLiteral("org.kde.StatusNotifierItem") << QStringLiteral("XAyatanaLabel"),
        QDBus::BlockWithGui, 10000);
    std::printf("Codex conversations during the idle period: %lld; the label then: %s\n",
                static_cast<long long>(conversations() - conversationsBefore),
                qPrintable(label.arguments().value(0).value<QDBusVariant>().variant().toString()));
    quit(tray);
    xvfb.terminate();
    xvfb.waitForFinished();
    daemon.terminate();
    daemon.waitForFinished();
    return 0;
}

#include "TrayBench.moc"
