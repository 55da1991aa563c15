// The tray in this process against a watcher and a panel's host on a private bus, its gauge icon,
// and the lumora program: one tray per session, its commands, quit, the popover with no panel.
#include "TrayTests.h"

#include "core/ClaudeStatusLineInstaller.h"
#include "tray/GaugeIcon.h"
#include "tray/InstanceService.h"
#include "tray/ResumeWatcher.h"
#include "tray/StatusBarController.h"
#include "tray/StatusItem.h"
#include "tray/TrayApplication.h"
#include "views/PopoverWindow.h"

#include <QDBusMetaType>
#include <QtQml/qqmlextensionplugin.h>

#include <sys/prctl.h>
#include <xcb/xcb.h>

using namespace lumora;
using namespace lumora::test;

Q_IMPORT_QML_PLUGIN(LumoraPlugin) // the views' QML module, for the popover the controller opens

namespace {

const QString itemInterface = "org.kde.StatusNotifierItem", menu = "com.canonical.dbusmenu",
              properties = "org.freedesktop.DBus.Properties";

QString signatureOf(const QVariant& value) { // of a value read from the bus
    return value.metaType() == QMetaType::fromType<QDBusArgument>()
               ? qvariant_cast<QDBusArgument>(value).currentSignature()
               : QString::fromLatin1(QDBusMetaType::typeToSignature(value.metaType()));
}

enum class Tint { none, grey, blue, orange, red };

// The colour family of the icon on its ring at degrees clockwise from the top.
Tint tintAt(const QImage& icon, double degrees) {
    const int n = icon.width();
    const double r = n / 2.0 - std::max(1.0, std::round(n * 0.2) / 2) - std::max(0.5, n / 32.0),
                 a = (degrees - 90.0) * M_PI / 180.0;
    const QColor c = icon.pixelColor(int(std::floor(n / 2.0 + r * std::cos(a))),
                                     int(std::floor(n / 2.0 + r * std::sin(a))));
    const bool grey = std::abs(c.red() - c.green()) < 24 && std::abs(c.green() - c.blue()) < 24;
    return c.alpha() == 0       ? Tint::none
           : grey               ? Tint::grey
           : c.blue() > c.red() ? Tint::blue
                                : (c.green() > 60 ? Tint::orange : Tint::red);
}

} // namespace

// The gauge icon at every size: the arc's extent and colour for the share left, nothing outside.
TEST(GaugeIconTest, TheArcShowsTheShareInItsColourAtEverySize) {
    // The share left; two points on the ring (degrees clockwise from the top) and their tints.
    const std::tuple<std::optional<double>, double, Tint, double, Tint> states[] = {
        {std::nullopt, 45, Tint::grey, 225, Tint::grey}, // nothing known: the grey ring only
        {1.0, 45, Tint::blue, 315, Tint::blue},          // all left: a full blue ring
        {0.5, 90, Tint::blue, 270, Tint::grey},          // half: blue on the right, grey left
        {0.15, 25, Tint::orange, 180, Tint::grey},       // 15% left: a short orange arc
        {0.0, 90, Tint::red, 270, Tint::red},            // at the limit: all red
    };
    for (const auto& [left, at1, tint1, at2, tint2] : states) {
        for (const int size : GaugeIcon::sizes) {
            const QImage icon = GaugeIcon::render(size, left);
            EXPECT_EQ(std::tuple(icon.size(), tintAt(icon, at1), tintAt(icon, at2),
                                 qAlpha(icon.pixel(0, 0))),
                      std::tuple(QSize(size, size), tint1, tint2, 0))
                << size << " px, left " << left.value_or(-1);
        }
    }
    EXPECT_TRUE(GaugeIcon::arcColor(0.005) == GaugeIcon::arcColor(0.0) &&
                GaugeIcon::arcColor(0.2) != GaugeIcon::arcColor(0.21));
}

