#include "tray/InstanceService.h"

#include "cli/InstanceCommands.h"
#include "tray/StatusBarController.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace lumora {

InstanceService::InstanceService(QDBusConnection bus, QObject* parent)
    : QObject(parent), m_bus(std::move(bus)) {}

InstanceService::~InstanceService() {
    if (m_owned && m_bus.isConnected()) {
        m_bus.unregisterObject(instance::objectPath);
        m_bus.unregisterService(instance::serviceName);
    }
}

InstanceService::Claim InstanceService::claim() {
    if (!m_bus.isConnected()) {
        return Claim::noBus;
    }
    // The object first: a call that arrives the moment the name is ours finds it.
    m_bus.registerObject(instance::objectPath, this, QDBusConnection::ExportScriptableSlots);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        m_bus.interface()->registerService(instance::serviceName,
                                           QDBusConnectionInterface::DontQueueService,
                                           QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        m_owned = true;
        return Claim::owned;
    }
    m_bus.unregisterObject(instance::objectPath);
    if (!reply.isValid()) {
        return Claim::noBus;
    }
    m_bus.call(QDBusMessage::createMethodCall(instance::serviceName, instance::objectPath,
                                              instance::interfaceName,
                                              QStringLiteral("ShowPopover")),
               QDBus::Block, 5000);
    return Claim::runningElsewhere;
}

void InstanceService::ShowPopover() {
    if (m_controller) {
        m_controller->showPopover(std::nullopt);
    }
}

void InstanceService::ShowBreak() {
    if (m_controller) {
        m_controller->handleActivate();
    }
}

void InstanceService::ShowSettings() {
    if (m_controller) {
        m_controller->openSettings();
    }
}

void InstanceService::Refresh() {
    if (m_controller) {
        m_controller->refresh();
    }
}

void InstanceService::Quit() {
    if (m_controller) {
        m_controller->quit();
    }
}

} // namespace lumora
