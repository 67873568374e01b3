// Usage alerts as desktop notifications, on a private D-Bus session with a
// notification server stand-in (python3-dbusmock) that records every call.
// Run under dbus-run-session.
#include "app/AppModel.h"
#include "app/platform/FreedesktopNotifier.h"
#include "tests/app/AppFakes.h"
#include "tests/app/DBusMockCalls.h"
#include "tests/support/TestHome.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QProcess>
#include <QtTest>

class NotificationsTest : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void actionSeen(uint, const QString &) { ++m_actionsSeen; }

private:
    QProcess m_server;
    int m_actionsSeen = 0;

    QList<RecordedCall> calls() const
    {
        return DBusMock::calls("org.freedesktop.Notifications", "/org/freedesktop/Notifications");
    }
    void invokeAction(uint id, const QString &key) const
    {
        QVERIFY(DBusMock::emitSignal("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                     "org.freedesktop.Notifications", "ActionInvoked", "us", {id, key}));
    }

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void thresholdCrossingPostsWithTheExactArgumentsAndItsButtonOpensTheDashboard();
};

void NotificationsTest::initTestCase()
{
    DBusMock::registerTypes();
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
    m_server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_server.start("/usr/bin/python3", {"-m", "dbusmock", "--template", "notification_daemon"});
    QVERIFY(m_server.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(
        QDBusConnection::sessionBus().interface()->isServiceRegistered("org.freedesktop.Notifications").value(), 20000);
}

void NotificationsTest::cleanupTestCase()
{
    m_server.terminate();
    m_server.waitForFinished();
}

void NotificationsTest::thresholdCrossingPostsWithTheExactArgumentsAndItsButtonOpensTheDashboard()
{
    TestHome home;
    home.activate();
    AppFakes fakes;
    AppModel::Services services = fakes.services(home.path());
    services.notifier = std::make_unique<FreedesktopNotifier>();
    AppModel model(std::move(services));
    model.setNotificationsEnabled(true);

    QFuture<void> started = model.start();
    QTRY_COMPARE(fakes.collections.size(), size_t(2));
    fakes.finishAll([&](UsageProvider provider) {
        return fakes.usage(provider, {provider == UsageProvider::claude ? 92.5 : 10}, fakes.now.addSecs(2 * 3600));
    });
    QTRY_VERIFY(started.isFinished());
    QTRY_COMPARE(calls().size(), 1);
    const RecordedCall call = calls().first();
    QCOMPARE(call.method, QStringLiteral("Notify"));
    const QVariantList &arguments = call.arguments;
    QCOMPARE(arguments.size(), 8);
    QCOMPARE(arguments[0].toString(), QStringLiteral("Limitra"));
    QCOMPARE(arguments[1].toUInt(), 0u);
    QCOMPARE(arguments[2].toString(), QStringLiteral("com.limitra.Limitra"));
    QCOMPARE(arguments[3].toString(), QStringLiteral("Claude usage is 93%"));
    QCOMPARE(arguments[4].toString(), QStringLiteral("5-hour limit · Resets in 2 hr."));
    QCOMPARE(qdbus_cast<QStringList>(arguments[5]),
             QStringList({"default", "Open Dashboard", "open-dashboard", "Open Dashboard"}));
    const QVariantMap hints = qdbus_cast<QVariantMap>(arguments[6]);
    QCOMPARE(hints.size(), 2);
    QCOMPARE(hints.value("desktop-entry").toString(), QStringLiteral("com.limitra.Limitra"));
    QCOMPARE(hints.value("urgency").metaType(), QMetaType::fromType<uchar>());
    QCOMPARE(hints.value("urgency").value<uchar>(), uchar(1));
    QCOMPARE(arguments[7].toInt(), -1);

    // The button opens the dashboard; the same signal about another
    // application's notification (it goes to every client) does nothing.
    // This test hears the signals too, in order: once it has heard the last,
    // the notifier has seen the other one.
    QVERIFY(QDBusConnection::sessionBus().connect("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                                  "org.freedesktop.Notifications", "ActionInvoked", this,
                                                  SLOT(actionSeen(uint, QString))));
    QSignalSpy dashboard(&model, &AppModel::dashboardRequested);
    invokeAction(7, "open-dashboard");
    invokeAction(1, "open-dashboard"); // the stand-in's first id
    QTRY_COMPARE(m_actionsSeen, 2);
    QTRY_COMPARE(dashboard.count(), 1);
}

QTEST_GUILESS_MAIN(NotificationsTest)
#include "tst_Notifications.moc"
