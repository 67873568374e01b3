#include "ui/menubar/TrayHostWatcher.h"

#include "ui/platform/X11Desktop.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include <chrono>

namespace {

const QString kWatcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kWatcherPath = QStringLiteral("/StatusNotifierWatcher");

QDBusMessage hostRegisteredQuery()
{
    QDBusMessage get = QDBusMessage::createMethodCall(
        kWatcherService, kWatcherPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << kWatcherService << QStringLiteral("IsStatusNotifierHostRegistered");
    // A watcher that is only D-Bus activatable has no host to show an icon.
    get.setAutoStartService(false);
    return get;
}

bool isTrue(const QDBusMessage &reply)
{
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()
           && reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

} // namespace

TrayHostWatcher::TrayHostWatcher(QObject *parent)
    : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        m_serviceWatcher =
            new QDBusServiceWatcher(kWatcherService, bus, QDBusServiceWatcher::WatchForRegistration, this);
        connect(m_serviceWatcher, &QDBusServiceWatcher::serviceRegistered, this,
                &TrayHostWatcher::checkStatusNotifierHost);
        bus.connect(kWatcherService, kWatcherPath, kWatcherService, QStringLiteral("StatusNotifierHostRegistered"),
                    this, SLOT(checkStatusNotifierHost()));
    }
    // X11 offers no cheap notice of a new selection owner without another
    // extension, and a watcher's signal can be missed while its name is
    // still being resolved; asking once a second costs a round trip or two,
    // and only until a host is found.
    m_poll.setInterval(std::chrono::seconds(1));
    connect(&m_poll, &QTimer::timeout, this, [this] {
        if (X11Desktop::trayManagerPresent())
            markAvailable();
        else if (m_serviceWatcher)
            checkStatusNotifierHost();
    });
    if (m_serviceWatcher || X11Desktop::isActive())
        m_poll.start();
}

bool TrayHostWatcher::checkNow()
{
    if (m_available)
        return true;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (X11Desktop::trayManagerPresent()
        || (bus.isConnected() && isTrue(bus.call(hostRegisteredQuery(), QDBus::Block, 2000))))
        markAvailable();
    return m_available;
}

void TrayHostWatcher::checkStatusNotifierHost()
{
    if (m_available)
        return;
    auto *call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(hostRegisteredQuery()), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *finished) {
        finished->deleteLater();
        if (isTrue(finished->reply()))
            markAvailable();
    });
}

void TrayHostWatcher::markAvailable()
{
    if (m_available)
        return;
    m_available = true;
    m_poll.stop();
    Q_EMIT available();
}
