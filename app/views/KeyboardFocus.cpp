#include "views/KeyboardFocus.h"

#include <QKeyEvent>
#include <QQuickWindow>

#include <algorithm>

namespace lumora {

KeyboardFocus::KeyboardFocus(QQuickItem* parent) : QQuickItem(parent) {}

void KeyboardFocus::setFlickable(QQuickItem* flickable) {
    if (m_flickable != flickable) {
        m_flickable = flickable;
        emit flickableChanged();
    }
}

void KeyboardFocus::itemChange(ItemChange change, const ItemChangeData& data) {
    if (change == ItemSceneChange) {
        disconnect(m_visibleConnection);
        disconnect(m_focusConnection);
        if (m_window) {
            m_window->removeEventFilter(this);
        }
        m_window = data.window;
        if (QQuickWindow* window = data.window) {
            window->installEventFilter(this);
            m_visibleConnection = connect(window, &QWindow::visibleChanged, this,
                                          &KeyboardFocus::onWindowVisibleChanged);
            m_focusConnection = connect(window, &QQuickWindow::activeFocusItemChanged, this,
                                        &KeyboardFocus::revealFocusItem);
        }
    }
    QQuickItem::itemChange(change, data);
}

void KeyboardFocus::onWindowVisibleChanged(bool visible) {
    QQuickWindow* view = window();
    if (!visible || !view) {
        return;
    }
    QQuickItem* root = view->contentItem();
    const QQuickItem* focused = view->activeFocusItem();
    if (!m_focusFirstOnShow && focused && focused != root) {
        return;
    }
    QQuickItem* first = root->nextItemInFocusChain(true);
    if (first && first != root) {
        // Not a keyboard reason: the ring shows only once the user moves the focus.
        first->forceActiveFocus(Qt::ActiveWindowFocusReason);
    }
}

bool KeyboardFocus::eventFilter(QObject* watched, QEvent* event) {
    if (watched != m_window || event->type() != QEvent::KeyPress) {
        return QQuickItem::eventFilter(watched, event);
    }
    const auto* key = static_cast<QKeyEvent*>(event);
    QQuickItem* focused = m_window->activeFocusItem();
    if ((key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter) ||
        (key->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier || !focused ||
        !focused->inherits("QQuickAbstractButton")) {
        return QQuickItem::eventFilter(watched, event);
    }
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "));
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "));
    QCoreApplication::sendEvent(focused, &press);
    QCoreApplication::sendEvent(focused, &release);
    return true;
}

qreal KeyboardFocus::scrolledTo(qreal contentY, qreal viewHeight, qreal contentHeight,
                                const QRectF& target) {
    qreal y = contentY;
    if (target.top() - scrollMargin < y) {
        y = target.top() - scrollMargin;
    } else if (target.bottom() + scrollMargin > y + viewHeight) {
        y = target.bottom() + scrollMargin - viewHeight;
    }
    return std::clamp(y, 0.0, std::max(0.0, contentHeight - viewHeight));
}

void KeyboardFocus::revealFocusItem() {
    QQuickWindow* view = window();
    QQuickItem* item = view ? view->activeFocusItem() : nullptr;
    if (!item || !m_flickable) {
        return;
    }
    const auto content = m_flickable->property("contentItem").value<QQuickItem*>();
    if (!content || !content->isAncestorOf(item)) {
        return;
    }
    const QRectF target = item->mapRectToItem(content, item->boundingRect());
    const qreal contentY = m_flickable->property("contentY").toReal();
    const qreal contentHeight = m_flickable->property("contentHeight").toReal();
    const qreal y = scrolledTo(contentY, m_flickable->height(), contentHeight, target);
    if (!qFuzzyCompare(y + 1, contentY + 1)) {
        m_flickable->setProperty("contentY", y);
    }
}

} // namespace lumora
