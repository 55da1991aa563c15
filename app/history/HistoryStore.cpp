#include "history/HistoryStore.h"

#include "core/AtomicFile.h"
#include "core/DataFolder.h"
#include "core/Errors.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

#include <array>
#include <cmath>

namespace lumora {
namespace {

// Small numbers on disk for the few values a column can hold: a row is about 20 bytes, so 90
// days of a figure a minute for two providers stay a few megabytes.
const std::array<QString, 2> providerCodes{providers::claudeCodeID, providers::codexID};
const std::array<UsageWindow::Kind, 5> kindCodes{
    UsageWindow::Kind::session, UsageWindow::Kind::daily, UsageWindow::Kind::weekly,
    UsageWindow::Kind::monthly, UsageWindow::Kind::credits};
const std::array<SnapshotSource, 5> sourceCodes{
    SnapshotSource::officialCLI, SnapshotSource::officialAppServer, SnapshotSource::localCache,
    SnapshotSource::preview, SnapshotSource::unavailable};

// Codes count from 1; 0 means "not one of ours".
template <typename T, std::size_t N> int codeOf(const std::array<T, N>& codes, const T& value) {
    for (std::size_t index = 0; index < N; ++index) {
        if (codes[index] == value) {
            return static_cast<int>(index) + 1;
        }
    }
    return 0;
}

template <typename T, std::size_t N>
std::optional<T> valueOf(const std::array<T, N>& codes, qint64 code) {
    if (code < 1 || code > static_cast<qint64>(N)) {
        return std::nullopt;
    }
    return codes[static_cast<std::size_t>(code - 1)];
}

// Shares are kept in hundredths of a percent.
qint64 shareUnits(double ratio) {
    return std::llround(std::clamp(ratio, 0.0, 1.0) * 10000.0);
}

QString caseOf(const QString& column, const QStringList& raws) {
    QString text = QStringLiteral("CASE %1").arg(column);
    for (qsizetype index = 0; index < raws.size(); ++index) {
        text += QStringLiteral(" WHEN '%1' THEN %2").arg(raws[index]).arg(index + 1);
    }
    return text + QStringLiteral(" END");
}

template <typename T, std::size_t N> QStringList rawValues(const std::array<T, N>& codes) {
    QStringList raws;
    for (const T& value : codes) {
        raws << rawValue(value);
    }
    return raws;
}

// Each step takes the file from the version before it to its own; a file goes through every step
// it has not had, in one transaction each.
QStringList migrationSteps(int toVersion) {
    switch (toVersion) {
    case 1:
        // The first history: values as text, as in the other files, with an index for reading one
        // window's figures in time order.
        return {QStringLiteral("CREATE TABLE figures (provider TEXT NOT NULL, kind TEXT NOT NULL, "
                               "used_ratio REAL NOT NULL, resets_at TEXT, captured_at TEXT NOT "
                               "NULL, source TEXT NOT NULL)"),
                QStringLiteral("CREATE INDEX figures_by_window ON figures (provider, kind, "
                               "captured_at)")};
    case 2: {
        // Small integers instead of text, clustered by provider, window and time: 90 days of a
        // figure a minute for two providers take 6.3 MB instead of 38 MB, and one window's
        // figures are read in order without an index.
        QStringList providerRaws;
        for (const QString& id : providerCodes) {
            providerRaws << id;
        }
        const QString epoch = QStringLiteral("CAST(strftime('%s', %1) AS INTEGER)");
        return {
            QStringLiteral("CREATE TABLE figures_compact (provider INTEGER NOT NULL, kind "
                           "INTEGER NOT NULL, captured_at INTEGER NOT NULL, used INTEGER NOT "
                           "NULL, resets_at INTEGER, source INTEGER NOT NULL, PRIMARY KEY "
                           "(provider, kind, captured_at)) WITHOUT ROWID"),
            QStringLiteral("INSERT OR REPLACE INTO figures_compact SELECT p, k, c, u, r, s FROM "
                           "(SELECT %1 AS p, %2 AS k, %3 AS c, CAST(round(max(0, min(1, "
                           "used_ratio)) * 10000) AS INTEGER) AS u, %4 AS r, coalesce(%5, %6) "
                           "AS s FROM figures) WHERE p IS NOT NULL AND k IS NOT NULL AND c IS "
                           "NOT NULL")
                .arg(caseOf(QStringLiteral("provider"), providerRaws),
                     caseOf(QStringLiteral("kind"), rawValues(kindCodes)),
                     epoch.arg(QStringLiteral("captured_at")),
                     epoch.arg(QStringLiteral("resets_at")),
                     caseOf(QStringLiteral("source"), rawValues(sourceCodes)))
                .arg(codeOf(sourceCodes, SnapshotSource::unavailable)),
            QStringLiteral("DROP TABLE figures"),
            QStringLiteral("ALTER TABLE figures_compact RENAME TO figures")};
    }
    }
    return {};
}

bool sameSecond(const std::optional<QDateTime>& a, const std::optional<QDateTime>& b) {
    if (!a || !b) {
        return a.has_value() == b.has_value();
    }
    return a->toSecsSinceEpoch() == b->toSecsSinceEpoch();
}

void removeDatabaseFiles(const QString& path) {
    for (const QString& suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")}) {
        QFile::remove(path + suffix);
    }
}

// SQLite's primary result codes for a file that is not, or no longer, a sound database.
bool isDamage(const QSqlError& error) {
    const QString code = error.nativeErrorCode();
    return code == QLatin1String("11") || code == QLatin1String("26");
}

} // namespace

QString HistoryStore::defaultPath(const QString& homeDirectory) {
    return dataFolder(homeDirectory) + QStringLiteral("/history.sqlite");
}

void HistoryStore::remove(const QString& path) {
    removeDatabaseFiles(path);
}

HistoryStore::HistoryStore(QString path, Access access)
    : m_path(std::move(path)), m_access(access),
      m_connectionName(QStringLiteral("lumora-history-") +
                       QUuid::createUuid().toString(QUuid::WithoutBraces)) {
    open();
}

HistoryStore::~HistoryStore() {
    close();
}

void HistoryStore::close() {
    if (m_database.isValid()) {
        m_database.close();
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_connectionName);
    }
    m_last.clear();
}

