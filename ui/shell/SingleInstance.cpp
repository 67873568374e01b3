#include "ui/shell/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace {

const QString kService = QStringLiteral("com.limitra.Limitra");
const QString kPath = QStringLiteral("/com/limitra/Limitra");

} // namespace

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{
}

SingleInstance::~SingleInstance()
{
    if (!m_owned)
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(kService);
    bus.unregisterObject(kPath);
}

SingleInstance::Claim SingleInstance::claim()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return Claim::noSessionBus;
    // The object first, so that a caller who sees the name finds it.
    if (!bus.registerObject(kPath, this, QDBusConnection::ExportScriptableSlots))
        return Claim::runningElsewhere;
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply = bus.interface()->registerService(
        kService, QDBusConnectionInterface::DontQueueService, QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        bus.unregisterObject(kPath);
        return Claim::runningElsewhere;
    }
    m_owned = true;
    return Claim::owned;
}

bool SingleInstance::ask(const QString &method)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    const QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kService, method);
    return bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}
