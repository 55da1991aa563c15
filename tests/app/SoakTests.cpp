// A thousand refreshes through the real providers (a fake `codex` started twice per refresh, the
// Claude Code hook's cache rewritten between them): what the model keeps must not grow.
#include "AppTestSupport.h"

#include "core/CodexUsageProvider.h"
#include "support/ProcessInspection.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace lumora;
using namespace lumora::test;

TEST(ModelSoak, AThousandRefreshesKeepMemoryAndFileDescriptorsFlat) {
    ModelHarness harness;
    const QString percent = harness.home.filePath("percent"); // what the fake codex answers
    CodexUsageProvider::Options options;
    options.homeDirectory = harness.home.path();
    options.executableOverride = harness.home.filePath("tools/codex");
    // The answer leaves answeringAppServer's quotes to read the file.
    const QByteArray answer =
        R"x({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":'"$(cat ')x" +
        percent.toUtf8() + R"x(')"',"windowDurationMins":300,"resetsAt":1900000000}}}})x";
    writeScript(*options.executableOverride, fakeCodex("exit 0", answeringAppServer(answer)));
    const auto claude = harness.realClaudeProvider();
    claude->installStatusLineSync();
    harness.enableBoth();
    harness.storePreference("showClaudeInMenuBar", true);
    harness.storePreference("alertsEnabled", true);
    AppModel::Services services = harness.services();
    services.claudeProvider = claude;
    services.codexProvider = std::make_shared<CodexUsageProvider>(options);
    AppModel model(services);

    qsizetype descriptorsAfterWarmUp = 0;
    qint64 memoryAfterWarmUp = 0;
    for (int round = 0; round < 1000; ++round) {
        // Usage swings across 80% and the limit, so notifications are decided and sent too.
        const int used = (round * 37) % 101;
        writeFile(percent, QByteArray::number(used));
        writeFile(harness.data("claude-rate-limits.json"),
                  R"({"five_hour":{"used_percentage":)" + QByteArray::number(100 - used) + "}}");
        ASSERT_TRUE(waitFor(model.refresh(round % 2 == 0))) << "round " << round;
        ASSERT_EQ(model.codexSnapshot().statusMessage, std::nullopt) << "round " << round;
        if (round == 99) {
            settle();
            descriptorsAfterWarmUp = openFileDescriptorCount();
            memoryAfterWarmUp = residentMemoryBytes();
        }
    }
    settle();
    const qint64 memory = residentMemoryBytes();
    std::printf("resident memory %.1f MiB after 1000 refreshes, %.1f MiB after 100\n",
                memory / 1048576.0, memoryAfterWarmUp / 1048576.0);
    EXPECT_EQ(openFileDescriptorCount(), descriptorsAfterWarmUp);
    EXPECT_TRUE(childProcesses().isEmpty());
    EXPECT_GT(harness.notifier->sent.size(), 100);
    if (residentMemoryIsMeaningful) {
        // Nine hundred more refreshes may not cost more than a few pages of allocator slack.
        EXPECT_LT(memory - memoryAfterWarmUp, 4 * 1024 * 1024);
    }
}
