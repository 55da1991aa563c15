#pragma once

#include "core/LocaleFormats.h"
#include "core/UsageSnapshot.h"
#include "model/AppPreferences.h"

#include <QAbstractListModel>
#include <QColor>
#include <QDateTime>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <algorithm>

namespace lumora {

class AppModel;

// One column under the break clock: a provider's remaining share and the time to its reset.
struct BreakStatus {
    QString providerID;
    QString title;         // "CLAUDE CODE"
    QString remainingText; // "58% LEFT"
    QString resetText;     // "1 hour 5 minutes" or "Reset time unavailable"
    bool hasResetTime = false;

    bool operator==(const BreakStatus&) const = default;
};

// The columns as a list for a Repeater; one row per shown provider, in order. Each row also
// carries the view model that owns the list (role viewModel), so that a delegate needs nothing
// from outside.
class BreakStatusList : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by BreakViewModel.")

public:
    enum Role {
        ProviderIDRole = Qt::UserRole + 1,
        TitleRole,
        RemainingRole,
        ResetRole,
        HasResetTimeRole,
        ViewModelRole
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    const QList<BreakStatus>& statuses() const { return m_statuses; }
    // Updates rows in place while the same providers are shown; otherwise starts over.
    void setStatuses(const QList<BreakStatus>& statuses);

private:
    QList<BreakStatus> m_statuses;
};

// Everything the break screen says and how it looks, computed from the application model and
// the wall clock. While `active` it ticks on every wall-clock second boundary; inactive it holds
// no timer.
class BreakViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Created by the break windows.")
    Q_PROPERTY(QDateTime now READ now NOTIFY nowChanged)
    Q_PROPERTY(QString clockTime READ clockTimeText NOTIFY nowChanged)
    Q_PROPERTY(QString meridiem READ meridiemText NOTIFY nowChanged)
    Q_PROPERTY(lumora::BreakStatusList* statuses READ statuses CONSTANT)
    Q_PROPERTY(bool hasStatuses READ hasStatuses NOTIFY statusesChanged)
    Q_PROPERTY(Background background READ background NOTIFY appearanceChanged)
    Q_PROPERTY(QColor textColor READ textColor NOTIFY appearanceChanged)
    Q_PROPERTY(QColor secondaryInformationColor READ secondaryInformationColorValue NOTIFY
                   appearanceChanged)
    Q_PROPERTY(bool reduceMotion READ reduceMotion NOTIFY reduceMotionChanged)
    Q_PROPERTY(QString fontFamily READ fontFamily CONSTANT)
    Q_PROPERTY(QString resetsInTitle READ resetsInTitle CONSTANT)
    // What a screen reader says of the break screen, and how it ends.
    Q_PROPERTY(QString accessibleName READ accessibleName CONSTANT)
    Q_PROPERTY(QString accessibleHint READ accessibleHint CONSTANT)

public:
    // What fills the screen behind the text: the photo style without a photo is plain black.
    enum class Background { Photo, Motion, Black };
    Q_ENUM(Background)

    static QString resetTimeUnavailable() { return tr("Reset time unavailable"); }
    static QString resetsInTitle() { return tr("RESETS IN"); }
    static QString accessibleName() { return tr("Break"); }
    static QString accessibleHint() { return tr("Press Escape or click to end the break"); }

    explicit BreakViewModel(AppModel* model, QObject* parent = nullptr);

    // The rules, as pure functions.
    // Enabled providers' snapshots in the order of `providerOrder`; unknown ids are skipped.
    static QList<UsageSnapshot> breakSnapshots(const QStringList& providerOrder, bool claudeEnabled,
                                               bool codexEnabled, const UsageSnapshot& claude,
                                               const UsageSnapshot& codex);
    // On a 12-hour clock "09:05" at 21:05 local time and "12:30" at 00:30; on a 24-hour clock
    // "21:05" and "00:30".
    static QString clockTime(const QDateTime& moment, const QLocale& locale = timeLocale());
    // On a 12-hour clock "AM" before noon (local time), else "PM"; nothing on a 24-hour clock.
    static QString meridiem(const QDateTime& moment, const QLocale& locale = timeLocale());
    // "1 hour 5 minutes", "30 minutes", "1 minute"; minutes counted up, a past reset "0 minutes".
    static QString resetCountdown(const QDateTime& reset, const QDateTime& now);
    static QColor secondaryInformationColor(BreakScreenStyle style, const QColor& textColor);
    static Background background(BreakScreenStyle style, bool hasPhoto);
    static BreakStatus status(const UsageSnapshot& snapshot, const QDateTime& now);
    // Milliseconds from `moment` to the next whole second of the wall clock (1 to 1000).
    static int msecsToNextSecond(const QDateTime& moment);
    // The break screen's typeface: Nimbus Sans, else Liberation Sans, else the default sans.
    static QString fontFamily();

