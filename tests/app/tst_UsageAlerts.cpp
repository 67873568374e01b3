// When a usage alert is posted, with what text, and only once per period.
#include "app/Preferences.h"
#include "app/UsageAlerts.h"
#include "tests/app/AppFakes.h"
#include "tests/support/TestHome.h"

#include <QtTest>

class UsageAlertsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thresholdAndTitle_data();
    void thresholdAndTitle();
    void identities_data();
    void identities();
    void severalWindowsOfOneSnapshot();
    void runOutWarning_data();
    void runOutWarning();
};

void UsageAlertsTest::thresholdAndTitle_data()
{
    QTest::addColumn<double>("threshold");
    QTest::addColumn<double>("usage");
    QTest::addColumn<QString>("title"); // empty: no alert
    QTest::newRow("at the threshold") << 80.0 << 80.0 << "Claude usage is 80%";
    QTest::newRow("just below") << 80.0 << 79.99 << "";
    QTest::newRow("half rounds away from zero") << 80.0 << 92.5 << "Claude usage is 93%";
    QTest::newRow("below half") << 80.0 << 92.4 << "Claude usage is 92%";
    QTest::newRow("over the limit") << 95.0 << 130.0 << "Claude usage is 130%";
}

void UsageAlertsTest::thresholdAndTitle()
{
    QFETCH(double, threshold);
    QFETCH(double, usage);
    QFETCH(QString, title);
    TestHome home;
    AppFakes fakes;
    Preferences preferences(home.path() + "/prefs.conf");
    AppFakes::RecordingNotifier notifier(fakes);
    UsageAlerts alerts(preferences, notifier);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    alerts.maybeNotify(::usage(UsageProvider::claude, {usage}, now.addSecs(3 * 60 + 20)), true, threshold, now);
    if (title.isEmpty()) {
        QVERIFY(fakes.posts.empty());
        return;
    }
    QCOMPARE(fakes.posts.size(), size_t(1));
    QCOMPARE(fakes.posts[0].title, title);
    QCOMPARE(fakes.posts[0].body, QStringLiteral("5-hour limit · Resets in 3 min."));
}

void UsageAlertsTest::identities_data()
{
    QTest::addColumn<QDateTime>("resetsAt");
    QTest::addColumn<double>("threshold");
    QTest::addColumn<QString>("identity");
    QTest::newRow("reset time and threshold")
        << QDateTime::fromSecsSinceEpoch(1767225600, Qt::UTC) << 80.0 << "codex.codex.w0.1767225600.80";
    QTest::newRow("fractions are cut") << QDateTime::fromMSecsSinceEpoch(1767225600999, Qt::UTC) << 80.9
                                       << "codex.codex.w0.1767225600.80";
    QTest::newRow("before 1970, toward zero")
        << QDateTime::fromMSecsSinceEpoch(-1500, Qt::UTC) << 55.5 << "codex.codex.w0.-1.55";
    QTest::newRow("no reset time") << QDateTime() << 80.1 << "codex.codex.w0.unknown.80";
}

void UsageAlertsTest::identities()
{
    QFETCH(QDateTime, resetsAt);
    QFETCH(double, threshold);
    QFETCH(QString, identity);
    const std::optional<QDateTime> reset = resetsAt.isValid() ? std::optional<QDateTime>(resetsAt) : std::nullopt;
    const ProviderSnapshot snapshot = usage(UsageProvider::codex, {99}, reset);
    QCOMPARE(UsageAlerts::identity(UsageProvider::codex, snapshot.windows[0], threshold), identity);

    // Posted under that identity once, then never again for it.
    TestHome home;
    AppFakes fakes;
    Preferences preferences(home.path() + "/prefs.conf");
    AppFakes::RecordingNotifier notifier(fakes);
    UsageAlerts alerts(preferences, notifier);
    alerts.maybeNotify(snapshot, true, threshold);
    alerts.maybeNotify(snapshot, true, threshold);
    QCOMPARE(fakes.posts.size(), size_t(1));
    QCOMPARE(fakes.posts[0].identifier, identity);
    QVERIFY(preferences.wasNotified(identity));
    QVERIFY(readAll(home.path() + "/prefs.conf").contains("notified." + identity.toUtf8()));
}

void UsageAlertsTest::severalWindowsOfOneSnapshot()
{
    TestHome home;
    AppFakes fakes;
    Preferences preferences(home.path() + "/prefs.conf");
    AppFakes::RecordingNotifier notifier(fakes);
    UsageAlerts alerts(preferences, notifier);
    alerts.maybeNotify(usage(UsageProvider::codex, {90, 50, 85}), true, 80);
    QCOMPARE(fakes.posts.size(), size_t(2));
    QCOMPARE(fakes.posts[0].title, QStringLiteral("Codex usage is 90%"));
    QCOMPARE(fakes.posts[1].title, QStringLiteral("Codex usage is 85%"));
    alerts.maybeNotify(usage(UsageProvider::codex, {90, 95, 85}), false, 80); // switched off
    QCOMPARE(fakes.posts.size(), size_t(2));
    QVERIFY(!preferences.wasNotified(QStringLiteral("codex.codex.w1.unknown.80")));
}

void UsageAlertsTest::runOutWarning_data()
{
    QTest::addColumn<int>("minutesBeforeReset");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("body");
    QTest::newRow("70 minutes early")
        << 70 << true << "OpenAI Codex · 5-hour: at this pace full at 10:50, 1 hr 10 min before it resets";
    QTest::newRow("30 minutes early") << 30 << true
                                      << "OpenAI Codex · 5-hour: at this pace full at 11:30, 30 min before it resets";
    QTest::newRow("29 minutes early") << 29 << true << "";
    QTest::newRow("switched off") << 70 << false << "";
}

void UsageAlertsTest::runOutWarning()
{
    QFETCH(int, minutesBeforeReset);
    QFETCH(bool, enabled);
    QFETCH(QString, body);
    TestHome home;
    AppFakes fakes;
    Preferences preferences(home.path() + "/prefs.conf");
    AppFakes::RecordingNotifier notifier(fakes);
    UsageAlerts alerts(preferences, notifier);
    const QDateTime reset(QDate(2026, 11, 23), QTime(12, 0), Qt::UTC);
    const ProviderSnapshot snapshot = usage(UsageProvider::codex, {60}, reset);
    const WindowForecast forecast{UsageProvider::codex, snapshot.windows[0].id, 20.0,
                                  reset.addSecs(-minutesBeforeReset * 60)};
    // Once per limit window, however many refreshes say so.
    for (int refresh = 0; refresh < 2; ++refresh)
        alerts.maybeWarnRunOut({forecast}, {{UsageProvider::codex, snapshot}}, enabled);
    QCOMPARE(fakes.posts.size(), size_t(body.isEmpty() ? 0 : 1));
    if (!body.isEmpty())
        QCOMPARE(fakes.posts[0].body, body);
}

QTEST_GUILESS_MAIN(UsageAlertsTest)
#include "tst_UsageAlerts.moc"
