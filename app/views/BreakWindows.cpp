#include "views/BreakWindows.h"

namespace lumora {

BreakWindows::BreakWindows(AppModel* model, QObject* parent) : QObject(parent), m_model(model) {}

BreakWindows::~BreakWindows() = default;

void BreakWindows::show() {
    if (!m_shown) {
        m_shown = true;
        emit shownChanged();
    }
}

void BreakWindows::end() {
    if (m_shown) {
        m_shown = false;
        emit shownChanged();
    }
}

} // namespace lumora
