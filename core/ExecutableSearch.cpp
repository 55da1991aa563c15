#include "core/ExecutableSearch.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace lumora {

int naturalCompare(const QString& a, const QString& b) {
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            qsizetype iEnd = i;
            qsizetype jEnd = j;
            while (iEnd < a.size() && a[iEnd].isDigit())
                ++iEnd;
            while (jEnd < b.size() && b[jEnd].isDigit())
                ++jEnd;
            // Compare digit runs as numbers of any length: skip leading zeros, then the longer
            // run is larger, then digit by digit.
            qsizetype iStart = i;
            qsizetype jStart = j;
            while (iStart + 1 < iEnd && a[iStart] == QLatin1Char('0'))
                ++iStart;
            while (jStart + 1 < jEnd && b[jStart] == QLatin1Char('0'))
                ++jStart;
            const qsizetype iLength = iEnd - iStart;
            const qsizetype jLength = jEnd - jStart;
            if (iLength != jLength) {
                return iLength < jLength ? -1 : 1;
            }
            const int digits =
                QStringView(a).mid(iStart, iLength).compare(QStringView(b).mid(jStart, jLength));
            if (digits != 0) {
                return digits < 0 ? -1 : 1;
            }
            i = iEnd;
            j = jEnd;
            continue;
        }
        const QChar left = a[i].toCaseFolded();
        const QChar right = b[j].toCaseFolded();
        if (left != right) {
            return left < right ? -1 : 1;
        }
        ++i;
        ++j;
    }
    const bool aDone = i >= a.size();
    const bool bDone = j >= b.size();
    return aDone == bDone ? 0 : (aDone ? -1 : 1);
}

QStringList nvmCandidates(const QString& homeDirectory, const QString& tool) {
    const QDir versions(homeDirectory + QStringLiteral("/.nvm/versions/node"));
    QStringList entries =
        versions.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::Unsorted);
    std::sort(entries.begin(), entries.end(),
              [](const QString& a, const QString& b) { return naturalCompare(a, b) > 0; });
    QStringList candidates;
    for (const QString& entry : entries) {
        candidates << versions.filePath(entry) + QStringLiteral("/bin/") + tool;
    }
    return candidates;
}

std::optional<QString> firstExecutable(const QStringList& candidates) {
    for (const QString& candidate : candidates) {
        const QByteArray path = QFile::encodeName(candidate);
        struct stat info {};
        if (::stat(path.constData(), &info) == 0 && S_ISREG(info.st_mode) &&
            ::access(path.constData(), X_OK) == 0) {
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace lumora
