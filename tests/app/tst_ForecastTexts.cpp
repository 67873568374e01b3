// The forecast in words: the lines of the cards and the durations in them.
#include "app/ForecastTexts.h"

#include <QtTest>

class ForecastTextsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void durations_data();
    void durations();
    void cardLines_data();
    void cardLines();
};

void ForecastTextsTest::durations_data()
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

void ForecastTextsTest::durations()
{
    QFETCH(qint64, seconds);
    QFETCH(QString, text);
    QCOMPARE(ForecastTexts::durationText(seconds), text);
}

void ForecastTextsTest::cardLines_data()
{
    const QDateTime reset(QDate(2026, 11, 23), QTime(17, 0), Qt::UTC);
    QTest::addColumn<std::optional<double>>("pace");
    QTest::addColumn<QDateTime>("runsOutAt");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("footer");
    QTest::newRow("runs out") << std::optional<double>(30.0) << reset.addSecs(-70 * 60)
                              << "At this pace: full at 15:50, 1 hr 10 min before reset"
                              << "Full at 15:50";
    QTest::newRow("on pace") << std::optional<double>(-4.9) << QDateTime() << "On pace · lasts until reset"
                             << "";
    QTest::newRow("ahead") << std::optional<double>(12.4) << QDateTime()
                           << "12% ahead of an even pace · lasts until reset"
                           << "";
    QTest::newRow("in reserve") << std::optional<double>(-8.0) << QDateTime() << "8% in reserve · lasts until reset"
                                << "";
    QTest::newRow("too early to tell") << std::optional<double>() << QDateTime() << ""
                                       << "";
}

void ForecastTextsTest::cardLines()
{
    QFETCH(std::optional<double>, pace);
    QFETCH(QDateTime, runsOutAt);
    QFETCH(QString, line);
    QFETCH(QString, footer);
    UsageWindow window{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), 60, QDateTime(), 300, {}};
    window.resetsAt = QDateTime(QDate(2026, 11, 23), QTime(17, 0), Qt::UTC);
    WindowForecast forecast{UsageProvider::claude, window.id, pace, std::nullopt};
    if (runsOutAt.isValid())
        forecast.runsOutAt = runsOutAt;
    QCOMPARE(ForecastTexts::cardLine(forecast, window), line);
    QCOMPARE(ForecastTexts::footer(forecast), footer);
    if (runsOutAt.isValid())
        QCOMPARE(ForecastTexts::firstToRunOut(forecast, window), "Claude Code · 5-hour runs out first, at 15:50");
}

QTEST_GUILESS_MAIN(ForecastTextsTest)

#include "tst_ForecastTexts.moc"
