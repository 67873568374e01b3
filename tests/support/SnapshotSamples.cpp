#include "tests/support/SnapshotSamples.h"

#include <QJsonArray>
#include <QtTest>

namespace SnapshotSamples {

namespace {

QJsonObject minimal()
{
    return QJsonObject{
        {QStringLiteral("id"), QStringLiteral("1B4E28BA-2FA1-11D2-883F-0016D3CCA427")},
        {QStringLiteral("provider"), QStringLiteral("codex")},
        {QStringLiteral("collectedAt"), QStringLiteral("2026-01-31T17:05:09Z")},
        {QStringLiteral("source"), QStringLiteral("codexAppServer")},
        {QStringLiteral("state"), QStringLiteral("connected")},
        {QStringLiteral("windows"), QJsonArray()},
    };
}

QJsonObject with(const QString &key, const QJsonValue &value)
{
    QJsonObject object = minimal();
    if (value.isUndefined())
        object.remove(key);
    else
        object.insert(key, value);
    return object;
}

QJsonArray oneWindow(const QString &key, const QJsonValue &value)
{
    QJsonObject window{{QStringLiteral("id"), QStringLiteral("w")},
                       {QStringLiteral("label"), QStringLiteral("x")},
                       {QStringLiteral("usedPercent"), 5}};
    if (value.isUndefined())
        window.remove(key);
    else
        window.insert(key, value);
    return QJsonArray{window};
}

} // namespace

ProviderSnapshot connected(UsageProvider provider, const QDateTime &at, QList<UsageWindow> windows)
{
    ProviderSnapshot snapshot;
    snapshot.provider = provider;
    snapshot.collectedAt = at;
    snapshot.source = provider == UsageProvider::codex ? UsageSource::codexAppServer : UsageSource::claudeStatusLine;
    snapshot.state = CollectorState::connected;
    snapshot.windows = std::move(windows);
    return snapshot;
}

UsageWindow fiveHour(UsageProvider provider, double used, std::optional<QDateTime> resetsAt)
{
    return UsageWindow{
        rawValue(provider) + QStringLiteral(".five_hour"), QStringLiteral("5-hour"), used, resetsAt, 300, std::nullopt};
}

UsageWindow weekly(UsageProvider provider, double used, std::optional<QDateTime> resetsAt)
{
    return UsageWindow{rawValue(provider) + QStringLiteral(".seven_day"),
                       QStringLiteral("Weekly"),
                       used,
                       resetsAt,
                       10080,
                       std::nullopt};
}

QDateTime wholeSecond()
{
    return QDateTime::fromSecsSinceEpoch(1'769'879'109, Qt::UTC);
}

ProviderSnapshot full(const QDateTime &collectedAt)
{
    ProviderSnapshot snapshot;
    snapshot.provider = UsageProvider::claude;
    snapshot.collectedAt = collectedAt;
    snapshot.source = UsageSource::claudeUsageCommand;
    snapshot.state = CollectorState::fallback;
    snapshot.windows = {
        UsageWindow{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), 42.5, collectedAt.addSecs(3600), 300,
                    std::nullopt},
        UsageWindow{QStringLiteral("claude.opus_weekly"), QStringLiteral("Opus"), 104.25, std::nullopt, 10080,
                    QStringLiteral("Opus")},
    };
    snapshot.planName = QStringLiteral("Max");
    snapshot.creditBalance = QStringLiteral("Unlimited");
    snapshot.modelName = QStringLiteral("Opus 4.1 ✓");
    snapshot.message = QStringLiteral("from the \"screen\"\n");
    return snapshot;
}

void addDecodingRows()
{
    QTest::addColumn<QJsonObject>("object");
    QTest::addColumn<bool>("decodes");
    const QJsonValue remove(QJsonValue::Undefined);

    QTest::newRow("no optional members") << minimal() << true;
    QTest::newRow("null optional reads as absent") << with(QStringLiteral("planName"), QJsonValue::Null) << true;
    QTest::newRow("unknown members are ignored") << with(QStringLiteral("extra"), QJsonArray{1, 2}) << true;
    QTest::newRow("no windows") << with(QStringLiteral("windows"), remove) << false;
    QTest::newRow("no id") << with(QStringLiteral("id"), remove) << false;
    QTest::newRow("no state") << with(QStringLiteral("state"), remove) << false;
    QTest::newRow("unknown provider") << with(QStringLiteral("provider"), QStringLiteral("gemini")) << false;
    QTest::newRow("unknown source") << with(QStringLiteral("source"), QStringLiteral("web")) << false;
    QTest::newRow("date without zone") << with(QStringLiteral("collectedAt"), QStringLiteral("2026-01-31T17:05:09"))
                                       << false;
    // One damaged byte in the year, and the years the files cannot write back.
    QTest::newRow("year with a letter") << with(QStringLiteral("collectedAt"), QStringLiteral("X026-01-31T17:05:09Z"))
                                        << false;
    QTest::newRow("year 0") << with(QStringLiteral("collectedAt"), QStringLiteral("0000-01-31T17:05:09Z")) << false;
    QTest::newRow("year 10000") << with(QStringLiteral("collectedAt"), QStringLiteral("+10000-01-31T17:05:09Z"))
                                << false;
    QTest::newRow("date as a number") << with(QStringLiteral("collectedAt"), 1769879109) << false;
    QTest::newRow("date with offset") << with(QStringLiteral("collectedAt"),
                                              QStringLiteral("2026-01-31T18:05:09+01:00"))
                                      << true;
    QTest::newRow("bad id") << with(QStringLiteral("id"), QStringLiteral("not-a-uuid")) << false;
    QTest::newRow("plan name not text") << with(QStringLiteral("planName"), 5) << false;
    QTest::newRow("percent as text") << with(QStringLiteral("windows"),
                                             oneWindow(QStringLiteral("usedPercent"), QStringLiteral("5")))
                                     << false;
    QTest::newRow("window without label")
        << with(QStringLiteral("windows"), oneWindow(QStringLiteral("label"), remove)) << false;
    QTest::newRow("fractional minutes") << with(QStringLiteral("windows"),
                                                oneWindow(QStringLiteral("windowMinutes"), 2.5))
                                        << false;
    QTest::newRow("window reset null") << with(QStringLiteral("windows"),
                                               oneWindow(QStringLiteral("resetsAt"), QJsonValue::Null))
                                       << true;
    QTest::newRow("the same window id twice: the first one stays") << with(
        QStringLiteral("windows"), QJsonArray{oneWindow(QStringLiteral("label"), QStringLiteral("first")).first(),
                                              oneWindow(QStringLiteral("label"), QStringLiteral("second")).first()})
                                                                   << true;
    QTest::newRow("window reset not a date")
        << with(QStringLiteral("windows"), oneWindow(QStringLiteral("resetsAt"), QStringLiteral("tomorrow"))) << false;
}

} // namespace SnapshotSamples
