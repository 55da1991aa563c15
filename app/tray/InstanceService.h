#pragma once

#include <QDBusConnection>
#include <QObject>

namespace lumora {

class StatusBarController;

// The running tray on the session bus: io.github.lumora.Lumora at /io/github/lumora/Lumora, so
// that a second `lumora` and the commands `lumora popover|break|settings|quit` reach it.
class InstanceService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "io.github.lumora.Lumora")

public:
    enum class Claim { owned, runningElsewhere, noBus };

    explicit InstanceService(QDBusConnection bus, QObject* parent = nullptr);
    ~InstanceService() override;

    // Exports the object, then takes the name. runningElsewhere: another tray has it, and has
    // been asked to show its popover.
    Claim claim();
    // Where the calls go; until it is set they do nothing.
    void setController(StatusBarController* controller) { m_controller = controller; }

public slots:
    Q_SCRIPTABLE void ShowPopover();
    Q_SCRIPTABLE void ShowBreak();
    Q_SCRIPTABLE void ShowSettings();
    Q_SCRIPTABLE void Refresh();
    Q_SCRIPTABLE void Quit();

private:
    StatusBarController* m_controller = nullptr;
    QDBusConnection m_bus;
    bool m_owned = false;
};

} // namespace lumora
