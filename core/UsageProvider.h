#pragma once

#include "core/LocalProviderReadiness.h"
#include "core/UsageSnapshot.h"

namespace lumora {

// What the application needs of one tool's usage source. Both calls may block (files, child
// processes) and never throw: every problem comes back as a readiness value or as a snapshot with
// a status message. Implementations are safe to call from any thread.
class UsageProvider {
public:
    virtual ~UsageProvider() = default;

    virtual LocalProviderReadiness readiness() const = 0;
    virtual UsageSnapshot fetch(bool forceLiveRefresh = false) const = 0;
};

} // namespace lumora