// One tray through panels (none, misbehaving, GNOME Shell's), clicks, commands, resume, no bus.
using StatusItemTest = TrayTest;
TEST_F(StatusItemTest, FollowsThePanelsAnswersClicksAndCommandsAndDoesWithoutABus) {
    struct Desktop : FakeDesktop { // counting the settings windows too
        void showSettingsWindow() override { ++settings; }
        int settings = 0;
    };
    ModelHarness harness;
    harness.enableBoth(usage("claude-code", Availability::ready, 0.42),
                       usage("codex", Availability::ready, 0.07));
    harness.storePreference("showClaudeInMenuBar", true);
    QDBusConnection app = bus.connect("app"), host = bus.connect("host");
    const auto windows = std::make_shared<Desktop>();
    harness.desktop = windows;
    std::unique_ptr<AppModel> model;
    std::unique_ptr<StatusBarController> controller;
    std::unique_ptr<StatusItem> item;
    StatusNotifierItem* sni = nullptr;
    PopoverWindow* popover = nullptr;
    ProviderScript& claude = *harness.claude->script;
    int quits = 0;
    const auto startTray = [&](QDBusConnection connection, std::chrono::milliseconds fallback) {
        item.reset(), controller.reset(), model.reset();
        model = harness.makeModel();
        controller = std::make_unique<StatusBarController>(model.get());
        QObject::connect(controller.get(), &StatusBarController::quitRequested, [&] { ++quits; });
        item = std::make_unique<StatusItem>(controller.get(), connection, harness.notifier);
        item->setFallbackDelay(fallback), item->start(), controller->start();
        sni = item->notifierItem(), popover = controller->popover();
    };
    const auto call = [&](const QString& method, const QVariantList& arguments,
                          const QString& interface = itemInterface) {
        const QString path = interface == menu ? "/MenuBar" : "/StatusNotifierItem";
        QDBusMessage m =
            QDBusMessage::createMethodCall(sni->serviceName(), path, interface, method);
        m.setArguments(arguments);
        return PrivateBus::call(host, m);
    };
    const auto propertyValue = [&](const QString& name) {
        const QDBusMessage reply = call("Get", {itemInterface, name}, properties);
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    };
    startTray(app, std::chrono::milliseconds(500));
    ASSERT_TRUE(waitUntil([&] {
        return item->mode() == StatusItem::Mode::noTray && popover->isShown() &&
               harness.notifier->sent ==
                   QStringList{StatusItem::noTrayTitle + " | " + StatusItem::noTrayBody};
    }));
    popover->close();
    for (const char* mode : {"error", "hang"}) { // refuses the item; never answers, then dies
        ASSERT_TRUE(watcher.start(bus.connect("watcher"), mode));
        ASSERT_TRUE(waitUntil([&] { return watcher.registrations.size() == 1; })) << mode;
        settle(); // it dies when the next one starts
        EXPECT_FALSE(sni->isRegistered()) << mode;
    }
    // GNOME Shell's: a menu of five entries doing their actions; hovering, unknown ones nothing.
    prctl(PR_SET_NAME, "gnome-shell"); // the name the tray reads of the watcher's process
    ASSERT_TRUE(watcher.start(bus.connect("watcher")));
    ASSERT_TRUE(waitUntil([&] { return sni->isRegistered(); }));
    prctl(PR_SET_NAME, "lumora_tray_tes");
    EXPECT_EQ(item->mode(), StatusItem::Mode::statusNotifierItem);
    ASSERT_TRUE(sni->exportsMenu());
    const QVariant menuPath = propertyValue("Menu");
    EXPECT_EQ(signatureOf(menuPath) + menuPath.value<QDBusObjectPath>().path(), "o/MenuBar");
    const QDBusMessage layoutReply = call("GetLayout", {0, -1, QStringList()}, menu);
    ASSERT_EQ(layoutReply.signature(), "u(ia{sv}av)") << layoutReply.errorMessage().toStdString();
    const auto layout = qdbus_cast<DBusMenuLayoutItem>(layoutReply.arguments().value(1));
    const auto event = [&](int i, const QString& kind) {
        const QVariantList arguments{layout.children.value(i).id, kind,
                                     QVariant::fromValue(QDBusVariant(0)), 0u};
        return call("Event", arguments, menu).type();
    };
    settle();
    int fetches = claude.fetches();
    // Each entry and then: the popover shown, breaks, refreshed, settings shown, quits.
    const std::pair<QString, QList<int>> entries[] = {{"Show Usage", {1, 0, 0, 0, 0}},
                                                      {"Take a Break", {0, 1, 0, 0, 0}},
                                                      {"Refresh", {0, 1, 1, 0, 0}},
                                                      {"Settings…", {0, 1, 1, 1, 0}},
                                                      {"Quit Lumora", {0, 1, 1, 1, 1}}};
    ASSERT_EQ(layout.children.size(), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(
            std::pair(layout.children[i].properties.value("label").toString(), event(i, "clicked")),
            std::pair(entries[i].first, QDBusMessage::ReplyMessage));
        EXPECT_TRUE(waitUntil([&] {
            return QList<int>{popover->isShown(), windows->breakWindowsShown,
                              claude.fetches() >= fetches + 2, windows->settings,
                              quits} == entries[i].second;
        })) << entries[i].first.toStdString();
        popover->close(), settle();
    }
    event(1, "hovered");
    EXPECT_EQ(call("GetLayout", {99, -1, QStringList()}, menu).type(), QDBusMessage::ErrorMessage);
    settle();
    EXPECT_EQ(windows->breakWindowsShown, 1);
    // The panel dies and another comes: registered again within a second, with no menu.
    watcher.stop();
    ASSERT_TRUE(waitUntil([&] { return !sni->isRegistered(); }));
    ASSERT_TRUE(watcher.start(bus.connect("watcher")));
    ASSERT_TRUE(waitUntil([&] { return sni->isRegistered(); }, std::chrono::seconds(1)));
    const QString name = QString("org.kde.StatusNotifierItem-%1-1").arg(getpid());
    EXPECT_EQ(std::tuple(sni->exportsMenu(),
                         call("Get", {itemInterface, "Menu"}, properties).type(),
                         watcher.registrations, PrivateBus::ownerOf(host, name)),
              std::tuple(false, QDBusMessage::ErrorMessage, QStringList{name}, app.baseService()));
    // Every property with its D-Bus type and what a panel shows of it, and the tool tip's parts.
    ASSERT_TRUE(waitUntil([&] { return controller->title() == "Codex 93% · Claude Code 58%"; }));
    const QVariantMap all =
        qdbus_cast<QVariantMap>(call("GetAll", {itemInterface}, properties).arguments().value(0));
    QStringList got;
    for (const auto& [name, v] : all.asKeyValueRange()) {
        got << name + ':' + signatureOf(v) + (v.toString().isEmpty() ? "" : "=" + v.toString());
    }
    const auto tip = qdbus_cast<StatusToolTip>(all["ToolTip"]);
    got << QStringList{tip.iconName, tip.title, tip.description, QString::number(tip.image.size())}
               .join('/');
    EXPECT_EQ(
        got.join(", "),
        "AttentionIconName:s, AttentionIconPixmap:a(iiay), AttentionMovieName:s, "
        "Category:s=ApplicationStatus, IconName:s, IconPixmap:a(iiay), IconThemePath:s, "
        "Id:s=lumora, ItemIsMenu:b=false, OverlayIconName:s, OverlayIconPixmap:a(iiay), "
        "Status:s=Active, Title:s=Lumora, ToolTip:(sa(iiay)ss), WindowId:i=0, XAyatanaLabel:s="
        "Codex 93% · Claude Code 58%, XAyatanaLabelGuide:s=Codex 100% · Claude Code 100%, "
        "/Lumora/Codex 93% · Claude Code 58%/0");
    // The gauge: the lowest share (Claude Code's 58%) at every size, ARGB32 in network order.
    const auto pixmaps = qdbus_cast<IconPixmapList>(propertyValue("IconPixmap"));
    ASSERT_EQ(pixmaps, GaugeIcon::pixmaps(0.58));
    const IconPixmap& p = pixmaps.last();
    const int x = p.width / 2 + 1, y = p.width / 10 + 1; // on the arc's top
    EXPECT_EQ(std::tuple(p.height, p.bytes.size(), p.bytes.mid(4 * (y * p.width + x), 4).toHex()),
              std::tuple(p.width, p.width * p.width * 4,
                         QByteArray::number(GaugeIcon::render(p.width, 0.58).pixel(x, y), 16)));
    // A model change: the new label with its guide, a new tool tip and a new icon.
    ASSERT_TRUE(host.connect(sni->serviceName(), "/StatusNotifierItem", itemInterface, "", &watcher,
                             SLOT(hear(QDBusMessage))));
    settle(); // the last refresh is over; the next one is not dropped
    claude.setSnapshot(usage("claude-code", Availability::limited, 0.9));
    waitFor(model->refresh(false));
    ASSERT_TRUE(waitUntil([&] { return watcher.heard.size() >= 3; }));
    settle();
    watcher.heard.sort();
    EXPECT_EQ(watcher.heard.join("; "),
              "NewIcon; NewToolTip; XAyatanaNewLabel | Codex 93% · Claude "
              "Code 10% | Codex 100% · Claude Code 100%");
    EXPECT_EQ(
        std::tuple(propertyValue("XAyatanaLabel").toString(), controller->toolTip(),
                   qdbus_cast<IconPixmapList>(propertyValue("IconPixmap"))),
        std::tuple(controller->title(), "Lumora, " + controller->title(), GaugeIcon::pixmaps(0.1)));
    // Activate: the break screen; ContextMenu toggles the popover, asking for live figures once.
    settle();
    EXPECT_EQ(call("Activate", {10, 20}).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(waitUntil([&] { return windows->breakWindowsShown == 2; }));
    fetches = claude.fetches();
    call("ContextMenu", {10, 20});
    ASSERT_TRUE(waitUntil([&] { return popover->isShown() && claude.fetches() == fetches + 1; }));
    settle(), call("ContextMenu", {10, 20});
    ASSERT_TRUE(waitUntil([&] { return !popover->isShown(); }));
    settle();
    EXPECT_EQ(std::pair(claude.fetches(), claude.lastForceLive()),
              std::pair(fetches + 1, std::optional(true)));
    // Settings chosen in the open popover: the popover closes first, then settings open.
    call("SecondaryActivate", {0, 0});
    ASSERT_TRUE(waitUntil([&] { return popover->isShown(); }));
    emit popover->settingsRequested();
    EXPECT_FALSE(popover->isShown());
    ASSERT_TRUE(waitUntil([&] { return windows->settings == 2; }));
    // The activation token goes to the next window that opens.
    qunsetenv("XDG_ACTIVATION_TOKEN"), call("ProvideXdgActivationToken", {"token-1"});
    const QByteArray early = qgetenv("XDG_ACTIVATION_TOKEN");
    call("Activate", {0, 0});
    EXPECT_EQ(std::pair(early, qgetenv("XDG_ACTIVATION_TOKEN")),
              std::pair(QByteArray(), QByteArray("token-1")));
    qunsetenv("XDG_ACTIVATION_TOKEN");
    // Calls of the wrong shape get an error and change nothing.
    for (const auto& [interface, method, arguments] :
         {std::tuple<QString, QString, QVariantList>{itemInterface, "Activate", {"x", "y"}},
          {itemInterface, "Scroll", {1, 2}},
          {itemInterface, "ContextMenu", {1}},
          {itemInterface, "NoSuchMethod", {}},
          {itemInterface, "ProvideXdgActivationToken", {42}},
          {properties, "Set", {itemInterface, "Title", QVariant::fromValue(QDBusVariant("x"))}},
          {properties, "Get", {1, 2}}}) {
        EXPECT_EQ(call(method, arguments, interface).type(), QDBusMessage::ErrorMessage)
            << method.toStdString();
    }
    const auto xml = call("Introspect", {}, "org.freedesktop.DBus.Introspectable").arguments();
    EXPECT_TRUE(xml[0].toString().contains("<property name=\"IconPixmap\" type=\"a(iiay)\""));
    settle();
    EXPECT_EQ(std::tuple(windows->breakWindowsShown, propertyValue("Title").toString()),
              std::tuple(3, QString("Lumora")));
    // Owning the name: a second lumora shows the popover, commands reach it, quit frees the name.
    const CommandOutcome noBus = lumora({"break"}, {"DBUS_SESSION_BUS_ADDRESS=unix:path=/none"}),
                         headless = lumora({}, {"QT_QPA_PLATFORM=", "DISPLAY=:1999"});
    EXPECT_EQ(std::tuple(noBus.out, headless.exitCode, headless.err),
              std::tuple(QString("Lumora is not running.\n"), 1, noDesktopMessage + QString('\n')));
    auto service = std::make_unique<InstanceService>(bus.connect("tray"));
    ASSERT_EQ(service->claim(), InstanceService::Claim::owned);
    service->setController(controller.get());
    const int second = lumora({}).exitCode;
    EXPECT_EQ(std::pair(second, popover->isShown()), std::pair(0, true));
    popover->close();
    EXPECT_EQ(lumora({"popover"}).exitCode, 0);
    EXPECT_TRUE(popover->isShown());
    EXPECT_EQ(lumora({"break"}).exitCode, 0);
    EXPECT_EQ(std::pair(windows->breakWindowsShown, popover->isShown()), std::pair(4, false));
    EXPECT_EQ(lumora({"settings"}).exitCode, 0);
    ASSERT_TRUE(waitUntil([&] { return windows->settings == 3; }));
    QObject::connect(controller.get(), &StatusBarController::quitRequested,
                     [&] { service.reset(); });
    EXPECT_EQ(lumora({"quit"}).exitCode, 0);
    const CommandOutcome after = lumora({"popover"});
    EXPECT_EQ(std::tuple(service.get(), after.exitCode, after.out),
              std::tuple(nullptr, 1, noBus.out));
    // Resume from suspend, announced once; without a bus neither that nor an item, but the popover.
    QDBusConnection logind = bus.connect("logind");
    ASSERT_TRUE(logind.registerService("org.freedesktop.login1"));
    ResumeWatcher resume(bus.connect("system"));
    int resumes = 0;
    QObject::connect(&resume, &ResumeWatcher::resumed, [&] { ++resumes; });
    for (const bool sleeping : {true, false}) {
        logind.send(QDBusMessage::createSignal("/org/freedesktop/login1",
                                               "org.freedesktop.login1.Manager", "PrepareForSleep")
                    << sleeping);
    }
    ASSERT_TRUE(waitUntil([&] { return resumes == 1; }));
    startTray(app, std::chrono::seconds(30)); // with the panel there already
    ASSERT_TRUE(waitUntil([&] { return sni->isRegistered(); }));
    const QDBusConnection nowhere =
        QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"), "nowhere");
    startTray(nowhere, std::chrono::milliseconds(100));
    ASSERT_TRUE(waitUntil([&] { return item->mode() == StatusItem::Mode::noTray; }));
    EXPECT_EQ(std::tuple(sni, popover->isShown(), ResumeWatcher(nowhere).isWatching(), resumes),
              std::tuple(nullptr, true, false, 1));
}

// Without a session bus, of ten starts at once nine give way (exit code 0) and one tray stays.
using NoBusInstanceTest = TrayTest;
TEST_F(NoBusInstanceTest, TenStartsAtOnceLeaveOneTray) {
    std::deque<LumoraProcess> trays; // the runtime folder private to its owner, as a session's is
    for (int i = 0; i < 10; ++i) {
        trays
            .emplace_back(home.path(), "unix:path=/none",
                          QStringList{"XDG_RUNTIME_DIR=" + home.path()})
            .start();
    }
    const auto running = [&] {
        return std::ranges::count_if(trays, [](LumoraProcess& t) { return t.processId() > 0; });
    };
    ASSERT_TRUE(waitUntil([&] { return running() <= 1; }, std::chrono::seconds(30)));
    EXPECT_FALSE(waitUntil([&] { return running() == 0; }, std::chrono::seconds(2)));
    ASSERT_EQ(running(), 1);
    for (LumoraProcess& tray : trays) {
        tray.terminate(); // SIGTERM, to the one still running
        EXPECT_EQ(tray.finish(), 0) << tray.report();
    }
}

// Each start repairs the hook, the popover is a window on X; quit and SIGTERM end Codex's server.
using TrayProgramTest = TrayTest;
TEST_F(TrayProgramTest, RepairsTheHookShowsThePopoverAsAWindowAndEndsItsChildren) {
    const QString movedHelper = home.filePath("old-lumora/lumora-json");
    writeScript(movedHelper, "");
    writeFile(home.filePath(".claude/settings.json"),
              R"({"model": "opus", "statusLine": {"type": "command", "command": "echo mine"}})");
    const ClaudeStatusLineInstaller installer(home.path(), movedHelper);
    installer.install(), QFile::remove(movedHelper);
    const QByteArray settings = readFile(installer.settingsPath());
    // Codex's app-server never answers, running a process of its own as the CLI's launcher does.
    const QString codex = home.filePath("tools/codex"), pidFile = home.filePath("app-server.pid");
    writeScript(codex,
                fakeCodex("exit 0", R"(sleep 120 & echo $! > "$HOME/pid"; mv "$HOME/pid" ")" +
                                        pidFile.toUtf8() + "\"; wait"));
    writeFile(home.preferencesFile(), "{\"codexEnabled\": true}");
    // -noreset: an X server resetting as its last client (xdotool) leaves refuses new connections.
    QProcess xvfb;
    xvfb.start("Xvfb",
               {"-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"});
    ASSERT_TRUE(xvfb.waitForStarted(5000) && xvfb.waitForReadyRead(10000))
        << "no Xvfb (package xvfb)";
    const QByteArray display = ":" + xvfb.readLine().trimmed();
    const auto x11 = [&](const QString& command) {
        return runProgram("sh", {"-c", command}, {}, {{"DISPLAY", display}}).out.trimmed();
    };
    const QString shownWindows = "xdotool search --onlyvisible --name '^Lumora$'";
    LumoraProcess tray(home.path(), bus.address(),
                       {"QT_QPA_PLATFORM=xcb", "DISPLAY=" + display, "LUMORA_CODEX_PATH=" + codex});
    const ClaudeStatusLineInstaller repaired(home.path(), builtExecutable("lumora-json"));
    const auto start = [&] { // the hook repaired, Claude Code's settings kept; the app-server's pid
        QFile::remove(pidFile), tray.start();
        EXPECT_TRUE(waitUntil([&] { return QFile::exists(pidFile); }, std::chrono::seconds(20)));
        const QString script = installer.hookScriptPath();
        EXPECT_EQ(
            std::tuple(readFile(script), fileMode(script), readFile(installer.settingsPath())),
            std::tuple(repaired.statusLineScript("echo mine").toUtf8(), 0700, settings));
        return pid_t(readFile(pidFile).trimmed().toInt());
    };
    const auto expectEnded = [&](pid_t server) { // with exit code 0, the app-server gone
        EXPECT_EQ(tray.finish(), 0) << tray.report();
        const auto ended = [&] { // gone, or dead and waiting for the system to reap it
            QFile stat(QString("/proc/%1/stat").arg(server));
            return !stat.open(QIODevice::ReadOnly) || stat.readAll().contains(") Z ");
        };
        EXPECT_TRUE(waitUntil(ended, std::chrono::seconds(2))) << "the app-server lives on";
    };
    const pid_t server = start();
    QString window; // the popover, after its wait for a panel
    ASSERT_TRUE(waitUntil([&] { return !(window = x11(shownWindows)).isEmpty(); }))
        << tray.report();
    ASSERT_FALSE(window.contains('\n')) << "more than one window: " << window.toStdString();
    // Normal, not transient, in the task bar and not kept above; Motif hints (flags, functions,
    // decorations), if any, keep the title (8), moving (4) and closing (32).
    QStringList properties =
        x11("xprop -id " + window +
            " _NET_WM_WINDOW_TYPE _MOTIF_WM_HINTS WM_TRANSIENT_FOR _NET_WM_STATE")
            .split('\n');
    const QString motif = properties.takeAt(1);
    EXPECT_EQ(properties.join('\n'),
              "_NET_WM_WINDOW_TYPE(ATOM) = _NET_WM_WINDOW_TYPE_NORMAL\nWM_TRANSIENT_FOR:  not "
              "found.\n_NET_WM_STATE:  not found.");
    const QStringList hints = motif.section(" = ", 1).split(", ") + QStringList{"0", "0", "0"};
    const uint flags = hints[0].toUInt(nullptr, 16), functions = hints[1].toUInt(nullptr, 16);
    EXPECT_TRUE(((flags & 1) == 0 || (functions & 36) == 36) &&
                ((flags & 2) == 0 || (hints[2].toUInt(nullptr, 16) & 8) != 0))
        << motif.toStdString();
    // Its close button as a window manager sends it (checked, or it may get dropped): tray stays.
    xcb_connection_t* x = xcb_connect(display.constData(), nullptr);
    xcb_atom_t atoms[2] = {};
    for (int i = 0; const char* name : {"WM_PROTOCOLS", "WM_DELETE_WINDOW"}) {
        xcb_intern_atom_reply_t* reply =
            xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, std::strlen(name), name), nullptr);
        atoms[i++] = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE), std::free(reply);
    }
    xcb_client_message_event_t event{XCB_CLIENT_MESSAGE, 32, 0, window.toUInt(), atoms[0], {}};
    event.data.data32[0] = atoms[1];
    std::free(xcb_request_check(x, xcb_send_event_checked(x, 0, window.toUInt(), 0,
                                                          reinterpret_cast<const char*>(&event))));
    xcb_disconnect(x);
    ASSERT_TRUE(waitUntil([&] { return x11(shownWindows).isEmpty(); })) << tray.report();
    EXPECT_EQ(lumora({"popover"}).exitCode, 0); // the tray is still there: it shows the popover
    EXPECT_TRUE(waitUntil([&] { return !x11(shownWindows).isEmpty(); }));
    EXPECT_EQ(lumora({"quit"}).exitCode, 0);
    expectEnded(server);
    const pid_t next = start();
    tray.terminate(), expectEnded(next);
    xvfb.terminate(), xvfb.waitForFinished(5000);
}
