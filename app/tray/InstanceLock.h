#pragma once

#include <QString>

namespace lumora {

// One tray per user and display when there is no session bus to hold a name on: an exclusive
// lock on a file in the user's runtime folder, named after the display. The lock is the kernel's
// (flock): it goes with the process however that ends, so a crashed tray never blocks the next.
class InstanceLock {
public:
    InstanceLock() = default;
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    // Takes the lock of this user's trays on the current display; false when another process
    // holds it. When the runtime folder cannot be used at all, nothing is locked and the answer
    // is true: a tray is better than none.
    bool tryLock();

    // The lock file for the display the environment names (WAYLAND_DISPLAY, else DISPLAY, else
    // the Qt platform) in `runtimeFolder`.
    static QString lockPath(const QString& runtimeFolder);

private:
    int m_fd = -1;
};

} // namespace lumora
