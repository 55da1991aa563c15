#include "model/UsageHistory.h"

#include "model/AppPreferences.h"

#include <QFile>

#include <cmath>

namespace lumora {
namespace {

bool isReported(const UsageSnapshot& snapshot) {
    return snapshot.availability != Availability::unknown &&
           (snapshot.source == SnapshotSource::officialCLI ||
            snapshot.source == SnapshotSource::officialAppServer);
}

} // namespace

UsageHistory::UsageHistory(QString path, AppPreferences* preferences, QObject* parent)
    : QObject(parent), m_path(std::move(path)), m_preferences(preferences) {
    connect(m_preferences, &AppPreferences::keepUsageHistoryChanged, this,
            [this] { keep(m_preferences->keepUsageHistory()); });
    m_pruneTimer.setInterval(std::chrono::hours(24));
    connect(&m_pruneTimer, &QTimer::timeout, this, &UsageHistory::prune);
}

UsageHistory::~UsageHistory() = default;

bool UsageHistory::isKept() const {
    return m_preferences->keepUsageHistory();
}

// The file is opened when it is first needed, after the tray has started.
HistoryStore* UsageHistory::store() const {
    if (!isKept()) {
        return nullptr;
    }
    if (!m_store) {
        m_store = std::make_unique<HistoryStore>(m_path, HistoryStore::Access::readWrite);
        // Pruned on opening and then once a day.
        prune();
        m_pruneTimer.start();
    }
    return m_store->isOpen() ? m_store.get() : nullptr;
}

void UsageHistory::prune() const {
    if (HistoryStore* history = m_store.get()) {
        history->prune(QDateTime::currentDateTimeUtc().addDays(-keptDays));
    }
}

void UsageHistory::record(const UsageSnapshot& snapshot) {
    if (!isReported(snapshot)) {
        return;
    }
    HistoryStore* history = store();
    if (!history) {
        return;
    }
    const auto main = snapshot.primaryWindow();
    bool recorded = false;
    for (const UsageWindow& window : snapshot.windows) {
        if (!window.usedRatio || !std::isfinite(*window.usedRatio) ||
            !history->record({snapshot.providerID, window.kind, *window.usedRatio, window.resetsAt,
                              snapshot.capturedAt, snapshot.source})) {
            continue;
        }
        recorded = true;
        const auto recent = m_recent.find(snapshot.providerID);
        if (main && window.kind == main->kind && recent != m_recent.end() &&
            recent->kind == window.kind) {
            appendFigure(recent->figures,
                         {snapshot.capturedAt, *window.usedRatio, window.resetsAt});
            const QDateTime oldest = snapshot.capturedAt.addSecs(-windowSeconds(window.kind));
            recent->figures.removeIf(
                [&](const PaceFigure& figure) { return figure.capturedAt < oldest; });
        }
    }
    if (recorded) {
        emit changed();
    }
}

QList<PaceFigure> UsageHistory::mainWindowFigures(const UsageSnapshot& snapshot) const {
    const auto main = snapshot.primaryWindow();
    HistoryStore* history = store();
    if (!main || !main->usedRatio || !history) {
        return {};
    }
    auto recent = m_recent.find(snapshot.providerID);
    if (recent == m_recent.end() || recent->kind != main->kind) {
        Recent loaded{main->kind, {}};
        const QDateTime since = QDateTime::currentDateTimeUtc().addSecs(-windowSeconds(main->kind));
        for (const HistoryFigure& figure :
             history->figures(since, snapshot.providerID, main->kind)) {
            loaded.figures.append({figure.capturedAt, figure.usedRatio, figure.resetsAt});
        }
        recent = m_recent.insert(snapshot.providerID, std::move(loaded));
    }
    QList<PaceFigure> figures = recent->figures;
    appendFigure(figures, {snapshot.capturedAt, *main->usedRatio, main->resetsAt});
    return figures;
}

UsagePace UsageHistory::pace(const UsageSnapshot& snapshot, const QDateTime& now) const {
    return usagePace(mainWindowFigures(snapshot), now);
}

void UsageHistory::clear() {
    m_recent.clear();
    if (m_store) {
        m_store->clear();
    } else {
        HistoryStore::remove(m_path);
    }
    emit changed();
}

void UsageHistory::keep(bool kept) {
    if (kept) {
        emit changed();
        return;
    }
    m_pruneTimer.stop();
    m_store.reset();
    m_recent.clear();
    HistoryStore::remove(m_path);
    emit changed();
}

} // namespace lumora
