// When a usage alert or a run-out warning is posted, only once per limit
// period, and the texts of alerts and forecasts.
#include "app/ForecastTexts.h"
#include "app/Preferences.h"
#include "app/UsageAlerts.h"
#include "tests/app/AppFakes.h"
#include "tests/support/TestHome.h"

#include <QtTest>

namespace {

const QDateTime kNow(QDate(2026, 11, 23), QTime(12, 0), Qt::UTC);

// Alerts over a preferences file in a throw-away folder, with the posts recorded.
struct Alerts {
    TestHome home;
    std::vector<AppFakes::Post> posts;
    FakeNotifier notifier;
    std::unique_ptr<Preferences> preferences;
    std::unique_ptr<UsageAlerts> alerts;

    Alerts()
    {
        notifier.onPost = [this](const QString &id, const QString &title, const QString &body) {
            posts.push_back({id, title, body});
        };
        restart();
    }
    // As after a restart of the application: what was posted is read back from the file.
    void restart()
    {
        alerts.reset();
        preferences = std::make_unique<Preferences>(home.path() + "/prefs.conf");
        alerts = std::make_unique<UsageAlerts>(*preferences, notifier);
    }
};

ProviderSnapshot snapshot(UsageProvider provider, QList<double> percents, std::optional<QDateTime> resetsAt)
{
    ProviderSnapshot one = SnapshotSamples::connected(provider, kNow);
    for (qsizetype i = 0; i < percents.size(); ++i)
        one.windows.append(SnapshotSamples::fiveHour(provider, percents[i], resetsAt));
    for (qsizetype i = 1; i < percents.size(); ++i)
        one.windows[i].id += QString::number(i);
    return one;
}

} // namespace

class UsageAlertsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thresholdAndTitle_data();
    void thresholdAndTitle();
    void oncePerPeriod_data();
    void oncePerPeriod();
    void runOutWarning_data();
    void runOutWarning();
    void durations_data();
    void durations();
    void cardLines_data();
    void cardLines();
};

void UsageAlertsTest::thresholdAndTitle_data()
{
    QTest::addColumn<double>("threshold");
    QTest::addColumn<QList<double>>("usage");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QStringList>("titles");
    QTest::newRow("at the threshold") << 80.0 << QList<double>{80} << true << QStringList{"Claude usage is 80%"};
    QTest::newRow("just below") << 80.0 << QList<double>{79.99} << true << QStringList{};
    QTest::newRow("half rounds away from zero")
        << 80.0 << QList<double>{92.5} << true << QStringList{"Claude usage is 93%"};
    QTest::newRow("below half") << 80.0 << QList<double>{92.4} << true << QStringList{"Claude usage is 92%"};
    QTest::newRow("over the limit") << 95.0 << QList<double>{130} << true << QStringList{"Claude usage is 130%"};
    QTest::newRow("several windows") << 80.0 << QList<double>{90, 50, 85} << true
                                     << QStringList{"Claude usage is 90%", "Claude usage is 85%"};
    QTest::newRow("switched off") << 80.0 << QList<double>{90} << false << QStringList{};
}

void UsageAlertsTest::thresholdAndTitle()
{
    QFETCH(double, threshold);
    QFETCH(QList<double>, usage);
    QFETCH(bool, enabled);
    QFETCH(QStringList, titles);
    Alerts alerts;
    alerts.alerts->maybeNotify(snapshot(UsageProvider::claude, usage, kNow.addSecs(3 * 60 + 20)), enabled, threshold,
                               kNow);
    QStringList posted;
    for (const AppFakes::Post &post : alerts.posts) {
        posted.append(post.title);
        QCOMPARE(post.body, QStringLiteral("5-hour limit · Resets in 3 min."));
    }
    QCOMPARE(posted, titles);
}

void UsageAlertsTest::oncePerPeriod_data()
{
    QTest::addColumn<QDateTime>("firstReset"); // invalid: none
    QTest::addColumn<QDateTime>("secondReset");
    QTest::addColumn<double>("secondThreshold");
    QTest::addColumn<bool>("restart");
    QTest::addColumn<QString>("identity");
    QTest::addColumn<int>("posts");
    const QDateTime reset = QDateTime::fromSecsSinceEpoch(1767225600, Qt::UTC);
    const QString id = "codex.codex.five_hour.1767225600.80";
    QTest::newRow("same period") << reset << reset << 80.0 << false << id << 1;
    QTest::newRow("same period after a restart") << reset << reset << 80.0 << true << id << 1;
    QTest::newRow("the same second") << reset << reset.addMSecs(999) << 80.9 << false << id << 1;
    QTest::newRow("next period") << reset << reset.addSecs(5 * 3600) << 80.0 << false << id << 2;
    QTest::newRow("new threshold") << reset << reset << 90.0 << false << id << 2;
    QTest::newRow("no reset time") << QDateTime() << QDateTime() << 80.0 << false << "codex.codex.five_hour.unknown.80"
                                   << 1;
    QTest::newRow("before 1970, toward zero")
        << QDateTime::fromMSecsSinceEpoch(-1500, Qt::UTC) << QDateTime::fromMSecsSinceEpoch(-1500, Qt::UTC) << 80.0
        << false << "codex.codex.five_hour.-1.80" << 1;
}

