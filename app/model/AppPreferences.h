#pragma once

#include "platform/PreferencesStore.h"

#include <QColor>
#include <QObject>
#include <QStringList>

#include <memory>
#include <optional>

namespace lumora {

// The user's choices as observable properties. Everything is read from the store once, at
// construction, without writing anything back; afterwards every assignment, even of an unchanged
// value, writes its key through. Changes of value emit the property's NOTIFY signal; every
// assignment of the three switches with side effects also emits its ...Assigned signal, so that
// the model can react (refresh, permission request) exactly once per assignment.
class AppPreferences : public QObject {
    Q_OBJECT
    Q_PROPERTY(QStringList providerOrder READ providerOrder NOTIFY providerOrderChanged)
    Q_PROPERTY(QColor breakTextColor READ breakTextColor WRITE setBreakTextColor NOTIFY
                   breakTextColorChanged)
    Q_PROPERTY(BreakScreenStyle breakScreenStyle READ breakScreenStyle WRITE setBreakScreenStyle
                   NOTIFY breakScreenStyleChanged)
    Q_PROPERTY(
        bool alertsEnabled READ alertsEnabled WRITE setAlertsEnabled NOTIFY alertsEnabledChanged)
    Q_PROPERTY(
        bool claudeEnabled READ claudeEnabled WRITE setClaudeEnabled NOTIFY claudeEnabledChanged)
    Q_PROPERTY(bool codexEnabled READ codexEnabled WRITE setCodexEnabled NOTIFY codexEnabledChanged)
    Q_PROPERTY(bool showCodexInMenuBar READ showCodexInMenuBar WRITE setShowCodexInMenuBar NOTIFY
                   showCodexInMenuBarChanged)
    Q_PROPERTY(bool showClaudeInMenuBar READ showClaudeInMenuBar WRITE setShowClaudeInMenuBar NOTIFY
                   showClaudeInMenuBarChanged)
    Q_PROPERTY(bool keepUsageHistory READ keepUsageHistory WRITE setKeepUsageHistory NOTIFY
                   keepUsageHistoryChanged)
    Q_PROPERTY(bool paceAlertsEnabled READ paceAlertsEnabled WRITE setPaceAlertsEnabled NOTIFY
                   paceAlertsEnabledChanged)

public:
    // What the break screen draws behind the clock.
    enum class BreakScreenStyle { photo, motion, minimal };
    Q_ENUM(BreakScreenStyle)

    explicit AppPreferences(std::shared_ptr<PreferencesStore> store, QObject* parent = nullptr);

    const QStringList& providerOrder() const { return m_providerOrder; }
    // Exchanges the places of two providers and stores the new order. Does nothing (and writes
    // nothing) for two equal ids or an id that is not in the order.
    Q_INVOKABLE void swapProviders(const QString& first, const QString& second);

    QColor breakTextColor() const { return m_breakTextColor; }
    void setBreakTextColor(const QColor& color);
    // Opaque white unless four numbers are stored; the store's colour space is sRGB.
    static QColor loadBreakTextColor(const PreferencesStore& store);
    // Stores [red, green, blue, alpha] in sRGB; an invalid colour is not stored.
    static void saveBreakTextColor(PreferencesStore& store, const QColor& color);

    BreakScreenStyle breakScreenStyle() const { return m_breakScreenStyle; }
    void setBreakScreenStyle(BreakScreenStyle style);
    static QString rawValue(BreakScreenStyle style);
    static std::optional<BreakScreenStyle> breakScreenStyleFromRaw(const QString& raw);

    bool alertsEnabled() const { return m_alertsEnabled; }
    void setAlertsEnabled(bool enabled);
    bool claudeEnabled() const { return m_claudeEnabled; }
    void setClaudeEnabled(bool enabled);
    bool codexEnabled() const { return m_codexEnabled; }
    void setCodexEnabled(bool enabled);
    bool showCodexInMenuBar() const { return m_showCodexInMenuBar; }
    void setShowCodexInMenuBar(bool shown);
    bool showClaudeInMenuBar() const { return m_showClaudeInMenuBar; }
    void setShowClaudeInMenuBar(bool shown);
    // Both on unless turned off.
    bool keepUsageHistory() const { return m_keepUsageHistory; }
    void setKeepUsageHistory(bool kept);
    bool paceAlertsEnabled() const { return m_paceAlertsEnabled; }
    void setPaceAlertsEnabled(bool enabled);

signals:
    void providerOrderChanged();
    void breakTextColorChanged();
    void breakScreenStyleChanged();
    void alertsEnabledChanged();
    void claudeEnabledChanged();
    void codexEnabledChanged();
    void showCodexInMenuBarChanged();
    void showClaudeInMenuBarChanged();
    void keepUsageHistoryChanged();
    void paceAlertsEnabledChanged();

    void alertsEnabledAssigned(bool enabled);
    void claudeEnabledAssigned(bool enabled);
    void codexEnabledAssigned(bool enabled);

private:
    // Stores `value` in `field`, emits `changed` when it differs, then writes `key`.
    template <typename T>
    void assign(T& field, const T& value, void (AppPreferences::*changed)(), const QString& key,
                const QJsonValue& stored);

    std::shared_ptr<PreferencesStore> m_store;
    QStringList m_providerOrder;
    QColor m_breakTextColor;
    BreakScreenStyle m_breakScreenStyle;
    bool m_alertsEnabled;
    bool m_claudeEnabled;
    bool m_codexEnabled;
    bool m_showCodexInMenuBar;
    bool m_showClaudeInMenuBar;
    bool m_keepUsageHistory;
    bool m_paceAlertsEnabled;
};

using BreakScreenStyle = AppPreferences::BreakScreenStyle;

} // namespace lumora
