#include "tests/support/SnapshotSamples.h"

#include <QJsonArray>
#include <QtTest>

namespace SnapshotSamples {

namespace {

QJsonObject minimal()
{
    return QJsonObject{
        {"id", "1B4E28BA-2FA1-11D2-883F-0016D3CCA427"},
        {"provider", "codex"},
        {"collectedAt", "2026-01-31T17:05:09Z"},
        {"source", "codexAppServer"},
        {"state", "connected"},
        {"windows", QJsonArray()},
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
    QJsonObject window{{"id", "w"}, {"label", "x"}, {"usedPercent", 5}};
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
    return UsageWindow{rawValue(provider) + ".five_hour", "5-hour", used, resetsAt, 300, std::nullopt};
}

UsageWindow weekly(UsageProvider provider, double used, std::optional<QDateTime> resetsAt)
{
    return UsageWindow{rawValue(provider) + ".seven_day", "Weekly", used, resetsAt, 10080, std::nullopt};
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
        UsageWindow{"claude.five_hour", "5-hour", 42.5, collectedAt.addSecs(3600), 300, std::nullopt},
        UsageWindow{"claude.opus_weekly", "Opus", 104.25, std::nullopt, 10080, "Opus"},
    };
    snapshot.planName = "Max";
    snapshot.creditBalance = "Unlimited";
    snapshot.modelName = "Opus 4.1 ✓";
    snapshot.message = "from the \"screen\"\n";
    return snapshot;
}

void addDecodingRows()
{
    QTest::addColumn<QJsonObject>("object");
    QTest::addColumn<bool>("decodes");
    const QJsonValue remove(QJsonValue::Undefined);

    QTest::newRow("no optional members") << minimal() << true;
    QTest::newRow("null optional reads as absent") << with("planName", QJsonValue::Null) << true;
    QTest::newRow("unknown members are ignored") << with("extra", QJsonArray{1, 2}) << true;
    QTest::newRow("no windows") << with("windows", remove) << false;
    QTest::newRow("no id") << with("id", remove) << false;
    QTest::newRow("no state") << with("state", remove) << false;
    QTest::newRow("unknown provider") << with("provider", "gemini") << false;
    QTest::newRow("unknown source") << with("source", "web") << false;
    QTest::newRow("date without zone") << with("collectedAt", "2026-01-31T17:05:09") << false;
    // One damaged byte in the year, and the years the files cannot write back.
    QTest::newRow("year with a letter") << with("collectedAt", "X026-01-31T17:05:09Z") << false;
    QTest::newRow("year 0") << with("collectedAt", "0000-01-31T17:05:09Z") << false;
    QTest::newRow("year 10000") << with("collectedAt", "+10000-01-31T17:05:09Z") << false;
    QTest::newRow("date as a number") << with("collectedAt", 1769879109) << false;
    QTest::newRow("date with offset") << with("collectedAt", "2026-01-31T18:05:09+01:00") << true;
    QTest::newRow("bad id") << with("id", "not-a-uuid") << false;
    QTest::newRow("plan name not text") << with("planName", 5) << false;
    QTest::newRow("percent as text") << with("windows", oneWindow("usedPercent", "5")) << false;
    QTest::newRow("window without label") << with("windows", oneWindow("label", remove)) << false;
    QTest::newRow("fractional minutes") << with("windows", oneWindow("windowMinutes", 2.5)) << false;
    QTest::newRow("window reset null") << with("windows", oneWindow("resetsAt", QJsonValue::Null)) << true;
    QTest::newRow("the same window id twice: the first one stays")
        << with("windows", QJsonArray{oneWindow("label", "first").first(), oneWindow("label", "second").first()})
        << true;
    QTest::newRow("window reset not a date") << with("windows", oneWindow("resetsAt", "tomorrow")) << false;
}

} // namespace SnapshotSamples
