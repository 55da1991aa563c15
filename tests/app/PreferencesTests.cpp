#include "AppTestSupport.h"

#include "model/AppPreferences.h"
#include "platform/PreferencesStore.h"
#include "platform/ProviderChoices.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

class PreferencesTest : public ::testing::Test {
protected:
    std::unique_ptr<AppPreferences> preferences() const {
        return std::make_unique<AppPreferences>(
            std::make_shared<JsonFilePreferencesStore>(harness.preferencesPath()));
    }
    // QColor keeps 16 bits per channel: what is stored is close to what was set, not equal.
    void expectStoredColour(std::initializer_list<double> expected) const {
        const QJsonArray stored = harness.storedPreference("breakTextColor")->toArray();
        ASSERT_EQ(stored.size(), qsizetype(expected.size()));
        qsizetype index = 0;
        for (const double component : expected) {
            EXPECT_NEAR(stored[index++].toDouble(-1), component, 1.0 / 65535);
        }
    }

    ModelHarness harness;
};

} // namespace

TEST_F(PreferencesTest, AFreshUserGetsTheDefaultsAndOnlyARealSwapWritesTheOrder) {
    const auto model = harness.makeModel();
    const AppPreferences& p = *model->preferences();
    EXPECT_EQ(p.providerOrder(), QStringList({"codex", "claude-code"}));
    EXPECT_EQ(p.breakTextColor(), QColor(Qt::white));
    EXPECT_EQ(p.breakScreenStyle(), BreakScreenStyle::motion);
    EXPECT_FALSE(p.alertsEnabled() || p.claudeEnabled() || p.codexEnabled() ||
                 p.showClaudeInMenuBar());
    EXPECT_TRUE(p.showCodexInMenuBar());
    EXPECT_EQ(model->menuBarDisplayText(), "Lumora");
    settle();
    EXPECT_EQ(harness.claude->script->fetches(), 0); // construction starts nothing
    model->swapProviders("codex", "codex");
    model->swapProviders("codex", "gemini");
    model->swapProviders("gemini", "codex");
    EXPECT_FALSE(QFileInfo::exists(harness.preferencesPath()));

    model->swapProviders("claude-code", "codex");
    EXPECT_EQ(p.providerOrder(), QStringList({"claude-code", "codex"}));
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray{"claude-code", "codex"}));
}

TEST_F(PreferencesTest, StoredChoicesAreReadWithoutWritingOrAskingAnything) {
    writeFile(harness.preferencesPath(),
              R"({"providerOrder": ["claude-code", "codex"], "breakTextColor": [0.2, 0.4, 0.6, 0.5],
                  "breakScreenStyle": "minimal", "alertsEnabled": true, "providerEnabled": true,
                  "codexEnabled": true, "showCodexInMenuBar": false, "showClaudeInMenuBar": true})");
    const QByteArray before = readFile(harness.preferencesPath());

    const auto model = harness.makeModel();
    const AppPreferences& p = *model->preferences();
    EXPECT_EQ(p.providerOrder(), QStringList({"claude-code", "codex"}));
    EXPECT_EQ(p.breakTextColor(), QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.5f));
    EXPECT_EQ(p.breakScreenStyle(), BreakScreenStyle::minimal);
    EXPECT_TRUE(p.alertsEnabled() && p.claudeEnabled() && p.codexEnabled());
    EXPECT_FALSE(p.showCodexInMenuBar());
    EXPECT_TRUE(p.showClaudeInMenuBar());
    settle();
    EXPECT_EQ(harness.notifier->authorizationRequests, 0);
    EXPECT_EQ(readFile(harness.preferencesPath()), before);
}

TEST_F(PreferencesTest, ValuesOfTheWrongTypeFallBackKeyByKey) {
    writeFile(harness.preferencesPath(),
              R"({"breakScreenStyle": "Photo", "breakTextColor": [1.0, 0.0, 0.0], "codexEnabled": 1,
                  "showCodexInMenuBar": "yes", "providerEnabled": "true",
                  "providerOrder": ["claude-code", 7]})");
    const auto p = preferences();
    EXPECT_EQ(p->breakScreenStyle(), BreakScreenStyle::motion);
    EXPECT_EQ(p->breakTextColor(), QColor(Qt::white));
    EXPECT_FALSE(p->showCodexInMenuBar() || p->codexEnabled() || p->claudeEnabled());
    EXPECT_EQ(p->providerOrder(), QStringList({"codex", "claude-code"}));

    for (const QJsonValue& colour :
         {QJsonValue(QJsonArray{1.0, 0.0, "0", 1.0}), QJsonValue(QJsonArray{1, 0, 0, 1, 1}),
          QJsonValue("#ff0000"), QJsonValue(QJsonArray{true, 0, 0, 1})}) {
        harness.storePreference("breakTextColor", colour);
        EXPECT_EQ(preferences()->breakTextColor(), QColor(Qt::white));
    }
    harness.storePreference("breakTextColor", QJsonArray{1, 0, 0, 1}); // integers are numbers
    EXPECT_EQ(preferences()->breakTextColor(), QColor(Qt::red));
    // JSON null counts as absent, so the presence rule gives the default.
    harness.storePreference("showCodexInMenuBar", QJsonValue::Null);
    EXPECT_TRUE(preferences()->showCodexInMenuBar());

    // A corrupt or foreign file reads as empty and is left as it is.
    for (const QByteArray& content :
         {QByteArray("{\"alertsEnabled\": tru"), QByteArray("[true]")}) {
        writeFile(harness.preferencesPath(), content);
        EXPECT_TRUE(preferences()->showCodexInMenuBar());
        EXPECT_EQ(readFile(harness.preferencesPath()), content);
    }
}

