#pragma once

#include <QList>
#include <QString>

#include <optional>
#include <variant>

namespace lumora {

// A version string as people write them (1.4, v1.4.0, 1.5.0-beta.2+build.7), parsed for
// comparison by rules close to semantic versioning: numeric release components where a missing
// component counts as zero, pre-release identifiers that order before the release, build
// metadata ignored.
//
// Equality compares both fields exactly, so 1.0 and 1.0.0 are not equal although neither orders
// before the other; the ordering is a strict weak order, not a total one.
struct ParsedVersion {
    // One dot-separated pre-release identifier: a number when it reads as a decimal integer
    // (sign allowed), text otherwise. Numbers order by value and before any text; texts order
    // by Unicode scalar values (so "RC" < "alpha" < "beta" < "rc").
    class Identifier {
    public:
        static Identifier number(qint64 value) { return Identifier(value); }
        static Identifier text(QString value) { return Identifier(std::move(value)); }

        bool isNumber() const { return std::holds_alternative<qint64>(m_value); }
        qint64 numberValue() const { return std::get<qint64>(m_value); }
        const QString& textValue() const { return std::get<QString>(m_value); }

        bool operator==(const Identifier& other) const = default;
        friend bool operator<(const Identifier& a, const Identifier& b);

    private:
        explicit Identifier(std::variant<qint64, QString> value) : m_value(std::move(value)) {}
        std::variant<qint64, QString> m_value;
    };

    QList<qint64> numbers;                       // at least one, none negative
    std::optional<QList<Identifier>> prerelease; // at least one identifier when present

    // Nothing when `text` is not a version: an empty or non-numeric release component, a
    // component outside the 64-bit range, an empty pre-release identifier.
    static std::optional<ParsedVersion> parse(const QString& text);

    bool operator==(const ParsedVersion& other) const = default;
    friend bool operator<(const ParsedVersion& a, const ParsedVersion& b);
    friend bool operator>(const ParsedVersion& a, const ParsedVersion& b) { return b < a; }
    friend bool operator<=(const ParsedVersion& a, const ParsedVersion& b) { return !(b < a); }
    friend bool operator>=(const ParsedVersion& a, const ParsedVersion& b) { return !(a < b); }
};

} // namespace lumora
