// Preferences and the desktop adapters on real files in temporary homes.
#include "AppTestSupport.h"
#include "model/AppPreferences.h"
#include "platform/Autostart.h"
#include "platform/PreferencesStore.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QJsonArray>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace lumora;
using namespace lumora::test;

namespace {

// "order style alerts|claude|codex|showCodex|showClaude colour" (photo 0, motion 1, minimal 2).
QString described(const AppPreferences& p) {
    return QString::asprintf("%s %d %d%d%d%d%d %s", qPrintable(p.providerOrder().join(',')),
                             int(p.breakScreenStyle()), p.alertsEnabled(), p.claudeEnabled(),
                             p.codexEnabled(), p.showCodexInMenuBar(), p.showClaudeInMenuBar(),
                             qPrintable(p.breakTextColor().name(QColor::HexArgb)));
}

} // namespace

// Each key read on its own (the order's unknown entries dropped, the missing ones appended),
// nothing written or asked; each assignment written, a real swap only.
TEST(PreferencesTest, ReadKeyByKeyWithoutWritingAndEveryAssignmentWritesItsKey) {
    ModelHarness h;
    const QString defaults = "codex,claude-code 1 00010 #ffffffff";
    const std::pair<QByteArray, QString> rows[] = {
        {"", defaults}, // no file
        {R"({"providerOrder": ["claude-code", "codex"], "breakTextColor": [0.2, 0.4, 0.6, 0.5],
             "breakScreenStyle": "minimal", "alertsEnabled": true, "providerEnabled": true,
             "codexEnabled": true, "showCodexInMenuBar": false, "showClaudeInMenuBar": true})",
         "claude-code,codex 2 11101 #80336699"},
        {R"({"breakScreenStyle": "Photo", "breakTextColor": [1.0, 0.0, 0.0], "codexEnabled": 1,
             "showCodexInMenuBar": "yes", "providerEnabled": "true",
             "providerOrder": ["claude-code", 7]})",
         "codex,claude-code 1 00000 #ffffffff"},
        {R"({"breakTextColor": [1.0, 0.0, "0", 1.0]})", defaults},
        {R"({"breakTextColor": "#ff0000"})", defaults},
        {R"({"breakTextColor": [1, 0, 0, 1]})", "codex,claude-code 1 00010 #ffff0000"}, // integers
        {R"({"showCodexInMenuBar": null})", defaults}, // null counts as absent
        {R"({"alertsEnabled": tru)", defaults},
        {R"({"providerOrder": ["x", "claude-code"]})", "claude-code,codex 1 00010 #ffffffff"},
        {R"({"providerOrder": ["codex", "codex"]})", "codex,codex,claude-code 1 00010 #ffffffff"}};
    for (const auto& [json, expected] : rows) {
        QFile::remove(h.preferencesPath());
        json.isEmpty() ? void() : writeFile(h.preferencesPath(), json);
        EXPECT_EQ(described(*h.makeModel()->preferences()), expected) << json.toStdString();
        settle();
        EXPECT_EQ(h.notifier->authorizationRequests + h.claude->script->fetches(), 0);
        EXPECT_EQ(QFile::exists(h.preferencesPath()) ? readFile(h.preferencesPath()) : "", json);
    }
    // Every assignment writes its key, even when unchanged; only a real swap writes the order.
    QFile::remove(h.preferencesPath());
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
    const QColor colour = QColor::fromRgbF(0.25f, 0.5f, 0.75f, 1.0f);
    p.setBreakTextColor(colour);
    const auto stored = [&] { // QColor keeps 16 bits per channel, which the file holds exactly
        return AppPreferences::loadBreakTextColor(JsonFilePreferencesStore(h.preferencesPath()));
    };
    const AppPreferences later(std::make_shared<JsonFilePreferencesStore>(h.preferencesPath()));
    EXPECT_EQ(
        std::tuple(described(later), later.breakTextColor(), h.storedPreference("providerOrder")),
        std::tuple(QString("codex,claude-code 0 01010 #ff4080bf"), colour, std::nullopt));
    p.setBreakTextColor(QColor()); // not a colour: the stored one stays
    EXPECT_EQ(stored(), colour);
    p.setBreakTextColor(QColor::fromHsvF(0.0f, 1.0f, 1.0f)); // stored as sRGB
    EXPECT_EQ(std::pair(stored(), *h.storedPreference("breakTextColor")),
              std::pair(QColor(Qt::red), QJsonValue(QJsonArray{1.0, 0.0, 0.0, 1.0})));
    model->swapProviders("claude-code", "codex");
    EXPECT_EQ(std::pair(p.providerOrder(), *h.storedPreference("providerOrder")),
              std::pair(QStringList({"claude-code", "codex"}),
                        QJsonValue(QJsonArray{"claude-code", "codex"})));
}

