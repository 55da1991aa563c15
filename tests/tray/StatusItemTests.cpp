// The status item as a panel sees it: a watcher and a host of the test's own on a private bus,
// the item and its controller on a model with fake providers; its gauge icon.
#include "TraySupport.h"

#include "tray/GaugeIcon.h"
#include "tray/ResumeWatcher.h"
#include "tray/StatusBarController.h"
#include "tray/StatusItem.h"
#include "tray/StatusNotifierItem.h"
#include "views/PopoverWindow.h"

#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QPainter>
#include <QtQml/qqmlextensionplugin.h>

#include <cmath>

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

// The colour family of the icon drawn over `panel`, on the ring at degrees clockwise from the top.
Tint tintAt(const QImage& icon, double degrees, QColor panel) {
    const int n = icon.width();
    const double r = n / 2.0 - std::max(1.0, std::round(n * 0.2) / 2) - std::max(0.5, n / 32.0),
                 a = (degrees - 90.0) * M_PI / 180.0;
    QImage canvas(n, n, QImage::Format_ARGB32);
    canvas.fill(panel);
    QPainter(&canvas).drawImage(0, 0, icon);
    const QColor c = canvas.pixelColor(int(std::floor(n / 2.0 + r * std::cos(a))),
                                       int(std::floor(n / 2.0 + r * std::sin(a))));
    const bool grey = std::abs(c.red() - c.green()) < 24 && std::abs(c.green() - c.blue()) < 24;
    return c == panel           ? Tint::none
           : grey               ? Tint::grey
           : c.blue() > c.red() ? Tint::blue
                                : (c.green() > 60 ? Tint::orange : Tint::red);
}

class SignalLog : public QObject { // each signal the host heard: its name and arguments
    Q_OBJECT
public slots:
    void on(const QDBusMessage& m) {
        heard << (QStringList{m.member()} + QVariant(m.arguments()).toStringList()).join(" | ");
    }

public:
    QStringList heard;
};

class StatusItemTest : public TrayTest {
protected:
    void SetUp() override {
        TrayTest::SetUp();
        harness.enableBoth(usage("claude-code", Availability::ready, 0.42),
                           usage("codex", Availability::ready, 0.07));
        harness.storePreference("showClaudeInMenuBar", true);
    }
    void startTray(QDBusConnection connection, std::chrono::milliseconds fallback) {
        AppModel::Services services = harness.services();
        services.windows = windows;
        model = std::make_unique<AppModel>(std::move(services));
        controller = std::make_unique<StatusBarController>(model.get());
        QObject::connect(controller.get(), &StatusBarController::quitRequested, [&] { ++quits; });
        item = std::make_unique<StatusItem>(controller.get(), connection, harness.notifier);
        item->setFallbackDelay(fallback);
        item->start();
        controller->start();
    }
    StatusNotifierItem* sni() const { return item->notifierItem(); }
    bool registered() const { return sni() && sni()->isRegistered(); }
    bool registeredWithWatcher() {
        return waitUntil([&] {
            return registered() && watcher.registrations() == QStringList{sni()->serviceName()};
        });
    }
    QDBusMessage call(const QString& method, const QVariantList& arguments,
                      const QString& interface = itemInterface, const QString& path = "/MenuBar") {
        QDBusMessage m = QDBusMessage::createMethodCall(
            sni()->serviceName(), interface == menu ? path : "/StatusNotifierItem", interface,
            method);
        m.setArguments(arguments);
        return PrivateBus::call(host, m);
    }
    QDBusMessage get(const QString& name) { return call("Get", {itemInterface, name}, properties); }
    QVariant propertyValue(const QString& name) {
        return get(name).arguments().value(0).value<QDBusVariant>().variant();
    }
    bool popoverShown() const { return controller->popover()->isShown(); }
    int claudeFetches() const { return harness.claude->script->fetches(); }

    ModelHarness harness;
    QDBusConnection app = bus.connect("app"), host = bus.connect("host");
    std::shared_ptr<RecordingWindows> windows = std::make_shared<RecordingWindows>();
    std::unique_ptr<AppModel> model;
    std::unique_ptr<StatusBarController> controller;
    std::unique_ptr<StatusItem> item;
    int quits = 0;
};

} // namespace

