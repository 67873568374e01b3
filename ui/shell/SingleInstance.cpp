#include "ui/shell/SingleInstance.h"

#include "system/ActivationToken.h"
#include "ui/shell/FreedesktopApplication.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace {

const QString kService = QStringLiteral(LIMITRA_APP_ID);
const QString kPath = QStringLiteral(LIMITRA_OBJECT_PATH);
const QString kApplicationInterface = QStringLiteral("org.freedesktop.Application");
const QString kTogglePanel = QStringLiteral("toggle-panel");
const QString kTokenKey = QStringLiteral("activation-token");

} // namespace

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{
    new FreedesktopApplication(*this);
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
    if (!bus.registerObject(kPath, this, QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportAdaptors))
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

bool SingleInstance::ask(Request request)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QVariantMap platformData;
    if (const QString token = ActivationToken::take(); !token.isEmpty())
        platformData.insert(kTokenKey, token);
    QDBusMessage call;
    if (request == Request::showDashboard) {
        call = QDBusMessage::createMethodCall(kService, kPath, kApplicationInterface, QStringLiteral("Activate"))
               << platformData;
    } else {
        call = QDBusMessage::createMethodCall(kService, kPath, kApplicationInterface, QStringLiteral("ActivateAction"))
               << kTogglePanel << QVariant::fromValue(QVariantList()) << platformData;
    }
    return bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

void SingleInstance::activate(const QVariantMap &platformData)
{
    ActivationToken::runWith(platformData.value(kTokenKey).toString(), [this] { Q_EMIT dashboardRequested(); });
}

void SingleInstance::activateAction(const QString &action, const QVariantMap &platformData)
{
    if (action != kTogglePanel) {
        if (calledFromDBus())
            sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("Limitra has no action \"%1\".").arg(action));
        return;
    }
    ActivationToken::runWith(platformData.value(kTokenKey).toString(), [this] { Q_EMIT panelToggleRequested(); });
}
