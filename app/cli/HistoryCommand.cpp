#include "cli/HistoryCommand.h"

#include "core/DataFolder.h"
#include "core/Messages.h"
#include "history/HistoryStore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <cmath>

namespace lumora::cli {
namespace {

QString rawVerdict(UsagePace::Verdict verdict) {
    switch (verdict) {
    case UsagePace::Verdict::notEnoughData:
        return QStringLiteral("not_enough_data");
    case UsagePace::Verdict::idle:
        return QStringLiteral("idle");
    case UsagePace::Verdict::atLimit:
        return QStringLiteral("at_limit");
    case UsagePace::Verdict::limitBeforeReset:
        return QStringLiteral("limit_before_reset");
    case UsagePace::Verdict::leftAtReset:
        return QStringLiteral("left_at_reset");
    }
    return {};
}

QJsonValue optionalTime(const std::optional<QDateTime>& time) {
    return time ? QJsonValue(isoDateTimeText(*time)) : QJsonValue(QJsonValue::Null);
}

// "7d", "12h", "30m": how far back from now.
std::optional<qint64> sinceSeconds(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^([0-9]{1,6})([dhm])$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    const qint64 count = match.captured(1).toLongLong();
    const QChar unit = match.captured(2).at(0);
    return count * (unit == QLatin1Char('d') ? 86400 : unit == QLatin1Char('h') ? 3600 : 60);
}

QString shareText(double ratio) {
    return QString::number(std::round(ratio * 10000.0) / 10000.0, 'g', 6);
}

int usageError(QTextStream& err, const QString& problem) {
    err << "lumora: " << problem << "\n";
    return 2;
}

} // namespace

int history(const QStringList& options, QTextStream& out, QTextStream& err) {
    enum class Format { table, json, csv } format = Format::table;
    QString provider;
    qint64 since = 7 * 86400;
    for (qsizetype index = 0; index < options.size(); ++index) {
        const QString& option = options[index];
        if (option == QLatin1String("--json") || option == QLatin1String("--csv")) {
            if (format != Format::table) {
                return usageError(err, QCoreApplication::translate(
                                           "CommandLine", "--json and --csv do not go together"));
            }
            format = option == QLatin1String("--json") ? Format::json : Format::csv;
        } else if (option == QLatin1String("--provider") || option == QLatin1String("--since")) {
            if (++index >= options.size()) {
                return usageError(
                    err,
                    QCoreApplication::translate("CommandLine", "%1 needs a value").arg(option));
            }
            const QString& value = options[index];
            if (option == QLatin1String("--since")) {
                const auto seconds = sinceSeconds(value);
                if (!seconds) {
                    return usageError(
                        err, QCoreApplication::translate("CommandLine",
                                                         "--since takes a count of days, hours or "
                                                         "minutes, such as 7d, 12h or 30m: %1")
                                 .arg(value));
                }
                since = *seconds;
            } else if (value == providers::codexID || value == providers::claudeCodeID) {
                provider = value;
            } else if (value == QLatin1String("claude")) {
                provider = providers::claudeCodeID;
            } else {
                return usageError(
                    err, QCoreApplication::translate("CommandLine",
                                                     "unknown provider: %1 (claude-code or codex)")
                             .arg(value));
            }
        } else {
            return usageError(
                err, QCoreApplication::translate("CommandLine", "unknown option for history: %1")
                         .arg(option));
        }
    }

    HistoryStore store(HistoryStore::defaultPath(currentHomeDirectory()),
                       HistoryStore::Access::readOnly);
    const QList<HistoryFigure> figures =
        store.figures(QDateTime::currentDateTimeUtc().addSecs(-since), provider);
    if (!store.isOpen() && QFileInfo::exists(store.path())) {
        err << "lumora: "
            << QCoreApplication::translate("CommandLine", "the usage history could not be read: %1")
                   .arg(shownMessage(store.problem()))
            << "\n";
        return 1;
    }
    switch (format) {
    case Format::json: {
        QJsonArray rows;
        for (const HistoryFigure& figure : figures) {
            rows.append(
                QJsonObject{{QStringLiteral("capturedAt"), isoDateTimeText(figure.capturedAt)},
                            {QStringLiteral("providerID"), figure.providerID},
                            {QStringLiteral("kind"), rawValue(figure.kind)},
                            {QStringLiteral("usedRatio"), shareText(figure.usedRatio).toDouble()},
                            {QStringLiteral("resetsAt"), optionalTime(figure.resetsAt)},
                            {QStringLiteral("source"), rawValue(figure.source)}});
        }
        out << QJsonDocument(rows).toJson(QJsonDocument::Indented);
        break;
    }
    case Format::csv:
        out << "capturedAt,providerID,kind,usedRatio,resetsAt,source\n";
        for (const HistoryFigure& figure : figures) {
            out << isoDateTimeText(figure.capturedAt) << ',' << figure.providerID << ','
                << rawValue(figure.kind) << ',' << shareText(figure.usedRatio) << ','
                << (figure.resetsAt ? isoDateTimeText(*figure.resetsAt) : QString()) << ','
                << rawValue(figure.source) << "\n";
        }
        break;
    case Format::table:
        if (figures.isEmpty()) {
            out << (store.isOpen()
                        ? QCoreApplication::translate("CommandLine", "No figures in that time.")
                        : QCoreApplication::translate(
                              "CommandLine",
                              "No usage history yet: the tray keeps one while it runs."))
                << "\n";
            break;
        }
        out << QStringLiteral("%1  %2  %3  %4  %5\n")
                   .arg(QCoreApplication::translate("CommandLine", "captured (UTC)"), -20)
                   .arg(QCoreApplication::translate("CommandLine", "provider"), -11)
                   .arg(QCoreApplication::translate("CommandLine", "window"), -7)
                   .arg(QCoreApplication::translate("CommandLine", "left"), 4)
                   .arg(QCoreApplication::translate("CommandLine", "resets (UTC)"));
        for (const HistoryFigure& figure : figures) {
            out << QStringLiteral("%1  %2  %3  %4  %5\n")
                       .arg(isoDateTimeText(figure.capturedAt), -20)
                       .arg(figure.providerID, -11)
                       .arg(rawValue(figure.kind), -7)
                       .arg(QString::number(remainingPercentage(figure.usedRatio).value_or(0)) +
                                QLatin1Char('%'),
                            4)
                       .arg(figure.resetsAt ? isoDateTimeText(*figure.resetsAt) : QString());
        }
        break;
    }
    return 0;
}

QHash<QString, UsagePace> pacesFromHistory(const QList<UsageSnapshot>& snapshots,
                                           const QDateTime& now) {
    QHash<QString, UsagePace> paces;
    HistoryStore store(HistoryStore::defaultPath(currentHomeDirectory()),
                       HistoryStore::Access::readOnly);
    for (const UsageSnapshot& snapshot : snapshots) {
        if (store.isOpen() && !snapshot.isStale(now)) {
            paces.insert(snapshot.providerID,
                         usagePace(mainWindowFigures(store, snapshot, now), now));
        }
    }
    return paces;
}

QJsonObject withPaceAndWeekly(const UsageSnapshot& snapshot, const UsagePace& pace,
                              const QDateTime& now) {
    QJsonObject object = snapshot.toJson();
    const auto main = snapshot.primaryWindow();
    object.insert(
        QStringLiteral("pace"),
        main ? QJsonObject{{QStringLiteral("verdict"), rawVerdict(pace.verdict)},
                           {QStringLiteral("ratePerHour"),
                            std::round(pace.ratePerHour * 10000.0) / 10000.0},
                           {QStringLiteral("limitAt"), optionalTime(pace.limitAt)},
                           {QStringLiteral("leftAtReset"),
                            pace.leftAtReset
                                ? QJsonValue(std::round(*pace.leftAtReset * 10000.0) / 10000.0)
                                : QJsonValue(QJsonValue::Null)},
                           {QStringLiteral("text"), paceText(pace, now)}}
             : QJsonValue(QJsonValue::Null));
    QJsonValue weekly = QJsonValue::Null;
    for (const UsageWindow& window : snapshot.windows) {
        if (window.kind == UsageWindow::Kind::weekly && main && main->kind != window.kind) {
            QJsonObject entry{{QStringLiteral("kind"), rawValue(window.kind)},
                              {QStringLiteral("resetsAt"), optionalTime(window.resetsAt)}};
            entry.insert(QStringLiteral("usedRatio"), window.usedRatio
                                                          ? QJsonValue(*window.usedRatio)
                                                          : QJsonValue(QJsonValue::Null));
            weekly = entry;
            break;
        }
    }
    object.insert(QStringLiteral("weeklyWindow"), weekly);
    return object;
}

} // namespace lumora::cli
