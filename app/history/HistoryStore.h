#pragma once

#include "core/UsageSnapshot.h"
#include "history/UsagePace.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSqlDatabase>
#include <QSqlError>
#include <QString>

#include <optional>

namespace lumora {

// One figure as a provider reported it: the used share of one window at one moment.
struct HistoryFigure {
    QString providerID;
    UsageWindow::Kind kind = UsageWindow::Kind::session;
    double usedRatio = 0;
    std::optional<QDateTime> resetsAt;
    QDateTime capturedAt;
    SnapshotSource source = SnapshotSource::officialCLI;

    bool operator==(const HistoryFigure&) const = default;
};

// The figures Lumora has seen, kept in an SQLite file ("history.sqlite" in the data folder) in
// write-ahead-log mode: the tray is its only writer, the command line reads it at the same time.
// Figures hold only shares and times (whole seconds, shares to a hundredth of a percent).
//
// Damage never stops the application: a file that SQLite cannot open or reports as corrupt is
// moved aside as "history.sqlite.corrupt" and a fresh one is started; a folder that cannot be
// written leaves the store closed (no history, every call a no-op). Each case logs one line.
// A store is used on the thread that made it (Qt's SQL connections are per thread).
class HistoryStore {
public:
    enum class Access { readWrite, readOnly };
    // The version of the file's tables (PRAGMA user_version). Older files are upgraded when the
    // tray opens them; a file of a newer Lumora is left alone and the store stays closed.
    static constexpr int schemaVersion = 2;

    // "history.sqlite" in the data folder of `homeDirectory`.
    static QString defaultPath(const QString& homeDirectory);
    // Deletes the file at `path` with its write-ahead log.
    static void remove(const QString& path);

    // Read-write opens (creating the file and its folder when missing) and upgrades; read-only
    // opens an existing file without ever creating, upgrading or moving anything, and waits up
    // to two seconds for the writer.
    HistoryStore(QString path, Access access);
    ~HistoryStore();
    HistoryStore(const HistoryStore&) = delete;
    HistoryStore& operator=(const HistoryStore&) = delete;

    bool isOpen() const { return m_database.isOpen(); }
    const QString& path() const { return m_path; }
    // Why a read-only store is closed, for the command line's message.
    const QString& problem() const { return m_problem; }

    // Writes the figure when its share or reset time differs from the last one kept for its
    // provider and window (one of the same second is replaced), or when it was captured ten
    // minutes or more after that one, or before it (the clock went back). True when a row was
    // written.
    bool record(const HistoryFigure& figure);
    // The figures captured at or after `since` (of one provider and window when given), oldest
    // first.
    QList<HistoryFigure> figures(const QDateTime& since, const QString& providerID = {},
                                 std::optional<UsageWindow::Kind> kind = std::nullopt);
    // Removes the figures captured before `before`; how many went.
    int prune(const QDateTime& before);
    // Removes every figure.
    void clear();

    // Ten minutes: a figure that has not changed is written again after this long, so the
    // history shows how long a share held.
    static constexpr qint64 unchangedFigureSeconds = 600;

private:
    enum class Opening { opened, damaged, failed };
    bool open();
    Opening openOnce();
    bool migrate();
    bool execute(const QString& statement);
    // A statement failed: a damaged file is moved aside and a fresh one opened.
    void failed(const QSqlError& error);
    void close();
    void moveAside();
    std::optional<HistoryFigure> lastFigure(const QString& providerID, UsageWindow::Kind kind);

    QString m_path;
    Access m_access;
    QString m_connectionName;
    QSqlDatabase m_database;
    QString m_problem;
    QSqlError m_lastError;
    // The last figure written per provider and window, so that recording reads nothing.
    QHash<QString, std::optional<HistoryFigure>> m_last;
};

// The length of a window of a kind: five hours for a session, seven days for a week, and so on.
qint64 windowSeconds(UsageWindow::Kind kind);

// The figures of a snapshot's main window as the history holds them, from at most that window's
// length before `now`, with the snapshot's own figure last when it is newer.
QList<PaceFigure> mainWindowFigures(HistoryStore& history, const UsageSnapshot& snapshot,
                                    const QDateTime& now);
// Adds a newer figure at the end; one of the same second as the last replaces it, as in the file.
void appendFigure(QList<PaceFigure>& figures, const PaceFigure& figure);

} // namespace lumora
