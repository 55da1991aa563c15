#include "platform/ProviderChoices.h"

#include "core/UsageSnapshot.h"

namespace lumora {

const QStringList& knownProviderOrder() {
    static const QStringList order{providers::codexID, providers::claudeCodeID};
    return order;
}

QStringList normalizedProviderOrder(const std::optional<QStringList>& stored) {
    QStringList order;
    if (stored) {
        for (const QString& id : *stored) {
            if (knownProviderOrder().contains(id)) {
                order.append(id);
            }
        }
    }
    for (const QString& id : knownProviderOrder()) {
        if (!order.contains(id)) {
            order.append(id);
        }
    }
    return order;
}

ProviderChoices ProviderChoices::read(const PreferencesStore& store) {
    return {readProviderOrder(store), readClaudeEnabled(store), readCodexEnabled(store),
            readShowCodexInMenuBar(store), readShowClaudeInMenuBar(store)};
}

QStringList ProviderChoices::readProviderOrder(const PreferencesStore& store) {
    return normalizedProviderOrder(store.stringArray(preferencekeys::providerOrder));
}

bool ProviderChoices::readClaudeEnabled(const PreferencesStore& store) {
    return store.boolean(preferencekeys::claudeEnabled);
}

bool ProviderChoices::readCodexEnabled(const PreferencesStore& store) {
    return store.contains(preferencekeys::codexEnabled) &&
           store.boolean(preferencekeys::codexEnabled);
}

bool ProviderChoices::readShowCodexInMenuBar(const PreferencesStore& store) {
    return !store.contains(preferencekeys::showCodexInMenuBar) ||
           store.boolean(preferencekeys::showCodexInMenuBar);
}

bool ProviderChoices::readShowClaudeInMenuBar(const PreferencesStore& store) {
    return store.boolean(preferencekeys::showClaudeInMenuBar);
}

} // namespace lumora
