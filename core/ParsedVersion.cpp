#include "core/ParsedVersion.h"

#include <QStringView>

#include <algorithm>
#include <limits>

namespace lumora {
namespace {

// ASCII decimal digits with an optional leading sign, within the signed 64-bit range. Anything
// else (blanks, other digits, an empty text, a lone sign) is not a number.
std::optional<qint64> decimalInteger(QStringView text) {
    bool negative = false;
    if (!text.isEmpty() && (text.front() == u'+' || text.front() == u'-')) {
        negative = text.front() == u'-';
        text = text.mid(1);
    }
    if (text.isEmpty()) {
        return std::nullopt;
    }
    constexpr quint64 largest = std::numeric_limits<qint64>::max();
    const quint64 limit = negative ? largest + 1 : largest;
    quint64 magnitude = 0;
    for (const QChar c : text) {
        if (c < u'0' || c > u'9') {
            return std::nullopt;
        }
        const unsigned digit = c.unicode() - u'0';
        if (magnitude > (limit - digit) / 10) {
            return std::nullopt;
        }
        magnitude = magnitude * 10 + digit;
    }
    if (!negative) {
        return static_cast<qint64>(magnitude);
    }
    return magnitude == limit ? std::numeric_limits<qint64>::min()
                              : -static_cast<qint64>(magnitude);
}

} // namespace

bool operator<(const ParsedVersion::Identifier& a, const ParsedVersion::Identifier& b) {
    if (a.isNumber() != b.isNumber()) {
        return a.isNumber(); // a number orders before any text
    }
    if (a.isNumber()) {
        return a.numberValue() < b.numberValue();
    }
    // By Unicode scalar values; comparing UTF-16 units would put U+E000...U+FFFF after the
    // characters beyond U+FFFF.
    return a.textValue().toUcs4() < b.textValue().toUcs4();
}

std::optional<ParsedVersion> ParsedVersion::parse(const QString& input) {
    QStringView text = QStringView(input).trimmed();
    if (!text.isEmpty() && (text.front() == u'v' || text.front() == u'V')) {
        text = text.mid(1);
    }
    // Build metadata follows the first "+" and is ignored unchecked.
    if (const qsizetype plus = text.indexOf(u'+'); plus >= 0) {
        text = text.left(plus);
    }
    QStringView core = text;
    std::optional<QStringView> prereleaseText;
    if (const qsizetype dash = text.indexOf(u'-'); dash >= 0) {
        core = text.left(dash);
        prereleaseText = text.mid(dash + 1); // may contain further dashes: rc-1
    }

    ParsedVersion version;
    for (const QStringView piece : core.split(u'.', Qt::KeepEmptyParts)) {
        const std::optional<qint64> number = decimalInteger(piece);
        if (!number || *number < 0) {
            return std::nullopt;
        }
        version.numbers.append(*number);
    }
    if (prereleaseText) {
        QList<Identifier> identifiers;
        for (const QStringView piece : prereleaseText->split(u'.', Qt::KeepEmptyParts)) {
            if (piece.isEmpty()) {
                return std::nullopt;
            }
            const std::optional<qint64> number = decimalInteger(piece);
            identifiers.append(number ? Identifier::number(*number)
                                      : Identifier::text(piece.toString()));
        }
        version.prerelease = std::move(identifiers);
    }
    return version;
}

bool operator<(const ParsedVersion& a, const ParsedVersion& b) {
    const qsizetype count = std::max(a.numbers.size(), b.numbers.size());
    for (qsizetype i = 0; i < count; ++i) {
        const qint64 left = a.numbers.value(i, 0);
        const qint64 right = b.numbers.value(i, 0);
        if (left != right) {
            return left < right;
        }
    }
    if (!a.prerelease) {
        return false; // a release never orders before a version with the same numbers
    }
    if (!b.prerelease) {
        return true; // a pre-release orders before its release
    }
    const QList<ParsedVersion::Identifier>& left = *a.prerelease;
    const QList<ParsedVersion::Identifier>& right = *b.prerelease;
    const qsizetype shared = std::min(left.size(), right.size());
    for (qsizetype i = 0; i < shared; ++i) {
        if (!(left[i] == right[i])) {
            return left[i] < right[i];
        }
    }
    return left.size() < right.size();
}

} // namespace lumora
