#pragma once

#include <QDBusConnection>
#include <QObject>

namespace lumora {

// Tells when the computer has woken from suspend: logind's PrepareForSleep(false) on the system
// bus. Timers run on the monotonic clock, which does not count the time asleep, so a refresh
// would otherwise wait out the rest of its minute after the resume.
class ResumeWatcher : public QObject {
    Q_OBJECT

public:
    explicit ResumeWatcher(QDBusConnection systemBus, QObject* parent = nullptr);

    // Whether the signal is subscribed to (false without a system bus).
    bool isWatching() const { return m_watching; }

signals:
    void resumed();

private slots:
    void onPrepareForSleep(bool goingToSleep);

private:
    bool m_watching = false;
};

} // namespace lumora
