#pragma once

#include "tray/DBusMenu.h"

#include <QObject>
#include <QPoint>

#include <optional>

namespace lumora {

class AppModel;
class PopoverWindow;

// Keeps the status item's title, tool tip and gauge in step with the model, and turns clicks on
// the item into the break screen (a left click) or the popover (a right click, toggled). Opening
// the popover asks Claude Code for live figures; settings chosen in the open popover open once it
// has closed. Main thread only; lives as long as the model.
class StatusBarController : public QObject {
    Q_OBJECT

public:
    // `popover` is the window to open; the controller owns it (nothing: the standard one).
    StatusBarController(AppModel* model, PopoverWindow* popover = nullptr,
                        QObject* parent = nullptr);
    ~StatusBarController() override;

    // Shows the current title, then starts the model. Only the first call does anything.
    void start();

    QString title() const { return m_title; }
    QString toolTip() const { return QStringLiteral("Lumora, ") + m_title; }
    // The lowest remaining share among the providers in the title; nothing when none is known.
    std::optional<double> gauge() const { return m_gauge; }

    PopoverWindow* popover() const { return m_popover; }

    // A left click: the break screen.
    void handleActivate();
    // A right click: opens the popover at `cursor` (with a refresh), or closes it.
    void togglePopover(std::optional<QPoint> cursor);
    // Opens the popover when it is not open; never closes it.
    void showPopover(std::optional<QPoint> cursor);
    // Settings from the open popover wait until it has closed.
    void openSettings();
    void refresh();
    void performMenuAction(DBusMenu::Action action);
    // Quit Lumora (the menu's entry, `lumora quit`): quitRequested follows.
    void quit();
    // A token from the panel that lets the next window take focus on Wayland.
    void setActivationToken(const QString& token);

    // Recomputes the title, tool tip and gauge from the model now.
    void updateButtonTitle();

signals:
    // After the title, tool tip or gauge changed.
    void appearanceChanged();
    // The application connects this to QCoreApplication::quit.
    void quitRequested();

private:
    void scheduleUpdate();
    void onPopoverClosed();
    void useActivationToken();

    AppModel* m_model;
    PopoverWindow* m_popover;
    QString m_title;
    std::optional<double> m_gauge;
    bool m_showsSettingsAfterPopoverCloses = false;
    bool m_updateScheduled = false;
    bool m_started = false;
    QString m_activationToken;
};

} // namespace lumora
