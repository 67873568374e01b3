#pragma once

#include <QDBusAbstractAdaptor>
#include <QVariantMap>

class SingleInstance;

// org.freedesktop.Application on the running instance's object, the way
// desktops (and Limitra's own later starts) activate an application: its
// platform data carries the activation token of the click or launch that
// asked, without which a Wayland compositor raises no window.
class FreedesktopApplication : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit FreedesktopApplication(SingleInstance &instance);

public Q_SLOTS:
    void Activate(const QVariantMap &platformData);
    // Limitra opens no documents: being asked to is being activated.
    void Open(const QStringList &uris, const QVariantMap &platformData);
    void ActivateAction(const QString &actionName, const QVariantList &parameter, const QVariantMap &platformData);

private:
    SingleInstance &m_instance;
};
