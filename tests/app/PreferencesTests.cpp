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
    QJsonObject storedFile() const {
        return QJsonDocument::fromJson(readFile(harness.preferencesPath())).object();
    }
    // The stored colour components; QColor keeps 16 bits per channel, so they are close to what
    // was set rather than equal to it.
    void expectStoredColour(std::initializer_list<double> expected) const {
        const QJsonArray stored = storedFile().value("breakTextColor").toArray();
        ASSERT_EQ(stored.size(), qsizetype(expected.size()));
        qsizetype index = 0;
        for (const double component : expected) {
            EXPECT_TRUE(stored[index].isDouble());
            EXPECT_NEAR(stored[index].toDouble(), component, 1.0 / 65535) << "component " << index;
            ++index;
        }
    }

    ModelHarness harness;
};

} // namespace

TEST_F(PreferencesTest, AFreshUserGetsTheDefaultsAndNothingIsWritten) {
    const auto model = harness.makeModel();
    const AppPreferences& p = *model->preferences();
    EXPECT_EQ(p.providerOrder(), QStringList({"codex", "claude-code"}));
    EXPECT_EQ(p.breakTextColor(), QColor(Qt::white));
    EXPECT_EQ(p.breakScreenStyle(), BreakScreenStyle::motion);
    EXPECT_FALSE(p.alertsEnabled());
    EXPECT_FALSE(p.claudeEnabled());
    EXPECT_FALSE(p.codexEnabled());
    EXPECT_TRUE(p.showCodexInMenuBar());
    EXPECT_FALSE(p.showClaudeInMenuBar());
    EXPECT_FALSE(QFileInfo::exists(harness.preferencesPath()));
    EXPECT_EQ(model->menuBarDisplayText(), "Lumora");
    settle();
    EXPECT_EQ(harness.notifier->authorizationRequests, 0);
    EXPECT_EQ(harness.claude->script->fetches(), 0); // construction starts nothing
}

TEST_F(PreferencesTest, StoredChoicesAreReadBackWithoutTouchingTheFile) {
    harness.storePreference("providerOrder", QJsonArray{"claude-code", "codex"});
    harness.storePreference("breakTextColor", QJsonArray{0.2, 0.4, 0.6, 0.5});
    harness.storePreference("breakScreenStyle", "minimal");
    harness.storePreference("alertsEnabled", true);
    harness.storePreference("providerEnabled", true);
    harness.storePreference("codexEnabled", true);
    harness.storePreference("showCodexInMenuBar", false);
    harness.storePreference("showClaudeInMenuBar", true);
    const QByteArray before = readFile(harness.preferencesPath());

    const auto model = harness.makeModel();
    const AppPreferences& p = *model->preferences();
    EXPECT_EQ(p.providerOrder(), QStringList({"claude-code", "codex"}));
    EXPECT_EQ(p.breakTextColor(), QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.5f));
    EXPECT_EQ(p.breakScreenStyle(), BreakScreenStyle::minimal);
    EXPECT_TRUE(p.alertsEnabled());
    EXPECT_TRUE(p.claudeEnabled());
    EXPECT_TRUE(p.codexEnabled());
    EXPECT_FALSE(p.showCodexInMenuBar());
    EXPECT_TRUE(p.showClaudeInMenuBar());
    settle();
    // Reading "alertsEnabled" asks for no permission, and nothing is written back.
    EXPECT_EQ(harness.notifier->authorizationRequests, 0);
    EXPECT_EQ(readFile(harness.preferencesPath()), before);
}

