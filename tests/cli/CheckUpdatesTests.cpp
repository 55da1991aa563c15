// `lumora check-updates`, driven through the built binary with local file feeds.
#include "core/AppUpdate.h"
#include "core/BuildInfo.h"
#include "support/TestSupport.h"

#include <QUrl>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class CheckUpdatesCommand : public ::testing::Test {
protected:
    using Result = CommandOutcome;
    Result checkUpdates(const QStringList& options) const {
        return runLumora(home.path(), QStringList{"check-updates"} + options);
    }
    QString writeFeed(const QByteArray& version) const {
        writeFile(home.filePath("feed.json"),
                  R"({"version": ")" + version + R"(", "downloadURL": "https://e.com/get?v=1"})");
        return home.filePath("feed.json");
    }

    TemporaryHome home;
};

} // namespace

TEST_F(CheckUpdatesCommand, ReportsAnOfferOrThatNothingIsNewer) {
    const QString feed = writeFeed("1.5.0");
    for (const QString& form : {feed, QUrl::fromLocalFile(feed).toString(), QString("feed.json")}) {
        const Result run = checkUpdates({"--feed", form, "--current-version", "1.4.2"});
        EXPECT_EQ(run.exitCode, 0) << form.toStdString();
        EXPECT_EQ(run.out, "Lumora 1.5.0 is available.\nhttps://e.com/get?v=1\n");
    }
    EXPECT_EQ(checkUpdates({"--current-version", "1.5.0", "--feed", feed}).out,
              "Lumora is up to date.\n");

    // Without --current-version the build's own version is compared.
    writeFeed(buildinfo::version);
    const Result current = checkUpdates({"--feed", feed});
    EXPECT_EQ(current.exitCode, 0);
    EXPECT_EQ(current.out, "Lumora is up to date.\n");

    // A feed cannot send control sequences to the terminal.
    writeFeed("9.0.0-\\u001b[2J\\u009b31m+\\u0007");
    EXPECT_TRUE(checkUpdates({"--feed", feed})
                    .out.startsWith("Lumora 9.0.0-\uFFFD[2J\uFFFD31m+\uFFFD is available.\n"));
}

TEST_F(CheckUpdatesCommand, FailuresPrintTheReason) {
    const QString feed = writeFeed("1.5.0");
    const QString missing = home.filePath("missing.json");
    QList<std::pair<QStringList, QString>> cases{
        {{"--feed", feed, "--current-version", "not a version"}, "The update version is invalid."},
        {{"--feed", "http://127.0.0.1:1/feed.json"}, "The update feed must use HTTPS."},
        {{"--feed", missing},
         QString("Could not read \u201c%1\u201d: No such file or directory").arg(missing)},
    };
    if (!configuredUpdateFeedURL(buildinfo::updateFeedUrl)) {
        cases.append({QStringList{}, "The update channel is not configured in this build."});
    }
    for (const auto& [options, expected] : cases) {
        const Result run = checkUpdates(options);
        EXPECT_EQ(run.exitCode, 1) << options.join(' ').toStdString();
        EXPECT_EQ(run.out, expected + "\n");
    }
}

TEST_F(CheckUpdatesCommand, WrongUsage) {
    for (const QStringList& wrong : {QStringList{"--feed"}, QStringList{"--feed", " "},
                                     QStringList{"--current-version"}, QStringList{"--json"}}) {
        const Result run = checkUpdates(wrong);
        EXPECT_EQ(run.exitCode, 2) << wrong.join(' ').toStdString();
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_TRUE(run.err.contains("Usage: lumora")) << run.err.toStdString();
    }
}
