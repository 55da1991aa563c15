#include "core/CodexUsageProvider.h"
#include "core/ExecutableSearch.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;
using Kind = UsageWindow::Kind;

namespace {

const QByteArray loggedIn = "exit 0";
const QByteArray initializeAnswer = R"({"id":1,"result":{}})";
const QByteArray usageAnswer =
    R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300,"resetsAt":1767225600},"secondary":{"usedPercent":7,"windowDurationMins":10080}}}})";

// The app-server half of a fake codex that answers the handshake with `answer`.
QByteArray answering(const QByteArray& answer) {
    return "read -r _\nprintf '%s\\n' '" + initializeAnswer +
           "'\nread -r _; read -r _\nprintf '%s\\n' '" + answer + "'\nexec cat > /dev/null";
}

// Codex installs on fixed paths of this machine would shadow the per-test home folder.
std::optional<QString> systemCodex() {
    return firstExecutable({"/Applications/ChatGPT.app/Contents/Resources/codex",
                            "/opt/homebrew/bin/codex", "/usr/local/bin/codex", "/usr/bin/codex"});
}

class CodexProviderTest : public ::testing::Test {
protected:
    void SetUp() override { qunsetenv("LUMORA_CODEX_PATH"); }
    void TearDown() override { qunsetenv("LUMORA_CODEX_PATH"); }

    CodexUsageProvider provider(std::optional<QString> override = std::nullopt,
                                int sessionMilliseconds = 5000) const {
        CodexUsageProvider::Options options;
        options.homeDirectory = home.path();
        options.executableOverride = std::move(override);
        options.session.timeoutMilliseconds = sessionMilliseconds;
        options.now = [] {
            return QDateTime::fromSecsSinceEpoch(1767200000, Qt::UTC);
        };
        return CodexUsageProvider(options);
    }
    // A fake codex: logs each call's arguments to "calls", then runs the part for `login` or
    // `app-server`.
    QString installCodex(const QByteArray& login, const QByteArray& appServer,
                         const QString& relative = ".local/bin/codex") const {
        const QString path = home.filePath(relative);
        writeScript(path, "echo \"$*\" >> '" + calls().toUtf8() + "'\ncase \"$1\" in\nlogin) " +
                              login + ";;\napp-server) " + appServer + ";;\nesac\n");
        return path;
    }
    QString calls() const { return home.filePath("calls"); }
    QStringList callLog() const {
        if (!QFileInfo::exists(calls())) {
            return {};
        }
        return QString::fromUtf8(readFile(calls())).split('\n', Qt::SkipEmptyParts);
    }
    QString message(const CodexUsageProvider& codex) const {
        return codex.fetch().statusMessage.value_or("(none)");
    }

    TemporaryHome home;
};

} // namespace

TEST_F(CodexProviderTest, FindsTheExecutableInTheDocumentedOrder) {
    if (const auto installed = systemCodex()) {
        GTEST_SKIP() << "a system-wide codex at " << installed->toStdString()
                     << " comes before the test's home folder";
    }
    EXPECT_FALSE(provider().locateCodexExecutable());

    const QString nvmOld = installCodex(loggedIn, {}, ".nvm/versions/node/v18.20.1/bin/codex");
    const QString nvmNew = installCodex(loggedIn, {}, ".nvm/versions/node/v22.1.0/bin/codex");
    EXPECT_EQ(provider().locateCodexExecutable(), nvmNew);
    const QString npmGlobal = installCodex(loggedIn, {}, ".npm-global/bin/codex");
    EXPECT_EQ(provider().locateCodexExecutable(), npmGlobal);
    // Without the execute bit a file is no candidate.
    writeFile(home.filePath(".local/bin/codex"), "#!/bin/sh\n");
    EXPECT_EQ(provider().locateCodexExecutable(), npmGlobal);
    const QString local = installCodex(loggedIn, {});
    EXPECT_EQ(provider().locateCodexExecutable(), local);

    const QString custom = installCodex(loggedIn, {}, "tools/codex");
    qputenv("LUMORA_CODEX_PATH", custom.toLocal8Bit());
    EXPECT_EQ(provider().locateCodexExecutable(), custom);
    qputenv("LUMORA_CODEX_PATH", home.filePath("tools").toLocal8Bit()); // a folder
    EXPECT_EQ(provider().locateCodexExecutable(), local);
    qputenv("LUMORA_CODEX_PATH", "");
    EXPECT_EQ(provider().locateCodexExecutable(), local);

    // An executable override comes first; one that is not executable is skipped.
    qputenv("LUMORA_CODEX_PATH", custom.toLocal8Bit());
    EXPECT_EQ(provider(nvmOld).locateCodexExecutable(), nvmOld);
    EXPECT_EQ(provider(home.filePath("nowhere/codex")).locateCodexExecutable(), custom);
}