// The preferences file keeps another process's writes and never blocks; the autostart entry is
// valid for this very executable and read as the user left it; $TERMINAL, then the system's
// default, then the usual terminals start; XDG is honoured.
TEST(DesktopAdapters, PreferencesFileAutostartEntryAndTerminalOnATemporaryHome) {
    TemporaryHome home;
    const QString prefs = preferencesFilePath(home.path());
    JsonFilePreferencesStore app(prefs);
    JsonFilePreferencesStore(prefs).setValue("codexEnabled", true); // the command line, meanwhile
    app.setValue("alertsEnabled", true);
    const JsonFilePreferencesStore reread(prefs);
    EXPECT_TRUE(reread.boolean("codexEnabled") && reread.boolean("alertsEnabled") &&
                fileMode(home.filePath(".config/Lumora")) == 0700);
    writeFile(prefs,
              "{not json"); // replaced by the next write rather than blocking every later one
    app.setValue("showClaudeInMenuBar", true);
    EXPECT_TRUE(JsonFilePreferencesStore(prefs).boolean("showClaudeInMenuBar"));
    // A write that cannot land keeps the value for this run and throws nothing.
    writeFile(home.filePath("blocker"), "a file where the folder should be");
    JsonFilePreferencesStore blocked(home.filePath("blocker/preferences.json"));
    blocked.setValue("alertsEnabled", true);
    EXPECT_TRUE(blocked.boolean("alertsEnabled"));
    const QString path = home.filePath(".config/autostart/lumora.desktop");
    const QString validator = QStandardPaths::findExecutable("desktop-file-validate");
    // An installation path that needs every kind of quoting an Exec line has.
    const AutostartEntry entry(std::nullopt, home.filePath("my apps/100% \"lumora\" $HOME\\bin/l"));
    EXPECT_EQ(entry.entryPath(), path);
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(entry.isEnabled() || entry.setEnabled(true));
        EXPECT_TRUE(entry.isEnabled());
        const QString content = QString::fromUtf8(readFile(path));
        EXPECT_TRUE(content.startsWith("[Desktop Entry]\nType=Application\nName=Lumora\n") &&
                    content.contains(QStringLiteral("\nExec=\"%1/my apps/100%% \\\\\"lumora\\\\\" "
                                                    "\\\\$HOME\\\\\\\\bin/l\"\n")
                                         .arg(home.path())) &&
                    content.contains("\nTryExec=" + home.path() +
                                     "/my apps/100% \"lumora\" $HOME\\\\bin/l\n"))
            << content.toStdString();
        const CommandOutcome v =
            validator.isEmpty() ? CommandOutcome{0, {}, {}} : runProgram(validator, {path});
        EXPECT_EQ(QString::number(v.exitCode) + v.out + v.err, "0") << "desktop-file-validate";
        EXPECT_EQ(QDir(QFileInfo(path).path()).entryList(QDir::Files),
                  QStringList{"lumora.desktop"});
        // Off, and off again when already off.
        EXPECT_FALSE(entry.setEnabled(false) || QFile::exists(path) || entry.setEnabled(false));
    }
    const QByteArray header = "[Desktop Entry]\nType=Application\nName=Lumora\nExec=lumora\n";
    const std::pair<QByteArray, bool> cases[] = {
        {header, true},
        {header + "Hidden=true\n", false},
        {header + "Hidden = true\n", false},
        {header + "Hidden=false\n", true},
        {header + "X-GNOME-Autostart-enabled=false\n", false},
        {header + "X-GNOME-Autostart-enabled=true\n", true},
        {header + "[Desktop Action quit]\nHidden=true\n", true}, // only the entry's own group
        {"# Hidden=true\n" + header, true},
        {QByteArray(200 * 1024, 'x'), false},
        {header + "Hidden=true\n", false}}; // then switched on: the entry is replaced
    for (const auto& [content, enabled] : cases) {
        writeFile(path, content);
        EXPECT_EQ(entry.isEnabled(), enabled) << content.left(200).toStdString();
    }
    EXPECT_FALSE(entry.setEnabled(true) || readFile(path).contains("Hidden"));
    // A read-only folder (the superuser writes into it regardless, so only checked for others).
    const QString folder = home.filePath(".config/autostart");
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    if (::geteuid() != 0) {
        const auto off = entry.setEnabled(false);
        EXPECT_TRUE(off && off->startsWith("Lumora could not be kept from starting at login. "));
        EXPECT_TRUE(entry.setEnabled(true) && entry.isEnabled()); // rewriting needs the folder too
    }
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString bin = home.filePath("bin"), mark = home.filePath("started");
    const QByteArray searchPath = qgetenv("PATH");
    qputenv("PATH", bin.toLocal8Bit());
    qunsetenv("TERMINAL");
    const auto install = [&](const QString& name) {
        writeScript(bin + "/" + name, "echo " + name.toUtf8() + " > '" + mark.toUtf8() + "'\n");
    };
    const auto started = [&] {
        QFile::remove(mark);
        EXPECT_TRUE(SystemTerminalLauncher().start());
        waitUntil([&] { return QFile::exists(mark) && !readFile(mark).isEmpty(); },
                  std::chrono::seconds(5));
        return QString::fromUtf8(readFile(mark)).trimmed();
    };
    writeFile(bin + "/kitty", "not executable");
    EXPECT_FALSE(SystemTerminalLauncher::chosenTerminal() || SystemTerminalLauncher().start());
    for (const char* name : {"xterm", "konsole", "gnome-terminal", "wezterm"}) {
        install(name);
    }
    EXPECT_EQ(started(), "gnome-terminal");
    qputenv("TERMINAL", "wezterm");
    EXPECT_EQ(started(), "wezterm");
    qputenv("TERMINAL", (bin + "/wezterm").toLocal8Bit());
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/wezterm");
    qputenv("TERMINAL", "no-such-terminal");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/gnome-terminal");
    install("x-terminal-emulator");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/x-terminal-emulator");
    qunsetenv("TERMINAL");
    qputenv("PATH", searchPath);
    QGuiApplication::clipboard()->setText("something the user copied");
    SystemClipboard().setText("codex login");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "codex login");
    qputenv("XDG_CONFIG_HOME", home.filePath("elsewhere").toLocal8Bit());
    EXPECT_EQ(
        std::pair(preferencesFilePath(home.path()), AutostartEntry::defaultEntryPath(home.path())),
        std::pair(home.filePath("elsewhere/Lumora/preferences.json"),
                  home.filePath("elsewhere/autostart/lumora.desktop")));
}

