#pragma once

#include "core/UsageSnapshot.h"
#include "history/HistoryStore.h"
#include "history/UsagePace.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <memory>

namespace lumora {

class AppPreferences;

// The model's part that keeps the usage history: after each refresh it records the figures the
// providers reported, prunes what is older than 90 days once a day, and keeps the figures of each
// provider's main window in memory for the popover's sparkline and pace. While the user has the
// history turned off nothing is recorded and the file is gone.
class UsageHistory : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isKept READ isKept NOTIFY changed)

public:
    // How long figures are kept.
    static constexpr qint64 keptDays = 90;

    UsageHistory(QString path, AppPreferences* preferences, QObject* parent = nullptr);
    ~UsageHistory() override;

    bool isKept() const;
    // Records every window of a snapshot the provider has just reported (not one loaded from
    // the cache or made up for a problem).
    void record(const UsageSnapshot& snapshot);
    // The figures of a snapshot's main window since it began (the snapshot's own figure last),
    // from at most that window's length back.
    QList<PaceFigure> mainWindowFigures(const UsageSnapshot& snapshot) const;
    UsagePace pace(const UsageSnapshot& snapshot, const QDateTime& now) const;
    // Deletes every figure (the file and all) and starts a new history.
    Q_INVOKABLE void clear();

signals:
    void changed();

private:
    // The open history, or none while it is turned off or cannot be written.
    HistoryStore* store() const;
    void keep(bool kept);
    void prune() const;

    QString m_path;
    AppPreferences* m_preferences;
    mutable std::unique_ptr<HistoryStore> m_store;
    // Per provider: the kind of its main window and that window's recent figures.
    struct Recent {
        UsageWindow::Kind kind;
        QList<PaceFigure> figures;
    };
    mutable QHash<QString, Recent> m_recent;
    mutable QTimer m_pruneTimer;
};

} // namespace lumora
