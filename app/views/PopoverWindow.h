#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPoint>
#include <QTimer>

#include <optional>

QT_BEGIN_NAMESPACE
class QQuickView;
QT_END_NAMESPACE

namespace lumora {

class AppModel;
class PopoverViewModel;

// The popover: a frameless window with the provider overview, opened next to the status item.
// The status bar controller owns it and decides what its Settings button does.
//
// The window and its QML are made on the first show and kept, so later opens only show it. On
// X11 it opens at the cursor, reaching away from the nearest screen edges; on Wayland the
// compositor places it. It closes itself when it loses activation, except in the first moments
// after opening (the click that opened it must not close it).
class PopoverWindow : public QObject {
    Q_OBJECT

public:
    // How long after opening a loss of activation does not close the popover.
    static constexpr int activationGraceMilliseconds = 500;

    explicit PopoverWindow(AppModel* model, QObject* parent = nullptr);
    ~PopoverWindow() override;

    bool isShown() const { return m_shown; }
    // Shows the popover and asks for live figures; `cursor` is the global position of the click
    // that asked for it, when known (else the pointer's position). On X11 the window opens
    // there; Wayland's compositor places it itself.
    void show(std::optional<QPoint> cursor);
    // Hides it; `closed` follows.
    void close();

    // The window, once it has been shown; and what it shows.
    QQuickView* window() const { return m_view; }
    PopoverViewModel* viewModel();

signals:
    // The popover has been hidden, whatever hid it.
    void closed();
    // Its content asked to close it (the Break button does, before the break starts).
    void closeRequested();
    // Its Settings button was pressed.
    void settingsRequested();
    // The window has put a new frame on screen.
    void frameSwapped();

private:
    void ensureWindow();
    void place();
    void onActiveChanged();
    void onVisibleChanged(bool visible);

    AppModel* m_model;
    PopoverViewModel* m_viewModel = nullptr;
    QQuickView* m_view = nullptr;
    bool m_shown = false;
    bool m_wasActive = false;
    QPoint m_anchor;
    QElapsedTimer m_openedAt;
    QTimer m_graceEnd;
};

} // namespace lumora
