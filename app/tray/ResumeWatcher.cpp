#include "tray/ResumeWatcher.h"

namespace lumora {

ResumeWatcher::ResumeWatcher(QDBusConnection systemBus, QObject* parent) : QObject(parent) {
    if (systemBus.isConnected()) {
        m_watching = systemBus.connect(
            QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"),
            this, SLOT(onPrepareForSleep(bool)));
    }
}

void ResumeWatcher::onPrepareForSleep(bool goingToSleep) {
    if (!goingToSleep) {
        emit resumed();
    }
}

} // namespace lumora
