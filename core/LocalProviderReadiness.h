#pragma once

#include <QString>

namespace lumora {

// What a provider says about its local tool before any usage is read.
class LocalProviderReadiness {
public:
    enum class Kind { ready, executableMissing, loginRequired, setupRequired, unavailable };

    static LocalProviderReadiness ready() { return LocalProviderReadiness(Kind::ready); }
    static LocalProviderReadiness executableMissing() {
        return LocalProviderReadiness(Kind::executableMissing);
    }
    static LocalProviderReadiness loginRequired() {
        return LocalProviderReadiness(Kind::loginRequired);
    }
    static LocalProviderReadiness setupRequired() {
        return LocalProviderReadiness(Kind::setupRequired);
    }
    // The check itself failed; the message says why.
    static LocalProviderReadiness unavailable(QString message) {
        return LocalProviderReadiness(Kind::unavailable, std::move(message));
    }

    Kind kind() const { return m_kind; }
    // Only meaningful for `unavailable`.
    const QString& message() const { return m_message; }

    bool operator==(const LocalProviderReadiness& other) const {
        return m_kind == other.m_kind && m_message == other.m_message;
    }

private:
    explicit LocalProviderReadiness(Kind kind, QString message = {})
        : m_kind(kind), m_message(std::move(message)) {}

    Kind m_kind;
    QString m_message;
};

} // namespace lumora
