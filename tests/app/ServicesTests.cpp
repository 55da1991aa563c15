// Preferences, notifications and the usage history with the desktop's adapters: real files and
// SQLite in temporary homes, the desktop's notification service on a private bus, the tray model.
#include "AppTestSupport.h"
#include "history/HistoryStore.h"
#include "platform/Autostart.h"

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
using Verdict = UsagePace::Verdict;
using Kind = UsageWindow::Kind;

namespace {

// "order style alerts|claude|codex|showCodex|showClaude colour" (photo 0, motion 1, minimal 2).
QString described(const AppPreferences& p) {
    return QString::asprintf("%s %d %d%d%d%d%d %s", qPrintable(p.providerOrder().join(',')),
                             int(p.breakScreenStyle()), p.alertsEnabled(), p.claudeEnabled(),
                             p.codexEnabled(), p.showCodexInMenuBar(), p.showClaudeInMenuBar(),
                             qPrintable(p.breakTextColor().name(QColor::HexArgb)));
}

bool granted(const QFuture<bool>& answer) {
    EXPECT_TRUE(waitFor(answer));
    return answer.resultCount() > 0 && answer.result();
}

UsageSnapshot codex(Availability availability, std::optional<double> ratio,
                    std::optional<QDateTime> resetsAt = std::nullopt) {
    return usage("codex", availability, ratio, resetsAt);
}

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
QDateTime at(int minutes) {
    return now.addSecs(60 * minutes);
}
HistoryFigure codexFigure(double used, const QDateTime& capturedAt,
                          std::optional<QDateTime> resetsAt = at(300)) {
    return {"codex", Kind::session, used, resetsAt, capturedAt, SnapshotSource::officialAppServer};
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
        const CommandOutcome v = validator.isEmpty() || round ? CommandOutcome{0, {}, {}}
                                                              : runProgram(validator, {path});
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

// At most one notification from two snapshots: the warning at 80%, the limit, the reset.
TEST(UsageNotificationRules, DecideAtMostOneNotificationFromTwoSnapshots) {
    using A = Availability;
    const QLocale locale(QLocale::German, QLocale::Germany);
    const QDateTime reset(QDate(2026, 3, 1), QTime(14, 30), Qt::LocalTime);
    const auto at = [&](A availability, double ratio) {
        return codex(availability, ratio, reset);
    };
    UsageSnapshot noWindow = codex(A::unknown, std::nullopt);
    noWindow.windows.clear();
    // The warning and the limit offer a break; the reset does not.
    const UsageNotification warning{"Codex usage reached 80%", "Expected reset: 14:30", true};
    const UsageNotification resting{"Codex is resting", "Expected reset: 14:30", true};
    const UsageNotification again{"Codex is ready", "You can use Codex again."};
    const std::tuple<const char*, UsageSnapshot, UsageSnapshot, std::optional<UsageNotification>>
        rows[] = {
            {"crossing 80%", at(A::ready, 0.79), at(A::ready, 0.80), warning},
            {"already above", at(A::limited, 0.85), at(A::limited, 0.90), std::nullopt},
            {"no window before", noWindow, at(A::limited, 0.95), warning},
            {"no ratio before", codex(A::ready, std::nullopt), at(A::limited, 0.95), warning},
            {"crossing and blocked at once", at(A::ready, 0.5), at(A::blocked, 1.0), warning},
            {"blocked after the warning", at(A::limited, 0.9), at(A::blocked, 1.0), resting},
            {"blocked without a reset time", at(A::limited, 0.9), codex(A::blocked, 1.0),
             UsageNotification{"Codex is resting", "Reset time is unavailable.", true}},
            {"reset", at(A::blocked, 1.0), at(A::ready, 0.1), again},
            {"blocked below 80% to limited", codex(A::blocked, 0.5), at(A::limited, 0.9), warning},
            {"blocked to limited", at(A::blocked, 1.0), at(A::limited, 0.9), std::nullopt},
            {"still blocked", at(A::blocked, 1.0), at(A::blocked, 1.0), std::nullopt},
            {"blocked to unknown", at(A::blocked, 1.0), noWindow, std::nullopt},
            {"going down", at(A::limited, 0.9), at(A::ready, 0.1), std::nullopt}};
    for (const auto& [what, previous, next, expected] : rows) {
        EXPECT_EQ(usageNotification(previous, next, locale), expected) << what;
    }
    // The reset line: the locale's short time, stored in UTC and shown in local time.
    EXPECT_EQ(resetDescription(codex(A::limited, 0.9, reset.addSecs(45).toUTC()), locale),
              "Expected reset: 14:30");
    EXPECT_EQ(resetDescription(noWindow), "Reset time is unavailable.");
}

// Alerts need the service; each state is told once; only this run's buttons open the break.
TEST(NotificationBusTest, AlertsNeedTheServiceEachStateIsToldOnceAndTakeABreakOpensTheBreak) {
    PrivateBus bus; // one connection for the application, one for the notification service
    ASSERT_TRUE(bus.isRunning());
    QDBusConnection client = bus.connect("client"), serviceBus = bus.connect("service");
    FakeNotificationService service;
    ModelHarness h;
    const auto raise = [&](const QDBusConnection& from, const char* name,
                           const QVariantList& args) {
        QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/Notifications",
                                                         "org.freedesktop.Notifications", name);
        signal.setArguments(args);
        EXPECT_TRUE(from.send(signal));
    };
    const auto press = [&](uint id, const QString& key = "take-a-break") {
        raise(serviceBus, "ActionInvoked", {id, key});
    };
    DBusNotifier alone(client); // no service: sending finishes quietly
    EXPECT_FALSE(granted(alone.requestAuthorization()));
    EXPECT_TRUE(waitFor(alone.send("t", "b")) && waitFor(alone.sendOfferingBreak("t", "b")));
    EXPECT_FALSE(granted(DBusNotifier(QDBusConnection("not-connected")).requestAuthorization()));
    h.enableBoth();
    AppModel::Services services = h.services();
    services.notifier = std::make_shared<DBusNotifier>(client);
    AppModel model(services);
    QList<bool> seen;
    QObject::connect(model.preferences(), &AppPreferences::alertsEnabledChanged,
                     [&] { seen << model.preferences()->alertsEnabled(); });
    model.preferences()->setAlertsEnabled(true);
    ASSERT_TRUE(waitUntil([&] { return seen.size() == 2; }));
    EXPECT_EQ(std::pair(seen, *h.storedPreference("alertsEnabled")),
              std::pair(QList<bool>({true, false}), QJsonValue(false)));
    ASSERT_TRUE(service.registerOn(serviceBus));
    model.preferences()->setAlertsEnabled(true);
    settle();
    EXPECT_TRUE(model.preferences()->alertsEnabled()); // the service answered
    const auto refreshTo = [&](const UsageSnapshot& claudeAnswer, const UsageSnapshot& next) {
        h.claude->script->setSnapshot(claudeAnswer), h.codex->script->setSnapshot(next);
        ASSERT_TRUE(waitFor(model.refresh(false)));
    };
    const QDateTime reset = QDateTime::currentDateTime().addSecs(7200);
    refreshTo(usage("claude-code", Availability::limited, 0.9, reset),
              codex(Availability::ready, 0.2));
    refreshTo(usage("claude-code", Availability::blocked, 1.0), codex(Availability::limited, 0.85));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.85));
    refreshTo(usage("claude-code", Availability::ready, 0.1), codex(Availability::limited, 0.85));
    ASSERT_EQ(service.received.size(), 4);
    const QVariantList& n = service.received[0]; // a new one each time, replacing none
    EXPECT_EQ(std::tuple(n[0], n[2], n[4], n[6].toMap()["sound-name"],
                         n[6].toMap()["desktop-entry"], n[7],
                         n[1].toUInt() + service.received[3][1].toUInt()),
              std::tuple(QVariant("Lumora"), QVariant("lumora"),
                         QVariant("Expected reset: " +
                                  QLocale::system().toString(reset.time(), QLocale::ShortFormat)),
                         QVariant("message-new-instant"), QVariant("lumora"), QVariant(-1), 0u));
    QStringList told; // the warning and the limit offer a break; the reset does not
    for (const QVariantList& notification : service.received) {
        told << notification[3].toString() + " " + notification[5].toStringList().join(',');
    }
    EXPECT_EQ(told, QStringList({"Claude Code usage reached 80% take-a-break,Take a Break",
                                 "Claude Code is resting take-a-break,Take a Break",
                                 "Codex usage reached 80% take-a-break,Take a Break",
                                 "Claude Code is ready "}));
    // Ignored: no button, another key, closed, another application's, not from the service.
    press(4);
    press(1, "default");
    raise(serviceBus, "NotificationClosed", {2u, 2u});
    press(2);
    press(99);
    raise(client, "ActionInvoked", {1u, "take-a-break"});
    // Whatever the service sent before has reached the client: a later answer travels behind it.
    EXPECT_TRUE(granted(DBusNotifier(client).requestAuthorization()));
    settle();
    EXPECT_EQ(h.desktop->breakWindowsShown, 0);
    press(3);
    ASSERT_TRUE(waitUntil([&] { return h.desktop->breakWindowsShown == 1; }));
    press(3); // a notification the server keeps open can be pressed again
    press(1);
    EXPECT_TRUE(waitUntil([&] { return h.desktop->breakWindowsShown == 3; }));
    service.capabilities = {"body"}; // a service without buttons: the same notification, no button
    EXPECT_TRUE(waitFor(DBusNotifier(client).sendOfferingBreak("t", "b")) &&
                service.received.last()[5].toStringList().isEmpty());
}