TEST_F(PreferencesTest, ValuesOfTheWrongTypeFallBackKeyByKey) {
    // Each line: a stored value that must not be taken at face value.
    harness.storePreference("breakScreenStyle", "Photo");                   // wrong case
    harness.storePreference("breakTextColor", QJsonArray{1.0, 0.0, 0.0});   // three numbers
    harness.storePreference("showCodexInMenuBar", "yes");                   // not a boolean
    harness.storePreference("codexEnabled", 1);                             // not a boolean
    harness.storePreference("providerEnabled", "true");                     // not a boolean
    harness.storePreference("alertsEnabled", QJsonObject{{"on", true}});    // not a boolean
    harness.storePreference("providerOrder", QJsonArray{"claude-code", 7}); // not all strings
    const QByteArray before = readFile(harness.preferencesPath());

    const auto p = preferences();
    EXPECT_EQ(p->breakScreenStyle(), BreakScreenStyle::motion);
    EXPECT_EQ(p->breakTextColor(), QColor(Qt::white));
    EXPECT_FALSE(p->showCodexInMenuBar()); // present but wrong: false, not the default true
    EXPECT_FALSE(p->codexEnabled());
    EXPECT_FALSE(p->claudeEnabled());
    EXPECT_FALSE(p->alertsEnabled());
    EXPECT_EQ(p->providerOrder(), QStringList({"codex", "claude-code"}));
    EXPECT_EQ(readFile(harness.preferencesPath()), before);

    for (const QJsonValue& colour :
         {QJsonValue(QJsonArray{1.0, 0.0, "0", 1.0}), QJsonValue(QJsonArray{1, 0, 0, 1, 1}),
          QJsonValue("#ff0000"), QJsonValue(QJsonArray{true, 0, 0, 1})}) {
        harness.storePreference("breakTextColor", colour);
        EXPECT_EQ(preferences()->breakTextColor(), QColor(Qt::white))
            << QJsonDocument(QJsonArray{colour}).toJson().toStdString();
    }
    harness.storePreference("breakTextColor", QJsonArray{1, 0, 0, 1}); // integers are numbers
    EXPECT_EQ(preferences()->breakTextColor(), QColor(Qt::red));
}

TEST_F(PreferencesTest, ACorruptOrForeignFileReadsAsDefaults) {
    for (const QByteArray& content : {QByteArray("{\"alertsEnabled\": tru"), QByteArray("[true]"),
                                      QByteArray("\x00\xff", 2), QByteArray()}) {
        writeFile(harness.preferencesPath(), content);
        const auto p = preferences();
        EXPECT_FALSE(p->alertsEnabled());
        EXPECT_TRUE(p->showCodexInMenuBar());
        EXPECT_EQ(readFile(harness.preferencesPath()), content); // a reader never repairs
    }
    // JSON null counts as absent, so the presence rule gives the default.
    harness.storePreference("showCodexInMenuBar", QJsonValue::Null);
    EXPECT_TRUE(preferences()->showCodexInMenuBar());
}

TEST_F(PreferencesTest, EveryAssignmentWritesItsKeyEvenWhenUnchanged) {
    const auto p = preferences();
    p->setShowCodexInMenuBar(true); // the default, assigned again
    EXPECT_EQ(harness.storedPreference("showCodexInMenuBar"), QJsonValue(true));
    p->setBreakScreenStyle(BreakScreenStyle::photo);
    EXPECT_EQ(harness.storedPreference("breakScreenStyle"), QJsonValue("photo"));
    p->setShowClaudeInMenuBar(true);
    p->setClaudeEnabled(true);
    p->setCodexEnabled(false);
    p->setBreakTextColor(QColor::fromRgbF(0.25f, 0.5f, 0.75f, 1.0f));

    const QJsonObject stored = storedFile();
    EXPECT_EQ(stored.value("showClaudeInMenuBar"), QJsonValue(true));
    EXPECT_EQ(stored.value("providerEnabled"), QJsonValue(true)); // the Claude Code switch's key
    EXPECT_EQ(stored.value("codexEnabled"), QJsonValue(false));
    expectStoredColour({0.25, 0.5, 0.75, 1.0});
    EXPECT_FALSE(stored.contains("providerOrder")); // only a swap writes the order

    // What was written reads back equal in a later run.
    const auto later = preferences();
    EXPECT_EQ(later->breakTextColor(), p->breakTextColor());
    EXPECT_EQ(later->breakScreenStyle(), BreakScreenStyle::photo);
    EXPECT_TRUE(later->claudeEnabled());
    EXPECT_FALSE(later->codexEnabled());

    // An invalid colour is not stored; the earlier value stays.
    p->setBreakTextColor(QColor());
    expectStoredColour({0.25, 0.5, 0.75, 1.0});
    // A colour given in another model is stored as sRGB components.
    p->setBreakTextColor(QColor::fromHsvF(0.0f, 1.0f, 1.0f));
    expectStoredColour({1.0, 0.0, 0.0, 1.0});
}

TEST_F(PreferencesTest, NotifySignalsFireOnChangesAndSwitchesReportEveryAssignment) {
    const auto p = preferences();
    int changes = 0;
    int assignments = 0;
    QObject::connect(p.get(), &AppPreferences::claudeEnabledChanged, [&] { ++changes; });
    QObject::connect(p.get(), &AppPreferences::claudeEnabledAssigned, [&] { ++assignments; });
    p->setClaudeEnabled(false); // unchanged
    p->setClaudeEnabled(true);
    p->setClaudeEnabled(true); // unchanged
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(assignments, 3);
}

