#pragma once

#include "platform/PreferencesStore.h"

#include <QStringList>

#include <optional>

namespace lumora {

// The two providers Lumora knows, in the order they take when the user has not chosen one.
const QStringList& knownProviderOrder();

// The stored order made whole: stored entries that name a known provider keep their places
// (unknown strings are dropped, duplicates kept), and every known provider missing from them is
// appended in the default order. Nothing stored gives the default order.
QStringList normalizedProviderOrder(const std::optional<QStringList>& stored);

// Which providers the user has switched on and which ones the panel shows, as stored. Shared by
// the application and the command line so that both read the same choices the same way.
struct ProviderChoices {
    QStringList providerOrder;
    bool claudeEnabled = false;
    bool codexEnabled = false;
    bool showCodexInMenuBar = true;
    bool showClaudeInMenuBar = false;

    static ProviderChoices read(const PreferencesStore& store);

    // The single reads, in the forms the keys are stored in.
    static QStringList readProviderOrder(const PreferencesStore& store);
    static bool readClaudeEnabled(const PreferencesStore& store);
    // A present value of the wrong type reads as false.
    static bool readCodexEnabled(const PreferencesStore& store);
    // The only switch that is on when absent; a present value of the wrong type reads as false.
    static bool readShowCodexInMenuBar(const PreferencesStore& store);
    static bool readShowClaudeInMenuBar(const PreferencesStore& store);
};

} // namespace lumora
