// The status item as a panel sees it: a watcher and a host of the test's own on a private bus,
// the item and its controller on a model with fake providers.
#include "TraySupport.h"

#include "tray/DBusMenu.h"
#include "tray/GaugeIcon.h"
#include "tray/ResumeWatcher.h"
#include "tray/StatusBarController.h"
#include "tray/StatusItem.h"
#include "tray/StatusNotifierItem.h"
#include "views/PopoverWindow.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lumora;
using namespace lumora::test;

namespace {

const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString itemPath = QStringLiteral("/StatusNotifierItem");

// What the host heard from the item.
class SignalLog : public QObject {
    Q_OBJECT

public:
    QStringList labels;
    int toolTips = 0, icons = 0;

public slots:
    void onLabel(const QString& label, const QString& guide) { labels << label + " | " + guide; }
    void onToolTip() { ++toolTips; }
    void onIcon() { ++icons; }
};

class StatusItemTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(bus.isRunning());
        harness.enableBoth(usage("claude-code", Availability::ready, 0.42),
                           usage("codex", Availability::ready, 0.07));
        harness.storePreference("showClaudeInMenuBar", true);
    }

    void startTray(QDBusConnection connection,
                   std::chrono::milliseconds fallback = std::chrono::seconds(30)) {
        AppModel::Services services = harness.services();
        services.windows = windows;
        model = std::make_unique<AppModel>(std::move(services));
        controller = std::make_unique<StatusBarController>(model.get());
        QObject::connect(controller.get(), &StatusBarController::quitRequested,
                         [this] { ++quitRequests; });
        item = std::make_unique<StatusItem>(controller.get(), connection, harness.notifier);
        item->setFallbackDelay(fallback);
        item->start();
        controller->start();
    }
    StatusNotifierItem* sni() const { return item->notifierItem(); }
    bool registered() const { return sni() && sni()->isRegistered(); }
    bool registeredWithWatcher() {
        return waitUntil([&] { return registered(); }) && waitUntil([&] {
                   return watcher.registrations() == QStringList{sni()->serviceName()};
               });
    }

    QDBusMessage callItem(const QString& interface, const QString& method,
                          const QVariantList& arguments, const QString& path = itemPath) {
        QDBusMessage message =
            QDBusMessage::createMethodCall(sni()->serviceName(), path, interface, method);
        message.setArguments(arguments);
        return PrivateBus::call(host, message);
    }
    QDBusMessage property(const QString& name) {
        return callItem(properties, "Get", {itemInterface, name});
    }
    QVariant propertyValue(const QString& name) {
        return property(name).arguments().value(0).value<QDBusVariant>().variant();
    }
    int claudeFetches() const { return harness.claude->script->fetches(); }
    const QString properties = "org.freedesktop.DBus.Properties";

    ModelHarness harness;
    PrivateBus bus;
    QDBusConnection app = bus.connect("app");
    QDBusConnection host = bus.connect("host");
    QTemporaryDir links;
    WatcherProcess watcher{bus.address(), links.path()};
    std::shared_ptr<RecordingWindows> windows = std::make_shared<RecordingWindows>();
    std::unique_ptr<AppModel> model;
    std::unique_ptr<StatusBarController> controller;
    std::unique_ptr<StatusItem> item;
    int quitRequests = 0;
};

} // namespace

