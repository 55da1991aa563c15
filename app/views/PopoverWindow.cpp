#include "views/PopoverWindow.h"

namespace lumora {

PopoverWindow::PopoverWindow(AppModel* model, QObject* parent) : QObject(parent), m_model(model) {}

PopoverWindow::~PopoverWindow() = default;

void PopoverWindow::show(std::optional<QPoint> /*cursor*/) {
    m_shown = true;
}

void PopoverWindow::close() {
    if (!m_shown) {
        return;
    }
    m_shown = false;
    emit closed();
}

} // namespace lumora
