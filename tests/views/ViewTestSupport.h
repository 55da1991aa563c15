#pragma once
// The views' tests: a model on fake services in a temporary home with the popover or the settings
// window on it, controls found by objectName and clicked with real mouse events.
#include "AppTestSupport.h"
#include "platform/Autostart.h"
#include "translations/Translations.h"
#include "views/PopoverWindow.h"
#include "views/SettingsWindow.h"
#include <QDir>
#include <QPainter>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

namespace lumora::test {

inline QPoint centre(const QQuickItem* item) {
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

// A photo-like gradient (sky, sunset, ground) saved as PNG at `path`.
inline void writePhoto(const QString& path, QSize size = QSize(3000, 1500)) {
    QImage photo(size, QImage::Format_RGB32);
    QLinearGradient sky(0, 0, 0, size.height());
    sky.setStops({{0, QColor(40, 90, 160)}, {0.6, QColor(240, 180, 120)}, {1, QColor(30, 60, 40)}});
    QPainter(&photo).fillRect(photo.rect(), sky);
    QDir().mkpath(QFileInfo(path).path());
    EXPECT_TRUE(photo.save(path, "PNG")) << path.toStdString();
}

// Saves the window's frame, once animations rest (and background work is done when `settled`), as
// <folder>/<name>.png under $LUMORA_SCREENSHOT_DIR or else build/screenshots, to be looked at.
inline void screenshot(QQuickWindow& window, const QString& folder, const QString& name,
                       bool settled = true) {
    settled ? settle() : void();
    runEventsFor(std::chrono::milliseconds(400)); // bars, fades and switches come to rest
    QString path = qEnvironmentVariable("LUMORA_SCREENSHOT_DIR");
    path = path.isEmpty() ? QStringLiteral(LUMORA_TEST_BIN_DIR "/../screenshots/") + folder : path;
    QDir().mkpath(path);
    const QImage image = window.grabWindow();
    EXPECT_TRUE(!image.isNull() && image.save(path + "/" + name + ".png", "PNG"))
        << name.toStdString();
}

// Lumora in the language of `locale` while this exists, as the application sets it up.
struct Language {
    explicit Language(const char* locale) : translator(translatorFor(QLocale(locale))) {
        QCoreApplication::installTranslator(translator.get()); // none for English
        QLocale::setDefault(QLocale(locale));
    }
    ~Language() { QLocale::setDefault(QLocale::system()); }
    std::unique_ptr<QTranslator> translator;
};

// Any Qt or QML warning fails the test (the offscreen platform's notes aside).
class ViewTest : public ::testing::Test {
public:
    void TearDown() override {
        view ? view->hide() : void();
        settle();
        popover.reset();
        settings.reset();
        model.reset();
        QStringList messages = warnings.messages(); // less the notes that it cannot raise windows
        messages.removeIf(
            [](const QString& m) { return m.startsWith("This plugin does not support"); });
        EXPECT_TRUE(messages.isEmpty()) << messages.join('\n').toStdString();
    }
    void openPopover() {
        model = model ? std::move(model) : harness.makeModel();
        popover = popover ? std::move(popover) : std::make_unique<PopoverWindow>(model.get());
        popover->show(QPoint(0, 0));
        view = popover->window();
        ASSERT_TRUE(waitUntil([&] { return view->isExposed() && !model->isRefreshing(); }));
    }
    void openSettings() {
        model = model ? std::move(model) : harness.makeModel();
        settings = std::make_unique<SettingsWindow>(
            model.get(), std::make_shared<AutostartEntry>(entryPath(), "/usr/bin/lumora"));
        settings->show();
        view = settings->window();
        ASSERT_TRUE(waitUntil([&] { return view->isExposed(); }));
    }
    // The item in the visual tree, a Repeater's items too.
    static QQuickItem* find(QQuickItem* root, const QString& name) {
        QQuickItem* found = root->objectName() == name ? root : nullptr;
        for (int i = 0; !found && i < root->childItems().size(); ++i) {
            found = find(root->childItems()[i], name);
        }
        return found;
    }
    QQuickItem* item(const QString& name, QQuickItem* within = nullptr) const {
        QQuickItem* found = find(within ? within : view->contentItem(), name);
        EXPECT_NE(found, nullptr) << "no " << name.toStdString();
        return found ? found : view->contentItem();
    }
    bool shown(const QString& name) const {
        return find(view->contentItem(), name) && item(name)->isVisible();
    }
    QString text(const QString& name) const { return item(name)->property("text").toString(); }
    QString value(const QString& name) const { return item(name)->property("value").toString(); }
    void scrollTo(const QString& name) const {
        auto* flickable = item("scroller")->property("contentItem").value<QQuickItem*>();
        auto* content = flickable->property("contentItem").value<QQuickItem*>();
        const qreal top = item(name)->mapToItem(content, QPointF(0, 0)).y();
        const qreal bottom =
            std::max(0.0, flickable->property("contentHeight").toReal() - flickable->height());
        flickable->setProperty("contentY", std::clamp(top - 40.0, 0.0, bottom));
    }
    // Scrolls to the control and clicks its middle; fails the test when it cannot be clicked.
    void click(const QString& name, QQuickItem* within = nullptr) const {
        const QQuickItem* target = item(name, within);
        EXPECT_TRUE(target->isVisible() && target->isEnabled()) << name.toStdString() << " hidden";
        (settings && view == settings->window()) ? scrollTo(name) : void();
        QTest::mouseClick(view, Qt::LeftButton, {}, centre(target));
        QCoreApplication::processEvents();
    }
    // Presses on `from` and moves to `to` in steps, still holding.
    void drag(QQuickItem* from, QPoint to) const {
        const QPoint start = centre(from);
        QTest::mousePress(view, Qt::LeftButton, {}, start);
        for (int step = 1; step <= 10; ++step) {
            QTest::mouseMove(view, start + (to - start) * step / 10);
        }
    }
    // The settings window as it is now, scrolled to `scrolledTo`, in the folder "settings".
    void screenshot(const QString& name, const QString& scrolledTo = QString()) const {
        scrolledTo.isEmpty() ? void() : scrollTo(scrolledTo);
        test::screenshot(*view, "settings", name, false);
    }
    QString entryPath() const { return harness.home.filePath(".config/autostart/lumora.desktop"); }

    WarningLog warnings;
    std::optional<Language> language;
    ModelHarness harness;
    std::unique_ptr<AppModel> model; // made by open…() unless made before
    std::unique_ptr<PopoverWindow> popover;
    std::unique_ptr<SettingsWindow> settings;
    QQuickWindow* view = nullptr;
};

} // namespace lumora::test