// The gauge icon at every size, on a light and on a dark panel: the arc's extent and colour.
TEST(GaugeIconTest, TheArcShowsTheShareInItsColourOnLightAndDarkPanels) {
    // The share left; two points on the ring (degrees clockwise from the top) and their tints.
    const std::tuple<std::optional<double>, double, Tint, double, Tint> states[] = {
        {std::nullopt, 45, Tint::grey, 225, Tint::grey}, // nothing known: the grey ring only
        {1.0, 45, Tint::blue, 315, Tint::blue},          // all left: a full blue ring
        {0.5, 90, Tint::blue, 270, Tint::grey},          // half: blue on the right, grey left
        {0.15, 25, Tint::orange, 180, Tint::grey},       // 15% left: a short orange arc
        {0.0, 90, Tint::red, 270, Tint::red},            // at the limit: all red
    };
    for (const QColor panel : {QColor("#f6f5f4"), QColor("#241f31")}) {
        for (const auto& [left, at1, tint1, at2, tint2] : states) {
            for (const int size : GaugeIcon::sizes) {
                SCOPED_TRACE(testing::Message() << size << " px on " << panel.name().toStdString()
                                                << ", left " << left.value_or(-1));
                const QImage icon = GaugeIcon::render(size, left); // and nothing outside the ring:
                EXPECT_EQ(std::tuple(icon.size(), tintAt(icon, at1, panel),
                                     tintAt(icon, at2, panel), qAlpha(icon.pixel(0, 0))),
                          std::tuple(QSize(size, size), tint1, tint2, 0));
            }
        }
    }
    EXPECT_EQ(GaugeIcon::arcColor(0.005), GaugeIcon::arcColor(0.0));
    EXPECT_NE(GaugeIcon::arcColor(0.2), GaugeIcon::arcColor(0.21));
}