void UsageAlertsTest::oncePerPeriod()
{
    QFETCH(QDateTime, firstReset);
    QFETCH(QDateTime, secondReset);
    QFETCH(double, secondThreshold);
    QFETCH(bool, restart);
    QFETCH(QString, identity);
    QFETCH(int, posts);
    const auto reset = [](const QDateTime &at) { return at.isValid() ? std::optional(at) : std::nullopt; };
    Alerts alerts;
    alerts.alerts->maybeNotify(snapshot(UsageProvider::codex, {99}, reset(firstReset)), true, 80, kNow);
    if (restart)
        alerts.restart();
    alerts.alerts->maybeNotify(snapshot(UsageProvider::codex, {99}, reset(secondReset)), true, secondThreshold, kNow);
    QCOMPARE(alerts.posts.size(), size_t(posts));
    QCOMPARE(alerts.posts[0].identifier, identity);
    QVERIFY(readAll(alerts.home.path() + "/prefs.conf").contains("notified." + identity.toUtf8()));
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
    Alerts alerts;
    const ProviderSnapshot codex = snapshot(UsageProvider::codex, {60}, kNow);
    const WindowForecast forecast{UsageProvider::codex, codex.windows[0].id, 20.0,
                                  kNow.addSecs(-minutesBeforeReset * 60)};
    // Once per limit window, however many refreshes say so.
    for (int refresh = 0; refresh < 2; ++refresh)
        alerts.alerts->maybeWarnRunOut({forecast}, {{UsageProvider::codex, codex}}, enabled);
    QCOMPARE(alerts.posts.size(), size_t(body.isEmpty() ? 0 : 1));
    if (!body.isEmpty())
        QCOMPARE(alerts.posts[0].body, body);
}

void UsageAlertsTest::durations_data()
{
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("under a minute") << qint64(59) << "0 min";
    QTest::newRow("minutes") << qint64(45 * 60) << "45 min";
    QTest::newRow("whole hours") << qint64(2 * 3600) << "2 hr";
    QTest::newRow("hours and minutes") << qint64(70 * 60 + 30) << "1 hr 10 min";
    QTest::newRow("a day and hours") << qint64(27 * 3600 + 50 * 60) << "1 day 3 hr";
    QTest::newRow("days") << qint64(3 * 86400) << "3 days";
    QTest::newRow("negative") << qint64(-5) << "0 min";
}

void UsageAlertsTest::durations()
{
    QFETCH(qint64, seconds);
    QFETCH(QString, text);
    QCOMPARE(ForecastTexts::durationText(seconds), text);
}

void UsageAlertsTest::cardLines_data()
{
    QTest::addColumn<std::optional<double>>("pace");
    QTest::addColumn<int>("minutesEarly"); // 0: no run-out
    QTest::addColumn<QString>("line");
    QTest::newRow("runs out") << std::optional<double>(30.0) << 70
                              << "At this pace: full at 15:50, 1 hr 10 min before reset";
    QTest::newRow("on pace") << std::optional<double>(-4.9) << 0 << "On pace · lasts until reset";
    QTest::newRow("ahead") << std::optional<double>(12.4) << 0 << "12% ahead of an even pace · lasts until reset";
    QTest::newRow("in reserve, from 5 points")
        << std::optional<double>(-5.0) << 0 << "5% in reserve · lasts until reset";
    QTest::newRow("too early to tell") << std::optional<double>() << 0 << "";
}

void UsageAlertsTest::cardLines()
{
    QFETCH(std::optional<double>, pace);
    QFETCH(int, minutesEarly);
    QFETCH(QString, line);
    const QDateTime reset(QDate(2026, 11, 23), QTime(17, 0), Qt::UTC);
    const UsageWindow window = SnapshotSamples::fiveHour(UsageProvider::claude, 60, reset);
    WindowForecast forecast{UsageProvider::claude, window.id, pace, std::nullopt};
    if (minutesEarly)
        forecast.runsOutAt = reset.addSecs(-minutesEarly * 60);
    QCOMPARE(ForecastTexts::cardLine(forecast, window), line);
    QCOMPARE(ForecastTexts::footer(forecast), minutesEarly ? "Full at 15:50" : "");
    if (minutesEarly)
        QCOMPARE(ForecastTexts::firstToRunOut(forecast, window), "Claude Code · 5-hour runs out first, at 15:50");
}

QTEST_GUILESS_MAIN(UsageAlertsTest)
#include "tst_UsageAlerts.moc"