bool HistoryStore::open() {
    const Opening opening = openOnce();
    if (opening != Opening::damaged) {
        return opening == Opening::opened;
    }
    moveAside();
    return openOnce() == Opening::opened;
}

HistoryStore::Opening HistoryStore::openOnce() {
    const bool readOnly = m_access == Access::readOnly;
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"))) {
        m_problem = QStringLiteral("Qt's SQLite driver is not installed");
        qWarning("Lumora: no usage history: %s.", qPrintable(m_problem));
        return Opening::failed;
    }
    if (readOnly && !QFileInfo::exists(m_path)) {
        m_problem = QStringLiteral("there is no usage history yet");
        return Opening::failed;
    }
    if (!readOnly) {
        try {
            createFolders(QFileInfo(m_path).absolutePath(), 0700);
        } catch (const Error& error) {
            m_problem = error.description();
            qWarning("Lumora: no usage history: %s", qPrintable(m_problem));
            return Opening::failed;
        }
    }
    m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
    m_database.setDatabaseName(m_path);
    m_database.setConnectOptions(
        readOnly ? QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=2000")
                 : QStringLiteral("QSQLITE_BUSY_TIMEOUT=2000"));
    if (!m_database.open()) {
        m_problem = m_database.lastError().text();
        qWarning("Lumora: no usage history: cannot open %s: %s", qPrintable(m_path),
                 qPrintable(m_problem));
        close();
        return Opening::failed;
    }
    if (readOnly) {
        return Opening::opened;
    }
    // SQLite finds damage when it reads a damaged page: the first statement on a file that is not
    // a database fails, and so does any later one that meets a corrupt page (see failed()).
    // A small page cache keeps the tray light; it writes a row a minute and reads one window.
    for (const QString& statement :
         {QStringLiteral("PRAGMA journal_mode=WAL"), QStringLiteral("PRAGMA synchronous=NORMAL"),
          QStringLiteral("PRAGMA cache_size=-256")}) {
        QSqlQuery query(m_database);
        if (!query.exec(statement)) {
            const QSqlError error = query.lastError();
            query = QSqlQuery();
            m_problem = error.text();
            close();
            if (isDamage(error)) {
                return Opening::damaged;
            }
            qWarning("Lumora: no usage history: %s: %s", qPrintable(m_path), qPrintable(m_problem));
            return Opening::failed;
        }
    }
    if (!migrate()) {
        close();
        if (isDamage(m_lastError)) {
            return Opening::damaged;
        }
        qWarning("Lumora: no usage history: %s: %s", qPrintable(m_path), qPrintable(m_problem));
        return Opening::failed;
    }
    return Opening::opened;
}

