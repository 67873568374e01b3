// The global shortcut through the desktop portal, against a stand-in portal
// (a python3-dbusmock template of ours) on a private bus: the binding, a
// press toggling the panel, the session kept across a recording, a new one
// for a new combination, and the message where no portal offers shortcuts.
// Run under dbus-run-session.
#include "app/AppModel.h"
#include "app/platform/PortalGlobalShortcut.h"
#include "tests/app/AppFakes.h"
#include "tests/app/DBusMockCalls.h"
#include "tests/support/TestHome.h"

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

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

class PortalGlobalShortcutTest : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void activationSeen() { ++m_activationsSeen; }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void withoutAPortalTheMessageNamesTheCommand();
    void bindsOnceAndAPressTogglesThePanel();

private:
    void startPortal();
    void press(const QString &session);

    QProcess m_portal;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<AppFakes> m_fakes;
    int m_activationsSeen = 0;
};

void PortalGlobalShortcutTest::initTestCase()
{
    DBusMock::registerTypes();
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "run under dbus-run-session");
    // Connected before any registrar: Qt 6 hands a signal to the receivers
    // from the most recently connected on, so this one hears a press after
    // the registrar has (see press()).
    QVERIFY(QDBusConnection::sessionBus().connect(kPortal, kPortalPath, kInterface, "Activated", this,
                                                  SLOT(activationSeen())));
}

void PortalGlobalShortcutTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
    m_fakes = std::make_unique<AppFakes>();
}

void PortalGlobalShortcutTest::cleanup()
{
    m_fakes.reset();
    m_home.reset();
    if (m_portal.state() != QProcess::NotRunning) {
        m_portal.terminate();
        m_portal.waitForFinished();
    }
}

void PortalGlobalShortcutTest::startPortal()
{
    m_portal.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_portal.start("/usr/bin/python3",
                   {"-m", "dbusmock", "--template", LIMITRA_FAKES_DIR "/global_shortcuts_portal.py"});
    QVERIFY(m_portal.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(QDBusConnection::sessionBus().interface()->isServiceRegistered(kPortal).value(), 20000);
}

// The desktop reports a press of the shortcut bound in `session`; returns
// once the registrar has had it.
void PortalGlobalShortcutTest::press(const QString &session)
{
    const int seen = m_activationsSeen;
    QVERIFY(DBusMock::emitSignal(
        kPortal, kPortalPath, kInterface, "Activated", "osta{sv}",
        {QVariant::fromValue(QDBusObjectPath(session)), "toggle-panel", qulonglong(1), QVariantMap()}));
    QTRY_COMPARE(m_activationsSeen, seen + 1);
}

void PortalGlobalShortcutTest::withoutAPortalTheMessageNamesTheCommand()
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

void PortalGlobalShortcutTest::bindsOnceAndAPressTogglesThePanel()
{
    startPortal();
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
}

QTEST_GUILESS_MAIN(PortalGlobalShortcutTest)
#include "tst_PortalGlobalShortcut.moc"
