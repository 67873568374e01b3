#include "ui/shell/FreedesktopApplication.h"

#include "ui/shell/SingleInstance.h"

FreedesktopApplication::FreedesktopApplication(SingleInstance &instance)
    : QDBusAbstractAdaptor(&instance)
    , m_instance(instance)
{
}

void FreedesktopApplication::Activate(const QVariantMap &platformData)
{
    m_instance.activate(platformData);
}

void FreedesktopApplication::Open(const QStringList &uris, const QVariantMap &platformData)
{
    Q_UNUSED(uris);
    m_instance.activate(platformData);
}

void FreedesktopApplication::ActivateAction(const QString &actionName, const QVariantList &parameter,
                                            const QVariantMap &platformData)
{
    Q_UNUSED(parameter);
    m_instance.activateAction(actionName, platformData);
}
