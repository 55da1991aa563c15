// A long run of the application model: a thousand refreshes through the real providers, with a
// fake `codex` started twice per refresh and the Claude Code hook's cache rewritten between
// refreshes. Whatever the model keeps must not grow with the number of refreshes.
#include "AppTestSupport.h"

#include "core/CodexUsageProvider.h"
#include "support/ProcessInspection.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace lumora;
using namespace lumora::test;

TEST(ModelSoak, AThousandRefreshesKeepMemoryAndFileDescriptorsFlat) {
    ModelHarness harness;
    // The fake codex answers with the percentage the test writes into a file before a refresh.
    const QString percent = harness.home.filePath("percent");
    const QString codex = harness.home.filePath("tools/codex");
    writeScript(codex,
                "case \"$1\" in\nlogin) exit 0;;\napp-server) read -r _; "
                "echo '{\"id\":1,\"result\":{}}'; read -r _; read -r _; "
                "printf '{\"id\":2,\"result\":{\"rateLimits\":{\"primary\":{\"usedPercent\":%s,"
                "\"windowDurationMins\":300,\"resetsAt\":1900000000}}}}\\n' \"$(cat '" +
                    percent.toUtf8() + "')\"; exec cat > /dev/null;;\nesac\n");
    CodexUsageProvider::Options options;
    options.homeDirectory = harness.home.path();
    options.executableOverride = codex;

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
    const int warmUp = 100;
    const int refreshes = 1000;
    for (int round = 0; round < refreshes; ++round) {
        // Usage swings across 80% and the limit, so notifications are decided and sent too.
        const int used = (round * 37) % 101;
        writeFile(percent, QByteArray::number(used));
        writeFile(harness.data("claude-rate-limits.json"),
                  R"({"five_hour":{"used_percentage":)" + QByteArray::number(100 - used) + "}}");
        ASSERT_TRUE(waitFor(model.refresh(round % 2 == 0))) << "round " << round;
        ASSERT_EQ(model.codexSnapshot().statusMessage, std::nullopt) << "round " << round;
        if (round + 1 == warmUp) {
            settle();
            descriptorsAfterWarmUp = openFileDescriptorCount();
            memoryAfterWarmUp = residentMemoryBytes();
        }
    }
    settle();
    const qsizetype descriptors = openFileDescriptorCount();
    const qint64 memory = residentMemoryBytes();
    std::printf("after %d refreshes: %lld open file descriptors (%lld after %d), resident memory "
                "%.1f MiB (%.1f MiB after %d), %lld notifications\n",
                refreshes, static_cast<long long>(descriptors),
                static_cast<long long>(descriptorsAfterWarmUp), warmUp, memory / 1048576.0,
                memoryAfterWarmUp / 1048576.0, warmUp,
                static_cast<long long>(harness.notifier->sent.size()));

    EXPECT_EQ(descriptors, descriptorsAfterWarmUp);
    EXPECT_TRUE(childProcesses().isEmpty());
    EXPECT_GT(harness.notifier->sent.size(), 100);
    if (residentMemoryIsMeaningful) {
        // Nine hundred more refreshes may not cost more than a few pages of allocator slack.
        EXPECT_LT(memory - memoryAfterWarmUp, 4 * 1024 * 1024);
    }
}
