#include "views/SettingsViewModel.h"

#include "core/Messages.h"
#include "core/RelativeTime.h"
#include "model/AppModel.h"
#include "platform/Autostart.h"

namespace lumora {
namespace {

// Relative times change once a minute; a few ticks a minute keep them close to the clock.
constexpr auto tickInterval = std::chrono::seconds(15);

constexpr BreakScreenStyle styles[] = {BreakScreenStyle::photo, BreakScreenStyle::motion,
                                       BreakScreenStyle::minimal};

} // namespace

SettingsViewModel::SettingsViewModel(AppModel* model, std::shared_ptr<AutostartEntry> autostart,
                                     QObject* parent)
    : QObject(parent), m_model(model), m_autostart(std::move(autostart)),
      m_clock([] { return QDateTime::currentDateTimeUtc(); }) {
    connect(m_model, &AppModel::changed, this, &SettingsViewModel::changed);
    m_tick.setInterval(tickInterval);
    connect(&m_tick, &QTimer::timeout, this, [this] {
        emit changed();
        emit startupChanged();
    });
}

SettingsViewModel::~SettingsViewModel() = default;

void SettingsViewModel::setTicking(bool ticking) {
    if (!ticking) {
        m_tick.stop();
        return;
    }
    if (!m_tick.isActive()) {
        m_tick.start();
        // The times and the autostart entry may have changed while nobody looked.
        emit changed();
        emit startupChanged();
    }
}

AppPreferences& SettingsViewModel::preferences() const {
    return *m_model->preferences();
}

QString SettingsViewModel::codexStatus() const {
    return AppModel::statusTitle(m_model->codexSnapshot(), now());
}

QString SettingsViewModel::claudeStatus() const {
    return AppModel::statusTitle(m_model->snapshot(), now());
}

bool SettingsViewModel::showsDisconnectCodex() const {
    return preferences().codexEnabled();
}

bool SettingsViewModel::showsDisconnectClaude() const {
    return preferences().claudeEnabled();
}

QString SettingsViewModel::lastChecked() const {
    const QDateTime& capturedAt = m_model->snapshot().capturedAt;
    return capturedAt.isValid() ? relativeTimeText(capturedAt, now()) : tr("Never");
}

bool SettingsViewModel::canRefresh() const {
    return !m_model->isRefreshing();
}

QStringList SettingsViewModel::styleTitles() {
    return {tr("Photo"), tr("Motion"), tr("Minimal")};
}

int SettingsViewModel::selectedStyle() const {
    return static_cast<int>(preferences().breakScreenStyle());
}

QStringList SettingsViewModel::styleAccessibilityValues() const {
    QStringList values;
    for (const BreakScreenStyle style : styles) {
        values << (style == preferences().breakScreenStyle() ? tr("Selected") : tr("Not selected"));
    }
    return values;
}

QString SettingsViewModel::styleDescription() const {
    return styleDescription(preferences().breakScreenStyle());
}

QString SettingsViewModel::styleDescription(BreakScreenStyle style) {
    switch (style) {
    case BreakScreenStyle::photo:
        return tr("Your photo is copied into Lumora and stays only on this computer.");
    case BreakScreenStyle::motion:
        return tr("A slow, wind-driven stainless-steel surface.");
    case BreakScreenStyle::minimal:
        break;
    }
    return tr("A black screen with white time and reset information.");
}

QColor SettingsViewModel::textColor() const {
    return preferences().breakTextColor();
}

bool SettingsViewModel::showsPhotoControls() const {
    return preferences().breakScreenStyle() == BreakScreenStyle::photo;
}

bool SettingsViewModel::showsPhotoPreview() const {
    return showsPhotoControls() && m_model->photo()->hasBreakBackgroundImage();
}

QVariant SettingsViewModel::photo() const {
    return m_model->photo()->breakBackgroundImage();
}

QString SettingsViewModel::choosePhotoTitle() const {
    return m_model->photo()->hasBreakBackgroundImage() ? tr("Change Photo…") : tr("Choose Photo…");
}

bool SettingsViewModel::showsDeletePhoto() const {
    return showsPhotoPreview();
}

QString SettingsViewModel::photoError() const {
    return showsPhotoControls() ? shownMessage(m_model->photo()->breakBackgroundErrorMessage())
                                : QString();
}

bool SettingsViewModel::alertsEnabled() const {
    return preferences().alertsEnabled();
}

QString SettingsViewModel::version() const {
    return m_model->updates()->currentVersion();
}

bool SettingsViewModel::showsDownload() const {
    return m_model->updates()->hasAvailableUpdate();
}

QString SettingsViewModel::downloadTitle() const {
    return showsDownload()
               ? tr("Download Lumora %1").arg(m_model->updates()->availableUpdateVersion())
               : QString();
}

bool SettingsViewModel::showsCheckForUpdates() const {
    return !showsDownload();
}

bool SettingsViewModel::isCheckingForUpdates() const {
    return m_model->updates()->isCheckingForUpdates();
}

QString SettingsViewModel::checkForUpdatesTitle() const {
    return isCheckingForUpdates() ? tr("Checking…") : tr("Check for Updates");
}

QString SettingsViewModel::updateStatus() const {
    return shownMessage(m_model->updates()->updateStatusMessage());
}

bool SettingsViewModel::startsAtLogin() const {
    return m_autostart->isEnabled();
}

QStringList SettingsViewModel::privacyLines() {
    return {tr("Never reads or sends chats, code, file names, or credentials."),
            tr("Usage data stays on this computer and is never shared with advertisers.")};
}

void SettingsViewModel::disconnectCodex() {
    preferences().setCodexEnabled(false);
}

void SettingsViewModel::disconnectClaude() {
    m_model->disconnectClaude();
}

void SettingsViewModel::refreshNow() {
    m_model->refresh(true);
}

void SettingsViewModel::selectStyle(int index) {
    if (index >= 0 && index < static_cast<int>(std::size(styles))) {
        preferences().setBreakScreenStyle(styles[index]);
    }
}

void SettingsViewModel::setTextColor(const QColor& color) {
    if (color.isValid()) {
        // Assigning the colour also stores it.
        preferences().setBreakTextColor(color);
    }
}

void SettingsViewModel::resetTextColor() {
    setTextColor(QColor(Qt::white));
}

void SettingsViewModel::choosePhoto() {
    m_model->chooseBreakBackgroundImage();
}

void SettingsViewModel::deletePhoto() {
    m_model->removeBreakBackgroundImage();
}

void SettingsViewModel::setAlertsEnabled(bool enabled) {
    preferences().setAlertsEnabled(enabled);
}

bool SettingsViewModel::paceAlertsEnabled() const {
    return preferences().paceAlertsEnabled();
}

void SettingsViewModel::setPaceAlertsEnabled(bool enabled) {
    preferences().setPaceAlertsEnabled(enabled);
}

bool SettingsViewModel::keepsUsageHistory() const {
    return preferences().keepUsageHistory();
}

void SettingsViewModel::setKeepsUsageHistory(bool kept) {
    preferences().setKeepUsageHistory(kept);
}

void SettingsViewModel::clearHistory() {
    m_model->history()->clear();
}

void SettingsViewModel::checkForUpdates() {
    m_model->checkForUpdates(true);
}

void SettingsViewModel::downloadUpdate() {
    m_model->openAvailableUpdate();
}

void SettingsViewModel::setStartsAtLogin(bool enabled) {
    m_startupError = m_autostart->setEnabled(enabled).value_or(QString());
    emit startupChanged();
}

} // namespace lumora
