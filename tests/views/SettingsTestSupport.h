#pragma once

#include "AppTestSupport.h"
#include "ViewTestSupport.h"
#include "platform/Autostart.h"
#include "views/SettingsViewModel.h"
#include "views/SettingsWindow.h"

#include <QQuickItem>
#include <QQuickWindow>

#include <gtest/gtest.h>

#include <memory>

namespace lumora::test {

// The warnings that count: everything but the offscreen platform's notes about itself.
QStringList significantWarnings(const WarningLog& log);

// The settings window on a model with fake services in a temporary home, its start-at-login
// switch on an entry in that home. Controls are found by objectName and clicked with real mouse
// events, after the form has been scrolled to them. Any Qt or QML warning fails the test.
class SettingsWindowTest : public ::testing::Test {
protected:
    void TearDown() override;

    // Makes the model from the harness as configured so far and shows the window.
    void open();
    QQuickItem* item(const QString& name) const;
    bool shown(const QString& name) const;
    QString text(const QString& name) const;
    // Scrolls the form so that the item is in view.
    void scrollTo(const QString& name) const;
    // Scrolls to the control and clicks its middle; fails the test when it is not clickable.
    void click(const QString& name) const;
    // Saves the window as it is now as <name>.png in the screenshot folder "settings".
    void screenshot(const QString& name, const QString& scrolledTo = QString()) const;
    // A real image file in the temporary home.
    QString writeImage(const QString& name, QColor color = QColor(46, 110, 160)) const;
    QString entryPath() const { return harness.home.filePath(".config/autostart/lumora.desktop"); }

    WarningLog warnings;
    ModelHarness harness;
    std::unique_ptr<AppModel> model;
    std::shared_ptr<AutostartEntry> autostart;
    std::unique_ptr<SettingsWindow> window;
};

} // namespace lumora::test
