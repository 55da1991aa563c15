// The usage history's costs on a real SQLite file:
//   - recording one figure (the tray does it after every refresh): median and 99th percentile;
//   - 90 days of a figure a minute for two providers (each with a weekly window beside its
//     session window, whose share changes less often, so the ten-minute rule writes most of it):
//     the file's size, opening it as the tray does and reading both main windows with their paces,
//     and reading all of it as `lumora history
//     --since 90d` does.
// Usage: bench_history                 the figures
//        bench_history --fill FILE     writes such a 90-day history to FILE (for bench_tray)
#include "history/HistoryStore.h"
#include "history/UsagePace.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace lumora;

namespace {

const QDateTime now = QDateTime::currentDateTimeUtc();

// Steady use: the session share climbs a little every minute through each five-hour window and
// resets with it; the weekly share climbs a percent at a time.
void fill(const QString& path) {
    HistoryStore store(path, HistoryStore::Access::readWrite);
    const qint64 minutes = 90 * 24 * 60;
    for (qint64 minute = minutes; minute > 0; --minute) {
        const QDateTime at = now.addSecs(-minute * 60);
        const qint64 intoWindow = (minutes - minute) % 300;
        const QDateTime reset = at.addSecs((300 - intoWindow) * 60);
        for (const QString& provider : {providers::claudeCodeID, providers::codexID}) {
            store.record({provider, UsageWindow::Kind::session, intoWindow / 330.0, reset, at,
                          SnapshotSource::officialCLI});
            // The weekly share moves in whole percents, as the tools report it.
            const qint64 weekMinute = (minutes - minute) % 10080;
            store.record({provider, UsageWindow::Kind::weekly,
                          static_cast<double>(weekMinute * 100 / 12000) / 100.0,
                          at.addSecs((10080 - weekMinute) * 60), at, SnapshotSource::officialCLI});
        }
    }
}

double percentile(QList<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<qsizetype>(share * static_cast<double>(values.size() - 1))];
}

double milliseconds(const QElapsedTimer& clock) {
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "--fill") {
        fill(QString::fromLocal8Bit(argv[2]));
        return 0;
    }
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("history.sqlite"));

    {
        HistoryStore store(path, HistoryStore::Access::readWrite);
        QList<double> times;
        for (int index = 0; index < 2000; ++index) {
            QElapsedTimer clock;
            clock.start();
            store.record({providers::codexID, UsageWindow::Kind::session, index % 100 / 100.0,
                          now.addSecs(3600), now.addSecs(-4000 + 2 * index),
                          SnapshotSource::officialAppServer});
            times.append(milliseconds(clock));
        }
        std::printf("record one figure: median %.3f ms, 99th percentile %.3f ms (2000 figures)\n",
                    percentile(times, 0.5), percentile(times, 0.99));
    }
    HistoryStore::remove(path);

    QElapsedTimer clock;
    clock.start();
    fill(path);
    std::printf("90 days written in %.1f s\n", milliseconds(clock) / 1000.0);
    {
        // Writes what the log holds into the file, so that its size is the history's.
        HistoryStore store(path, HistoryStore::Access::readWrite);
    }
    std::printf("file size after 90 days: %.2f MB\n",
                static_cast<double>(QFileInfo(path).size()) / (1024.0 * 1024.0));

    QList<double> openAndPace;
    QList<double> everything;
    for (int run = 0; run < 5; ++run) {
        clock.restart();
        HistoryStore store(path, HistoryStore::Access::readWrite);
        int figures = 0;
        for (const QString& provider : {providers::claudeCodeID, providers::codexID}) {
            QList<PaceFigure> window;
            for (const HistoryFigure& figure :
                 store.figures(now.addSecs(-5 * 3600), provider, UsageWindow::Kind::session)) {
                window.append({figure.capturedAt, figure.usedRatio, figure.resetsAt});
            }
            figures += static_cast<int>(window.size());
            const UsagePace pace = usagePace(window, now);
            if (pace.verdict == UsagePace::Verdict::notEnoughData) {
                std::fprintf(stderr, "bench_history: no pace from %d figures\n", figures);
                return 1;
            }
        }
        openAndPace.append(milliseconds(clock));

        clock.restart();
        HistoryStore reader(path, HistoryStore::Access::readOnly);
        const qsizetype rows = reader.figures(now.addDays(-90)).size();
        everything.append(milliseconds(clock));
        if (run == 0) {
            std::printf("rows: %lld; figures in the two main windows: %d\n",
                        static_cast<long long>(rows), figures);
        }
    }
    std::printf("open the 90-day history, read both main windows, both paces: median %.1f ms\n",
                percentile(openAndPace, 0.5));
    std::printf("read all 90 days (lumora history --since 90d): median %.0f ms\n",
                percentile(everything, 0.5));
    return 0;
}
