// The forecast of one provider's windows from its history: pace by its
// formula, a run-out only when the history leads to one before the reset.
#include "model/forecast/ProviderForecaster.h"
#include "tests/support/SnapshotSamples.h"

#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>

namespace {

const QString kWindow = SnapshotSamples::fiveHour(UsageProvider::claude, 0).id;

// Thursday 2026-09-10 00:00 UTC; the history starts on the Monday before.
QDateTime today(int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 9, 10), QTime(hour, minute), Qt::UTC);
}

ProviderSnapshot reading(const QDateTime &at, double used, std::optional<QDateTime> resetsAt,
                         std::optional<qint64> minutes = 300)
{
    UsageWindow window = SnapshotSamples::fiveHour(UsageProvider::claude, used, resetsAt);
    window.windowMinutes = minutes;
    return SnapshotSamples::connected(UsageProvider::claude, at, {window});
}

// Readings every three minutes over [from, to), of a window that resets at
// `resetsAt`, showing `used(minutes since from)`.
void addReadings(QList<ProviderSnapshot> &history, const QDateTime &from, const QDateTime &to,
                 const std::optional<QDateTime> &resetsAt, const std::function<double(double)> &used)
{
    for (QDateTime at = from; at < to; at = at.addSecs(180))
        history.append(reading(at, used(static_cast<double>(from.secsTo(at)) / 60), resetsAt));
}

// Monday to Wednesday: a window opens at 09:00 and the user works through it
// at `perMinute` percentage points a minute, until it is full.
QList<ProviderSnapshot> pastDays(double perMinute)
{
    QList<ProviderSnapshot> history;
    for (int day = -3; day < 0; ++day) {
        const QDateTime start = today(9).addDays(day);
        addReadings(history, start, start.addSecs(5 * 3600), start.addSecs(5 * 3600),
                    [perMinute](double minutes) { return std::floor(std::min(100.0, perMinute * minutes)); });
    }
    return history;
}

} // namespace

class ForecastTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void forecast_data();
    void forecast();
    void mostAtRiskIsTheEarliestRunOut();
};

void ForecastTest::forecast_data()
{
    QTest::addColumn<QList<ProviderSnapshot>>("history");
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<double>("pace"); // NaN: none
    QTest::addColumn<QDateTime>("runsOutFrom");
    QTest::addColumn<QDateTime>("runsOutBefore"); // both invalid: no run-out

    const auto steady = [](double minutes) { return std::floor(0.4 * minutes); };
    const double none = std::nan("");
    {
        // Full at 13:10 every day; today goes the same way. (At 10:30 that
        // run-out is too far off to report: a third slower, the window lasts.)
        QList<ProviderSnapshot> history = pastDays(0.4);
        addReadings(history, today(9), today(11, 33), today(14), steady);
        QTest::newRow("steady rise") << history << today(11, 30) << 60.0 - 50 << today(12, 50) << today(13, 30);
    }
    {
        // The same climb, but the weekly limit is reached until 14:00: the
        // provider refuses all use, so the 5-hour window cannot fill.
        QList<ProviderSnapshot> history = pastDays(0.4);
        addReadings(history, today(9), today(11, 33), today(14), steady);
        history.last().windows.append(SnapshotSamples::weekly(UsageProvider::claude, 100, today(14)));
        QTest::newRow("weekly limit reached") << history << today(11, 30) << 60.0 - 50 << QDateTime() << QDateTime();
    }
    {
        // The same climb, but the weekly limit, a point short, fills first:
        // from then on nothing grows, and the 5-hour window resets unfilled
        // (at the same moment as the weekly one: "no earlier" holds).
        QList<ProviderSnapshot> history = pastDays(0.4);
        addReadings(history, today(9), today(11, 33), today(14), steady);
        for (qsizetype i = history.size() - 51, minutes = 0; i < history.size(); ++i, minutes += 3) {
            history[i].windows.append(
                SnapshotSamples::weekly(UsageProvider::claude, std::floor(97 + minutes / 75.0), today(14)));
        }
        QTest::newRow("weekly limit fills first")
            << history << today(11, 30) << 60.0 - 50 << QDateTime() << QDateTime();
    }
    {
        // A fast climb, but under two hours of history in all: too little to
        // know the user by, so nothing is forecast yet.
        QList<ProviderSnapshot> history;
        addReadings(history, today(9), today(10, 45), today(14),
                    [](double minutes) { return std::floor(0.8 * minutes); });
        QTest::newRow("too little history") << history << today(10, 42) << 81.0 - 34 << QDateTime() << QDateTime();
    }
    {
        QList<ProviderSnapshot> history = pastDays(0.02);
        addReadings(history, today(9), today(11, 3), today(14), [](double) { return 5.0; });
        QTest::newRow("flat") << history << today(11) << 5.0 - 40 << QDateTime() << QDateTime();
    }
    {
        // Nearly full by 04:30; after its reset at 05:00 a new window opens
        // at 06:00 and stays quiet: the old window's climb is not the new one's.
        QList<ProviderSnapshot> history = pastDays(0.02);
        addReadings(history, today(0), today(5), today(5),
                    [](double minutes) { return std::min(95.0, minutes / 2.8); });
        addReadings(history, today(5), today(6), std::nullopt, [](double) { return 0.0; });
        addReadings(history, today(6), today(7, 3), today(11), [](double) { return 2.0; });
        QTest::newRow("reset in between") << history << today(7) << 2.0 - 20 << QDateTime() << QDateTime();
    }
    {
        // Asleep from 09:30 to 11:30 while the window went on being used.
        QList<ProviderSnapshot> history = pastDays(0.4);
        addReadings(history, today(9), today(9, 33), today(14), steady);
        history.append(reading(today(11, 30), 60, today(14)));
        QTest::newRow("gap of hours") << history << today(11, 30) << 60.0 - 50 << today(12, 30) << today(13, 40);
    }
    {
        QList<ProviderSnapshot> history = pastDays(0.4);
        addReadings(history, today(9), today(10, 30), today(14), steady);
        history.append(reading(today(10, 30), 104, today(14)));
        QTest::newRow("above 100") << history << today(10, 30) << 104.0 - 30 << QDateTime() << QDateTime();
    }
    {
        // The provider reset the window at 10:33, long before 14:00: a new
        // window that runs until 15:33 and starts from nothing.
        QList<ProviderSnapshot> history = pastDays(0.4);
        addReadings(history, today(9), today(10, 33), today(14), steady);
        addReadings(history, today(10, 33), today(12, 48), today(15, 33), steady);
        QTest::newRow("early reset") << history << today(12, 45) << 52.0 - 44 << today(14, 15) << today(15, 33);
    }
    {
        QList<ProviderSnapshot> history = pastDays(0.4);
        for (QDateTime at = today(9); at <= today(10, 30); at = at.addSecs(180))
            history.append(
                reading(at, 0.4 * static_cast<double>(today(9).secsTo(at)) / 60, std::nullopt, std::nullopt));
        QTest::newRow("no length or reset") << history << today(10, 30) << none << QDateTime() << QDateTime();
    }
}

