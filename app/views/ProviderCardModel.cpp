#include "views/ProviderCardModel.h"
#include "core/UsageWindowLabel.h"

#include "core/LocaleFormats.h"
#include "core/Messages.h"
#include "core/RelativeTime.h"
#include "model/AppModel.h"
#include "views/Sparkline.h"

#include <QCoreApplication>

#include <cmath>

namespace lumora {

using Kind = ProviderConnectionState::Kind;

ProviderCardModel::ProviderCardModel(AppModel* model, QString providerID, QObject* parent)
    : QObject(parent), m_model(model), m_providerID(std::move(providerID)) {}

QString ProviderCardModel::staleDetail() {
    return tr("Open Claude Code and send a message to refresh the official usage status. The last "
              "percentage is hidden when it is no longer current.");
}

QString ProviderCardModel::privacyLine() {
    return tr("Usage and reset time only. No chats, code, files, or credentials.");
}

QString ProviderCardModel::connectionMessage(const UsageSnapshot& snapshot,
                                             const ProviderConnectionState& state) {
    const QString& name = snapshot.providerName;
    switch (state.kind()) {
    case Kind::disconnected:
        return tr("Connect your existing local %1 session.").arg(name);
    case Kind::checking:
        return tr("Checking local setup…");
    case Kind::executableMissing:
        return tr("%1 is not installed.").arg(name);
    case Kind::loginRequired:
        return tr("Sign in through the official %1 app first.").arg(name);
    case Kind::setupRequired:
        // Only Claude Code has a status sync to enable, whichever card asks.
        return tr("Enable official Claude Code status sync. Lumora stores only usage and reset "
                  "time.");
    case Kind::waiting:
        return tr("Waiting for Claude Code usage…");
    case Kind::failed:
        return shownMessage(state.message());
    }
    return {};
}

QString ProviderCardModel::connectionButtonTitle(const UsageSnapshot& snapshot,
                                                 const ProviderConnectionState& state) {
    switch (state.kind()) {
    case Kind::disconnected:
        return tr("Connect");
    case Kind::checking:
        return tr("Checking");
    case Kind::executableMissing:
        return snapshot.providerID == providers::claudeCodeID ? tr("Install") : tr("Get Codex");
    case Kind::loginRequired:
        return tr("Open Sign In");
    case Kind::setupRequired:
        return tr("Enable Sync");
    case Kind::waiting:
        return tr("Check Now");
    case Kind::failed:
        return tr("Try Again");
    }
    return {};
}

namespace {

// English has one form for one and another for the rest; every other language's forms come from
// the numerus entries of its translation.
QString daysText(qint64 n) {
    const int count = static_cast<int>(n);
    return n == 1 ? ProviderCardModel::tr("%n day", "spoken duration", count)
                  : ProviderCardModel::tr("%n days", "spoken duration", count);
}

QString hoursText(qint64 n) {
    const int count = static_cast<int>(n);
    return n == 1 ? ProviderCardModel::tr("%n hour", "spoken duration", count)
                  : ProviderCardModel::tr("%n hours", "spoken duration", count);
}

QString minutesText(qint64 n) {
    const int count = static_cast<int>(n);
    return n == 1 ? ProviderCardModel::tr("%n minute", "spoken duration", count)
                  : ProviderCardModel::tr("%n minutes", "spoken duration", count);
}

} // namespace

QString ProviderCardModel::spokenDuration(qint64 minutes) {
    const qint64 days = minutes / (24 * 60);
    const qint64 hours = (minutes / 60) % 24;
    const qint64 rest = minutes % 60;
    if (days > 0) {
        return hours > 0 ? tr("%1 %2", "spoken duration: days, then hours")
                               .arg(daysText(days), hoursText(hours))
                         : daysText(days);
    }
    if (hours > 0) {
        return rest > 0 ? tr("%1 %2", "spoken duration: hours, then minutes")
                              .arg(hoursText(hours), minutesText(rest))
                        : hoursText(hours);
    }
    return minutesText(rest);
}

QString ProviderCardModel::reorderHint() {
    return tr("Alt+Up or Alt+Down moves the card");
}

bool ProviderCardModel::moveByKey(int key, int modifiers) {
    if ((modifiers & ~Qt::KeypadModifier) != Qt::AltModifier ||
        (key != Qt::Key_Up && key != Qt::Key_Down)) {
        return false;
    }
    emit moveRequested(m_providerID, key == Qt::Key_Up ? -1 : 1);
    return true;
}

bool ProviderCardModel::isClaude() const {
    return m_providerID == providers::claudeCodeID;
}

bool ProviderCardModel::isCodex() const {
    return m_providerID == providers::codexID;
}

ProviderCardModel::Reading ProviderCardModel::read() const {
    const AppPreferences& preferences = *m_model->preferences();
    const ProviderConnections& connections = *m_model->connections();
    if (isClaude()) {
        return {m_model->snapshot(), preferences.claudeEnabled(), preferences.showClaudeInMenuBar(),
                connections.claudeConnectionState()};
    }
    return {m_model->codexSnapshot(), preferences.codexEnabled(), preferences.showCodexInMenuBar(),
            connections.codexConnectionState()};
}

void ProviderCardModel::update(const QDateTime& now) {
    if (isEmpty()) {
        return;
    }
    const Reading reading = read();
    const UsageSnapshot& snapshot = reading.snapshot;
    Content content;
    content.providerName = snapshot.providerName;
    content.showsSwitch = reading.enabled;
    content.showInMenuBar = reading.shownInMenuBar;
    content.switchLabel = tr("Show %1 in the menu bar").arg(snapshot.providerName);
    content.compactRemainingText = snapshot.compactRemainingText(now);

    if (!reading.enabled || reading.state.kind() != Kind::disconnected) {
        content.block = Block::Connection;
        content.connectionMessage = connectionMessage(snapshot, reading.state);
        content.showsPrivacyLine = reading.state.kind() == Kind::disconnected;
        content.connectionBusy = reading.state.kind() == Kind::checking;
        content.connectionButtonTitle = connectionButtonTitle(snapshot, reading.state);
        content.spokenText = tr("%1, %2", "a card read aloud: provider, message")
                                 .arg(content.providerName, content.connectionMessage);
    } else if (snapshot.isStale(now)) {
        content.block = Block::Stale;
        content.lastUpdateText =
            tr("Last update: %1").arg(relativeTimeText(snapshot.capturedAt, now));
        content.spokenText = tr("%1, %2, %3", "a card read aloud: provider, notice, last update")
                                 .arg(content.providerName, staleTitle(), content.lastUpdateText);
    } else if (const auto window = snapshot.primaryWindow();
               !window || !window->usedRatio || !std::isfinite(*window->usedRatio)) {
        content.block = Block::Message;
        content.statusText = snapshot.statusMessage ? shownMessage(*snapshot.statusMessage)
                                                    : tr("Status is unavailable.");
        content.spokenText = tr("%1, %2", "a card read aloud: provider, message")
                                 .arg(content.providerName, content.statusText);
    } else {
        content.block = Block::Usage;
        double remaining = 1.0 - *window->usedRatio;
        if (remaining <= 0) {
            remaining = 0;
        }
        // std::round takes halves away from zero.
        content.percentageText = QString::number(static_cast<qint64>(std::round(remaining * 100)));
        content.barValue = remaining;
        content.tint = remaining <= 0.005 ? Tint::Red
                       : remaining <= 0.2 ? Tint::Orange
                                          : Tint::Accent;
        content.windowLabel = usageWindowLabel(window->kind);
        if (window->resetsAt) {
            content.resetText =
                tr("Resets %1", "in 2 hr 15 min").arg(relativeTimeText(*window->resetsAt, now));
        }
        if (const UsageHistory* history = m_model->history(); history->isKept()) {
            const QList<PaceFigure> figures = history->mainWindowFigures(snapshot);
            const UsagePace pace = usagePace(figures, now);
            content.paceText = lumora::paceText(pace, now);
            content.paceWarns = pace.verdict == UsagePace::Verdict::limitBeforeReset;
            SparklineShape shape = sparklineShape(figures, pace, window->kind, now);
            content.sparkline = std::move(shape.line);
            content.projection = std::move(shape.projection);
        }
        content.weeklyText = weeklyText(snapshot, now);
        content.spokenText = spokenUsage(content, window->resetsAt, now);
    }

    if (!(content == m_content)) {
        m_content = std::move(content);
        emit changed();
    }
}

QString ProviderCardModel::weeklyText(const UsageSnapshot& snapshot, const QDateTime& now,
                                      const QLocale& locale) {
    const auto main = snapshot.primaryWindow();
    for (const UsageWindow& window : snapshot.windows) {
        if (window.kind != UsageWindow::Kind::weekly || !main || main->kind == window.kind ||
            !window.usedRatio) {
            continue;
        }
        const qint64 left = remainingPercentage(*window.usedRatio).value_or(0);
        if (!window.resetsAt) {
            return tr("Weekly %1% left").arg(left);
        }
        // Within a day the time alone says when; further out, the day of the week too.
        const QDateTime reset = window.resetsAt->toLocalTime();
        return tr("Weekly %1% left \u00B7 resets %2", "resets Mon 09:00")
            .arg(left)
            .arg(dayAndTimeText(*window.resetsAt, now, locale));
    }
    return {};
}

QString ProviderCardModel::spokenUsage(const Content& content,
                                       const std::optional<QDateTime>& resetsAt,
                                       const QDateTime& now) {
    const int percent = content.percentageText.toInt();
    const qint64 seconds = resetsAt ? now.secsTo(*resetsAt) : -1;
    if (seconds >= 60) {
        return tr("%1, %n percent left, %2, resets in %3", "a card read aloud", percent)
            .arg(content.providerName, content.windowLabel, spokenDuration(seconds / 60));
    }
    if (seconds > 0) {
        return tr("%1, %n percent left, %2, resets in under a minute", "a card read aloud", percent)
            .arg(content.providerName, content.windowLabel);
    }
    return tr("%1, %n percent left, %2", "a card read aloud", percent)
        .arg(content.providerName, content.windowLabel);
}

namespace {
QVariantList variantPoints(const QList<QPointF>& points) {
    QVariantList list;
    for (const QPointF& point : points) {
        list.append(point);
    }
    return list;
}
} // namespace

QVariantList ProviderCardModel::sparklinePoints() const {
    return variantPoints(m_content.sparkline);
}

QVariantList ProviderCardModel::sparklineProjection() const {
    return variantPoints(m_content.projection);
}

void ProviderCardModel::setDragged(bool dragged) {
    if (m_dragged != dragged) {
        m_dragged = dragged;
        emit draggedChanged();
    }
}

void ProviderCardModel::setShowInMenuBar(bool shown) {
    if (isEmpty()) {
        return;
    }
    if (isClaude()) {
        m_model->preferences()->setShowClaudeInMenuBar(shown);
    } else {
        m_model->preferences()->setShowCodexInMenuBar(shown);
    }
}

void ProviderCardModel::pressConnectionButton() {
    if (isEmpty()) {
        return;
    }
    ProviderConnections& connections = *m_model->connections();
    const Kind kind = read().state.kind();
    switch (kind) {
    case Kind::checking:
        return;
    case Kind::executableMissing:
    case Kind::loginRequired:
    case Kind::setupRequired:
        if (isClaude()) {
            m_model->continueClaudeSetup();
        } else {
            m_model->continueCodexSetup();
        }
        return;
    case Kind::disconnected:
    case Kind::waiting:
    case Kind::failed:
        // Connect: "checking", the provider's readiness on the thread pool, then its verdict.
        if (isClaude()) {
            connections.checkClaudeReadiness();
        } else {
            connections.checkCodexReadiness();
        }
        return;
    }
}

} // namespace lumora
