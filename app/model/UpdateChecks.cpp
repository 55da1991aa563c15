#include "model/UpdateChecks.h"

#include "core/Errors.h"
#include "model/Background.h"

#include <QCoreApplication>

namespace lumora {
namespace {

struct CheckOutcome {
    std::optional<AppUpdateManifest> offer;
    std::optional<QString> failure;
};

} // namespace

UpdateChecks::UpdateChecks(std::shared_ptr<UpdateChecking> checker, QString currentVersion,
                           std::shared_ptr<UrlOpener> urlOpener, AppTiming timing, QObject* parent)
    : QObject(parent), m_checker(std::move(checker)), m_currentVersion(std::move(currentVersion)),
      m_urlOpener(std::move(urlOpener)) {
    m_loopTimer.setSingleShot(true);
    m_loopTimer.setInterval(timing.updateCheckInterval);
    connect(&m_loopTimer, &QTimer::timeout, this, &UpdateChecks::runLoopCheck);
}

QString UpdateChecks::availableUpdateVersion() const {
    return m_availableUpdate ? m_availableUpdate->version : QString();
}

void UpdateChecks::start() {
    runLoopCheck();
}

void UpdateChecks::runLoopCheck() {
    whenFinished(this, checkForUpdates(false),
                 [this](const QFuture<void>&) { m_loopTimer.start(); });
}

QFuture<void> UpdateChecks::checkForUpdates(bool userInitiated) {
    if (!m_checker) {
        if (userInitiated) {
            setStatusMessage(notConfiguredMessage);
        }
        return finishedFuture();
    }
    if (m_isChecking) {
        return finishedFuture();
    }
    setChecking(true);
    if (userInitiated) {
        setStatusMessage(std::nullopt);
    }
    Completion completion;
    runInBackground(
        this,
        [checker = m_checker, version = m_currentVersion] {
            try {
                return CheckOutcome{checker->check(version), std::nullopt};
            } catch (const Error& error) {
                return CheckOutcome{std::nullopt, error.description()};
            } catch (const std::exception& error) {
                return CheckOutcome{std::nullopt, QString::fromLocal8Bit(error.what())};
            }
        },
        [this, userInitiated, completion](const CheckOutcome& outcome) {
            if (!outcome.failure) {
                setAvailableUpdate(outcome.offer);
                setStatusMessage(outcome.offer ? QCoreApplication::translate(
                                                     "Messages", "Lumora %1 is available.")
                                                     .arg(outcome.offer->version)
                                               : upToDateMessage);
            } else if (userInitiated) {
                setStatusMessage(outcome.failure);
            }
            setChecking(false);
            completion.finish();
        });
    return completion.future();
}

void UpdateChecks::openAvailableUpdate() {
    if (m_availableUpdate) {
        m_urlOpener->open(m_availableUpdate->downloadURL);
    }
}

void UpdateChecks::setChecking(bool checking) {
    if (m_isChecking != checking) {
        m_isChecking = checking;
        emit isCheckingForUpdatesChanged();
    }
}

void UpdateChecks::setStatusMessage(std::optional<QString> message) {
    if (m_statusMessage != message) {
        m_statusMessage = std::move(message);
        emit updateStatusMessageChanged();
    }
}

void UpdateChecks::setAvailableUpdate(std::optional<AppUpdateManifest> offer) {
    if (m_availableUpdate != offer) {
        m_availableUpdate = std::move(offer);
        emit availableUpdateChanged();
    }
}

} // namespace lumora
