#pragma once

#include "platform/DesktopServices.h"

#include <QObject>

namespace lumora {

class AppModel;
class BreakWindows;
class SettingsWindow;

// The model's windows: the break screen and the settings window, each created on first use. The
// model is built with this object as its WindowPresentation, and handed to it right after.
class AppWindows : public QObject, public WindowPresentation {
    Q_OBJECT

public:
    explicit AppWindows(QObject* parent = nullptr);
    ~AppWindows() override;

    // Once, before any window is shown.
    void setModel(AppModel* model) { m_model = model; }

    void showBreakWindow() override;
    void showSettingsWindow() override;
    QWindow* visibleSettingsWindow() const override;

    BreakWindows& breakWindows();
    SettingsWindow& settingsWindow();

private:
    AppModel* m_model = nullptr;
    BreakWindows* m_break = nullptr;
    SettingsWindow* m_settings = nullptr;
};

} // namespace lumora
