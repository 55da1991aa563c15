#include "SettingsTestSupport.h"

#include <QCoreApplication>
#include <QImage>
#include <QPainter>
#include <QTest>

#include <algorithm>

namespace lumora::test {

QStringList significantWarnings(const WarningLog& log) {
    QStringList messages = log.messages();
    // Qt's offscreen platform has no stacking order nor size hints, and says so whenever a window
    // is raised or a widget's size hints change.
    messages.removeIf([](const QString& message) {
        return message.startsWith(QStringLiteral("This plugin does not support "));
    });
    return messages;
}

void SettingsWindowTest::TearDown() {
    if (window) {
        window->hide();
    }
    settle();
    window.reset();
    model.reset();
    const QStringList messages = significantWarnings(warnings);
    EXPECT_TRUE(messages.isEmpty()) << messages.join('\n').toStdString();
}

void SettingsWindowTest::open() {
    model = harness.makeModel();
    autostart = std::make_shared<AutostartEntry>(entryPath(), QStringLiteral("/usr/bin/lumora"));
    window = std::make_unique<SettingsWindow>(model.get(), autostart);
    window->show();
    ASSERT_TRUE(waitUntil([&] { return window->window() && window->window()->isExposed(); }));
}

QQuickItem* SettingsWindowTest::item(const QString& name) const {
    return findItem(window->window()->contentItem(), name);
}

bool SettingsWindowTest::shown(const QString& name) const {
    const QQuickItem* found = item(name);
    return found != nullptr && found->isVisible();
}

QString SettingsWindowTest::text(const QString& name) const {
    const QQuickItem* found = item(name);
    return found ? found->property("text").toString() : QStringLiteral("(no %1)").arg(name);
}

void SettingsWindowTest::scrollTo(const QString& name) const {
    QQuickItem* target = item(name);
    auto* flickable =
        item(QStringLiteral("scroller"))->property("contentItem").value<QQuickItem*>();
    if (target == nullptr || flickable == nullptr) {
        ADD_FAILURE() << "cannot scroll to " << name.toStdString();
        return;
    }
    auto* content = flickable->property("contentItem").value<QQuickItem*>();
    const qreal top = target->mapToItem(content, QPointF(0, 0)).y();
    const qreal bottom =
        std::max(0.0, flickable->property("contentHeight").toReal() - flickable->height());
    flickable->setProperty("contentY", std::clamp(top - 40.0, 0.0, bottom));
}

void SettingsWindowTest::click(const QString& name) const {
    QQuickItem* target = item(name);
    if (target == nullptr || !target->isVisible() || !target->isEnabled()) {
        ADD_FAILURE() << name.toStdString() << " cannot be clicked";
        return;
    }
    scrollTo(name);
    const QPointF at = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
    QTest::mouseClick(window->window(), Qt::LeftButton, {}, at.toPoint());
    QCoreApplication::processEvents();
}

void SettingsWindowTest::screenshot(const QString& name, const QString& scrolledTo) const {
    if (!scrolledTo.isEmpty()) {
        scrollTo(scrolledTo);
    }
    runEventsFor(std::chrono::milliseconds(300)); // switches slide to their new place
    EXPECT_TRUE(saveScreenshot(*window->window(),
                               screenshotFolder("settings") + QStringLiteral("/%1.png").arg(name)));
}

QString SettingsWindowTest::writeImage(const QString& name, QColor color) const {
    // A little landscape: sky, sun and a hill, so that a preview shows which part is kept.
    QImage image(640, 400, QImage::Format_RGB32);
    image.fill(color);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(QColor(250, 210, 90));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPointF(470, 120), 50, 50);
    painter.setBrush(QColor(40, 90, 50));
    painter.drawEllipse(QPointF(250, 520), 420, 240);
    painter.end();
    const QString path = harness.home.filePath(name);
    EXPECT_TRUE(image.save(path, "PNG"));
    return path;
}

} // namespace lumora::test
