#pragma once

#include "core/UsageSnapshot.h"

#include <QString>

namespace lumora {

// What a window is called where its share is shown: "Session limit", "Weekly limit", "Credits"…
inline QString usageWindowLabel(UsageWindow::Kind kind) {
    switch (kind) {
    case UsageWindow::Kind::session:
        return QStringLiteral("Session limit");
    case UsageWindow::Kind::daily:
        return QStringLiteral("Daily limit");
    case UsageWindow::Kind::weekly:
        return QStringLiteral("Weekly limit");
    case UsageWindow::Kind::monthly:
        return QStringLiteral("Monthly limit");
    case UsageWindow::Kind::credits:
        return QStringLiteral("Credits");
    }
    return {};
}

} // namespace lumora
