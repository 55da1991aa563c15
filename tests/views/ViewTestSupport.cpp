#include "ViewTestSupport.h"

#include <QDir>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LumoraPlugin)

namespace lumora::test {
namespace {

QQuickItem* findItem(QQuickItem* root, const QString& name) {
    QQuickItem* found = root->objectName() == name ? root : nullptr;
    for (int i = 0; !found && i < root->childItems().size(); ++i) {
        found = findItem(root->childItems()[i], name);
    }
    return found;
}

} // namespace

QStringList significantWarnings(const WarningLog& log) {
    QStringList messages = log.messages();
    messages.removeIf([](const QString& message) {
        return message.startsWith(QStringLiteral("This plugin does not support "));
    });
    return messages;
}

QPoint centre(const QQuickItem* item) {
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

void writePhoto(const QString& path, QSize size) {
    QImage photo(size, QImage::Format_RGB32);
    QPainter painter(&photo);
    painter.scale(size.width() / 3000.0, size.height() / 1500.0);
    QLinearGradient sky(0, 0, 0, 1500);
    sky.setColorAt(0, QColor(40, 90, 160));
    sky.setColorAt(0.6, QColor(240, 180, 120));
    sky.setColorAt(1, QColor(30, 60, 40));
    painter.fillRect(QRect(0, 0, 3000, 1500), sky);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(250, 230, 170));
    painter.drawEllipse(QPointF(1500, 800), 160, 160);
    painter.setBrush(QColor(20, 40, 30));
    painter.drawRect(0, 1000, 3000, 500);
    painter.end();
    QDir().mkpath(QFileInfo(path).path());
    EXPECT_TRUE(photo.save(path, "PNG")) << path.toStdString();
}

void screenshot(QQuickWindow& window, const QString& folder, const QString& name, bool settled) {
    if (settled) {
        settle();
    }
    runEventsFor(std::chrono::milliseconds(400)); // bars, fades and switches come to rest
    QString path = qEnvironmentVariable("LUMORA_SCREENSHOT_DIR");
    path = path.isEmpty() ? QStringLiteral(LUMORA_TEST_BIN_DIR "/../screenshots/") + folder : path;
    QDir().mkpath(path);
    const QImage image = window.grabWindow();
    EXPECT_TRUE(!image.isNull() && image.save(path + "/" + name + ".png", "PNG"))
        << name.toStdString();
}

Language::Language(const char* locale) : translator(translatorFor(QLocale(locale))) {
    if (translator) {
        QCoreApplication::installTranslator(translator.get());
    }
    QLocale::setDefault(QLocale(locale));
}

void ViewTest::TearDown() {
    if (afterwards) {
        afterwards();
    }
    if (view) {
        view->hide();
    }
    settle();
    popover.reset();
    settings.reset();
    model.reset();
    const QStringList messages = significantWarnings(warnings);
    EXPECT_TRUE(messages.isEmpty()) << messages.join('\n').toStdString();
}

void ViewTest::openPopover() {
    if (!model) {
        model = harness.makeModel();
    }
    popover = std::make_unique<PopoverWindow>(model.get());
    popover->show(QPoint(0, 0));
    view = popover->window();
    ASSERT_TRUE(waitUntil([&] { return view->isExposed() && !model->isRefreshing(); }));
}

void ViewTest::openSettings() {
    if (!model) {
        model = harness.makeModel();
    }
    settings = std::make_unique<SettingsWindow>(
        model.get(), std::make_shared<AutostartEntry>(entryPath(), "/usr/bin/lumora"));
    settings->show();
    ASSERT_TRUE(waitUntil([&] { return settings->window() && settings->window()->isExposed(); }));
    view = settings->window();
}

QQuickItem* ViewTest::item(const QString& name, QQuickItem* within) const {
    QQuickItem* found = findItem(within ? within : view->contentItem(), name);
    EXPECT_NE(found, nullptr) << "no " << name.toStdString();
    return found ? found : view->contentItem();
}

bool ViewTest::shown(const QString& name) const {
    const QQuickItem* found = findItem(view->contentItem(), name);
    return found != nullptr && found->isVisible();
}

void ViewTest::scrollTo(const QString& name) const {
    const QQuickItem* target = item(name);
    auto* flickable = item("scroller")->property("contentItem").value<QQuickItem*>();
    ASSERT_NE(flickable, nullptr);
    auto* content = flickable->property("contentItem").value<QQuickItem*>();
    const qreal top = target->mapToItem(content, QPointF(0, 0)).y();
    const qreal bottom =
        std::max(0.0, flickable->property("contentHeight").toReal() - flickable->height());
    flickable->setProperty("contentY", std::clamp(top - 40.0, 0.0, bottom));
}

void ViewTest::click(const QString& name, QQuickItem* within) const {
    const QQuickItem* target = item(name, within);
    if (!target->isVisible() || !target->isEnabled()) {
        ADD_FAILURE() << name.toStdString() << " cannot be clicked";
        return;
    }
    if (settings && view == settings->window()) {
        scrollTo(name);
    }
    QTest::mouseClick(view, Qt::LeftButton, {}, centre(target));
    QCoreApplication::processEvents();
}

void ViewTest::drag(QQuickItem* from, QPoint to, bool release) const {
    const QPoint start = centre(from);
    QTest::mousePress(view, Qt::LeftButton, {}, start);
    for (int step = 1; step <= 10; ++step) {
        QTest::mouseMove(view, start + (to - start) * step / 10);
    }
    if (release) {
        QTest::mouseRelease(view, Qt::LeftButton, {}, to);
    }
}

void ViewTest::screenshot(const QString& name, const QString& scrolledTo) const {
    if (!scrolledTo.isEmpty()) {
        scrollTo(scrolledTo);
    }
    test::screenshot(*view, "settings", name, false);
}

} // namespace lumora::test
