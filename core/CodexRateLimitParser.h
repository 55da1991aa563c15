#pragma once

#include "core/Errors.h"
#include "core/UsageSnapshot.h"

#include <QDateTime>
#include <QString>

namespace lumora {

// Turns the transcript of one conversation with `codex app-server` into the Codex snapshot: it
// finds the answer to the rate-limit request (the first decodable response with id 2 and a
// result), takes the record of the limit id "codex" when the server lists limits by id and the
// general record otherwise, and converts its one or two windows. A pure function of its
// arguments: no clock, no I/O.
//
// Each line is decoded as a whole: a line in which any member has the wrong type (an id or a
// percentage that is not a JSON integer, such as 12.5 or "12", also inside a record that would
// not be used) is skipped like any other line that is not a response.
class CodexRateLimitParser {
public:
    class ParseError : public Error {
    public:
        enum class Case { rateLimitResponseNotFound, windowNotFound };
        static ParseError rateLimitResponseNotFound() {
            return ParseError(Case::rateLimitResponseNotFound,
                              QStringLiteral(QT_TRANSLATE_NOOP(
                                  "Messages", "The Codex app-server did not return usage data.")));
        }
        static ParseError windowNotFound() {
            return ParseError(
                Case::windowNotFound,
                QStringLiteral(QT_TRANSLATE_NOOP(
                    "Messages", "The Codex response did not include a usage window.")));
        }
        Case kind() const { return m_case; }
        bool operator==(const ParseError& other) const { return m_case == other.m_case; }

    private:
        ParseError(Case c, QString description) : Error(std::move(description)), m_case(c) {}
        Case m_case;
    };

    // Throws ParseError.
    UsageSnapshot parse(const QString& transcript, const QDateTime& capturedAt) const;
};

} // namespace lumora
