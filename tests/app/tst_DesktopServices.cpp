// The model's desktop services on a private D-Bus session, against
// python3-dbusmock stand-ins that record every call: usage alerts as
// notifications, and the global shortcut through the desktop portal (a
// template of ours): the binding, a press toggling the panel, the session kept
// across a recording, a new one for a new combination, and the message where
// no portal offers shortcuts. Run under dbus-run-session.
#include "app/AppModel.h"
#include "app/platform/FreedesktopNotifier.h"
#include "app/platform/PortalGlobalShortcut.h"
#include "tests/app/AppFakes.h"
#include "tests/support/TestHome.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

// The calls a python3-dbusmock stand-in recorded (its GetCalls, a(tsav)), and
// the signals a test has it send.
struct RecordedCall {
    qulonglong time = 0;
    QString method;
    QVariantList arguments;
};

const QDBusArgument &operator>>(const QDBusArgument &argument, RecordedCall &call)
{
    argument.beginStructure();
    argument >> call.time >> call.method >> call.arguments;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const RecordedCall &call)
{
    argument.beginStructure();
    argument << call.time << call.method << call.arguments;
    argument.endStructure();
    return argument;
}

Q_DECLARE_METATYPE(RecordedCall)

namespace DBusMock {

void registerTypes()
{
    qDBusRegisterMetaType<RecordedCall>();
    qDBusRegisterMetaType<QList<RecordedCall>>();
}

QList<RecordedCall> calls(const QString &service, const QString &path)
{
    const QDBusMessage request =
        QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Mock"), "GetCalls");
    const QDBusReply<QList<RecordedCall>> reply = QDBusConnection::sessionBus().call(request);
    return reply.isValid() ? reply.value() : QList<RecordedCall>();
}

QList<RecordedCall> callsOf(const QString &service, const QString &path, const QString &method)
{
    QList<RecordedCall> found;
    for (const RecordedCall &call : calls(service, path)) {
        if (call.method == method)
            found.append(call);
    }
    return found;
}

bool emitSignal(const QString &service, const QString &path, const QString &interface, const QString &name,
                const QString &signature, const QVariantList &arguments)
{
    QDBusMessage request =
        QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Mock"), "EmitSignal");
    request << interface << name << signature << arguments;
    return QDBusConnection::sessionBus().call(request).type() == QDBusMessage::ReplyMessage;
}

} // namespace DBusMock

namespace {

const QString kPortal = "org.freedesktop.portal.Desktop";
const QString kPortalPath = "/org/freedesktop/portal/desktop";
const QString kInterface = "org.freedesktop.portal.GlobalShortcuts";

QList<RecordedCall> portalCalls(const QString &method)
{
    return DBusMock::callsOf(kPortal, kPortalPath, method);
}

// The session a BindShortcuts call named, and its one shortcut's id and properties.
struct Binding {
    QString session;
    QString id;
    QVariantMap properties;
};

Binding binding(const RecordedCall &call)
{
    Binding found;
    found.session = call.arguments.value(0).value<QDBusObjectPath>().path();
    const QDBusArgument shortcuts = call.arguments.value(1).value<QDBusArgument>();
    shortcuts.beginArray();
    while (!shortcuts.atEnd()) {
        shortcuts.beginStructure();
        shortcuts >> found.id >> found.properties;
        shortcuts.endStructure();
    }
    shortcuts.endArray();
    return found;
}

} // namespace

class DesktopServicesTest : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void actionSeen(uint, const QString &) { ++m_actionsSeen; }
    void activationSeen() { ++m_activationsSeen; }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void thresholdCrossingPostsWithTheExactArgumentsAndItsButtonOpensTheDashboard();
    void withoutAPortalTheMessageNamesTheCommand();
    void bindsOnceAndAPressTogglesThePanel();

private:
    // A python3-dbusmock stand-in of `dbusmockTemplate`, once it owns `service`.
    void startMock(const QString &dbusmockTemplate, const QString &service);
    void press(const QString &session);

    QProcess m_mock;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<AppFakes> m_fakes;
    int m_actionsSeen = 0;
    int m_activationsSeen = 0;
};

void DesktopServicesTest::initTestCase()
{
    DBusMock::registerTypes();
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
    // Connected before any registrar: Qt 6 hands a signal to the receivers
    // from the most recently connected on, so this one hears a press after
    // the registrar has (see press()).
    QVERIFY(QDBusConnection::sessionBus().connect(kPortal, kPortalPath, kInterface, "Activated", this,
                                                  SLOT(activationSeen())));
}

void DesktopServicesTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
    m_fakes = std::make_unique<AppFakes>();
}

void DesktopServicesTest::cleanup()
{
    m_fakes.reset();
    m_home.reset();
    if (m_mock.state() != QProcess::NotRunning) {
        m_mock.terminate();
        m_mock.waitForFinished();
    }
}

void DesktopServicesTest::thresholdCrossingPostsWithTheExactArgumentsAndItsButtonOpensTheDashboard()
{
    startMock("notification_daemon", "org.freedesktop.Notifications");
    if (QTest::currentTestFailed())
        return;
    const auto calls = [] {
        return DBusMock::calls("org.freedesktop.Notifications", "/org/freedesktop/Notifications");
    };
    AppFakes &fakes = *m_fakes;
    AppModel::Services services = fakes.services(m_home->path());
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
    QCOMPARE(arguments.mid(0, 5), (QVariantList{"Limitra", 0u, "com.limitra.Limitra", "Claude usage is 93%",
                                                "5-hour limit · Resets in 2 hr."}));
    QCOMPARE(qdbus_cast<QStringList>(arguments[5]),
             QStringList({"default", "Open Dashboard", "open-dashboard", "Open Dashboard"}));
    const QVariantMap hints = qdbus_cast<QVariantMap>(arguments[6]);
    QCOMPARE(hints,
             (QVariantMap{{"desktop-entry", "com.limitra.Limitra"}, {"urgency", QVariant::fromValue(uchar(1))}}));
    QCOMPARE(hints.value("urgency").metaType(), QMetaType::fromType<uchar>()); // a byte, as the protocol has it
    QCOMPARE(arguments[7], QVariant(-1));

    // The button opens the dashboard; the same signal about another
    // application's notification (it goes to every client) does nothing.
    // This test hears the signals too, in order: once it has heard the last,
    // the notifier has seen the other one.
    QVERIFY(QDBusConnection::sessionBus().connect("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                                  "org.freedesktop.Notifications", "ActionInvoked", this,
                                                  SLOT(actionSeen(uint, QString))));
    // On Wayland the click's activation token comes first; the dashboard
    // opens with it in XDG_ACTIVATION_TOKEN, where Qt looks for it, and it
    // is not left there for the children started later.
    QStringList tokens;
    connect(&model, &AppModel::dashboardRequested, this,
            [&tokens] { tokens.append(qEnvironmentVariable("XDG_ACTIVATION_TOKEN")); });
    for (const uint id : {7u, 1u}) { // the stand-in's first id last
        QVERIFY(DBusMock::emitSignal("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                     "org.freedesktop.Notifications", "ActivationToken", "us",
                                     {id, QStringLiteral("token-%1").arg(id)}));
        QVERIFY(DBusMock::emitSignal("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                     "org.freedesktop.Notifications", "ActionInvoked", "us",
                                     {id, QStringLiteral("open-dashboard")}));
    }
    QTRY_COMPARE(m_actionsSeen, 2);
    QTRY_COMPARE(tokens, QStringList{"token-1"});
    QVERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
}

