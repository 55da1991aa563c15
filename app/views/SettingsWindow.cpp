#include "views/SettingsWindow.h"

namespace lumora {

SettingsWindow::SettingsWindow(AppModel* model, QObject* parent)
    : QObject(parent), m_model(model) {}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::show() {}

void SettingsWindow::hide() {}

QWindow* SettingsWindow::visibleWindow() const {
    return nullptr;
}

} // namespace lumora