TEST_F(StatusItemTest, RegistersShowsTheModelAndAnswersClicks) {
    ASSERT_TRUE(watcher.start());
    startTray(app, std::chrono::seconds(30));
    // By its service name, which this connection owns.
    ASSERT_TRUE(registeredWithWatcher());
    EXPECT_EQ(sni()->serviceName(), QString("org.kde.StatusNotifierItem-%1-1").arg(getpid()));
    EXPECT_EQ(PrivateBus::ownerOf(host, sni()->serviceName()), app.baseService());
    EXPECT_EQ(item->mode(), StatusItem::Mode::statusNotifierItem);
    ASSERT_TRUE(waitUntil([&] { return controller->title() == "Codex 93% · Claude Code 58%"; }));

    // Every property with its D-Bus type and what a panel shows of it, and the tool tip's parts.
    const QString expected =
        "Category:s=ApplicationStatus, Id:s=lumora, Title:s=Lumora, Status:s=Active, WindowId:i=0, "
        "IconThemePath:s, IconName:s, IconPixmap:a(iiay), OverlayIconName:s, "
        "OverlayIconPixmap:a(iiay), AttentionIconName:s, AttentionIconPixmap:a(iiay), "
        "AttentionMovieName:s, ToolTip:(sa(iiay)ss), ItemIsMenu:b=false, XAyatanaLabel:s=Codex 93% "
        "· Claude Code 58%, XAyatanaLabelGuide:s=Codex 100% · Claude Code 100%";
    QStringList names, got;
    for (const QString& entry : expected.split(", ")) {
        const QVariant v = propertyValue((names << entry.section(':', 0, 0)).last());
        got << names.last() + ':' + signatureOf(v) +
                   (v.toString().isEmpty() ? "" : "=" + v.toString());
    }
    const auto tip = qdbus_cast<StatusToolTip>(propertyValue("ToolTip"));
    got << QStringList{tip.iconName, tip.title, tip.description, QString::number(tip.image.size())}
               .join('/');
    EXPECT_EQ(got.join(", "), expected + ", /Lumora/Codex 93% · Claude Code 58%/0");
    names.sort();
    const QDBusMessage all = call("GetAll", {itemInterface}, properties);
    EXPECT_EQ(qdbus_cast<QVariantMap>(all.arguments().value(0)).keys(), names);
    EXPECT_EQ(get("Menu").type(), QDBusMessage::ErrorMessage); // a menu for GNOME Shell only
    // The gauge: the lowest share (Claude Code's 58%) at every size, ARGB32 in network order.
    const auto pixmaps = qdbus_cast<IconPixmapList>(propertyValue("IconPixmap"));
    ASSERT_EQ(pixmaps, GaugeIcon::pixmaps(0.58));
    for (const IconPixmap& p : pixmaps) {
        const int x = p.width / 2 + 1, y = p.width / 10 + 1; // on the arc's top
        ASSERT_EQ(QList({p.height, int(p.bytes.size())}), QList({p.width, p.width * p.width * 4}));
        EXPECT_EQ(p.bytes.mid(4 * (y * p.width + x), 4).toHex(),
                  QByteArray::number(GaugeIcon::render(p.width, 0.58).pixel(x, y), 16))
            << p.width;
    }

    // A model change: the new label with its guide, a new tool tip and a new icon.
    SignalLog log;
    ASSERT_TRUE(host.connect(sni()->serviceName(), "/StatusNotifierItem", itemInterface, "", &log,
                             SLOT(on(QDBusMessage))));
    settle(); // the first refresh is over; the next one is not dropped
    ASSERT_FALSE(model->isRefreshing());
    harness.claude->script->setSnapshot(usage("claude-code", Availability::limited, 0.9));
    waitFor(model->refresh(false));
    ASSERT_TRUE(waitUntil([&] { return log.heard.size() >= 3; }));
    settle();
    log.heard.sort();
    EXPECT_EQ(log.heard.join("; "), "NewIcon; NewToolTip; XAyatanaNewLabel | Codex 93% · Claude "
                                    "Code 10% | Codex 100% · Claude Code 100%");
    EXPECT_EQ(propertyValue("XAyatanaLabel").toString(), "Codex 93% · Claude Code 10%");
    EXPECT_EQ(controller->toolTip(), "Lumora, Codex 93% · Claude Code 10%");
    EXPECT_EQ(qdbus_cast<IconPixmapList>(propertyValue("IconPixmap")), GaugeIcon::pixmaps(0.1));

    // Activate: the break screen. ContextMenu opens the popover, asking Claude Code for live
    // figures; a second one closes it with no refresh.
    settle();
    EXPECT_EQ(call("Activate", {10, 20}).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(waitUntil([&] { return windows->breaks == 1; }));
    const int fetches = claudeFetches();
    call("ContextMenu", {10, 20});
    ASSERT_TRUE(waitUntil([&] { return popoverShown() && claudeFetches() == fetches + 1; }));
    EXPECT_EQ(harness.claude->script->lastForceLive(), true);
    settle();
    call("ContextMenu", {10, 20});
    ASSERT_TRUE(waitUntil([&] { return !popoverShown(); }));
    settle();
    EXPECT_EQ(claudeFetches(), fetches + 1);
    // Settings chosen in the open popover: the popover closes first, then settings open.
    call("SecondaryActivate", {0, 0});
    ASSERT_TRUE(waitUntil([&] { return popoverShown(); }));
    emit controller->popover()->settingsRequested();
    EXPECT_FALSE(popoverShown());
    ASSERT_TRUE(waitUntil([&] { return windows->settings == 1; }));
    // The activation token goes to the next window that opens.
    qunsetenv("XDG_ACTIVATION_TOKEN");
    call("ProvideXdgActivationToken", {QStringLiteral("token-1")});
    EXPECT_TRUE(qEnvironmentVariableIsEmpty("XDG_ACTIVATION_TOKEN"));
    call("Activate", {0, 0});
    EXPECT_EQ(qgetenv("XDG_ACTIVATION_TOKEN"), "token-1");
    qunsetenv("XDG_ACTIVATION_TOKEN");

    // Calls of the wrong shape get an error and change nothing.
    for (const auto& [interface, method, arguments] :
         {std::tuple<QString, QString, QVariantList>{itemInterface, "Activate", {"x", "y"}},
          {itemInterface, "ContextMenu", {1}},
          {itemInterface, "Scroll", {1, 2}},
          {itemInterface, "NoSuchMethod", {}},
          {itemInterface, "ProvideXdgActivationToken", {42}},
          {properties, "Set", {itemInterface, "Title", QVariant::fromValue(QDBusVariant("x"))}},
          {properties, "Get", {1, 2}}}) {
        EXPECT_EQ(call(method, arguments, interface).type(), QDBusMessage::ErrorMessage)
            << method.toStdString();
    }
    EXPECT_TRUE(call("Introspect", {}, "org.freedesktop.DBus.Introspectable")
                    .arguments()[0]
                    .toString()
                    .contains("<property name=\"IconPixmap\" "
                              "type=\"a(iiay)\" access=\"read\"/>"));
    settle();
    EXPECT_EQ(std::tuple(windows->breaks, propertyValue("Title").toString()),
              std::tuple(2, QString("Lumora")));
}

TEST_F(StatusItemTest, FollowsWatchersThatComeLateRefuseHangDieOrAreGnomeShellAndAMissingBus) {
    // No panel at first: after the wait, the popover once and one notification about the tray.
    startTray(app, std::chrono::milliseconds(500));
    ASSERT_TRUE(waitUntil([&] { return item->mode() == StatusItem::Mode::noTray; }));
    EXPECT_TRUE(popoverShown());
    ASSERT_TRUE(waitUntil([&] { return harness.notifier->sent.size() == 1; }));
    EXPECT_EQ(harness.notifier->sent.first(),
              StatusItem::noTrayTitle + " | " + StatusItem::noTrayBody);
    controller->popover()->close();
    runEventsFor(std::chrono::milliseconds(2500));
    // A watcher that refuses the item, then one that never answers and dies in mid-call.
    for (const char* mode : {"error", "hang"}) {
        ASSERT_TRUE(watcher.start(mode));
        ASSERT_TRUE(waitUntil([&] { return watcher.registrations().size() == 1; })) << mode;
        watcher.stop();
        settle();
        EXPECT_FALSE(registered()) << mode;
    }
    // GNOME Shell's three seconds after the start: the item registers with it, with a menu of five
    // entries, each doing its action; hovering and unknown entries do nothing.
    ASSERT_TRUE(watcher.start("normal", "gnome-shell"));
    ASSERT_TRUE(registeredWithWatcher());
    EXPECT_EQ(item->mode(), StatusItem::Mode::statusNotifierItem);
    ASSERT_TRUE(sni()->exportsMenu());
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
    const int fetches = claudeFetches();
    // After each entry: the popover shown, breaks, refreshed, settings shown, quits.
    const auto state = [&] {
        return QList<int>{popoverShown(), windows->breaks, claudeFetches() >= fetches + 2,
                          windows->settings, quits};
    };
    const std::pair<QString, QList<int>> entries[] = {{"Show Usage", {1, 0, 0, 0, 0}},
                                                      {"Take a Break", {0, 1, 0, 0, 0}},
                                                      {"Refresh", {0, 1, 1, 0, 0}},
                                                      {"Settings…", {0, 1, 1, 1, 0}},
                                                      {"Quit Lumora", {0, 1, 1, 1, 1}}};
    ASSERT_EQ(layout.children.size(), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(layout.children[i].properties.value("label").toString(), entries[i].first);
        EXPECT_EQ(event(i, "clicked"), QDBusMessage::ReplyMessage)
            << entries[i].first.toStdString();
        EXPECT_TRUE(waitUntil([&] { return state() == entries[i].second; }))
            << entries[i].first.toStdString();
        controller->popover()->close();
        settle();
    }
    event(1, "hovered");
    EXPECT_EQ(call("GetLayout", {99, -1, QStringList()}, menu).type(), QDBusMessage::ErrorMessage);
    settle();
    EXPECT_EQ(windows->breaks, 1);
    // The panel dies and another comes: registered again within a second, with no menu.
    watcher.stop();
    ASSERT_TRUE(waitUntil([&] { return !registered(); }));
    ASSERT_TRUE(watcher.start());
    ASSERT_TRUE(waitUntil([&] { return registered(); }, std::chrono::seconds(1)));
    ASSERT_TRUE(registeredWithWatcher());
    EXPECT_FALSE(sni()->exportsMenu());
    EXPECT_EQ(get("Menu").type(), QDBusMessage::ErrorMessage);

    // Resume from suspend, announced once; none without a bus, where neither is there an item
    // but the no-tray fallback.
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
    item.reset(), controller.reset(), model.reset();
    const QDBusConnection nowhere =
        QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent/bus"), "nowhere");
    startTray(nowhere, std::chrono::milliseconds(100));
    EXPECT_EQ(sni(), nullptr);
    ASSERT_TRUE(waitUntil([&] { return item->mode() == StatusItem::Mode::noTray; }));
    EXPECT_TRUE(popoverShown());
    EXPECT_FALSE(ResumeWatcher(nowhere).isWatching());
    EXPECT_EQ(resumes, 1);
    QDBusConnection::disconnectFromBus("nowhere");
}

#include "StatusItemTests.moc"
