#pragma once

#include <QString>
#include <QTextStream>

#include <chrono>

namespace lumora::instance {

// The running tray's address on the session bus: one instance per session owns the name.
inline const QString serviceName = QStringLiteral("io.github.lumora.Lumora");
inline const QString objectPath = QStringLiteral("/io/github/lumora/Lumora");
inline const QString interfaceName = QStringLiteral("io.github.lumora.Lumora");

// In English; shown through shownMessage.
inline const QString notRunningMessage =
    QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Lumora is not running."));

// Asks the running tray to do `method` (ShowPopover, ShowBreak, ShowSettings, Refresh, Quit).
// Returns 0 when it did, 1 when no tray runs ("Lumora is not running.") or it did not answer.
// Quit waits until the tray has gone.
int callRunningInstance(const QString& method, QTextStream& out, QTextStream& err,
                        std::chrono::milliseconds timeout = std::chrono::seconds(10));

} // namespace lumora::instance