bool HistoryStore::migrate() {
    QSqlQuery query(m_database);
    if (!query.exec(QStringLiteral("PRAGMA user_version")) || !query.next()) {
        m_lastError = query.lastError();
        m_problem = m_lastError.text();
        return false;
    }
    const int version = query.value(0).toInt();
    query = QSqlQuery();
    if (version > schemaVersion) {
        m_problem =
            QStringLiteral("written by a newer Lumora (version %1 of the history)").arg(version);
        return false;
    }
    for (int next = version + 1; next <= schemaVersion; ++next) {
        m_database.transaction();
        for (const QString& statement : migrationSteps(next)) {
            if (!execute(statement)) {
                m_database.rollback();
                return false;
            }
        }
        if (!execute(QStringLiteral("PRAGMA user_version = %1").arg(next)) ||
            !m_database.commit()) {
            m_database.rollback();
            return false;
        }
    }
    return true;
}

bool HistoryStore::execute(const QString& statement) {
    QSqlQuery query(m_database);
    if (query.exec(statement)) {
        return true;
    }
    m_lastError = query.lastError();
    m_problem = m_lastError.text();
    return false;
}

void HistoryStore::failed(const QSqlError& error) {
    if (m_access == Access::readWrite && isDamage(error) && m_database.isOpen()) {
        close();
        moveAside();
        openOnce();
    }
}

void HistoryStore::moveAside() {
    const QString aside = m_path + QStringLiteral(".corrupt");
    removeDatabaseFiles(aside);
    QFile::remove(m_path + QStringLiteral("-wal"));
    QFile::remove(m_path + QStringLiteral("-shm"));
    const bool moved = QFile::rename(m_path, aside);
    if (!moved) {
        QFile::remove(m_path);
    }
    qWarning("Lumora: the usage history %s was damaged (%s); %s and started a new one.",
             qPrintable(m_path), qPrintable(m_problem),
             moved ? qPrintable(QStringLiteral("moved it aside as ") + aside)
                   : "could not move it aside, removed it");
}

std::optional<HistoryFigure> HistoryStore::lastFigure(const QString& providerID,
                                                      UsageWindow::Kind kind) {
    QSqlQuery query(m_database);
    query.prepare(QStringLiteral("SELECT used, resets_at, captured_at, source FROM figures WHERE "
                                 "provider = ? AND kind = ? ORDER BY captured_at DESC LIMIT 1"));
    query.addBindValue(codeOf(providerCodes, providerID));
    query.addBindValue(codeOf(kindCodes, kind));
    if (!query.exec() || !query.next()) {
        return std::nullopt;
    }
    HistoryFigure figure{
        providerID,
        kind,
        query.value(0).toLongLong() / 10000.0,
        std::nullopt,
        QDateTime::fromSecsSinceEpoch(query.value(2).toLongLong(), Qt::UTC),
        valueOf(sourceCodes, query.value(3).toLongLong()).value_or(SnapshotSource::unavailable)};
    if (!query.value(1).isNull()) {
        figure.resetsAt = QDateTime::fromSecsSinceEpoch(query.value(1).toLongLong(), Qt::UTC);
    }
    return figure;
}

bool HistoryStore::record(const HistoryFigure& figure) {
    const int provider = codeOf(providerCodes, figure.providerID);
    if (!isOpen() || m_access != Access::readWrite || provider == 0 ||
        !std::isfinite(figure.usedRatio) || !figure.capturedAt.isValid()) {
        return false;
    }
    const QString key = figure.providerID + QLatin1Char('/') + rawValue(figure.kind);
    if (!m_last.contains(key)) {
        m_last.insert(key, lastFigure(figure.providerID, figure.kind));
    }
    if (const std::optional<HistoryFigure>& last = m_last.value(key)) {
        const qint64 since = last->capturedAt.secsTo(figure.capturedAt);
        const bool unchanged = shareUnits(last->usedRatio) == shareUnits(figure.usedRatio) &&
                               sameSecond(last->resetsAt, figure.resetsAt);
        if (unchanged && since >= 0 && since < unchangedFigureSeconds) {
            return false;
        }
    }
    QSqlQuery insert(m_database);
    insert.prepare(QStringLiteral("INSERT OR REPLACE INTO figures (provider, kind, captured_at, "
                                  "used, resets_at, source) VALUES (?, ?, ?, ?, ?, ?)"));
    insert.addBindValue(provider);
    insert.addBindValue(codeOf(kindCodes, figure.kind));
    insert.addBindValue(figure.capturedAt.toSecsSinceEpoch());
    insert.addBindValue(shareUnits(figure.usedRatio));
    insert.addBindValue(figure.resetsAt ? QVariant(figure.resetsAt->toSecsSinceEpoch())
                                        : QVariant());
    insert.addBindValue(codeOf(sourceCodes, figure.source));
    if (!insert.exec()) {
        const QSqlError error = insert.lastError();
        insert = QSqlQuery();
        failed(error);
        return false;
    }
    m_last.insert(key, figure);
    return true;
}

