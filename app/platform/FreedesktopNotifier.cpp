#include "app/platform/FreedesktopNotifier.h"

#include "LimitraIdentity.h"
#include "system/ActivationToken.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>
#include <QVariantMap>

namespace {

const QString kApplicationId = QStringLiteral(LIMITRA_APP_ID);
const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kInterface = QStringLiteral("org.freedesktop.Notifications");
const QString kOpenDashboard = QStringLiteral("open-dashboard");
// A click on the notification itself, where the server has such a thing.
const QString kDefaultAction = QStringLiteral("default");

} // namespace

FreedesktopNotifier::FreedesktopNotifier(QObject *parent)
    : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    // Normalised signatures (no spaces) spare a normalisation per connection.
    // clang-format off
    bus.connect(kService, kPath, kInterface, QStringLiteral("ActionInvoked"), this,
                SLOT(actionInvoked(uint,QString)));
    bus.connect(kService, kPath, kInterface, QStringLiteral("NotificationClosed"), this,
                SLOT(notificationClosed(uint,uint)));
    bus.connect(kService, kPath, kInterface, QStringLiteral("ActivationToken"), this,
                SLOT(activationToken(uint,QString)));
    // clang-format on
}

void FreedesktopNotifier::post(const QString &identifier, const QString &title, const QString &body)
{
    Q_UNUSED(identifier);
    QDBusMessage notify = QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("Notify"));
    const QVariantMap hints{
        {QStringLiteral("desktop-entry"), kApplicationId},
        {QStringLiteral("urgency"), QVariant::fromValue(uchar(1))}, // normal
    };
    const QStringList actions{kDefaultAction, QStringLiteral("Open Dashboard"), kOpenDashboard,
                              QStringLiteral("Open Dashboard")};
    notify << QStringLiteral("Limitra") << quint32(0) << kApplicationId << title << body << actions << hints
           << qint32(-1);
    // A missing notification service is no error of ours; only the id of a
    // shown notification matters, for its button.
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(notify), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        const QDBusPendingReply<uint> reply = *call;
        if (reply.isValid())
            m_shown.insert(reply.value());
        call->deleteLater();
    });
}

void FreedesktopNotifier::actionInvoked(uint id, const QString &actionKey)
{
    const QString token = m_activationTokens.take(id);
    if (!m_shown.contains(id) || (actionKey != kOpenDashboard && actionKey != kDefaultAction) || !m_openDashboard)
        return;
    // A Wayland compositor raises the dashboard only with the click's token.
    ActivationToken::runWith(token, m_openDashboard);
}

void FreedesktopNotifier::activationToken(uint id, const QString &token)
{
    // The server sends it just before the action it belongs to.
    if (m_shown.contains(id))
        m_activationTokens.insert(id, token);
}

void FreedesktopNotifier::notificationClosed(uint id, uint reason)
{
    Q_UNUSED(reason);
    m_shown.remove(id);
    m_activationTokens.remove(id);
}
