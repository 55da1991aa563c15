#include "views/BreakViewModel.h"

#include "model/AppModel.h"

#include <QFontDatabase>

#include <cmath>

namespace lumora {

// BreakStatusList

int BreakStatusList::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_statuses.size());
}

QVariant BreakStatusList::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const BreakStatus& status = m_statuses.at(index.row());
    switch (role) {
    case ProviderIDRole:
        return status.providerID;
    case TitleRole:
        return status.title;
    case RemainingRole:
        return status.remainingText;
    case ResetRole:
        return status.resetText;
    case HasResetTimeRole:
        return status.hasResetTime;
    case ViewModelRole:
        return QVariant::fromValue(qobject_cast<BreakViewModel*>(parent()));
    default:
        return {};
    }
}

QHash<int, QByteArray> BreakStatusList::roleNames() const {
    return {{ProviderIDRole, "providerID"},     {TitleRole, "title"},
            {RemainingRole, "remainingText"},   {ResetRole, "resetText"},
            {HasResetTimeRole, "hasResetTime"}, {ViewModelRole, "viewModel"}};
}

void BreakStatusList::setStatuses(const QList<BreakStatus>& statuses) {
    const auto ids = [](const QList<BreakStatus>& list) {
        QStringList result;
        for (const BreakStatus& status : list) {
            result.append(status.providerID);
        }
        return result;
    };
    if (ids(statuses) != ids(m_statuses)) {
        beginResetModel();
        m_statuses = statuses;
        endResetModel();
        return;
    }
    for (int row = 0; row < statuses.size(); ++row) {
        if (statuses[row] != m_statuses[row]) {
            m_statuses[row] = statuses[row];
            emit dataChanged(index(row), index(row));
        }
    }
}

// BreakViewModel

BreakViewModel::BreakViewModel(AppModel* model, QObject* parent)
    : QObject(parent), m_model(model), m_now(QDateTime::currentDateTime()), m_statuses(this) {
    m_tick.setSingleShot(true);
    m_tick.setTimerType(Qt::PreciseTimer);
    connect(&m_tick, &QTimer::timeout, this, [this] {
        takeTime();
        scheduleTick();
    });
    if (m_model) {
        connect(m_model, &AppModel::changed, this, [this] {
            updateStatuses();
            emit appearanceChanged();
        });
    }
    updateStatuses();
}

QList<UsageSnapshot> BreakViewModel::breakSnapshots(const QStringList& providerOrder,
                                                    bool claudeEnabled, bool codexEnabled,
                                                    const UsageSnapshot& claude,
                                                    const UsageSnapshot& codex) {
    QList<UsageSnapshot> shown;
    for (const QString& id : providerOrder) {
        if (id == providers::codexID && codexEnabled) {
            shown.append(codex);
        } else if (id == providers::claudeCodeID && claudeEnabled) {
            shown.append(claude);
        }
    }
    return shown;
}

QString BreakViewModel::clockTime(const QDateTime& moment, const QLocale& locale) {
    const QTime time = moment.toLocalTime().time();
    const int hour = time.isValid() ? time.hour() : 0;
    const int minute = time.isValid() ? time.minute() : 0;
    const int shownHour = !uses12HourClock(locale) ? hour : hour % 12 == 0 ? 12 : hour % 12;
    return QStringLiteral("%1:%2")
        .arg(shownHour, 2, 10, QLatin1Char('0'))
        .arg(minute, 2, 10, QLatin1Char('0'));
}

QString BreakViewModel::meridiem(const QDateTime& moment, const QLocale& locale) {
    if (!uses12HourClock(locale)) {
        return {};
    }
    const QTime time = moment.toLocalTime().time();
    return time.isValid() && time.hour() >= 12 ? locale.pmText() : locale.amText();
}

QString BreakViewModel::resetCountdown(const QDateTime& reset, const QDateTime& now) {
    const double seconds = double(now.msecsTo(reset)) / 1000.0;
    const qint64 minutes = qint64(std::ceil(seconds / 60.0));
    const qint64 m = std::max<qint64>(minutes, 0);
    // A separate text for exactly one keeps English right without a translator; the "%n"
    // texts carry every other count, inflected by the translations.
    const int hours = static_cast<int>(m / 60);
    const int rest = static_cast<int>(m % 60);
    const QString minuteText = rest == 1 ? tr("1 minute") : tr("%n minutes", nullptr, rest);
    if (minutes < 60) {
        return minuteText;
    }
    const QString hourText = hours == 1 ? tr("1 hour") : tr("%n hours", nullptr, hours);
    return tr("%1 %2", "1 hour 5 minutes").arg(hourText, minuteText);
}

