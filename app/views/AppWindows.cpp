#include "views/AppWindows.h"

#include "views/BreakWindows.h"
#include "views/SettingsWindow.h"

namespace lumora {

AppWindows::AppWindows(QObject* parent) : QObject(parent) {}

AppWindows::~AppWindows() = default;

BreakWindows& AppWindows::breakWindows() {
    if (!m_break) {
        m_break = new BreakWindows(m_model, this);
    }
    return *m_break;
}

SettingsWindow& AppWindows::settingsWindow() {
    if (!m_settings) {
        m_settings = new SettingsWindow(m_model, this);
    }
    return *m_settings;
}

void AppWindows::showBreakWindow() {
    // The settings window never stays above a break.
    if (m_settings) {
        m_settings->hide();
    }
    breakWindows().show();
}

void AppWindows::showSettingsWindow() {
    settingsWindow().show();
}

QWindow* AppWindows::visibleSettingsWindow() const {
    return m_settings ? m_settings->visibleWindow() : nullptr;
}

} // namespace lumora