void ForecastTest::forecast()
{
    QFETCH(QList<ProviderSnapshot>, history);
    QFETCH(QDateTime, now);
    QFETCH(double, pace);
    QFETCH(QDateTime, runsOutFrom);
    QFETCH(QDateTime, runsOutBefore);

    const std::vector<WindowForecast> forecasts = forecastProvider(history, UsageProvider::claude, now);
    const auto found = std::find_if(forecasts.cbegin(), forecasts.cend(),
                                    [](const WindowForecast &forecast) { return forecast.windowId == kWindow; });
    QVERIFY(found != forecasts.cend());
    const WindowForecast &forecast = *found;
    QCOMPARE(forecast.pace.has_value(), !std::isnan(pace));
    if (forecast.pace)
        QVERIFY2(std::fabs(*forecast.pace - pace) < 1e-6, qPrintable(QString::number(*forecast.pace)));
    const QString runsOut =
        forecast.runsOutAt ? forecast.runsOutAt->toString(Qt::ISODate) : QStringLiteral("no run-out");
    if (!runsOutFrom.isValid()) {
        QVERIFY2(!forecast.runsOutAt, qPrintable(runsOut));
    } else {
        QVERIFY2(forecast.runsOutAt && *forecast.runsOutAt >= runsOutFrom && *forecast.runsOutAt < runsOutBefore,
                 qPrintable(runsOut));
    }
    // The same answer from a forecaster kept up to date snapshot by snapshot.
    ProviderForecaster kept(UsageProvider::claude);
    for (const ProviderSnapshot &snapshot : history)
        kept.add(snapshot);
    QVERIFY(kept.forecast(history.last(), now) == forecasts);
}

void ForecastTest::mostAtRiskIsTheEarliestRunOut()
{
    const auto at = [](int hour) { return std::optional<QDateTime>(today(hour)); };
    const std::vector<WindowForecast> forecasts{
        {UsageProvider::codex, QStringLiteral("codex.codex.primary"), 12.0, std::nullopt},
        {UsageProvider::claude, kWindow, 30.0, at(16)},
        {UsageProvider::claude, QStringLiteral("claude.seven_day"), 5.0, at(15)},
        {UsageProvider::codex, QStringLiteral("codex.codex.secondary"), 5.0, at(15)},
    };
    const std::optional<WindowForecast> first = mostAtRisk(forecasts);
    QVERIFY(first);
    QCOMPARE(first->windowId, QStringLiteral("claude.seven_day"));
    QVERIFY(!mostAtRisk({forecasts.front()}));
}

QTEST_GUILESS_MAIN(ForecastTest)
#include "tst_Forecast.moc"