TEST_F(PreferencesTest, EveryAssignmentWritesItsKeyEvenWhenUnchanged) {
    const auto p = preferences();
    int changes = 0;
    int assignments = 0;
    QObject::connect(p.get(), &AppPreferences::claudeEnabledChanged, [&] { ++changes; });
    QObject::connect(p.get(), &AppPreferences::claudeEnabledAssigned, [&] { ++assignments; });
    p->setClaudeEnabled(false); // the default, assigned again
    EXPECT_EQ(harness.storedPreference("providerEnabled"), QJsonValue(false));
    p->setClaudeEnabled(true);
    p->setClaudeEnabled(true);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(assignments, 3); // each assignment has its side effects

    p->setBreakScreenStyle(BreakScreenStyle::photo);
    p->setShowCodexInMenuBar(true);
    p->setCodexEnabled(false);
    p->setBreakTextColor(QColor::fromRgbF(0.25f, 0.5f, 0.75f, 1.0f));
    for (const auto& [key, value] : {std::pair{"breakScreenStyle", QJsonValue("photo")},
                                     {"showCodexInMenuBar", true},
                                     {"codexEnabled", false}}) {
        EXPECT_EQ(harness.storedPreference(key), value) << key;
    }
    expectStoredColour({0.25, 0.5, 0.75, 1.0});
    EXPECT_FALSE(harness.storedPreference("providerOrder")); // only a swap writes the order

    const auto later = preferences(); // what was written reads back equal
    EXPECT_EQ(later->breakTextColor(), p->breakTextColor());
    EXPECT_EQ(later->breakScreenStyle(), BreakScreenStyle::photo);
    EXPECT_TRUE(later->claudeEnabled());

    p->setBreakTextColor(QColor()); // not a colour: the stored one stays
    expectStoredColour({0.25, 0.5, 0.75, 1.0});
    p->setBreakTextColor(QColor::fromHsvF(0.0f, 1.0f, 1.0f)); // stored as sRGB
    expectStoredColour({1.0, 0.0, 0.0, 1.0});
}

TEST(ProviderOrder, NormalisationKeepsKnownEntriesAndCompletesTheRest) {
    using List = QStringList;
    EXPECT_EQ(normalizedProviderOrder(std::nullopt), List({"codex", "claude-code"}));
    EXPECT_EQ(normalizedProviderOrder(List{}), List({"codex", "claude-code"}));
    EXPECT_EQ(normalizedProviderOrder(List{"claude-code"}), List({"claude-code", "codex"}));
    EXPECT_EQ(normalizedProviderOrder(List{"x", "claude-code"}), List({"claude-code", "codex"}));
    EXPECT_EQ(normalizedProviderOrder(List{"codex", "codex"}),
              List({"codex", "codex", "claude-code"}));
    EXPECT_EQ(normalizedProviderOrder(List{"Codex", "", "claude"}), List({"codex", "claude-code"}));
}

TEST(JsonFilePreferencesStore, WritesKeepWhatAnotherProcessStoredMeanwhile) {
    TemporaryHome home;
    const QString path = preferencesFilePath(home.path());
    EXPECT_EQ(path, home.filePath(".config/Lumora/preferences.json"));
    JsonFilePreferencesStore app(path);
    JsonFilePreferencesStore commandLine(path);
    commandLine.setValue("codexEnabled", true);
    app.setValue("alertsEnabled", true);
    const JsonFilePreferencesStore reread(path);
    EXPECT_TRUE(reread.boolean("codexEnabled"));
    EXPECT_TRUE(reread.boolean("alertsEnabled"));
    EXPECT_EQ(fileMode(home.filePath(".config/Lumora")), 0700);

    // A corrupt file is replaced by the next write rather than blocking every later one.
    writeFile(path, "{not json");
    app.setValue("showClaudeInMenuBar", true);
    EXPECT_TRUE(JsonFilePreferencesStore(path).boolean("showClaudeInMenuBar"));

    // A write that cannot land keeps the value for this run and throws nothing.
    writeFile(home.filePath("blocker"), "a file where the folder should be");
    JsonFilePreferencesStore blocked(home.filePath("blocker/preferences.json"));
    blocked.setValue("alertsEnabled", true);
    EXPECT_TRUE(blocked.boolean("alertsEnabled"));

    qputenv("XDG_CONFIG_HOME", home.filePath("elsewhere").toLocal8Bit());
    EXPECT_EQ(preferencesFilePath(home.path()), home.filePath("elsewhere/Lumora/preferences.json"));
    qputenv("XDG_CONFIG_HOME", "relative/config"); // not absolute: ignored
    EXPECT_EQ(preferencesFilePath(home.path()), path);
}