TEST(ProviderOrder, NormalisationKeepsKnownEntriesAndCompletesTheRest) {
    using List = QStringList;
    EXPECT_EQ(normalizedProviderOrder(std::nullopt), List({"codex", "claude-code"}));
    EXPECT_EQ(normalizedProviderOrder(List{}), List({"codex", "claude-code"}));
    EXPECT_EQ(normalizedProviderOrder(List{"claude-code"}), List({"claude-code", "codex"}));
    EXPECT_EQ(normalizedProviderOrder(List{"x", "claude-code"}), List({"claude-code", "codex"}));
    EXPECT_EQ(normalizedProviderOrder(List{"claude-code", "codex"}),
              List({"claude-code", "codex"}));
    // Duplicates are kept as stored.
    EXPECT_EQ(normalizedProviderOrder(List{"codex", "codex"}),
              List({"codex", "codex", "claude-code"}));
    EXPECT_EQ(normalizedProviderOrder(List{"Codex", "", "claude"}), List({"codex", "claude-code"}));
}

TEST_F(PreferencesTest, SwappingExchangesTwoProvidersAndWritesOnlyRealSwaps) {
    const auto model = harness.makeModel();
    int changes = 0;
    QObject::connect(model.get(), &AppModel::changed, [&] { ++changes; });

    model->swapProviders("codex", "codex");
    model->swapProviders("codex", "gemini");
    model->swapProviders("gemini", "codex");
    EXPECT_FALSE(QFileInfo::exists(harness.preferencesPath()));
    EXPECT_EQ(changes, 0);

    model->swapProviders("claude-code", "codex");
    EXPECT_EQ(model->preferences()->providerOrder(), QStringList({"claude-code", "codex"}));
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray{"claude-code", "codex"}));
    EXPECT_GE(changes, 1);
    model->swapProviders("codex", "claude-code");
    EXPECT_EQ(harness.storedPreference("providerOrder"),
              QJsonValue(QJsonArray{"codex", "claude-code"}));
}

TEST(JsonFilePreferencesStore, WritesMergeWithWhatAnotherProcessStoredMeanwhile) {
    TemporaryHome home;
    const QString path = preferencesFilePath(home.path());
    EXPECT_EQ(path, home.filePath(".config/Lumora/preferences.json"));

    JsonFilePreferencesStore app(path);
    JsonFilePreferencesStore commandLine(path);
    commandLine.setValue("codexEnabled", true);
    app.setValue("alertsEnabled", true);

    const QJsonObject stored = QJsonDocument::fromJson(readFile(path)).object();
    EXPECT_EQ(stored["codexEnabled"], QJsonValue(true));
    EXPECT_EQ(stored["alertsEnabled"], QJsonValue(true));
    EXPECT_EQ(fileMode(home.filePath(".config/Lumora")), 0700);
    // The store itself answers from what it read at its creation, plus its own writes.
    EXPECT_FALSE(app.contains("codexEnabled"));
    EXPECT_TRUE(JsonFilePreferencesStore(path).boolean("codexEnabled"));

    // A corrupt file is replaced by the next write rather than blocking every later one.
    writeFile(path, "{not json");
    app.setValue("showClaudeInMenuBar", true);
    EXPECT_TRUE(JsonFilePreferencesStore(path).boolean("showClaudeInMenuBar"));
}

TEST(JsonFilePreferencesStore, FollowsXdgConfigHomeWhenItIsAbsolute) {
    TemporaryHome home;
    qputenv("XDG_CONFIG_HOME", home.filePath("elsewhere").toLocal8Bit());
    EXPECT_EQ(preferencesFilePath(home.path()), home.filePath("elsewhere/Lumora/preferences.json"));
    qputenv("XDG_CONFIG_HOME", "relative/config");
    EXPECT_EQ(preferencesFilePath(home.path()), home.filePath(".config/Lumora/preferences.json"));
}

TEST(JsonFilePreferencesStore, AWriteThatCannotLandKeepsTheValueForThisRun) {
    TemporaryHome home;
    writeFile(home.filePath("blocker"), "a file where the folder should be");
    JsonFilePreferencesStore store(home.filePath("blocker/preferences.json"));
    store.setValue("alertsEnabled", true); // no exception reaches the caller
    EXPECT_TRUE(store.boolean("alertsEnabled"));
    EXPECT_EQ(readFile(home.filePath("blocker")), "a file where the folder should be");
}
