#pragma once

#include <QObject>
#include <QString>

namespace lumora {

// Where the connection set-up of one provider stands. `disconnected` is the resting state: no
// set-up running and no problem known, which for an enabled provider is the working case.
class ProviderConnectionState {
    Q_GADGET
    Q_PROPERTY(Kind kind READ kind CONSTANT)
    Q_PROPERTY(QString message READ message CONSTANT)

public:
    enum class Kind {
        failed,
        disconnected,
        checking,
        executableMissing,
        loginRequired,
        setupRequired,
        waiting
    };
    Q_ENUM(Kind)

    ProviderConnectionState() = default;
    static ProviderConnectionState failed(QString message) {
        return ProviderConnectionState(Kind::failed, std::move(message));
    }
    static ProviderConnectionState disconnected() { return ProviderConnectionState(); }
    static ProviderConnectionState checking() { return ProviderConnectionState(Kind::checking); }
    static ProviderConnectionState executableMissing() {
        return ProviderConnectionState(Kind::executableMissing);
    }
    static ProviderConnectionState loginRequired() {
        return ProviderConnectionState(Kind::loginRequired);
    }
    static ProviderConnectionState setupRequired() {
        return ProviderConnectionState(Kind::setupRequired);
    }
    static ProviderConnectionState waiting() { return ProviderConnectionState(Kind::waiting); }

    Kind kind() const { return m_kind; }
    // The reason of a `failed` state; empty otherwise.
    const QString& message() const { return m_message; }

    bool operator==(const ProviderConnectionState& other) const {
        return m_kind == other.m_kind && m_message == other.m_message;
    }

private:
    explicit ProviderConnectionState(Kind kind, QString message = {})
        : m_kind(kind), m_message(std::move(message)) {}

    Kind m_kind = Kind::disconnected;
    QString m_message;
};

} // namespace lumora
