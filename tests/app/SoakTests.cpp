// A thousand refreshes through the real providers (a fake `codex` started twice per refresh, the
// Claude Code hook's cache rewritten between them): what the model keeps must not grow.
#include "AppTestSupport.h"

#include "core/CodexUsageProvider.h"
#include "support/ProcessInspection.h"

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

TEST(ModelSoak, AThousandRefreshesKeepMemoryAndFileDescriptorsFlat) {
    ModelHarness h;
    const QString percent = h.home.filePath("percent"); // what the fake codex answers
    CodexUsageProvider::Options options;
    options.homeDirectory = h.home.path();
    options.executableOverride = h.home.filePath("tools/codex");
    // The answer leaves answeringAppServer's quotes to read the file.
    const QByteArray answer =
        R"x({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":'"$(cat ')x" +
        percent.toUtf8() + R"x(')"',"windowDurationMins":300,"resetsAt":1900000000}}}})x";
    writeScript(*options.executableOverride, fakeCodex("exit 0", answeringAppServer(answer)));
    h.useRealClaude(true);
    h.enableBoth();
    h.storePreference("showClaudeInMenuBar", true);
    h.storePreference("alertsEnabled", true);
    AppModel::Services services = h.services();
    services.codexProvider = std::make_shared<CodexUsageProvider>(options);
    AppModel model(services);
    qsizetype descriptors = 0;
    qint64 memory = 0;
    for (int round = 0; round < 1000; ++round) {
        // Usage swings across 80% and the limit, so notifications are decided and sent too.
        const int used = (round * 37) % 101;
        writeFile(percent, QByteArray::number(used));
        writeFile(h.data("claude-rate-limits.json"),
                  R"({"five_hour":{"used_percentage":)" + QByteArray::number(100 - used) + "}}");
        ASSERT_TRUE(waitFor(model.refresh(round % 2 == 0))) << "round " << round;
        ASSERT_EQ(model.codexSnapshot().statusMessage, std::nullopt) << "round " << round;
        if (round == 99) {
            settle();
            descriptors = openFileDescriptorCount();
            memory = residentMemoryBytes();
        }
    }
    settle();
    EXPECT_EQ(openFileDescriptorCount(), descriptors);
    EXPECT_TRUE(childProcesses().isEmpty() && h.notifier->sent.size() > 100);
    // Nine hundred more refreshes may not cost more than a few pages of allocator slack.
    EXPECT_TRUE(!residentMemoryIsMeaningful || residentMemoryBytes() - memory < 4 * 1024 * 1024)
        << (residentMemoryBytes() - memory) / 1024 << " KiB more";
}