TEST_F(CodexProviderTest, ReadinessComesFromTheLoginStatusExitCode) {
    EXPECT_EQ(provider(home.filePath("missing")).readiness(),
              systemCodex() ? LocalProviderReadiness::ready()
                            : LocalProviderReadiness::executableMissing());

    // Only the exit status counts, not what is printed.
    const QString signedIn =
        installCodex("echo 'Not logged in'; [ \"$TERM\" = dumb ] && [ \"$2\" = status ]", {});
    EXPECT_EQ(provider(signedIn).readiness(), LocalProviderReadiness::ready());
    const QString signedOut = installCodex("echo 'Logged in using ChatGPT'; exit 1", {}, "b/codex");
    EXPECT_EQ(provider(signedOut).readiness(), LocalProviderReadiness::loginRequired());
    EXPECT_EQ(callLog(), (QStringList{"login status", "login status"}));

    // A file that cannot be run: the platform's own launch error.
    writeFile(home.filePath("c/codex"), "no interpreter line\n");
    QFile::setPermissions(home.filePath("c/codex"), QFile::ReadOwner | QFile::ExeOwner);
    const LocalProviderReadiness broken = provider(home.filePath("c/codex")).readiness();
    EXPECT_EQ(broken.kind(), LocalProviderReadiness::Kind::unavailable);
    EXPECT_TRUE(broken.message().contains("Exec format error")) << broken.message().toStdString();
}

TEST_F(CodexProviderTest, ALoginStatusThatHangsTimesOutAfterFiveSeconds) {
    const QString hanging = installCodex("exec sleep 30", {});
    QElapsedTimer clock;
    clock.start();
    const UsageSnapshot snapshot = provider(hanging).fetch();
    EXPECT_GE(clock.elapsed(), 5000);
    EXPECT_LT(clock.elapsed(), 7500);
    EXPECT_EQ(snapshot.statusMessage, "The local status check timed out.");
    EXPECT_EQ(callLog(), QStringList{"login status"}); // no app-server after a failed check
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
}

TEST_F(CodexProviderTest, FetchReadsUsageThroughTheAppServer) {
    const UsageSnapshot snapshot = provider(installCodex(loggedIn, answering(usageAnswer))).fetch();
    const QDateTime capturedAt = QDateTime::fromSecsSinceEpoch(1767200000, Qt::UTC);
    const UsageSnapshot expected{
        "codex",
        "Codex",
        capturedAt,
        Availability::ready,
        {UsageWindow(Kind::session, 0.42, QDateTime::fromSecsSinceEpoch(1767225600, Qt::UTC)),
         UsageWindow(Kind::weekly, 0.07, std::nullopt)},
        SnapshotSource::officialAppServer,
        Confidence::exact,
        120,
        std::nullopt};
    EXPECT_EQ(snapshot, expected);
    EXPECT_EQ(callLog(), (QStringList{"login status", "app-server --listen stdio://"}));
}

TEST_F(CodexProviderTest, EveryFailureBecomesAnUnavailableSnapshot) {
    const auto expectUnavailable = [](const UsageSnapshot& snapshot, const QString& text) {
        EXPECT_EQ(snapshot.statusMessage, text);
        EXPECT_EQ(snapshot.providerID, "codex");
        EXPECT_EQ(snapshot.providerName, "Codex");
        EXPECT_EQ(snapshot.availability, Availability::unknown);
        EXPECT_EQ(snapshot.source, SnapshotSource::unavailable);
        EXPECT_EQ(snapshot.confidence, Confidence::unknown);
        EXPECT_EQ(snapshot.staleAfterSeconds, 30);
        EXPECT_TRUE(snapshot.windows.isEmpty());
    };
    if (!systemCodex()) {
        expectUnavailable(provider().fetch(), "Codex is not installed.");
    }
    expectUnavailable(provider(installCodex("exit 1", "exit 0")).fetch(),
                      "Sign in to Codex to continue.");
    EXPECT_EQ(callLog(), QStringList{"login status"}); // the app server was not started

    const auto fetchWith = [&](const QByteArray& appServer, int milliseconds = 5000) {
        return provider(installCodex(loggedIn, appServer), milliseconds).fetch();
    };
    expectUnavailable(fetchWith("read -r _; exit 3"), "Codex app-server exited with code 3.");
    expectUnavailable(fetchWith("exec sleep 30", 300), "Codex usage check timed out.");
    expectUnavailable(fetchWith(answering(R"({"id":2,"error":{"code":-32600}})")),
                      "The Codex app-server did not return usage data.");
    expectUnavailable(fetchWith(answering(R"({"id":2,"result":{"rateLimits":{}}})")),
                      "The Codex response did not include a usage window.");

    // Codex removed between the readiness check and the conversation.
    if (systemCodex()) {
        return;
    }
    expectUnavailable(provider(installCodex("rm -f \"$0\"", answering(usageAnswer))).fetch(),
                      "Codex is not installed.");
}

TEST_F(CodexProviderTest, ManyFetchesLeaveNoProcessZombieOrDescriptorBehind) {
    const CodexUsageProvider codex = provider(installCodex(loggedIn, answering(usageAnswer)));
    ASSERT_EQ(codex.fetch().availability, Availability::ready); // warm up Qt's lazy set-up
    const QList<ChildProcess> childrenBefore = childProcesses();
    const qsizetype descriptorsBefore = openFileDescriptorCount();
    for (int round = 0; round < 200; ++round) {
        ASSERT_EQ(codex.fetch().statusMessage, std::nullopt) << "round " << round;
    }
    EXPECT_EQ(childProcesses(), childrenBefore);
    EXPECT_EQ(openFileDescriptorCount(), descriptorsBefore);
    EXPECT_EQ(callLog().size(), 2 * 201);
}