// A cached blocked Codex that is ready at the first refresh: told once, with alerts on only; the
// pace warning once per window; figures still show when no history can be kept.
TEST(ModelNotifications, OnlyWithAlertsOnComparedWithTheCacheAndThePaceWarningOncePerWindow) {
    ModelHarness h;
    h.storePreference("codexEnabled", true);
    h.codex->script->setSnapshot(codex(Availability::ready, 0.05));
    std::unique_ptr<AppModel> models[2];
    for (int run = 0; run < 2; ++run) {
        h.storePreference("alertsEnabled", run == 1);
        SnapshotCache("codex", h.data("codex-snapshot.json")).save(codex(Availability::blocked, 1));
        models[run] = h.makeModel({.refreshInterval = std::chrono::hours(1)});
        models[run]->start();
        ASSERT_TRUE(waitUntil([&] { return h.codex->script->fetches() == run + 1; }));
        settle();
        EXPECT_TRUE(h.notifier->sent.isEmpty() || run == 1);
    }
    ASSERT_TRUE(waitFor(models[1]->refresh(false)));
    EXPECT_EQ(h.notifier->sent, QStringList({"Codex is ready | You can use Codex again."}));
    EXPECT_EQ(h.notifier->authorizationRequests, 0); // reading the switch asks nothing
    h.storePreference("providerEnabled", true);      // alerts off: only the pace warning
    h.storePreference("alertsEnabled", false);
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(3 * 3600);
    for (int ago = 40; ago >= 10; ago -= 10) { // a store of its own for each, closed at once
        HistoryStore(HistoryStore::defaultPath(h.home.path()), HistoryStore::Access::readWrite)
            .record({"claude-code", Kind::session, 0.8 - ago * 0.01, reset,
                     QDateTime::currentDateTimeUtc().addSecs(-60 * ago),
                     SnapshotSource::officialCLI});
    }
    const auto model = h.makeModel();
    for (const auto& [used, resetsAt] :
         {std::pair(0.8, reset), {0.8, reset}, {0.05, reset.addSecs(5 * 3600)}}) {
        h.claude->script->setSnapshot(
            usage("claude-code", used > 0.5 ? Availability::limited : Availability::ready, used,
                  resetsAt));
        ASSERT_TRUE(waitFor(model->refresh(false)));
        settle();
    }
    const QStringList& sent = h.notifier->sent;
    EXPECT_TRUE(sent.size() == 2 &&
                sent[1].startsWith("At this pace Claude Code reaches its limit"))
        << sent.join('\n').toStdString();
    h.storePreference("showClaudeInMenuBar", true);
    auto services = h.services();
    services.historyPath = "/proc/self/lumora/history.sqlite";
    AppModel unkept(services);
    ASSERT_TRUE(waitFor(unkept.refresh(false)));
    EXPECT_EQ(unkept.menuBarDisplayText(), "Codex 95% \u00B7 Claude Code 95%");
}

