// The provider against the real Codex CLI that scripts/setup.sh installs, in a temporary home and
// cut off from the network by `unshare --net`.
#include "core/CodexAppServerSession.h"
#include "core/CodexUsageProvider.h"
#include "support/ProcessInspection.h"
#include "support/TestSupport.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

const QString realCodex = QStringLiteral(LUMORA_REAL_CODEX_PATH);
// Node starts slowly on a busy machine: generous limits (fake scripts test the real ones).
constexpr int generousSeconds = 60;
constexpr CodexAppServerSession::Limits sessionLimits{generousSeconds * 1000};

// Signed out in a fresh home; signed in with an unchecked API key the whole conversation runs and,
// as such an account may not read rate limits, ends in an error answer: no usage.
TEST(RealCodexTest, SignInStatusAndTheAppServerHandshake) {
    requireRealClient(QFileInfo(realCodex).isExecutable()
                          ? ""
                          : "scripts/setup.sh installs @openai/codex at " +
                                realCodex.toStdString());
    for (const char* name : {"CODEX_HOME", "OPENAI_API_KEY", "CODEX_API_KEY", "OPENAI_BASE_URL"}) {
        qunsetenv(name); // nothing from the developer's own Codex set-up may reach the tool
    }
    TemporaryHome home;
    const QString codex = home.filePath("bin/codex");
    writeScript(codex, "exec " + networkIsolation.join(' ').toUtf8() + " '" + realCodex.toUtf8() +
                           "' \"$@\"\n");
    const CodexUsageProvider provider({home.path(), codex, {}, generousSeconds, sessionLimits, {}});
    EXPECT_EQ(provider.readiness(), LocalProviderReadiness::loginRequired())
        << provider.readiness().message().toStdString();
    EXPECT_EQ(provider.fetch().statusMessage, "Sign in to Codex to continue.");
    const ProcessResult login = QtProcessRunner().run(
        codex, {"login", "--with-api-key"}, "sk-lumora-test-not-a-real-key\n", generousSeconds);
    ASSERT_EQ(login.exitCode, 0) << login.output.toStdString();
    EXPECT_TRUE(QFileInfo::exists(home.filePath(".codex/auth.json")));
    ASSERT_EQ(provider.readiness(), LocalProviderReadiness::ready())
        << provider.readiness().message().toStdString();
    const QString transcript = CodexAppServerSession(codex, sessionLimits).readRateLimits();
    QList<QJsonObject> responses; // a request the server makes of the client has an id too
    const QStringList lines = transcript.split('\n', Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        const QJsonObject message = QJsonDocument::fromJson(line.toUtf8()).object();
        if (message.contains("id") && !message.contains("method")) {
            responses.append(message);
        }
    }
    ASSERT_EQ(responses.size(), 2) << transcript.toStdString();
    EXPECT_EQ(responses[0]["id"], 1);
    EXPECT_TRUE(responses[0]["result"].isObject()) << transcript.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(lines.last().toUtf8()).object()["id"], 2);
    const UsageSnapshot snapshot = provider.fetch();
    EXPECT_EQ(
        std::tuple(snapshot.statusMessage, snapshot.source),
        std::tuple("The Codex app-server did not return usage data.", SnapshotSource::unavailable));
    EXPECT_EQ(childProcesses(), QList<ChildProcess>{});
}