    QDateTime now() const { return m_now; }
    QString clockTimeText() const { return clockTime(m_now); }
    QString meridiemText() const { return meridiem(m_now); }
    BreakStatusList* statuses() { return &m_statuses; }
    bool hasStatuses() const { return m_statuses.rowCount() > 0; }
    Background background() const;
    QImage photo() const;
    QColor textColor() const;
    QColor secondaryInformationColorValue() const;

    bool reduceMotion() const { return m_reduceMotion; }
    void setReduceMotion(bool reduceMotion);

    // Ticking while the break is on screen; activating it takes the time at once.
    bool isActive() const { return m_active; }
    void setActive(bool active);
    bool isTicking() const { return m_tick.isActive(); }

signals:
    void nowChanged();
    void statusesChanged();
    void appearanceChanged();
    void reduceMotionChanged();

private:
    void takeTime();
    void scheduleTick();
    void updateStatuses();

    QPointer<AppModel> m_model;
    QDateTime m_now;
    BreakStatusList m_statuses;
    QTimer m_tick;
    bool m_active = false;
    bool m_reduceMotion = false;
};

// Sizes of the break screen's text and layout, by the size of the screen it is on, in points.
class BreakMetrics : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(qreal width READ width WRITE setWidth NOTIFY sizeChanged)
    Q_PROPERTY(qreal height READ height WRITE setHeight NOTIFY sizeChanged)
    Q_PROPERTY(qreal clockFontSize READ clockFontSize NOTIFY sizeChanged)
    Q_PROPERTY(qreal meridiemFontSize READ meridiemFontSize NOTIFY sizeChanged)
    Q_PROPERTY(qreal remainingFontSize READ remainingFontSize NOTIFY sizeChanged)
    Q_PROPERTY(qreal countdownFontSize READ countdownFontSize NOTIFY sizeChanged)
    Q_PROPERTY(qreal unavailableFontSize READ unavailableFontSize NOTIFY sizeChanged)
    // For a status column: whether its reset line is a countdown, and that line's size.
    Q_PROPERTY(bool hasResetTime READ hasResetTime WRITE setHasResetTime NOTIFY sizeChanged)
    Q_PROPERTY(qreal resetFontSize READ resetFontSize NOTIFY sizeChanged)
    Q_PROPERTY(qreal statusOffset READ statusOffset NOTIFY sizeChanged)
    Q_PROPERTY(qreal statusSpacing READ statusSpacing NOTIFY sizeChanged)
    Q_PROPERTY(qreal vignetteInnerRadius READ vignetteInnerRadius NOTIFY sizeChanged)
    Q_PROPERTY(qreal vignetteOuterRadius READ vignetteOuterRadius NOTIFY sizeChanged)
    Q_PROPERTY(qreal providerFontSize READ providerFontSize CONSTANT)
    Q_PROPERTY(qreal resetsInFontSize READ resetsInFontSize CONSTANT)
    Q_PROPERTY(qreal columnMaximumWidth READ columnMaximumWidth CONSTANT)

public:
    qreal providerFontSize() const { return 16; }
    qreal resetsInFontSize() const { return 13; }
    qreal columnMaximumWidth() const { return 460; }

    using QObject::QObject;

    qreal width() const { return m_width; }
    void setWidth(qreal width);
    qreal height() const { return m_height; }
    void setHeight(qreal height);

    qreal clockFontSize() const { return clampTo(0.09 * m_width, 76, 132); }
    qreal meridiemFontSize() const { return clampTo(0.023 * m_width, 22, 34); }
    qreal remainingFontSize() const { return clampTo(0.024 * m_width, 27, 36); }
    qreal countdownFontSize() const { return clampTo(0.02 * m_width, 22, 29); }
    qreal unavailableFontSize() const { return clampTo(0.018 * m_width, 20, 25); }
    bool hasResetTime() const { return m_hasResetTime; }
    void setHasResetTime(bool hasResetTime);
    // The countdown's size, or the smaller one of "Reset time unavailable".
    qreal resetFontSize() const {
        return m_hasResetTime ? countdownFontSize() : unavailableFontSize();
    }
    // How far the status row sits below the centre, and the space between its columns.
    qreal statusOffset() const { return clampTo(0.145 * m_height, 108, 145); }
    qreal statusSpacing() const { return clampTo(0.045 * m_width, 36, 72); }

    // The motion background's darkening: clear up to the inner radius, darkest from the outer.
    qreal vignetteInnerRadius() const { return 0.24 * std::min(m_width, m_height); }
    qreal vignetteOuterRadius() const { return 0.76 * std::max(m_width, m_height); }

    // x raised to at least lo, then lowered to at most hi.
    static qreal clampTo(qreal x, qreal lo, qreal hi) { return std::min(std::max(x, lo), hi); }

signals:
    void sizeChanged();

private:
    qreal m_width = 0;
    qreal m_height = 0;
    bool m_hasResetTime = true;
};

} // namespace lumora
