#pragma once

#include <QJsonValue>

#include <optional>

namespace lumora {

// A JSON member that must be an integer: a number without fractional part that fits a signed
// 64-bit integer. Strings ("12"), fractions (12.5), huge values (1e300), booleans and null give
// nullopt. (QJsonValue::toInteger answers its default for anything else; two different defaults
// tell a real value from a fallback.)
inline std::optional<qint64> jsonInteger(const QJsonValue& value) {
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const qint64 first = value.toInteger(0);
    if (first != value.toInteger(1)) {
        return std::nullopt;
    }
    return first;
}

} // namespace lumora
