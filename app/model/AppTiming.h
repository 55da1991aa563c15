#pragma once

#include <chrono>

namespace lumora {

// How often the model does things on its own. Tests shorten these; the application uses the
// defaults.
struct AppTiming {
    std::chrono::milliseconds refreshInterval = std::chrono::seconds(60);
    std::chrono::milliseconds updateCheckInterval = std::chrono::hours(6);
    std::chrono::milliseconds connectionCheckInterval = std::chrono::seconds(2);
    // A connection monitor gives up after this many readiness checks (three minutes by default).
    int connectionChecks = 90;
};

} // namespace lumora
