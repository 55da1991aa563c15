#include "AppTestSupport.h"

#include "model/AppPreferences.h"
#include "platform/PreferencesStore.h"
#include "platform/ProviderChoices.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// QColor keeps 16 bits per channel: what is stored is close to what was set, not equal.
void expectStoredColour(const ModelHarness& h, std::initializer_list<double> expected) {
    const QJsonArray stored = h.storedPreference("breakTextColor")->toArray();
    ASSERT_EQ(stored.size(), qsizetype(expected.size()));
    for (qsizetype k = 0; const double component : expected) {
        EXPECT_NEAR(stored[k++].toDouble(-1), component, 1.0 / 65535);
    }
}

// "order style alerts|claude|codex|showCodex|showClaude", the style as photo 0, motion 1,
// minimal 2.
QString described(const AppPreferences& p) {
    QString flags;
    for (const bool flag : {p.alertsEnabled(), p.claudeEnabled(), p.codexEnabled(),
                            p.showCodexInMenuBar(), p.showClaudeInMenuBar()}) {
        flags += flag ? '1' : '0';
    }
    return p.providerOrder().join(',') + ' ' + QString::number(int(p.breakScreenStyle())) + ' ' +
           flags;
}

} // namespace

// Stored choices are read key by key (a value of the wrong type gives that key's default) without
// writing the file or asking anything; a missing, corrupt or foreign file gives the defaults.
TEST(PreferencesTest, StoredChoicesAreReadKeyByKeyWithoutWritingOrAskingAnything) {
    ModelHarness h;
    const QString defaults = "codex,claude-code 1 00010";
    const QColor white(Qt::white);
    const std::tuple<QByteArray, QColor, QString> rows[] = {
        // the file (empty: none), what is read
        {"", white, defaults},
        {R"({"providerOrder": ["claude-code", "codex"], "breakTextColor": [0.2, 0.4, 0.6, 0.5],
             "breakScreenStyle": "minimal", "alertsEnabled": true, "providerEnabled": true,
             "codexEnabled": true, "showCodexInMenuBar": false, "showClaudeInMenuBar": true})",
         QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.5f), "claude-code,codex 2 11101"},
        {R"({"breakScreenStyle": "Photo", "breakTextColor": [1.0, 0.0, 0.0], "codexEnabled": 1,
             "showCodexInMenuBar": "yes", "providerEnabled": "true",
             "providerOrder": ["claude-code", 7]})",
         white, "codex,claude-code 1 00000"},
        {R"({"breakTextColor": [1.0, 0.0, "0", 1.0]})", white, defaults},
        {R"({"breakTextColor": [1, 0, 0, 1, 1]})", white, defaults},
        {R"({"breakTextColor": "#ff0000"})", white, defaults},
        {R"({"breakTextColor": [1, 0, 0, 1]})", QColor(Qt::red), defaults}, // integers count
        {R"({"showCodexInMenuBar": null})", white, defaults},               // null counts as absent
        {R"({"alertsEnabled": tru)", white, defaults},
        {"[true]", white, defaults},
    };
    for (const auto& [json, colour, expected] : rows) {
        SCOPED_TRACE(json.toStdString());
        QFile::remove(h.preferencesPath());
        json.isEmpty() ? void() : writeFile(h.preferencesPath(), json);
        const auto model = h.makeModel();
        EXPECT_EQ(
            std::pair(described(*model->preferences()), model->preferences()->breakTextColor()),
            std::pair(expected, colour));
        settle();
        EXPECT_EQ(h.notifier->authorizationRequests + h.claude->script->fetches(), 0);
        EXPECT_EQ(QFile::exists(h.preferencesPath()) ? readFile(h.preferencesPath()) : "", json);
    }
}