// Reset first, limit first, idle, a reset between, the clock jumped back, too few figures, 100%.
TEST(UsagePaceRules, ProjectTheLimitOrTheShareLeftFromTheFiguresOfTheCurrentWindow) {
    // "minutes from now, share used[, reset in minutes: 150 unless given, -1 none]"; the limit.
    using V = Verdict;
    const QString none = "Not enough data for a pace yet", p = "At this pace: ";
    const std::tuple<const char*, Verdict, QString, int> rows[] = {
        {"-30 .10; -20 .12; -10 .14; 0 .16", V::leftAtReset, p + "54% left at reset", 420},
        {"-40 .30; -20 .40; 0 .50", V::limitBeforeReset, p + "limit in 1 hr 40 min", 100},
        {"-60 .20; -45 .50; -35 .50; -10 .50; 0 .50", V::idle, "", -1},
        {"-40 .20; -20 .50; 0 .50", V::limitBeforeReset, p + "limit in 1 hr 6 min", 67},
        {"-60 .80 -30; -40 .95 -30; -25 0; -5 .10", V::leftAtReset, p + "13% left at reset", 175},
        {"-60 .70 -1; -20 .05 -1; 0 .10 -1", V::limitBeforeReset, p + "limit in 6 hr", 360},
        {"90 .95; -30 .10; 95 .99; -15 .13; 0 .16", V::leftAtReset, p + "54% left at reset", 420},
        {"0 .30", V::notEnoughData, none, -1},
        {"-9 .30; 0 .40", V::notEnoughData, none, -1},
        {"-30 .80; 0 1", V::atLimit, "", -1}};
    for (const auto& [text, verdict, shown, limitAt] : rows) {
        SCOPED_TRACE(text);
        QList<PaceFigure> figures;
        for (const QString& figure : QString(text).split(';')) {
            const QStringList f = figure.simplified().split(' ');
            const int reset = f.value(2, "150").toInt();
            figures.append({at(f[0].toInt()), f[1].toDouble(),
                            reset == -1 ? std::nullopt : std::optional(at(reset))});
        }
        const UsagePace pace = usagePace(figures, now);
        EXPECT_EQ(std::pair(pace.verdict, paceText(pace, now)), std::pair(verdict, shown));
        EXPECT_NEAR(pace.limitAt ? pace.limitAt->secsTo(at(limitAt)) : 0, 0, 60);
        EXPECT_EQ(pace.limitAt.has_value(), limitAt >= 0);
    }
}

