#pragma once

#include <QObject>
#include <QPoint>

#include <optional>

namespace lumora {

class AppModel;

// The popover: a frameless window with the provider overview, opened next to the status item.
// The status bar controller owns it and decides what its Settings button does.
class PopoverWindow : public QObject {
    Q_OBJECT

public:
    explicit PopoverWindow(AppModel* model, QObject* parent = nullptr);
    ~PopoverWindow() override;

    bool isShown() const { return m_shown; }
    // Shows the popover; `cursor` is the global position of the click that asked for it, when
    // known (on X11 the window opens there; Wayland's compositor places it itself).
    void show(std::optional<QPoint> cursor);
    // Hides it; `closed` follows.
    void close();

signals:
    // The popover has been hidden, whatever hid it.
    void closed();
    // Its content asked to close it (the Break button does, before the break starts).
    void closeRequested();
    // Its Settings button was pressed.
    void settingsRequested();

private:
    AppModel* m_model;
    bool m_shown = false;
};

} // namespace lumora