// Every assignment writes its key, even when unchanged; only a real swap writes the order.
TEST(PreferencesTest, EveryAssignmentWritesItsKeyAndOnlyARealSwapWritesTheOrder) {
    ModelHarness h;
    const auto model = h.makeModel();
    EXPECT_EQ(model->menuBarDisplayText(), "Lumora");
    model->swapProviders("codex", "codex");
    model->swapProviders("codex", "gemini");
    model->swapProviders("gemini", "codex");
    EXPECT_FALSE(QFile::exists(h.preferencesPath()));
    AppPreferences& p = *model->preferences();
    int changes = 0, assignments = 0;
    QObject::connect(&p, &AppPreferences::claudeEnabledChanged, [&] { ++changes; });
    QObject::connect(&p, &AppPreferences::claudeEnabledAssigned, [&] { ++assignments; });
    p.setClaudeEnabled(false); // the default, assigned again
    EXPECT_EQ(h.storedPreference("providerEnabled"), QJsonValue(false));
    p.setClaudeEnabled(true);
    p.setClaudeEnabled(true);
    EXPECT_EQ(std::pair(changes, assignments), std::pair(1, 3)); // each assignment has its effects
    p.setBreakScreenStyle(BreakScreenStyle::photo);
    p.setShowCodexInMenuBar(true);
    p.setCodexEnabled(false);
    p.setBreakTextColor(QColor::fromRgbF(0.25f, 0.5f, 0.75f, 1.0f));
    for (const auto& [key, value] : {std::pair{"breakScreenStyle", QJsonValue("photo")},
                                     {"showCodexInMenuBar", true},
                                     {"codexEnabled", false}}) {
        EXPECT_EQ(h.storedPreference(key), value) << key;
    }
    expectStoredColour(h, {0.25, 0.5, 0.75, 1.0});
    EXPECT_FALSE(h.storedPreference("providerOrder"));
    const AppPreferences later(std::make_shared<JsonFilePreferencesStore>(h.preferencesPath()));
    EXPECT_EQ(std::pair(described(later), later.breakTextColor()),
              std::pair(QString("codex,claude-code 0 01010"), p.breakTextColor()));
    p.setBreakTextColor(QColor()); // not a colour: the stored one stays
    expectStoredColour(h, {0.25, 0.5, 0.75, 1.0});
    p.setBreakTextColor(QColor::fromHsvF(0.0f, 1.0f, 1.0f)); // stored as sRGB
    expectStoredColour(h, {1.0, 0.0, 0.0, 1.0});

    model->swapProviders("claude-code", "codex");
    EXPECT_EQ(p.providerOrder(), QStringList({"claude-code", "codex"}));
    EXPECT_EQ(h.storedPreference("providerOrder"), QJsonValue(QJsonArray{"claude-code", "codex"}));
}

TEST(ProviderOrder, NormalisationKeepsKnownEntriesAndCompletesTheRest) {
    using List = QStringList;
    const std::pair<std::optional<List>, List> rows[] = {
        {std::nullopt, {"codex", "claude-code"}},
        {List{}, {"codex", "claude-code"}},
        {List{"claude-code"}, {"claude-code", "codex"}},
        {List{"x", "claude-code"}, {"claude-code", "codex"}},
        {List{"codex", "codex"}, {"codex", "codex", "claude-code"}},
        {List{"Codex", "", "claude"}, {"codex", "claude-code"}}};
    for (const auto& [stored, expected] : rows) {
        EXPECT_EQ(normalizedProviderOrder(stored), expected);
    }
}

TEST(JsonFilePreferencesStore, WritesKeepWhatAnotherProcessStoredMeanwhile) {
    TemporaryHome home;
    const QString path = preferencesFilePath(home.path());
    JsonFilePreferencesStore app(path);
    JsonFilePreferencesStore(path).setValue("codexEnabled", true); // the command line, meanwhile
    app.setValue("alertsEnabled", true);
    const JsonFilePreferencesStore reread(path);
    EXPECT_TRUE(reread.boolean("codexEnabled") && reread.boolean("alertsEnabled"));
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
    EXPECT_EQ(preferencesFilePath(home.path()), home.filePath(".config/Lumora/preferences.json"));
}
