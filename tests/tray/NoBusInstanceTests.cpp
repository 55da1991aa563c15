// One tray per user and display without any session bus: the real lumora started ten times at
// once, with the bus's address pointing nowhere.
#include "TraySupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <vector>

using namespace lumora::test;

TEST(NoBusInstanceTest, TenStartsAtOnceLeaveOneTray) {
    TemporaryHome home;
    QTemporaryDir runtime;
    ASSERT_TRUE(QFile::setPermissions(runtime.path(),
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QProcessEnvironment environment =
        lumoraEnvironment(home.path(), QStringLiteral("unix:path=/nonexistent"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());

    std::vector<std::unique_ptr<QProcess>> trays;
    for (int i = 0; i < 10; ++i) {
        auto& tray = trays.emplace_back(std::make_unique<QProcess>());
        tray->setProcessEnvironment(environment);
        tray->setWorkingDirectory(home.path());
        tray->start(builtExecutable("lumora"), {});
    }
    const auto running = [&] {
        return std::count_if(trays.begin(), trays.end(), [](const auto& tray) {
            return tray->state() != QProcess::NotRunning;
        });
    };
    // Nine give way at once, each with exit code 0; one stays.
    ASSERT_TRUE(waitUntil([&] { return running() <= 1; }, std::chrono::seconds(30)));
    for (const auto& tray : trays) {
        if (tray->state() == QProcess::NotRunning) {
            EXPECT_EQ(tray->exitStatus(), QProcess::NormalExit);
            EXPECT_EQ(tray->exitCode(), 0) << tray->readAllStandardError().toStdString();
        }
    }
    EXPECT_FALSE(waitUntil([&] { return running() == 0; }, std::chrono::seconds(2)));
    ASSERT_EQ(running(), 1);

    // Once it has ended, the next start is the tray.
    const auto survivor = std::find_if(trays.begin(), trays.end(), [](const auto& tray) {
        return tray->state() != QProcess::NotRunning;
    });
    ::kill(static_cast<pid_t>((*survivor)->processId()), SIGTERM);
    ASSERT_TRUE((*survivor)->waitForFinished(10000));
    EXPECT_EQ((*survivor)->exitCode(), 0);
    QProcess next;
    next.setProcessEnvironment(environment);
    next.start(builtExecutable("lumora"), {});
    EXPECT_FALSE(
        waitUntil([&] { return next.state() == QProcess::NotRunning; }, std::chrono::seconds(2)));
    next.kill();
    next.waitForFinished(5000);
}