QColor BreakViewModel::secondaryInformationColor(BreakScreenStyle style, const QColor& textColor) {
    QColor color = textColor;
    color.setAlphaF(float(textColor.alphaF() * (style == BreakScreenStyle::motion ? 0.64 : 0.72)));
    return color;
}

BreakViewModel::Background BreakViewModel::background(BreakScreenStyle style, bool hasPhoto) {
    switch (style) {
    case BreakScreenStyle::photo:
        return hasPhoto ? Background::Photo : Background::Black;
    case BreakScreenStyle::motion:
        return Background::Motion;
    case BreakScreenStyle::minimal:
        break;
    }
    return Background::Black;
}

BreakStatus BreakViewModel::status(const UsageSnapshot& snapshot, const QDateTime& now) {
    BreakStatus status;
    status.providerID = snapshot.providerID;
    status.title = snapshot.providerName.toUpper();
    status.remainingText = tr("%1 LEFT", "42% LEFT").arg(snapshot.remainingPercentageText(now));
    const auto window = snapshot.primaryWindow();
    status.hasResetTime = window && window->resetsAt;
    status.resetText =
        status.hasResetTime ? resetCountdown(*window->resetsAt, now) : resetTimeUnavailable();
    return status;
}

int BreakViewModel::msecsToNextSecond(const QDateTime& moment) {
    return 1000 - int(moment.toMSecsSinceEpoch() % 1000);
}

QString BreakViewModel::fontFamily() {
    for (const QString& family :
         {QStringLiteral("Nimbus Sans"), QStringLiteral("Liberation Sans")}) {
        if (QFontDatabase::hasFamily(family)) {
            return family;
        }
    }
    return QStringLiteral("Sans Serif");
}

BreakViewModel::Background BreakViewModel::background() const {
    if (!m_model) {
        return Background::Black;
    }
    return background(m_model->preferences()->breakScreenStyle(),
                      m_model->photo()->hasBreakBackgroundImage());
}

QImage BreakViewModel::photo() const {
    return m_model ? m_model->photo()->breakBackgroundImage() : QImage();
}

QColor BreakViewModel::textColor() const {
    return m_model ? m_model->preferences()->breakTextColor() : QColor(Qt::white);
}

QColor BreakViewModel::secondaryInformationColorValue() const {
    return m_model
               ? secondaryInformationColor(m_model->preferences()->breakScreenStyle(), textColor())
               : textColor();
}

void BreakViewModel::setReduceMotion(bool reduceMotion) {
    if (m_reduceMotion != reduceMotion) {
        m_reduceMotion = reduceMotion;
        emit reduceMotionChanged();
    }
}

void BreakViewModel::setActive(bool active) {
    if (m_active == active) {
        return;
    }
    m_active = active;
    if (active) {
        takeTime();
        scheduleTick();
    } else {
        m_tick.stop();
    }
}

void BreakViewModel::takeTime() {
    m_now = QDateTime::currentDateTime();
    emit nowChanged();
    updateStatuses();
}

void BreakViewModel::scheduleTick() {
    // A few milliseconds past the boundary, so that a timer that fires early still lands in the
    // new second.
    m_tick.start(msecsToNextSecond(QDateTime::currentDateTime()) + 3);
}

void BreakViewModel::updateStatuses() {
    QList<BreakStatus> statuses;
    if (m_model) {
        const AppPreferences& preferences = *m_model->preferences();
        for (const UsageSnapshot& snapshot : breakSnapshots(
                 preferences.providerOrder(), preferences.claudeEnabled(),
                 preferences.codexEnabled(), m_model->snapshot(), m_model->codexSnapshot())) {
            statuses.append(status(snapshot, m_now));
        }
    }
    const bool had = hasStatuses();
    m_statuses.setStatuses(statuses);
    if (had != hasStatuses()) {
        emit statusesChanged();
    }
}

// BreakMetrics

void BreakMetrics::setWidth(qreal width) {
    if (m_width != width) {
        m_width = width;
        emit sizeChanged();
    }
}

void BreakMetrics::setHasResetTime(bool hasResetTime) {
    if (m_hasResetTime != hasResetTime) {
        m_hasResetTime = hasResetTime;
        emit sizeChanged();
    }
}

void BreakMetrics::setHeight(qreal height) {
    if (m_height != height) {
        m_height = height;
        emit sizeChanged();
    }
}

} // namespace lumora