// A PNG or JPEG is kept byte for byte and selects the photo style; anything else changes nothing.
TEST(BreakBackgroundPhotoTest, ImportRefuseAndRemove) {
    ModelHarness h;
    const auto model = h.makeModel();
    BreakBackgroundPhoto& photo = *model->photo();
    AppPreferences& prefs = *model->preferences();
    const QString stored = h.data("break-background-image"), good = h.home.filePath("beach.png");
    const QString unusable = BreakBackgroundPhoto::unusablePhotoMessage;
    for (const auto& [name, format, size] : {std::tuple{"forest.jpg", "JPEG", QSize(40, 30)},
                                             std::tuple{"beach.png", "PNG", QSize(8, 8)}}) {
        QImage image(size, QImage::Format_RGB32); // recognisable by its size
        image.fill(QColor(30, 120, 200));
        ASSERT_TRUE(image.save(h.home.filePath(name), format));
        prefs.setBreakScreenStyle(BreakScreenStyle::motion);
        photo.importBreakBackgroundImage(h.home.filePath(name));
        EXPECT_EQ(std::tuple(readFile(stored), photo.breakBackgroundImage().size(),
                             *h.storedPreference("breakScreenStyle")),
                  std::tuple(readFile(h.home.filePath(name)), size, QJsonValue("photo")));
    }
    EXPECT_EQ(h.makeModel()->photo()->breakBackgroundImage().size(), QSize(8, 8));
    prefs.setBreakScreenStyle(BreakScreenStyle::minimal);
    const QByteArray storedBefore = readFile(stored);
    writeFile(h.home.filePath("notes.png"), "these are my notes, not a picture\n");
    for (const char* path : {"notes.png", "missing.png", ""}) {
        photo.importBreakBackgroundImage(h.home.filePath(path));
        EXPECT_EQ(std::tuple(photo.breakBackgroundErrorMessage(), prefs.breakScreenStyle(),
                             photo.breakBackgroundImage().size(), readFile(stored)),
                  std::tuple(unusable, BreakScreenStyle::minimal, QSize(8, 8), storedBefore));
    }
    photo.importBreakBackgroundImage(good);
    prefs.setBreakScreenStyle(BreakScreenStyle::motion); // removing falls back only from photo
    model->removeBreakBackgroundImage();
    model->removeBreakBackgroundImage(); // nothing left to remove: quiet
    EXPECT_FALSE(QFile::exists(stored) || photo.hasBreakBackgroundImage() ||
                 prefs.breakScreenStyle() != BreakScreenStyle::motion ||
                 !photo.breakBackgroundErrorMessage().isEmpty());
    // A stored photo that does not decode gives no image at start, and stays on disk.
    writeFile(stored, "\x89PNG\r\n\x1a\n truncated");
    EXPECT_FALSE(h.makeModel()->photo()->hasBreakBackgroundImage() || !QFile::exists(stored));
    QFile::remove(stored); // a photo that cannot be stored (a folder in the way) is refused too
    QDir().mkpath(stored);
    const auto blocked = h.makeModel();
    blocked->photo()->importBreakBackgroundImage(good);
    EXPECT_EQ(std::pair(blocked->photo()->breakBackgroundErrorMessage(),
                        blocked->photo()->hasBreakBackgroundImage()),
              std::pair(unusable, false));
}
