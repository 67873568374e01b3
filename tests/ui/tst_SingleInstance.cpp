// One instance per session bus, and what a later start hands it: on Wayland
// the launch's activation token, which the instance must hold while it opens
// a window. Run under dbus-run-session.
#include "ui/shell/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QtTest>

#include <future>

namespace {

// Runs `call` on another thread, as a later start would from its own
// process: the instance on this thread must be free to answer.
template <typename Call>
auto fromElsewhere(Call call)
{
    std::future<decltype(call())> answer = std::async(std::launch::async, call);
    // The calls' own D-Bus time-outs bound the wait.
    while (answer.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready)
        QCoreApplication::processEvents();
    return answer.get();
}

} // namespace

class SingleInstanceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void laterStartsHandTheirTokenToTheInstance();
};

void SingleInstanceTest::laterStartsHandTheirTokenToTheInstance()
{
    SingleInstance instance;
    QCOMPARE(instance.claim(), SingleInstance::Claim::owned);
    QCOMPARE(SingleInstance().claim(), SingleInstance::Claim::runningElsewhere);

    // What the environment held while each window was asked for.
    QStringList heard;
    const auto hear = [&heard](const QString &what) {
        heard.append(what + QLatin1Char(' ') + qEnvironmentVariable("XDG_ACTIVATION_TOKEN"));
    };
    connect(&instance, &SingleInstance::dashboardRequested, this, [&] { hear(QStringLiteral("dashboard")); });
    connect(&instance, &SingleInstance::panelToggleRequested, this, [&] { hear(QStringLiteral("panel")); });
    const auto ask = [](SingleInstance::Request request) {
        return fromElsewhere([request] { return SingleInstance::ask(request); });
    };
    qputenv("XDG_ACTIVATION_TOKEN", "launch-1");
    QVERIFY(ask(SingleInstance::Request::showDashboard));
    QVERIFY(ask(SingleInstance::Request::togglePanel)); // the token was used up
    qputenv("XDG_ACTIVATION_TOKEN", "launch-2");
    QVERIFY(ask(SingleInstance::Request::togglePanel));
    QCOMPARE(heard, (QStringList{"dashboard launch-1", "panel ", "panel launch-2"}));
    QVERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));

    // An action it does not have is an error, not a silent success.
    const QDBusMessage unknown = fromElsewhere([] {
        QDBusMessage call = QDBusMessage::createMethodCall("com.limitra.Limitra", "/com/limitra/Limitra",
                                                           "org.freedesktop.Application", "ActivateAction");
        call << QStringLiteral("reboot") << QVariant::fromValue(QVariantList()) << QVariantMap();
        return QDBusConnection::sessionBus().call(call);
    });
    QCOMPARE(unknown.type(), QDBusMessage::ErrorMessage);
    QCOMPARE(unknown.errorMessage(), QStringLiteral("Limitra has no action \"reboot\"."));
    QCOMPARE(heard.size(), 3);
}

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "tst_SingleInstance.moc"
