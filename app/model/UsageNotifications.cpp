#include "model/UsageNotifications.h"

#include "core/RelativeTime.h"
#include "model/Background.h"

#include <QCoreApplication>

namespace lumora {
namespace {

constexpr double warningRatio = 0.8;

std::optional<double> primaryRatio(const UsageSnapshot& snapshot) {
    const auto window = snapshot.primaryWindow();
    return window ? window->usedRatio : std::nullopt;
}

} // namespace

std::optional<UsageNotification>
usageNotification(const UsageSnapshot& previous, const UsageSnapshot& next, const QLocale& locale) {
    const auto previousRatio = primaryRatio(previous);
    const auto nextRatio = primaryRatio(next);
    const bool wasBelow = !previousRatio || *previousRatio < warningRatio;
    const bool isAtOrAbove = nextRatio && *nextRatio >= warningRatio;
    const bool crossed = wasBelow && isAtOrAbove;
    const QString& name = next.providerName;

    if (previous.availability != Availability::blocked) {
        if (!crossed && next.availability == Availability::blocked) {
            return UsageNotification{
                QCoreApplication::translate("UsageNotifications", "%1 is resting").arg(name),
                resetDescription(next, locale), true};
        }
    } else if (next.availability == Availability::ready) {
        return UsageNotification{
            QCoreApplication::translate("UsageNotifications", "%1 is ready").arg(name),
            QCoreApplication::translate("UsageNotifications", "You can use %1 again.").arg(name)};
    }
    if (crossed) {
        return UsageNotification{
            QCoreApplication::translate("UsageNotifications", "%1 usage reached 80%").arg(name),
            resetDescription(next, locale), true};
    }
    return std::nullopt;
}

std::optional<UsageNotification> paceNotification(const UsageSnapshot& snapshot,
                                                  const UsagePace& pace, const QDateTime& now) {
    if (pace.verdict != UsagePace::Verdict::limitBeforeReset || !pace.limitAt ||
        now.secsTo(*pace.limitAt) > paceWarningSeconds) {
        return std::nullopt;
    }
    const QDateTime limit = std::max(*pace.limitAt, now.addSecs(1));
    return UsageNotification{
        QCoreApplication::translate("UsageNotifications", "At this pace %1 reaches its limit %2")
            .arg(snapshot.providerName, relativeTimeText(limit, now)),
        resetDescription(snapshot), true};
}

QString resetDescription(const UsageSnapshot& snapshot, const QLocale& locale) {
    const auto window = snapshot.primaryWindow();
    if (!window || !window->resetsAt) {
        return QCoreApplication::translate("UsageNotifications", "Reset time is unavailable.");
    }
    return QCoreApplication::translate("UsageNotifications", "Expected reset: %1")
        .arg(locale.toString(window->resetsAt->toLocalTime().time(), QLocale::ShortFormat));
}

UsageNotifications::UsageNotifications(std::shared_ptr<Notifier> notifier, QObject* parent)
    : QObject(parent), m_notifier(std::move(notifier)) {}

QFuture<void> UsageNotifications::notifyIfNeeded(const UsageSnapshot& previous,
                                                 const UsageSnapshot& next) {
    const auto notification = usageNotification(previous, next);
    if (!notification) {
        return finishedFuture();
    }
    if (notification->offersBreak) {
        return m_notifier->sendOfferingBreak(notification->title, notification->body);
    }
    return sendNotification(notification->title, notification->body);
}

QFuture<void> UsageNotifications::notifyPaceIfNeeded(const UsageSnapshot& snapshot,
                                                     const UsagePace& pace, const QDateTime& now) {
    const auto notification = paceNotification(snapshot, pace, now);
    const auto window = snapshot.primaryWindow();
    if (!notification || !window) {
        return finishedFuture();
    }
    const QString key =
        snapshot.providerID + QLatin1Char('/') + rawValue(window->kind) + QLatin1Char('/') +
        (window->resetsAt ? QString::number(window->resetsAt->toSecsSinceEpoch()) : QString());
    if (m_paceWarnedWindows.contains(key)) {
        return finishedFuture();
    }
    m_paceWarnedWindows.insert(key);
    return m_notifier->sendOfferingBreak(notification->title, notification->body);
}

QFuture<void> UsageNotifications::sendNotification(const QString& title, const QString& body) {
    return m_notifier->send(title, body);
}

void UsageNotifications::requestPermission(std::function<void(bool granted)> answered) {
    whenFinished(this, m_notifier->requestAuthorization(),
                 [answered = std::move(answered)](const QFuture<bool>& answer) {
                     answered(answer.isValid() && answer.resultCount() > 0 && answer.result());
                 });
}

} // namespace lumora
