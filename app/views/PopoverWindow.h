#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPoint>
#include <QTimer>

#include <memory>
#include <optional>

QT_BEGIN_NAMESPACE
class QQuickView;
QT_END_NAMESPACE

namespace lumora {

class AppModel;
class PopoverViewModel;
class ViewEngine;

// The popover: a frameless window with the provider overview, opened next to the status item.
// The status bar controller owns it and decides what its Settings button does.
//
// The window and its QML are made on the first show and kept while they are in use, so later
// opens only show it; a while after the last of Lumora's windows closed they go (ViewEngine) and
// the next show makes them again. On X11 it opens at the cursor, reaching away from the nearest
// screen edges; on Wayland the compositor places it. It closes itself when it loses activation,
// except in the first moments after opening (the click that opened it must not close it).
//
// Without any tray it is shown as a normal window instead: decorated, in the task bar, placed by
// the window manager, closed by its close button.
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
    // From the next show on: a normal window (true) or the popover (false).
    void setShownAsWindow(bool asWindow) { m_asWindow = asWindow; }
    bool isShownAsWindow() const { return m_asWindow; }

    // The window while it exists (from a show until the views are let go); and what it shows.
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

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ensureWindow();
    void dropWindow();
    void applyStyle();
    void place();
    void onActiveChanged();
    void onVisibleChanged(bool visible);

    AppModel* m_model;
    std::shared_ptr<ViewEngine> m_engine;
    PopoverViewModel* m_viewModel = nullptr;
    QQuickView* m_view = nullptr;
    bool m_shown = false;
    bool m_asWindow = false;
    bool m_wasActive = false;
    QPoint m_anchor;
    QElapsedTimer m_openedAt;
    QTimer m_graceEnd;
};

} // namespace lumora
