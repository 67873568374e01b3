#include "app/platform/FreedesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

namespace {

const QString kApplicationId = QStringLiteral("com.limitra.Limitra");

} // namespace

void FreedesktopNotifier::post(const QString &identifier, const QString &title, const QString &body)
{
    Q_UNUSED(identifier);
    QDBusMessage notify = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    const QVariantMap hints{
        {QStringLiteral("desktop-entry"), kApplicationId},
        {QStringLiteral("urgency"), QVariant::fromValue(uchar(1))}, // normal
    };
    notify << QStringLiteral("Limitra") << quint32(0) << kApplicationId << title << body << QStringList() << hints
           << qint32(-1);
    // Fire and forget: a missing notification service is no error of ours.
    QDBusConnection::sessionBus().send(notify);
}
