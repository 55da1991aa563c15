// The installed hook, run for real the way Claude Code runs a status-line command: the settings'
// "command" through /bin/sh -c, with the status JSON on standard input.
#include "core/ClaudeRateLimitCacheParser.h"
#include "core/ClaudeStatusLineInstaller.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

using namespace lumora;
using namespace lumora::test;

namespace {

QByteArray statusInput(const QByteArray& rateLimits) {
    // The shape of Claude Code's status-line input, with the members Lumora does not read.
    QByteArray input = R"({"session_id":"5c1d","transcript_path":"/tmp/t.jsonl","cwd":"/src",)"
                       R"("model":{"id":"claude-opus","display_name":"Opus"},)"
                       R"("workspace":{"current_dir":"/src","project_dir":"/src"},)"
                       R"("version":"2.1.0","cost":{"total_cost_usd":0.01})";
    if (!rateLimits.isEmpty()) {
        input += R"(,"rate_limits":)" + rateLimits;
    }
    return input + "}\n";
}

class HookTest : public ::testing::Test {
protected:
    void SetUp() override {
        QDir().mkpath(home.filePath("user"));
        installer = std::make_unique<ClaudeStatusLineInstaller>(home.filePath("user"),
                                                                builtExecutable("lumora-json"));
    }

    QString command() const {
        const auto settings = QJsonDocument::fromJson(readFile(installer->settingsPath())).object();
        return settings["statusLine"].toObject()["command"].toString();
    }

    // Starts the hook; the caller waits for it.
    std::unique_ptr<QProcess> start(const QByteArray& input) const {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::SeparateChannels);
        process->start("/bin/sh", {"-c", command()});
        process->write(input);
        process->closeWriteChannel();
        return process;
    }

    QString run(const QByteArray& input) const {
        const auto process = start(input);
        EXPECT_TRUE(process->waitForFinished(10000));
        EXPECT_EQ(process->exitCode(), 0);
        EXPECT_EQ(process->readAllStandardError(), "");
        return QString::fromUtf8(process->readAllStandardOutput());
    }

    QStringList leftovers() const {
        return QDir(installer->dataFolderPath())
            .entryList({"*.tmp*", "*.XXXXXX", "claude-rate-limits.json.*"}, QDir::Files);
    }

    TemporaryHome home;
    std::unique_ptr<ClaudeStatusLineInstaller> installer;
};

} // namespace

TEST_F(HookTest, SavesTheRateLimitsAndPrintsTheRemainingShare) {
    installer->install();
    const QByteArray limits =
        R"({"five_hour":{"used_percentage":42,"resets_at":1900000000},"seven_day":{"used_percentage":7.5,"resets_at":1900500000}})";
    EXPECT_EQ(run(statusInput(limits)), "Lumora \u00B7 Claude Code 58% left\n");

    const QString cache = installer->rateLimitCachePath();
    EXPECT_EQ(QJsonDocument::fromJson(readFile(cache)), QJsonDocument::fromJson(limits));
    EXPECT_EQ(fileMode(cache), 0600);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    const auto snapshot = ClaudeRateLimitCacheParser().parse(
        readFile(cache), QDateTime::currentDateTimeUtc(), QDateTime::currentDateTimeUtc());
    EXPECT_EQ(snapshot.windows.size(), 2);
    EXPECT_EQ(snapshot.windows[0].usedRatio, 0.42);

    // Fractions round to a whole number; more than 100% used shows 0% rather than a negative.
    EXPECT_EQ(run(statusInput(R"({"five_hour":{"used_percentage":41.6}})")),
              "Lumora \u00B7 Claude Code 58% left\n");
    EXPECT_EQ(run(statusInput(R"({"five_hour":{"used_percentage":104}})")),
              "Lumora \u00B7 Claude Code 0% left\n");
    EXPECT_EQ(run(statusInput(R"({"five_hour":{"used_percentage":0}})")),
              "Lumora \u00B7 Claude Code 100% left\n");

    // Whole numbers are subtracted by the shell, everything else by awk: both ways agree at the
    // seams between them.
    const std::pair<QByteArray, QByteArray> percentages[] = {
        {"100", "0"},   {"999", "0"},      {"1000", "0"}, {"99.5", "0"},
        {"0.4", "100"}, {"\"042\"", "58"}, {"1e1", "90"}, {"-5", "105"},
    };
    for (const auto& [used, remaining] : percentages) {
        EXPECT_EQ(run(statusInput(R"({"five_hour":{"used_percentage":)" + used + "}}")),
                  "Lumora \u00B7 Claude Code " + remaining + "% left\n")
            << used.toStdString();
    }
}

