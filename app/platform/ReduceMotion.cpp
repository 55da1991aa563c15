#include "platform/ReduceMotion.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace lumora {
namespace {

QVariant unwrapped(QVariant value) {
    // Older portals (Debian 12's among them) answer Read with the value in a second variant.
    for (int depth = 0; depth < 8 && value.metaType() == QMetaType::fromType<QDBusVariant>();
         ++depth) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

} // namespace

ReduceMotionSetting::ReduceMotionSetting(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), m_bus(bus) {
    if (!m_bus.isConnected()) {
        return;
    }
    m_bus.connect(portalService, portalPath, settingsInterface, QStringLiteral("SettingChanged"),
                  this, SLOT(onSettingChanged(QString, QString, QDBusVariant)));
    read(gnomeNamespace, gnomeKey);
    read(kdeNamespace, kdeKey);
}

bool ReduceMotionSetting::reduceMotion() const {
    return m_gnome.value_or(false) || m_kde.value_or(false);
}

std::optional<bool> ReduceMotionSetting::reducesMotion(const QString& nameSpace, const QString& key,
                                                       const QVariant& value) {
    const QVariant plain = unwrapped(value);
    if (nameSpace == gnomeNamespace && key == gnomeKey) {
        if (plain.metaType() == QMetaType::fromType<bool>()) {
            return !plain.toBool();
        }
    } else if (nameSpace == kdeNamespace && key == kdeKey) {
        bool isNumber = false;
        const double factor = plain.toDouble(&isNumber);
        if (isNumber && plain.metaType() != QMetaType::fromType<bool>()) {
            return factor == 0.0;
        }
    }
    return std::nullopt;
}

void ReduceMotionSetting::read(const QString& nameSpace, const QString& key) {
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface,
                                                       QStringLiteral("Read"));
    call << nameSpace << key;
    ++m_pendingReads;
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, 5000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, nameSpace, key] {
        watcher->deleteLater();
        const QDBusMessage reply = watcher->reply();
        // An error (no portal, or no such key) leaves the setting unknown.
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()) {
            store(nameSpace, key, reply.arguments().constFirst());
        }
        if (--m_pendingReads == 0) {
            emit answered();
        }
    });
}

void ReduceMotionSetting::onSettingChanged(const QString& nameSpace, const QString& key,
                                           const QDBusVariant& value) {
    store(nameSpace, key, QVariant::fromValue(value));
}

void ReduceMotionSetting::store(const QString& nameSpace, const QString& key,
                                const QVariant& value) {
    std::optional<bool>* slot = nameSpace == gnomeNamespace && key == gnomeKey ? &m_gnome
                                : nameSpace == kdeNamespace && key == kdeKey   ? &m_kde
                                                                               : nullptr;
    if (!slot) {
        return;
    }
    const bool before = reduceMotion();
    *slot = reducesMotion(nameSpace, key, value);
    if (reduceMotion() != before) {
        emit reduceMotionChanged();
    }
}

} // namespace lumora
