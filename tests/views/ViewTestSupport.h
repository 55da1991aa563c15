#pragma once

#include "AppTestSupport.h"
#include "platform/Autostart.h"
#include "translations/Translations.h"
#include "views/PopoverWindow.h"
#include "views/SettingsWindow.h"

#include <QQuickItem>
#include <QQuickView>
#include <QTranslator>

#include <gtest/gtest.h>

namespace lumora::test {

// Qt's and QML's warnings, less the offscreen platform's notes that it cannot raise windows.
QStringList significantWarnings(const WarningLog& log);
QPoint centre(const QQuickItem* item);
// A landscape-like photo (sky, sun, ground) saved as PNG at `path`.
void writePhoto(const QString& path, QSize size = QSize(3000, 1500));
// Saves the window's frame, once animations rest (and background work is done when `settled`), as
// <folder>/<name>.png under $LUMORA_SCREENSHOT_DIR or else build/screenshots, to be looked at.
void screenshot(QQuickWindow& window, const QString& folder, const QString& name,
                bool settled = true);

// Lumora in the language of `locale` while this exists, as the application sets it up.
struct Language {
    explicit Language(const char* locale);
    ~Language() { QLocale::setDefault(QLocale::system()); }
    std::unique_ptr<QTranslator> translator;
};

// A model on fake services in a temporary home, and the popover or the settings window on it as
// `view`; controls are found by objectName (in the visual tree, a Repeater's items too) and
// clicked with real mouse events. Any Qt or QML warning fails the test.
class ViewTest : public ::testing::Test {
public:
    void TearDown() override;
    void openPopover();
    void openSettings();
    QQuickItem* item(const QString& name, QQuickItem* within = nullptr) const;
    bool shown(const QString& name) const;
    QString text(const QString& name) const { return item(name)->property("text").toString(); }
    void scrollTo(const QString& name) const;
    // Scrolls to the control and clicks its middle; fails the test when it is not clickable.
    void click(const QString& name, QQuickItem* within = nullptr) const;
    // Presses on `from`, moves to `to` in steps and lets go there unless `release` is false.
    void drag(QQuickItem* from, QPoint to, bool release = true) const;
    // The settings window as it is now, scrolled to `scrolledTo`, in the folder "settings".
    void screenshot(const QString& name, const QString& scrolledTo = QString()) const;
    QString entryPath() const { return harness.home.filePath(".config/autostart/lumora.desktop"); }

    WarningLog warnings;
    std::optional<Language> language;
    ModelHarness harness;
    std::unique_ptr<AppModel> model; // made by open…() unless made before
    std::unique_ptr<PopoverWindow> popover;
    std::unique_ptr<SettingsWindow> settings;
    QQuickWindow* view = nullptr;
    std::function<void()> afterwards; // run first in TearDown (a release, an opened gate)
};

} // namespace lumora::test
