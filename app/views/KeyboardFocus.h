#pragma once

#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

namespace lumora {

// Keyboard help for a view, placed once anywhere in it: when its window is shown, the first
// control of the tab chain takes the focus (every time with `focusFirstOnShow`, else only when
// nothing has it yet); Enter presses the focused button or switch as Space does (Qt Quick's
// buttons take Space alone on Linux); and when `flickable` is set, the control that gets the
// focus is scrolled into its visible area, so that Tab never leaves the focus out of sight.
class KeyboardFocus : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickItem* flickable READ flickable WRITE setFlickable NOTIFY flickableChanged)
    Q_PROPERTY(bool focusFirstOnShow MEMBER m_focusFirstOnShow NOTIFY focusFirstOnShowChanged)

public:
    explicit KeyboardFocus(QQuickItem* parent = nullptr);

    QQuickItem* flickable() const { return m_flickable; }
    void setFlickable(QQuickItem* flickable);

    // The space kept between a focused control and the flickable's edge.
    static constexpr qreal scrollMargin = 12;
    // Where a flickable scrolled to `contentY` of `viewHeight` within `contentHeight` must scroll
    // to show `target` (in content coordinates) with the margin; the same place when it shows.
    static qreal scrolledTo(qreal contentY, qreal viewHeight, qreal contentHeight,
                            const QRectF& target);

signals:
    void flickableChanged();
    void focusFirstOnShowChanged();

protected:
    void itemChange(ItemChange change, const ItemChangeData& data) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void onWindowVisibleChanged(bool visible);
    void revealFocusItem();

    QPointer<QQuickItem> m_flickable;
    bool m_focusFirstOnShow = false;
    QMetaObject::Connection m_visibleConnection;
    QMetaObject::Connection m_focusConnection;
    QPointer<QQuickWindow> m_window;
};

} // namespace lumora
