// `lumora status`, `lumora connect codex` and `lumora disconnect codex` with a fake codex named by
// LUMORA_CODEX_PATH.
#include "core/ExecutableSearch.h"
#include "core/UsageSnapshot.h"
#include "support/TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

using Outcome = CommandOutcome;

const QByteArray usageAnswer =
    R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":42,"windowDurationMins":300}}}})";

class CodexCommandLineTest : public ::testing::Test {
protected:
    Outcome lumora(const QStringList& arguments, bool withCodex = true) const {
        if (!withCodex) {
            return runLumora(home.path(), arguments);
        }
        return runLumora(home.path(), arguments, {{"LUMORA_CODEX_PATH", codex()}});
    }
    // A fake codex: `login status` runs `login`, `app-server` answers the handshake.
    void installCodex(const QByteArray& login) const {
        writeScript(codex(), "case \"$1\" in\nlogin) " + login +
                                 ";;\napp-server) read -r _; echo '{\"id\":1,\"result\":{}}'; "
                                 "read -r _; read -r _; echo '" +
                                 usageAnswer + "'; exec cat > /dev/null;;\nesac\n");
    }
    QString codex() const { return home.filePath("tools/codex"); }
    std::optional<bool> codexEnabled() const {
        const QJsonObject stored =
            QJsonDocument::fromJson(readFile(home.filePath(".config/Lumora/preferences.json")))
                .object();
        return stored.contains("codexEnabled") ? std::optional(stored["codexEnabled"].toBool())
                                               : std::nullopt;
    }

    TemporaryHome home;
};

} // namespace

TEST_F(CodexCommandLineTest, ConnectTellsWhatIsMissing) {
    if (!firstExecutable({"/usr/local/bin/codex", "/usr/bin/codex", "/opt/homebrew/bin/codex"})) {
        const Outcome missing = lumora({"connect", "codex"}, false);
        EXPECT_EQ(missing.exitCode, 1);
        EXPECT_EQ(missing.out, "Codex is not installed.\n");
    }

    installCodex("echo 'Not logged in'; exit 1");
    const Outcome signedOut = lumora({"connect", "codex"});
    EXPECT_EQ(signedOut.exitCode, 1);
    EXPECT_EQ(signedOut.out,
              "Sign in to Codex to continue.\nRun `codex login` in a terminal, then try again.\n");
    EXPECT_FALSE(QFile::exists(home.filePath(".config/Lumora/preferences.json")));

    // Ready: Codex is switched on, as the tray does when it finds Codex ready; and off again.
    installCodex("exit 0");
    const Outcome connected = lumora({"connect", "codex"});
    EXPECT_EQ(connected.exitCode, 0);
    EXPECT_EQ(connected.out, "Codex is connected.\n");
    EXPECT_EQ(codexEnabled(), true);
    EXPECT_EQ(lumora({"status"}).out, "Codex 58%\n");
    EXPECT_EQ(lumora({"disconnect", "codex"}).exitCode, 0);
    EXPECT_EQ(codexEnabled(), false);
    EXPECT_EQ(lumora({"status"}).out, "Lumora\n");
}

TEST_F(CodexCommandLineTest, StatusReadsCodexAndRemembersIt) {
    installCodex("exit 0");
    const Outcome plain = lumora({"status", "--all"});
    EXPECT_EQ(plain.exitCode, 0);
    EXPECT_EQ(plain.out, "Codex 58% \u00B7 Claude Code --%\n");

    const Outcome json = lumora({"status", "--json", "--all"});
    const QJsonArray snapshots =
        QJsonDocument::fromJson(json.out.toUtf8()).object()["snapshots"].toArray();
    ASSERT_EQ(snapshots.size(), 2);
    const UsageSnapshot codex = UsageSnapshot::fromJson(snapshots[0].toObject());
    EXPECT_EQ(codex.source, SnapshotSource::officialAppServer);
    EXPECT_EQ(codex.windows.first().usedRatio, 0.42);
    const auto saved =
        UsageSnapshot::decode(readFile(home.filePath(".local/share/Lumora/codex-snapshot.json")));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->windows, codex.windows);

    // Signed out: the status says so and nothing new is remembered.
    installCodex("exit 1");
    const Outcome signedOut = lumora({"status", "--json", "--all"});
    const QJsonArray unavailable =
        QJsonDocument::fromJson(signedOut.out.toUtf8()).object()["snapshots"].toArray();
    EXPECT_EQ(unavailable[0].toObject()["statusMessage"].toString(),
              "Sign in to Codex to continue.");
    EXPECT_EQ(
        UsageSnapshot::decode(readFile(home.filePath(".local/share/Lumora/codex-snapshot.json"))),
        saved);
}
