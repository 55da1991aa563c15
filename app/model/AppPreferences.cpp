#include "model/AppPreferences.h"

#include "platform/ProviderChoices.h"

#include <QJsonArray>

namespace lumora {
namespace {

bool loadSwitchOnByDefault(const PreferencesStore& store, const QString& key) {
    const auto stored = store.value(key);
    return !stored || !stored->isBool() || stored->toBool();
}

BreakScreenStyle loadBreakScreenStyle(const PreferencesStore& store) {
    const auto raw = store.string(preferencekeys::breakScreenStyle);
    return raw ? AppPreferences::breakScreenStyleFromRaw(*raw).value_or(BreakScreenStyle::motion)
               : BreakScreenStyle::motion;
}

} // namespace

AppPreferences::AppPreferences(std::shared_ptr<PreferencesStore> store, QObject* parent)
    : QObject(parent), m_store(std::move(store)),
      // Read in this order, straight into the fields: construction writes nothing.
      m_providerOrder(ProviderChoices::readProviderOrder(*m_store)),
      m_breakTextColor(loadBreakTextColor(*m_store)),
      m_breakScreenStyle(loadBreakScreenStyle(*m_store)),
      m_alertsEnabled(m_store->boolean(preferencekeys::alertsEnabled)),
      m_claudeEnabled(ProviderChoices::readClaudeEnabled(*m_store)),
      m_codexEnabled(ProviderChoices::readCodexEnabled(*m_store)),
      m_showCodexInMenuBar(ProviderChoices::readShowCodexInMenuBar(*m_store)),
      m_showClaudeInMenuBar(ProviderChoices::readShowClaudeInMenuBar(*m_store)),
      m_keepUsageHistory(loadSwitchOnByDefault(*m_store, preferencekeys::keepUsageHistory)),
      m_paceAlertsEnabled(loadSwitchOnByDefault(*m_store, preferencekeys::paceAlertsEnabled)) {}

template <typename T>
void AppPreferences::assign(T& field, const T& value, void (AppPreferences::*changed)(),
                            const QString& key, const QJsonValue& stored) {
    if (field != value) {
        field = value;
        emit(this->*changed)();
    }
    m_store->setValue(key, stored);
}

void AppPreferences::swapProviders(const QString& first, const QString& second) {
    if (first == second) {
        return;
    }
    const qsizetype firstIndex = m_providerOrder.indexOf(first);
    if (firstIndex < 0) {
        return;
    }
    const qsizetype secondIndex = m_providerOrder.indexOf(second);
    if (secondIndex < 0) {
        return;
    }
    QStringList order = m_providerOrder;
    order.swapItemsAt(firstIndex, secondIndex);
    assign(m_providerOrder, order, &AppPreferences::providerOrderChanged,
           preferencekeys::providerOrder, QJsonArray::fromStringList(order));
}

void AppPreferences::setBreakTextColor(const QColor& color) {
    if (m_breakTextColor != color) {
        m_breakTextColor = color;
        emit breakTextColorChanged();
    }
    saveBreakTextColor(*m_store, color);
}

QColor AppPreferences::loadBreakTextColor(const PreferencesStore& store) {
    const auto components = store.array(preferencekeys::breakTextColor);
    if (!components || components->size() != 4) {
        return QColor(Qt::white);
    }
    for (const QJsonValue& component : *components) {
        if (!component.isDouble()) {
            return QColor(Qt::white);
        }
    }
    const auto at = [&](qsizetype index) {
        return static_cast<float>(components->at(index).toDouble());
    };
    return QColor::fromRgbF(at(0), at(1), at(2), at(3));
}

void AppPreferences::saveBreakTextColor(PreferencesStore& store, const QColor& color) {
    if (!color.isValid()) {
        return;
    }
    const QColor srgb = color.toRgb();
    store.setValue(preferencekeys::breakTextColor,
                   QJsonArray{double(srgb.redF()), double(srgb.greenF()), double(srgb.blueF()),
                              double(srgb.alphaF())});
}

void AppPreferences::setBreakScreenStyle(BreakScreenStyle style) {
    assign(m_breakScreenStyle, style, &AppPreferences::breakScreenStyleChanged,
           preferencekeys::breakScreenStyle, rawValue(style));
}

QString AppPreferences::rawValue(BreakScreenStyle style) {
    switch (style) {
    case BreakScreenStyle::photo:
        return QStringLiteral("photo");
    case BreakScreenStyle::motion:
        return QStringLiteral("motion");
    case BreakScreenStyle::minimal:
        return QStringLiteral("minimal");
    }
    return QStringLiteral("motion");
}

std::optional<BreakScreenStyle> AppPreferences::breakScreenStyleFromRaw(const QString& raw) {
    for (const BreakScreenStyle style :
         {BreakScreenStyle::photo, BreakScreenStyle::motion, BreakScreenStyle::minimal}) {
        if (rawValue(style) == raw) {
            return style;
        }
    }
    return std::nullopt;
}

void AppPreferences::setAlertsEnabled(bool enabled) {
    assign(m_alertsEnabled, enabled, &AppPreferences::alertsEnabledChanged,
           preferencekeys::alertsEnabled, enabled);
    emit alertsEnabledAssigned(enabled);
}

void AppPreferences::setClaudeEnabled(bool enabled) {
    assign(m_claudeEnabled, enabled, &AppPreferences::claudeEnabledChanged,
           preferencekeys::claudeEnabled, enabled);
    emit claudeEnabledAssigned(enabled);
}

void AppPreferences::setCodexEnabled(bool enabled) {
    assign(m_codexEnabled, enabled, &AppPreferences::codexEnabledChanged,
           preferencekeys::codexEnabled, enabled);
    emit codexEnabledAssigned(enabled);
}

void AppPreferences::setShowCodexInMenuBar(bool shown) {
    assign(m_showCodexInMenuBar, shown, &AppPreferences::showCodexInMenuBarChanged,
           preferencekeys::showCodexInMenuBar, shown);
}

void AppPreferences::setShowClaudeInMenuBar(bool shown) {
    assign(m_showClaudeInMenuBar, shown, &AppPreferences::showClaudeInMenuBarChanged,
           preferencekeys::showClaudeInMenuBar, shown);
}

void AppPreferences::setKeepUsageHistory(bool kept) {
    assign(m_keepUsageHistory, kept, &AppPreferences::keepUsageHistoryChanged,
           preferencekeys::keepUsageHistory, kept);
}

void AppPreferences::setPaceAlertsEnabled(bool enabled) {
    assign(m_paceAlertsEnabled, enabled, &AppPreferences::paceAlertsEnabledChanged,
           preferencekeys::paceAlertsEnabled, enabled);
}

} // namespace lumora
