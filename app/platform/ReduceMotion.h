#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>
#include <QVariant>

#include <optional>

namespace lumora {

// Whether the desktop asks applications to reduce motion, read from the desktop portal's
// settings (org.freedesktop.portal.Settings): GNOME's org.gnome.desktop.interface
// enable-animations set to false, or KDE's AnimationDurationFactor in org.kde.kdeglobals.KDE set to
// 0. A key the portal does not have, or no portal at all, means motion is fine. Reads are
// asynchronous; until the answers arrive motion is fine. Changes the portal signals are followed.
class ReduceMotionSetting : public QObject {
    Q_OBJECT

public:
    static inline const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
    static inline const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
    static inline const QString settingsInterface =
        QStringLiteral("org.freedesktop.portal.Settings");
    static inline const QString gnomeNamespace = QStringLiteral("org.gnome.desktop.interface");
    static inline const QString gnomeKey = QStringLiteral("enable-animations");
    static inline const QString kdeNamespace = QStringLiteral("org.kde.kdeglobals.KDE");
    static inline const QString kdeKey = QStringLiteral("AnimationDurationFactor");

    explicit ReduceMotionSetting(const QDBusConnection& bus = QDBusConnection::sessionBus(),
                                 QObject* parent = nullptr);

    bool reduceMotion() const;
    // True once both first reads have been answered (or have failed).
    bool hasAnswers() const { return m_pendingReads == 0; }

    // What one setting says: reduce motion (true), motion is fine (false), or nothing (absent
    // or of an unexpected type). Variants inside variants are unwrapped first.
    static std::optional<bool> reducesMotion(const QString& nameSpace, const QString& key,
                                             const QVariant& value);

signals:
    void reduceMotionChanged();
    void answered();

private slots:
    void onSettingChanged(const QString& nameSpace, const QString& key, const QDBusVariant& value);

private:
    void read(const QString& nameSpace, const QString& key);
    void store(const QString& nameSpace, const QString& key, const QVariant& value);

    QDBusConnection m_bus;
    std::optional<bool> m_gnome;
    std::optional<bool> m_kde;
    int m_pendingReads = 0;
};

} // namespace lumora