// Changes and ten-minute repeats kept; pruned, upgraded from the first version, damage moved aside.
TEST(HistoryStore, RecordsChangesAndEveryTenMinutesPrunesUpgradesAndSurvivesDamage) {
    TemporaryHome home;
    const QString path = HistoryStore::defaultPath(home.path());
    HistoryStore store(path, HistoryStore::Access::readWrite);
    ASSERT_TRUE(store.isOpen());
    // Kept: the first, a change (replacing its second's row), ten minutes on, a clock gone back.
    const std::tuple<int, double, bool> steps[] = {
        {0, 0.2, true},  {0, 0.1, true},  {0, 0.1, false},  {5, 0.1, false}, {9, 0.1, false},
        {10, 0.1, true}, {11, 0.2, true}, {12, 0.2, false}, {-30, 0.2, true}};
    for (const auto& [minutes, used, written] : steps) {
        EXPECT_EQ(store.record(codexFigure(used, at(minutes))), written) << minutes << ", " << used;
    }
    EXPECT_EQ(store.figures(at(-60)),
              (QList<HistoryFigure>{codexFigure(0.2, at(-30)), codexFigure(0.1, at(0)),
                                    codexFigure(0.1, at(10)), codexFigure(0.2, at(11))}));
    // A second process, the command line, reads what the tray has just written.
    const CommandOutcome csv = runLumora(home.path(), {"history", "--csv", "--since", "90d"});
    EXPECT_EQ(std::tuple(csv.exitCode, csv.out.count('\n'), csv.out.section('\n', 0, 0)),
              std::tuple(0, qsizetype(5),
                         QString("capturedAt,providerID,kind,usedRatio,resetsAt,source")))
        << csv.err.toStdString();
    EXPECT_EQ((std::pair{store.prune(at(5)), store.figures(at(-60)).size()}), // in order
              std::pair(2, qsizetype(2)));
    // The first version's file, with a row of another tool and a broken time left behind.
    const QString old = home.filePath("old.sqlite");
    ASSERT_TRUE(QFile::copy(fixturePath("history-v1.sqlite"), old));
    QFile::setPermissions(old, QFile::ReadOwner | QFile::WriteOwner);
    HistoryStore upgraded(old, HistoryStore::Access::readWrite);
    const QDateTime noon = QDateTime::fromString("2026-11-20T12:00:00Z", Qt::ISODate);
    const SnapshotSource cli = SnapshotSource::officialCLI;
    EXPECT_EQ(upgraded.figures(noon.addDays(-1)),
              (QList<HistoryFigure>{
                  {"claude-code", Kind::session, 0.42, noon.addSecs(3 * 3600), noon, cli},
                  {"claude-code", Kind::weekly, 0.1234, std::nullopt, noon, cli},
                  codexFigure(0.07, noon.addSecs(90), noon.addSecs(4 * 3600))}));
    EXPECT_TRUE(upgraded.record(codexFigure(0.08, noon.addSecs(600), std::nullopt)));
    const QString damaged = home.filePath("damaged.sqlite");
    writeFile(damaged, QByteArray("not a database, whatever it once was").repeated(200));
    EXPECT_TRUE(
        HistoryStore(damaged, HistoryStore::Access::readWrite).record(codexFigure(0.5, now)));
    EXPECT_TRUE(readFile(damaged + ".corrupt").startsWith("not a database"));
    HistoryStore none("/proc/self/lumora/history.sqlite", HistoryStore::Access::readWrite);
    EXPECT_FALSE(none.isOpen() || none.record(codexFigure(0.5, now)) ||
                 !none.figures(now).isEmpty())
        << "no folder can be made under /proc, not even by root";
}