TEST_F(StatusItemTest, RegistersShowsTheModelAndAnswersClicks) {
    ASSERT_TRUE(watcher.start());
    startTray(app);
    // By its service name, which this connection owns.
    ASSERT_TRUE(registeredWithWatcher());
    EXPECT_EQ(
        sni()->serviceName(),
        QStringLiteral("org.kde.StatusNotifierItem-%1-1").arg(QCoreApplication::applicationPid()));
    EXPECT_EQ(PrivateBus::ownerOf(host, sni()->serviceName()), app.baseService());
    EXPECT_EQ(item->mode(), StatusItem::Mode::statusNotifierItem);
    ASSERT_TRUE(waitUntil([&] {
        return controller->title() == "Codex 93% \u00B7 Claude Code 58%";
    })) << controller->title().toStdString();

    // Every property, with its D-Bus type.
    QStringList names;
    for (const QString& entry :
         QStringLiteral("Category:s Id:s Title:s Status:s WindowId:i IconThemePath:s IconName:s "
                        "IconPixmap:a(iiay) OverlayIconName:s OverlayIconPixmap:a(iiay) "
                        "AttentionIconName:s AttentionIconPixmap:a(iiay) AttentionMovieName:s "
                        "ToolTip:(sa(iiay)ss) ItemIsMenu:b XAyatanaLabel:s XAyatanaLabelGuide:s")
             .split(' ')) {
        names << entry.section(':', 0, 0);
        EXPECT_EQ(signatureOf(propertyValue(names.last())), entry.section(':', 1))
            << entry.toStdString();
    }
    names.sort();
    const QDBusMessage all = callItem(properties, "GetAll", {itemInterface});
    EXPECT_EQ(qdbus_cast<QVariantMap>(all.arguments().value(0)).keys(), names);
    for (const auto& [name, value] :
         {std::pair{"Category", "ApplicationStatus"},
          {"Id", "lumora"},
          {"Title", "Lumora"},
          {"Status", "Active"},
          {"ItemIsMenu", "false"},
          {"XAyatanaLabel", "Codex 93% \u00B7 Claude Code 58%"},
          {"XAyatanaLabelGuide", "Codex 100% \u00B7 Claude Code 100%"}}) {
        EXPECT_EQ(propertyValue(name).toString(), value) << name;
    }
    const auto toolTip = qdbus_cast<StatusToolTip>(propertyValue("ToolTip"));
    EXPECT_EQ(QStringList({toolTip.iconName, toolTip.title, toolTip.description}),
              QStringList({"", "Lumora", "Codex 93% \u00B7 Claude Code 58%"}));
    EXPECT_TRUE(toolTip.image.isEmpty());
    // Any other host sees no menu.
    EXPECT_EQ(property("Menu").type(), QDBusMessage::ErrorMessage);

    // The gauge: the lowest share (Claude Code's 58%) at every size, ARGB32 in network order.
    const auto pixmaps = qdbus_cast<IconPixmapList>(propertyValue("IconPixmap"));
    ASSERT_EQ(pixmaps.size(), 5);
    for (int i = 0; i < 5; ++i) {
        const int size = GaugeIcon::sizes[i];
        ASSERT_EQ(QList({pixmaps[i].width, pixmaps[i].height, int(pixmaps[i].bytes.size())}),
                  QList({size, size, size * size * 4}));
        // The pixel at the top of the ring, on the arc.
        const int x = size / 2 + 1;
        const int y = static_cast<int>(std::max(2.0, std::round(size * 0.2)) / 2 + 1);
        const QRgb pixel = GaugeIcon::render(size, 0.58).pixel(x, y);
        EXPECT_GT(qAlpha(pixel), 200);
        // ARGB in network order.
        EXPECT_EQ(pixmaps[i].bytes.mid(4 * (y * size + x), 4).toHex(),
                  QByteArray::number(pixel, 16).rightJustified(8, '0'));
    }

    // A model change: the new label with its guide, a new tool tip and a new icon.
    SignalLog log;
    for (const auto& [name, slot] : {std::pair{"XAyatanaNewLabel", SLOT(onLabel(QString, QString))},
                                     {"NewToolTip", SLOT(onToolTip())},
                                     {"NewIcon", SLOT(onIcon())}}) {
        ASSERT_TRUE(host.connect(sni()->serviceName(), itemPath, itemInterface, name, &log, slot));
    }
    settle(); // the first refresh is over; the next one is not dropped
    ASSERT_FALSE(model->isRefreshing());
    harness.claude->script->setSnapshot(usage("claude-code", Availability::limited, 0.9));
    waitFor(model->refresh(false));
    ASSERT_TRUE(waitUntil([&] { return log.labels.size() == 1 && log.icons == 1; }))
        << log.labels.size() << " " << log.icons;
    EXPECT_EQ(log.labels,
              QStringList{"Codex 93% \u00B7 Claude Code 10% | Codex 100% \u00B7 Claude Code 100%"});
    EXPECT_EQ(log.toolTips, 1);
    EXPECT_EQ(propertyValue("XAyatanaLabel").toString(), model->menuBarDisplayText());
    EXPECT_EQ(controller->toolTip(), "Lumora, Codex 93% \u00B7 Claude Code 10%");
    EXPECT_EQ(qdbus_cast<IconPixmapList>(propertyValue("IconPixmap")), GaugeIcon::pixmaps(0.1));

    // Activate: the break screen.
    settle();
    EXPECT_EQ(callItem(itemInterface, "Activate", {10, 20}).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(waitUntil([&] { return windows->breaks == 1; }));
    // ContextMenu opens the popover and asks Claude Code for live figures.
    const int fetches = claudeFetches();
    callItem(itemInterface, "ContextMenu", {10, 20});
    ASSERT_TRUE(waitUntil([&] { return controller->popover()->isShown(); }));
    ASSERT_TRUE(waitUntil([&] { return claudeFetches() == fetches + 1; }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);
    settle();
    // A second one closes it, with no refresh.
    callItem(itemInterface, "ContextMenu", {10, 20});
    ASSERT_TRUE(waitUntil([&] { return !controller->popover()->isShown(); }));
    settle();
    EXPECT_EQ(claudeFetches(), fetches + 1);
    // Settings chosen in the open popover: the popover closes first, then settings open.
    callItem(itemInterface, "SecondaryActivate", {0, 0});
    ASSERT_TRUE(waitUntil([&] { return controller->popover()->isShown(); }));
    emit controller->popover()->settingsRequested();
    EXPECT_FALSE(controller->popover()->isShown());
    ASSERT_TRUE(waitUntil([&] { return windows->settings == 1; }));

    // The activation token goes to the next window that opens.
    qunsetenv("XDG_ACTIVATION_TOKEN");
    callItem(itemInterface, "ProvideXdgActivationToken", {QStringLiteral("token-1")});
    EXPECT_TRUE(qEnvironmentVariableIsEmpty("XDG_ACTIVATION_TOKEN"));
    callItem(itemInterface, "Activate", {0, 0});
    EXPECT_EQ(qgetenv("XDG_ACTIVATION_TOKEN"), "token-1");
    qunsetenv("XDG_ACTIVATION_TOKEN");

    // Calls of the wrong shape get an error and change nothing.
    const int breaks = windows->breaks;
    for (const auto& [interface, method, arguments] :
         {std::tuple<QString, QString, QVariantList>{itemInterface, "Activate", {"x", "y"}},
          {itemInterface, "ContextMenu", {1}},
          {itemInterface, "Scroll", {1, 2}},
          {itemInterface, "NoSuchMethod", {}},
          {itemInterface, "ProvideXdgActivationToken", {42}},
          {properties, "Set", {itemInterface, "Title", QVariant::fromValue(QDBusVariant("x"))}},
          {properties, "Get", {1, 2}}}) {
        EXPECT_EQ(callItem(interface, method, arguments).type(), QDBusMessage::ErrorMessage)
            << method.toStdString();
    }
    const QDBusMessage introspection =
        callItem("org.freedesktop.DBus.Introspectable", "Introspect", {});
    EXPECT_TRUE(introspection.arguments().value(0).toString().contains(
        "<property name=\"IconPixmap\" type=\"a(iiay)\" access=\"read\"/>"));
    settle();
    EXPECT_EQ(windows->breaks, breaks);
    EXPECT_EQ(propertyValue("Title").toString(), "Lumora");
}

TEST_F(StatusItemTest, FollowsTheWatcherThroughRestartsLateStartsAndGnomeShell) {
    // No panel at first: after the wait, the popover once and one notification about the tray.
    startTray(app, std::chrono::milliseconds(500));
    ASSERT_TRUE(waitUntil([&] { return item->mode() == StatusItem::Mode::noTray; }));
    EXPECT_TRUE(controller->popover()->isShown());
    ASSERT_TRUE(waitUntil([&] { return harness.notifier->sent.size() == 1; }));
    EXPECT_EQ(harness.notifier->sent.first(),
              StatusItem::noTrayTitle + " | " + StatusItem::noTrayBody);
    controller->popover()->close();

    // A watcher three seconds after the start: the item registers with it.
    runEventsFor(std::chrono::milliseconds(2500));
    EXPECT_FALSE(registered());
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(registeredWithWatcher());
    EXPECT_EQ(item->mode(), StatusItem::Mode::statusNotifierItem);

    // The panel dies and comes back: registered again within a second.
    watcher.kill();
    ASSERT_TRUE(waitUntil([&] { return !registered(); }));
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(waitUntil([&] { return registered(); }, std::chrono::seconds(1)));
    ASSERT_TRUE(registeredWithWatcher());
    EXPECT_FALSE(sni()->exportsMenu());

    // GNOME Shell's watcher: a menu with five entries, each doing its action.
    watcher.kill();
    ASSERT_TRUE(watcher.start("normal", "gnome-shell"));
    ASSERT_TRUE(waitUntil([&] { return registered(); }));
    ASSERT_TRUE(sni()->exportsMenu());
    EXPECT_EQ(propertyValue("Menu").value<QDBusObjectPath>().path(), "/MenuBar");
    EXPECT_EQ(signatureOf(propertyValue("Menu")), "o");
    const QString menu = "com.canonical.dbusmenu";
    const QDBusMessage layoutReply =
        callItem(menu, "GetLayout", {0, -1, QStringList()}, "/MenuBar");
    ASSERT_EQ(layoutReply.type(), QDBusMessage::ReplyMessage)
        << layoutReply.errorMessage().toStdString();
    EXPECT_EQ(layoutReply.signature(), "u(ia{sv}av)");
    const auto layout = qdbus_cast<DBusMenuLayoutItem>(layoutReply.arguments().value(1));
    QStringList labels;
    for (const DBusMenuLayoutItem& entry : layout.children) {
        labels.append(entry.properties.value("label").toString());
    }
    EXPECT_EQ(labels, (QStringList{"Show Usage", "Take a Break", "Refresh", "Settings\u2026",
                                   "Quit Lumora"}));
    const auto event = [&](int entry, const QString& kind = "clicked") {
        const QDBusMessage reply = callItem(
            menu, "Event",
            {layout.children.value(entry).id, kind, QVariant::fromValue(QDBusVariant(0)), 0u},
            "/MenuBar");
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    };
    settle();
    const int fetches = claudeFetches(), breaks = windows->breaks, settings = windows->settings;
    event(0);
    ASSERT_TRUE(waitUntil([&] { return controller->popover()->isShown(); }));
    controller->popover()->close();
    settle();
    event(1);
    ASSERT_TRUE(waitUntil([&] { return windows->breaks == breaks + 1; }));
    event(2);
    ASSERT_TRUE(waitUntil([&] { return claudeFetches() >= fetches + 2; }));
    event(3);
    ASSERT_TRUE(waitUntil([&] { return windows->settings == settings + 1; }));
    event(4);
    ASSERT_TRUE(waitUntil([&] { return quitRequests == 1; }));
    // Hover and unknown entries do nothing.
    event(1, "hovered");
    EXPECT_EQ(callItem(menu, "GetLayout", {99, -1, QStringList()}, "/MenuBar").type(),
              QDBusMessage::ErrorMessage);
    settle();
    EXPECT_EQ(windows->breaks, breaks + 1);

    // Back to another panel: the menu is gone.
    watcher.kill();
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(waitUntil([&] { return registered(); }));
    EXPECT_FALSE(sni()->exportsMenu());
    EXPECT_EQ(property("Menu").type(), QDBusMessage::ErrorMessage);
}

TEST_F(StatusItemTest, BrokenWatchersAndAMissingBusNeverBringItDown) {
    // A watcher that refuses the item, then one that never answers and dies in mid-call.
    ASSERT_TRUE(watcher.start("error"));
    startTray(app);
    ASSERT_TRUE(waitUntil([&] { return watcher.registrations().size() == 1; }));
    settle();
    EXPECT_FALSE(registered());
    watcher.kill();
    ASSERT_TRUE(watcher.start("hang"));
    ASSERT_TRUE(waitUntil([&] { return watcher.registrations().size() == 1; }));
    watcher.kill();
    settle();
    EXPECT_FALSE(registered());
    // A well-behaved one afterwards is served as usual.
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(waitUntil([&] { return registered(); }));
    EXPECT_EQ(propertyValue("Id").toString(), "lumora");

    // No bus at all: no item, no instance service, no resume watching; the no-tray fallback.
    item.reset();
    controller.reset();
    model.reset();
    harness.notifier->sent.clear();
    const QDBusConnection nowhere =
        QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"), "nowhere");
    ASSERT_FALSE(nowhere.isConnected());
    startTray(nowhere, std::chrono::milliseconds(100));
    EXPECT_EQ(sni(), nullptr);
    ASSERT_TRUE(waitUntil([&] { return item->mode() == StatusItem::Mode::noTray; }));
    EXPECT_TRUE(controller->popover()->isShown());
    EXPECT_FALSE(ResumeWatcher(nowhere).isWatching());
    QDBusConnection::disconnectFromBus("nowhere");
}

TEST_F(StatusItemTest, ResumeFromSuspendIsAnnouncedOnce) {
    QDBusConnection system = bus.connect("system");
    QDBusConnection logind = bus.connect("logind");
    ASSERT_TRUE(logind.registerService("org.freedesktop.login1"));
    ResumeWatcher resume(system);
    ASSERT_TRUE(resume.isWatching());
    int resumes = 0;
    QObject::connect(&resume, &ResumeWatcher::resumed, [&] { ++resumes; });
    for (const bool sleeping : {true, false}) {
        QDBusMessage signal = QDBusMessage::createSignal(
            "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
        signal << sleeping;
        logind.send(signal);
    }
    ASSERT_TRUE(waitUntil([&] { return resumes == 1; }));
    settle();
    EXPECT_EQ(resumes, 1);
}

#include "StatusItemTests.moc"
