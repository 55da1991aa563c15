#pragma once

#include "core/AppUpdate.h"
#include "model/AppTiming.h"
#include "platform/DesktopServices.h"

#include <QFuture>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <memory>
#include <optional>

namespace lumora {

// Asks the update feed whether a version newer than the running one is published. Blocking; safe
// to call from any thread. Throws lumora::Error (with the text to show) when there is no answer.
class UpdateChecking {
public:
    virtual ~UpdateChecking() = default;
    virtual std::optional<AppUpdateManifest> check(const QString& currentVersion) const = 0;
};

// The published feed, fetched over HTTPS by the core's checker.
class FeedUpdateChecker : public UpdateChecking {
public:
    explicit FeedUpdateChecker(QUrl feedURL) : m_checker(std::move(feedURL)) {}
    std::optional<AppUpdateManifest> check(const QString& currentVersion) const override {
        return m_checker.check(currentVersion);
    }

private:
    AppUpdateChecker m_checker;
};

// The application's side of update checks: a check at start and every few hours, checks the
// user asks for, the newest offer and a one-line result. It only ever opens the download page.
class UpdateChecks : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool updateFeedConfigured READ updateFeedConfigured CONSTANT)
    Q_PROPERTY(QString currentVersion READ currentVersion CONSTANT)
    Q_PROPERTY(bool hasAvailableUpdate READ hasAvailableUpdate NOTIFY availableUpdateChanged)
    // Empty while nothing is offered.
    Q_PROPERTY(
        QString availableUpdateVersion READ availableUpdateVersion NOTIFY availableUpdateChanged)
    Q_PROPERTY(
        bool isCheckingForUpdates READ isCheckingForUpdates NOTIFY isCheckingForUpdatesChanged)
    // Empty while there is nothing to say.
    Q_PROPERTY(
        QString updateStatusMessage READ updateStatusMessage NOTIFY updateStatusMessageChanged)

public:
    static inline const QString notConfiguredMessage = QStringLiteral(
        QT_TRANSLATE_NOOP("Messages", "The update channel is not configured in this build."));
    static inline const QString upToDateMessage =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Lumora is up to date."));

    // Without a checker the build has no update channel.
    UpdateChecks(std::shared_ptr<UpdateChecking> checker, QString currentVersion,
                 std::shared_ptr<UrlOpener> urlOpener, AppTiming timing, QObject* parent = nullptr);

    bool updateFeedConfigured() const { return m_checker != nullptr; }
    const QString& currentVersion() const { return m_currentVersion; }
    const std::optional<AppUpdateManifest>& availableUpdate() const { return m_availableUpdate; }
    bool hasAvailableUpdate() const { return m_availableUpdate.has_value(); }
    QString availableUpdateVersion() const;
    bool isCheckingForUpdates() const { return m_isChecking; }
    const std::optional<QString>& statusMessage() const { return m_statusMessage; }
    QString updateStatusMessage() const { return m_statusMessage.value_or(QString()); }

    // Starts the update loop: a background check now, then one per interval.
    void start();
    // One check at a time: a request during a check is dropped. Background checks say nothing
    // about failures; the user's checks show them.
    QFuture<void> checkForUpdates(bool userInitiated);
    void openAvailableUpdate();

signals:
    void availableUpdateChanged();
    void isCheckingForUpdatesChanged();
    void updateStatusMessageChanged();

private:
    void runLoopCheck();
    void setChecking(bool checking);
    void setStatusMessage(std::optional<QString> message);
    void setAvailableUpdate(std::optional<AppUpdateManifest> offer);

    std::shared_ptr<UpdateChecking> m_checker;
    QString m_currentVersion;
    std::shared_ptr<UrlOpener> m_urlOpener;
    QTimer m_loopTimer;
    std::optional<AppUpdateManifest> m_availableUpdate;
    bool m_isChecking = false;
    std::optional<QString> m_statusMessage;
};

} // namespace lumora
