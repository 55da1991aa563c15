#pragma once

#include "core/UsageSnapshot.h"

#include <QCoreApplication>
#include <QString>

namespace lumora {

// What a window is called where its share is shown: "Session limit", "Weekly limit", "Credits"…
inline QString usageWindowLabel(UsageWindow::Kind kind) {
    switch (kind) {
    case UsageWindow::Kind::session:
        return QCoreApplication::translate("UsageWindowLabel", "Session limit");
    case UsageWindow::Kind::daily:
        return QCoreApplication::translate("UsageWindowLabel", "Daily limit");
    case UsageWindow::Kind::weekly:
        return QCoreApplication::translate("UsageWindowLabel", "Weekly limit");
    case UsageWindow::Kind::monthly:
        return QCoreApplication::translate("UsageWindowLabel", "Monthly limit");
    case UsageWindow::Kind::credits:
        return QCoreApplication::translate("UsageWindowLabel", "Credits");
    }
    return {};
}

} // namespace lumora
