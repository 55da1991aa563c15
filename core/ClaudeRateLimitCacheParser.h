#pragma once

#include "core/Errors.h"
#include "core/UsageSnapshot.h"

#include <QByteArray>
#include <QDateTime>

namespace lumora {

// Turns the rate-limit cache written by the Claude Code status-line hook (the `rate_limits`
// member of Claude Code's status-line input) into a snapshot. Touches no file and no clock.
class ClaudeRateLimitCacheParser {
public:
    class ParseError : public Error {
    public:
        enum class Case { usageNotFound };
        static ParseError usageNotFound() { return ParseError(Case::usageNotFound); }
        Case kind() const { return m_case; }

    private:
        explicit ParseError(Case c)
            : Error(QStringLiteral(QT_TRANSLATE_NOOP(
                  "Messages", "No usage data was found in the Claude status line cache."))),
              m_case(c) {}
        Case m_case;
    };

    // `capturedAt` is when the figures were written; `now` only decides which windows have
    // already reset. Throws JsonSyntaxError or DecodingError for malformed content and
    // ParseError::usageNotFound when no window is present.
    UsageSnapshot parse(const QByteArray& bytes, const QDateTime& capturedAt,
                        const QDateTime& now) const;
};

} // namespace lumora