QList<HistoryFigure> HistoryStore::figures(const QDateTime& since, const QString& providerID,
                                           std::optional<UsageWindow::Kind> kind) {
    QList<HistoryFigure> found;
    if (!isOpen()) {
        return found;
    }
    QString statement = QStringLiteral("SELECT provider, kind, used, resets_at, captured_at, "
                                       "source FROM figures WHERE captured_at >= ?");
    if (!providerID.isEmpty()) {
        statement += QStringLiteral(" AND provider = ?");
        if (kind) {
            statement += QStringLiteral(" AND kind = ?");
        }
    }
    QSqlQuery query(m_database);
    query.setForwardOnly(true);
    query.prepare(statement + QStringLiteral(" ORDER BY captured_at"));
    query.addBindValue(since.toSecsSinceEpoch());
    if (!providerID.isEmpty()) {
        query.addBindValue(codeOf(providerCodes, providerID));
        if (kind) {
            query.addBindValue(codeOf(kindCodes, *kind));
        }
    }
    if (!query.exec()) {
        const QSqlError error = query.lastError();
        query = QSqlQuery();
        failed(error);
        return found;
    }
    while (query.next()) {
        const auto provider = valueOf(providerCodes, query.value(0).toLongLong());
        const auto windowKind = valueOf(kindCodes, query.value(1).toLongLong());
        if (!provider || !windowKind) {
            continue;
        }
        HistoryFigure figure{*provider,
                             *windowKind,
                             static_cast<double>(query.value(2).toLongLong()) / 10000.0,
                             std::nullopt,
                             QDateTime::fromSecsSinceEpoch(query.value(4).toLongLong(), Qt::UTC),
                             valueOf(sourceCodes, query.value(5).toLongLong())
                                 .value_or(SnapshotSource::unavailable)};
        const QVariant resets = query.value(3);
        if (!resets.isNull()) {
            figure.resetsAt = QDateTime::fromSecsSinceEpoch(resets.toLongLong(), Qt::UTC);
        }
        found.append(std::move(figure));
    }
    return found;
}

int HistoryStore::prune(const QDateTime& before) {
    if (!isOpen() || m_access != Access::readWrite) {
        return 0;
    }
    QSqlQuery query(m_database);
    query.prepare(QStringLiteral("DELETE FROM figures WHERE captured_at < ?"));
    query.addBindValue(before.toSecsSinceEpoch());
    if (!query.exec()) {
        const QSqlError error = query.lastError();
        query = QSqlQuery();
        failed(error);
        return 0;
    }
    return query.numRowsAffected();
}

void HistoryStore::clear() {
    if (m_access != Access::readWrite) {
        return;
    }
    // Rows deleted in place would linger in the file's free pages: the file goes instead.
    close();
    removeDatabaseFiles(m_path);
    open();
}

qint64 windowSeconds(UsageWindow::Kind kind) {
    constexpr qint64 hour = 3600;
    switch (kind) {
    case UsageWindow::Kind::session:
        return 5 * hour;
    case UsageWindow::Kind::daily:
        return 24 * hour;
    case UsageWindow::Kind::weekly:
        return 7 * 24 * hour;
    case UsageWindow::Kind::monthly:
    case UsageWindow::Kind::credits:
        break;
    }
    return 31 * 24 * hour;
}

QList<PaceFigure> mainWindowFigures(HistoryStore& history, const UsageSnapshot& snapshot,
                                    const QDateTime& now) {
    const auto main = snapshot.primaryWindow();
    if (!main || !main->usedRatio) {
        return {};
    }
    QList<PaceFigure> figures;
    for (const HistoryFigure& figure : history.figures(now.addSecs(-windowSeconds(main->kind)),
                                                       snapshot.providerID, main->kind)) {
        figures.append({figure.capturedAt, figure.usedRatio, figure.resetsAt});
    }
    appendFigure(figures, {snapshot.capturedAt, *main->usedRatio, main->resetsAt});
    return figures;
}

void appendFigure(QList<PaceFigure>& figures, const PaceFigure& figure) {
    if (!figures.isEmpty() &&
        figures.last().capturedAt.toSecsSinceEpoch() == figure.capturedAt.toSecsSinceEpoch()) {
        figures.last() = figure;
    } else if (figures.isEmpty() || figures.last().capturedAt < figure.capturedAt) {
        figures.append(figure);
    }
}

} // namespace lumora
