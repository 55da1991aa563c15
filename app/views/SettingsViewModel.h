#pragma once

#include "model/AppPreferences.h"

#include <QColor>
#include <QDateTime>
#include <QImage>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>

namespace lumora {

class AppModel;
class AutostartEntry;

// What the settings window shows and what its controls do. Every value is read from the model
// when asked for; every control writes a model property or calls a model action, so the window
// keeps no state of its own. The start-at-login switch reads the autostart entry each time.
class SettingsViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the settings window")

    // Connections
    Q_PROPERTY(QString codexStatus READ codexStatus NOTIFY changed)
    Q_PROPERTY(QString claudeStatus READ claudeStatus NOTIFY changed)
    Q_PROPERTY(bool showsDisconnectCodex READ showsDisconnectCodex NOTIFY changed)
    Q_PROPERTY(bool showsDisconnectClaude READ showsDisconnectClaude NOTIFY changed)
    Q_PROPERTY(QString lastChecked READ lastChecked NOTIFY changed)
    Q_PROPERTY(bool canRefresh READ canRefresh NOTIFY changed)
    // Break screen
    Q_PROPERTY(QStringList styleTitles READ styleTitles CONSTANT)
    Q_PROPERTY(int selectedStyle READ selectedStyle NOTIFY changed)
    Q_PROPERTY(QStringList styleAccessibilityValues READ styleAccessibilityValues NOTIFY changed)
    Q_PROPERTY(QString styleDescription READ styleDescription NOTIFY changed)
    Q_PROPERTY(QColor textColor READ textColor NOTIFY changed)
    Q_PROPERTY(bool showsPhotoControls READ showsPhotoControls NOTIFY changed)
    Q_PROPERTY(bool showsPhotoPreview READ showsPhotoPreview NOTIFY changed)
    Q_PROPERTY(QVariant photo READ photo NOTIFY changed)
    Q_PROPERTY(QString choosePhotoTitle READ choosePhotoTitle NOTIFY changed)
    Q_PROPERTY(bool showsDeletePhoto READ showsDeletePhoto NOTIFY changed)
    // Empty while there is nothing to say.
    Q_PROPERTY(QString photoError READ photoError NOTIFY changed)
    // Notifications
    Q_PROPERTY(bool alertsEnabled READ alertsEnabled NOTIFY changed)
    Q_PROPERTY(bool paceAlertsEnabled READ paceAlertsEnabled NOTIFY changed)
    // Updates
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(bool showsDownload READ showsDownload NOTIFY changed)
    Q_PROPERTY(QString downloadTitle READ downloadTitle NOTIFY changed)
    Q_PROPERTY(bool showsCheckForUpdates READ showsCheckForUpdates NOTIFY changed)
    Q_PROPERTY(bool isCheckingForUpdates READ isCheckingForUpdates NOTIFY changed)
    Q_PROPERTY(QString checkForUpdatesTitle READ checkForUpdatesTitle NOTIFY changed)
    Q_PROPERTY(QString updateStatus READ updateStatus NOTIFY changed)
    // Startup
    Q_PROPERTY(bool startsAtLogin READ startsAtLogin NOTIFY startupChanged)
    Q_PROPERTY(QString startupError READ startupError NOTIFY startupChanged)
    // Privacy
    Q_PROPERTY(QStringList privacyLines READ privacyLines CONSTANT)
    Q_PROPERTY(bool keepsUsageHistory READ keepsUsageHistory NOTIFY changed)

public:
    SettingsViewModel(AppModel* model, std::shared_ptr<AutostartEntry> autostart,
                      QObject* parent = nullptr);
    ~SettingsViewModel() override;

    // The clock of the relative times and of the status rows' staleness (tests set their own).
    void setClock(std::function<QDateTime()> clock) { m_clock = std::move(clock); }
    // While the window is shown the relative times follow the clock; hidden, nothing ticks.
    void setTicking(bool ticking);

    QString codexStatus() const;
    QString claudeStatus() const;
    bool showsDisconnectCodex() const;
    bool showsDisconnectClaude() const;
    QString lastChecked() const;
    bool canRefresh() const;

    static QStringList styleTitles();
    int selectedStyle() const;
    QStringList styleAccessibilityValues() const;
    QString styleDescription() const;
    static QString styleDescription(BreakScreenStyle style);
    QColor textColor() const;
    bool showsPhotoControls() const;
    bool showsPhotoPreview() const;
    // The decoded photo (a QImage), for the preview.
    QVariant photo() const;
    QString choosePhotoTitle() const;
    bool showsDeletePhoto() const;
    QString photoError() const;

    bool alertsEnabled() const;
    bool paceAlertsEnabled() const;
    bool keepsUsageHistory() const;

    QString version() const;
    bool showsDownload() const;
    QString downloadTitle() const;
    bool showsCheckForUpdates() const;
    bool isCheckingForUpdates() const;
    QString checkForUpdatesTitle() const;
    QString updateStatus() const;

    bool startsAtLogin() const;
    const QString& startupError() const { return m_startupError; }

    static QStringList privacyLines();

    Q_INVOKABLE void disconnectCodex();
    Q_INVOKABLE void disconnectClaude();
    Q_INVOKABLE void refreshNow();
    // 0 photo, 1 motion, 2 minimal: the order of the style buttons.
    Q_INVOKABLE void selectStyle(int index);
    Q_INVOKABLE void setTextColor(const QColor& color);
    Q_INVOKABLE void resetTextColor();
    Q_INVOKABLE void choosePhoto();
    Q_INVOKABLE void deletePhoto();
    Q_INVOKABLE void setAlertsEnabled(bool enabled);
    Q_INVOKABLE void setPaceAlertsEnabled(bool enabled);
    // Turning the history off deletes it; clearing deletes it and starts a new one.
    Q_INVOKABLE void setKeepsUsageHistory(bool kept);
    Q_INVOKABLE void clearHistory();
    Q_INVOKABLE void checkForUpdates();
    Q_INVOKABLE void downloadUpdate();
    Q_INVOKABLE void setStartsAtLogin(bool enabled);

signals:
    // Anything shown from the model may have changed (or the time moved on).
    void changed();
    void startupChanged();

private:
    AppPreferences& preferences() const;
    QDateTime now() const { return m_clock(); }

    AppModel* m_model;
    std::shared_ptr<AutostartEntry> m_autostart;
    std::function<QDateTime()> m_clock;
    QTimer m_tick;
    QString m_startupError;
};

} // namespace lumora
