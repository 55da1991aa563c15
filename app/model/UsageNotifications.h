#pragma once

#include "core/LocaleFormats.h"
#include "core/UsageSnapshot.h"
#include "history/UsagePace.h"
#include "platform/Notifier.h"

#include <QFuture>
#include <QLocale>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>
#include <optional>

namespace lumora {

struct UsageNotification {
    QString title;
    QString body;
    // Whether it offers a break (where the desktop shows buttons): a provider at 80% or resting.
    bool offersBreak = false;
    bool operator==(const UsageNotification&) const = default;
};

// The notification one refresh warrants for one provider, from its snapshot before and after:
// the main window crossing 80%, the provider running out, or a provider that had run out being
// usable again. At most one; nothing is remembered between refreshes, so the same state seen
// twice gives nothing the second time.
std::optional<UsageNotification> usageNotification(const UsageSnapshot& previous,
                                                   const UsageSnapshot& next,
                                                   const QLocale& locale = timeLocale());

// "At this pace Claude Code reaches its limit in 30 min", when the pace of the main window puts
// its limit before its reset and half an hour away or less.
std::optional<UsageNotification> paceNotification(const UsageSnapshot& snapshot,
                                                  const UsagePace& pace, const QDateTime& now);
inline constexpr qint64 paceWarningSeconds = 30 * 60;

// "Expected reset: 14:30" in the locale's short time format, or that the time is unknown.
QString resetDescription(const UsageSnapshot& snapshot, const QLocale& locale = timeLocale());

// Sends the usage notifications through the desktop's notification service.
class UsageNotifications : public QObject {
    Q_OBJECT

public:
    explicit UsageNotifications(std::shared_ptr<Notifier> notifier, QObject* parent = nullptr);

    // Decides and sends; the future finishes once the service has taken the notification (or at
    // once when there is nothing to send).
    QFuture<void> notifyIfNeeded(const UsageSnapshot& previous, const UsageSnapshot& next);
    // The pace warning, once per window of a provider (a window is told apart by its reset time).
    QFuture<void> notifyPaceIfNeeded(const UsageSnapshot& snapshot, const UsagePace& pace,
                                     const QDateTime& now);
    QFuture<void> sendNotification(const QString& title, const QString& body);
    // Asks whether notifications can be shown; `answered` gets the verdict on this object's
    // thread (never when this object is gone first).
    void requestPermission(std::function<void(bool granted)> answered);

private:
    std::shared_ptr<Notifier> m_notifier;
    QSet<QString> m_paceWarnedWindows;
};

} // namespace lumora