TEST_F(HookTest, ReadsInputOfAnyLayoutAndSize) {
    installer->install();
    const QByteArray limits = R"({"five_hour":{"used_percentage":25}})";
    // Pretty-printed over several lines, no final line break, and large enough that the shell
    // can no longer hand it to the helper in one pipe write.
    QByteArray large = statusInput(limits);
    large.insert(1, R"("padding":")" + QByteArray(20000, 'x') + R"(",)");
    for (const QByteArray& input : {QByteArray("{\n  \"rate_limits\":\n    " + limits + "\n}\n"),
                                    statusInput(limits).chopped(1), large}) {
        QFile::remove(installer->rateLimitCachePath());
        EXPECT_EQ(run(input), "Lumora \u00B7 Claude Code 75% left\n");
        EXPECT_EQ(readFile(installer->rateLimitCachePath()), limits);
    }
}

TEST_F(HookTest, InputWithoutRateLimitsKeepsTheOldCache) {
    installer->install();
    EXPECT_EQ(run(statusInput(R"({"five_hour":{"used_percentage":10}})")),
              "Lumora \u00B7 Claude Code 90% left\n");
    const QByteArray saved = readFile(installer->rateLimitCachePath());

    for (const QByteArray& input :
         {statusInput({}), statusInput("null"), QByteArray("not json at all"), QByteArray(),
          QByteArray(R"({"rate_limits":{"five_hour":{"used_percentage":5}})") /* cut short */}) {
        SCOPED_TRACE(input.toStdString());
        EXPECT_EQ(run(input), "Lumora \u00B7 waiting for Claude Code usage\n");
        EXPECT_EQ(readFile(installer->rateLimitCachePath()), saved);
        EXPECT_TRUE(leftovers().isEmpty());
    }
    // Only a seven-day window: saved, but there is no five-hour figure to print.
    EXPECT_EQ(run(statusInput(R"({"seven_day":{"used_percentage":50}})")),
              "Lumora \u00B7 waiting for Claude Code usage\n");
    EXPECT_EQ(readFile(installer->rateLimitCachePath()), R"({"seven_day":{"used_percentage":50}})");
}

TEST_F(HookTest, ThePreviousStatusLineRunsFirstWithTheSameInput) {
    const QString seen = home.filePath("seen.json");
    const QString previous = QString("cat > '%1'; printf 'main \\360\\237\\214\\277\\n'").arg(seen);
    writeFile(installer->settingsPath(),
              QJsonDocument(QJsonObject{{"statusLine",
                                         QJsonObject{{"type", "command"}, {"command", previous}}}})
                  .toJson());
    installer->install();

    const QByteArray input = statusInput(R"({"five_hour":{"used_percentage":42}})");
    const QString printed = run(input);
    EXPECT_EQ(printed, "main \U0001F33F\nLumora \u00B7 Claude Code 58% left\n");
    EXPECT_EQ(readFile(seen), input); // byte for byte, final line break included

    // With a previous status line and no figures, only the user's own line is shown.
    EXPECT_EQ(run(statusInput({})).count('\n'), 1);
}

TEST_F(HookTest, ConcurrentRunsNeverExposeAPartialCache) {
    installer->install();
    const QString cache = installer->rateLimitCachePath();
    run(statusInput(R"({"five_hour":{"used_percentage":1}})"));

    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    std::atomic<int> bad{0};
    std::thread reader([&] {
        const ClaudeRateLimitCacheParser parser;
        while (!done) {
            QFile file(cache);
            if (!file.open(QIODevice::ReadOnly)) {
                ++bad; // the cache must never be missing either
                continue;
            }
            try {
                parser.parse(file.readAll(), QDateTime::currentDateTimeUtc(),
                             QDateTime::currentDateTimeUtc());
            } catch (const Error&) {
                ++bad;
            }
            ++reads;
        }
    });

    std::vector<std::unique_ptr<QProcess>> runs;
    for (int i = 0; i < 50; ++i) {
        // Sizes differ a lot, so that a torn file could not pass for a whole one.
        const QByteArray padding(static_cast<qsizetype>(i) * 997, 'x');
        runs.push_back(
            start(statusInput(QString(R"({"five_hour":{"used_percentage":%1},"pad":"%2"})")
                                  .arg(i)
                                  .arg(QString::fromLatin1(padding))
                                  .toUtf8())));
    }
    for (const auto& process : runs) {
        EXPECT_TRUE(process->waitForFinished(30000));
        EXPECT_EQ(process->exitCode(), 0);
    }
    done = true;
    reader.join();

    EXPECT_EQ(bad.load(), 0) << "of " << reads.load() << " reads";
    EXPECT_GT(reads.load(), 0);
    std::printf("%d reads of the cache while 50 hooks ran, none partial\n", reads.load());
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    EXPECT_EQ(fileMode(cache), 0600);
}