void DesktopServicesTest::startMock(const QString &dbusmockTemplate, const QString &service)
{
    m_mock.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_mock.start("/usr/bin/python3", {"-m", "dbusmock", "--template", dbusmockTemplate});
    QVERIFY(m_mock.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(QDBusConnection::sessionBus().interface()->isServiceRegistered(service).value(), 20000);
}

// The desktop reports a press of the shortcut bound in `session`; returns
// once the registrar has had it.
void DesktopServicesTest::press(const QString &session)
{
    const int seen = m_activationsSeen;
    QVERIFY(DBusMock::emitSignal(
        kPortal, kPortalPath, kInterface, "Activated", "osta{sv}",
        {QVariant::fromValue(QDBusObjectPath(session)), "toggle-panel", qulonglong(1), QVariantMap()}));
    QTRY_COMPARE(m_activationsSeen, seen + 1);
}

void DesktopServicesTest::withoutAPortalTheMessageNamesTheCommand()
{
    AppModel::Services services = m_fakes->services(m_home->path());
    services.shortcuts = std::make_unique<PortalGlobalShortcut>(QDBusConnection::sessionBus());
    AppModel model(std::move(services));
    QTRY_VERIFY(model.shortcutError().has_value());
    QCOMPARE(*model.shortcutError(), QStringLiteral("This desktop offers applications no global shortcuts: bind the "
                                                    "command limitra --toggle-panel to a key in its keyboard settings "
                                                    "instead."));
    // Known from then on: a new combination fails at once.
    model.recordShortcut(0x61, GlobalShortcut::control | GlobalShortcut::shift, "A");
    QVERIFY(model.shortcutError().has_value());
}

void DesktopServicesTest::bindsOnceAndAPressTogglesThePanel()
{
    startMock(LIMITRA_FAKES_DIR "/global_shortcuts_portal.py", kPortal);
    if (QTest::currentTestFailed())
        return;
    AppModel::Services services = m_fakes->services(m_home->path());
    services.shortcuts = std::make_unique<PortalGlobalShortcut>(QDBusConnection::sessionBus());
    AppModel model(std::move(services));
    model.setPanelAvailable([] { return true; });
    QSignalSpy toggles(&model, &AppModel::panelToggleRequested);

    // The application registers itself before anything else, then binds the
    // default combination in a session of its own.
    QTRY_COMPARE(portalCalls("BindShortcuts").size(), 1);
    const QList<RecordedCall> calls = DBusMock::calls(kPortal, kPortalPath);
    QCOMPARE(calls.first().method, QStringLiteral("Register"));
    QCOMPARE(calls.first().arguments.value(0).toString(), QStringLiteral("com.limitra.Limitra"));
    const Binding first = binding(portalCalls("BindShortcuts").first());
    QCOMPARE(first.id, QStringLiteral("toggle-panel"));
    QCOMPARE(first.properties.value("preferred_trigger").toString(), QStringLiteral("CTRL+ALT+LOGO+u"));
    QVERIFY(!first.properties.value("description").toString().isEmpty());
    QCOMPARE(model.shortcutError(), std::nullopt);

    press(first.session);
    QCOMPARE(toggles.count(), 1);

    // While the recorder listens, a press does nothing; afterwards the same
    // session works again, without binding anew.
    model.setShortcutRecording(true);
    press(first.session);
    QCOMPARE(toggles.count(), 1);
    model.setShortcutRecording(false);
    press(first.session);
    QCOMPARE(toggles.count(), 2);
    QCOMPARE(portalCalls("CreateSession").size(), 1);
    QCOMPARE(portalCalls("BindShortcuts").size(), 1);

    // Another combination is bound in a new session; the old one is closed
    // and its presses no longer count.
    model.recordShortcut(0x61, GlobalShortcut::control | GlobalShortcut::shift, "A");
    QTRY_COMPARE(portalCalls("BindShortcuts").size(), 2);
    const Binding second = binding(portalCalls("BindShortcuts").last());
    QCOMPARE(second.properties.value("preferred_trigger").toString(), QStringLiteral("CTRL+SHIFT+a"));
    QVERIFY(second.session != first.session);
    QTRY_COMPARE(DBusMock::callsOf(kPortal, first.session, "Close").size(), 1);
    press(first.session);
    QCOMPARE(toggles.count(), 2);
    press(second.session);
    QCOMPARE(toggles.count(), 3);

    // A combination the user refuses in the desktop's dialog is reported,
    // the session asked for it closed, and the bound one still works...
    model.recordShortcut(0x74, GlobalShortcut::control | GlobalShortcut::alt, "T");
    QTRY_VERIFY(model.shortcutError().has_value());
    QCOMPARE(*model.shortcutError(),
             QStringLiteral("The desktop did not bind Ctrl+Alt+T; Ctrl+Shift+A still opens the panel. Record the "
                            "shortcut again to try once more."));
    const Binding refused = binding(portalCalls("BindShortcuts").last());
    QTRY_COMPARE(DBusMock::callsOf(kPortal, refused.session, "Close").size(), 1);
    press(second.session);
    QCOMPARE(toggles.count(), 4);
    // ... so going back to it asks the desktop nothing.
    model.recordShortcut(0x61, GlobalShortcut::control | GlobalShortcut::shift, "A");
    QCOMPARE(model.shortcutError(), std::nullopt);
    QCOMPARE(portalCalls("BindShortcuts").size(), 3);
    QCOMPARE(DBusMock::callsOf(kPortal, second.session, "Close").size(), 0);
}

QTEST_GUILESS_MAIN(DesktopServicesTest)
#include "tst_DesktopServices.moc"
