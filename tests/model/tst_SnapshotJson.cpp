// The two JSON codings of snapshots: the history file and the fallback file.
#include "model/SnapshotJson.h"
#include "tests/support/ResultChecks.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

namespace {

const QDateTime kWholeSecond = QDateTime::fromSecsSinceEpoch(1'769'879'109, Qt::UTC); // 2026-01-31T17:05:09Z

ProviderSnapshot fullSnapshot(const QDateTime &collectedAt)
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
    snapshot.message = QStringLiteral("from the screen");
    return snapshot;
}

QJsonObject minimalSnapshotObject()
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

} // namespace

class SnapshotJsonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void historyRoundTripWithWholeSeconds();
    void historyDropsFractionsOfSeconds();
    void historyLayoutIsPrettyAndSorted();
    void absentOptionalsAreOmitted();
    void fallbackUsesSecondsSince2001();
    void fallbackKeepsFractions();
    void decodingRules_data();
    void decodingRules();
};

void SnapshotJsonTest::historyRoundTripWithWholeSeconds()
{
    const UsageArchive archive{{fullSnapshot(kWholeSecond), fullSnapshot(kWholeSecond.addSecs(180))}};
    Result<UsageArchive> decoded = decodeArchive(encodeArchive(archive));
    QVERIFY_OK(decoded);
    QCOMPARE(*decoded, archive);
}

void SnapshotJsonTest::historyDropsFractionsOfSeconds()
{
    const ProviderSnapshot original = fullSnapshot(kWholeSecond.addMSecs(750));
    Result<UsageArchive> decoded = decodeArchive(encodeArchive({{original}}));
    QVERIFY(decoded.ok());
    const ProviderSnapshot &back = decoded->snapshots.front();
    QVERIFY(back != original);
    QCOMPARE(back.collectedAt, kWholeSecond);
    QCOMPARE(back.windows.front().resetsAt, kWholeSecond.addSecs(3600));

    // Before 1970 the fraction is cut toward the earlier second as well.
    const QDateTime early = QDateTime::fromMSecsSinceEpoch(-1500, Qt::UTC);
    QCOMPARE(iso8601Text(early), QStringLiteral("1969-12-31T23:59:58Z"));
}

void SnapshotJsonTest::historyLayoutIsPrettyAndSorted()
{
    const QByteArray text = encodeArchive({{fullSnapshot(kWholeSecond)}});
    QVERIFY(text.contains("\n    \"snapshots\": ["));
    QVERIFY(text.contains("\"collectedAt\": \"2026-01-31T17:05:09Z\""));
    QVERIFY(text.contains("\"id\": \"") && !text.contains("{1"));
    // Keys of a snapshot in byte order.
    const QList<QByteArray> keys{"\"collectedAt\"", "\"creditBalance\"", "\"id\"",     "\"message\"", "\"modelName\"",
                                 "\"planName\"",    "\"provider\"",      "\"source\"", "\"state\"",   "\"windows\""};
    qsizetype previous = -1;
    for (const QByteArray &key : keys) {
        const qsizetype at = text.indexOf(key);
        QVERIFY2(at > previous, key.constData());
        previous = at;
    }
    // The UUID text is upper case.
    const QJsonObject first =
        QJsonDocument::fromJson(text).object().value(QStringLiteral("snapshots")).toArray().first().toObject();
    const QString id = first.value(QStringLiteral("id")).toString();
    QCOMPARE(id.size(), 36);
    QCOMPARE(id, id.toUpper());
}

void SnapshotJsonTest::absentOptionalsAreOmitted()
{
    ProviderSnapshot snapshot;
    snapshot.collectedAt = kWholeSecond;
    snapshot.windows = {
        UsageWindow{QStringLiteral("w"), QStringLiteral("Weekly"), 5, std::nullopt, std::nullopt, std::nullopt}};
    const QByteArray text = encodeFallbackSnapshot(snapshot);
    for (const char *key : {"planName", "creditBalance", "modelName", "message", "resetsAt", "windowMinutes", "scope"})
        QVERIFY2(!text.contains(key), key);
    QVERIFY(!text.contains("null"));
}

void SnapshotJsonTest::fallbackUsesSecondsSince2001()
{
    ProviderSnapshot snapshot = fullSnapshot(QDateTime(QDate(2001, 1, 1), QTime(0, 0, 10), Qt::UTC));
    const QByteArray text = encodeFallbackSnapshot(snapshot);
    QVERIFY(!text.contains('\n'));
    QVERIFY(text.contains("\"collectedAt\":10"));
    QVERIFY(text.contains("\"resetsAt\":3610"));
}

void SnapshotJsonTest::fallbackKeepsFractions()
{
    const ProviderSnapshot original = fullSnapshot(kWholeSecond.addMSecs(123));
    Result<ProviderSnapshot> decoded = decodeFallbackSnapshot(encodeFallbackSnapshot(original));
    QVERIFY_OK(decoded);
    QCOMPARE(*decoded, original);
}

void SnapshotJsonTest::decodingRules_data()
{
    QTest::addColumn<QJsonObject>("object");
    QTest::addColumn<bool>("decodes");

    QJsonObject object = minimalSnapshotObject();
    QTest::newRow("no optional members") << object << true;

    object = minimalSnapshotObject();
    object.insert(QStringLiteral("planName"), QJsonValue::Null);
    QTest::newRow("null optional reads as absent") << object << true;

    object = minimalSnapshotObject();
    object.remove(QStringLiteral("windows"));
    QTest::newRow("no windows") << object << false;

    object = minimalSnapshotObject();
    object.insert(QStringLiteral("provider"), QStringLiteral("gemini"));
    QTest::newRow("unknown provider") << object << false;

    object = minimalSnapshotObject();
    object.insert(QStringLiteral("collectedAt"), QStringLiteral("2026-01-31T17:05:09"));
    QTest::newRow("date without zone") << object << false;

    object = minimalSnapshotObject();
    object.insert(QStringLiteral("collectedAt"), QStringLiteral("2026-01-31T18:05:09+01:00"));
    QTest::newRow("date with offset") << object << true;

    object = minimalSnapshotObject();
    object.insert(QStringLiteral("id"), QStringLiteral("not-a-uuid"));
    QTest::newRow("bad id") << object << false;

    object = minimalSnapshotObject();
    object.insert(QStringLiteral("windows"),
                  QJsonArray{QJsonObject{{QStringLiteral("id"), QStringLiteral("w")},
                                         {QStringLiteral("label"), QStringLiteral("x")},
                                         {QStringLiteral("usedPercent"), QStringLiteral("5")}}});
    QTest::newRow("percent as text") << object << false;

    object = minimalSnapshotObject();
    object.insert(QStringLiteral("windows"), QJsonArray{QJsonObject{{QStringLiteral("id"), QStringLiteral("w")},
                                                                    {QStringLiteral("label"), QStringLiteral("x")},
                                                                    {QStringLiteral("usedPercent"), 5},
                                                                    {QStringLiteral("windowMinutes"), 2.5}}});
    QTest::newRow("fractional minutes") << object << false;
}

void SnapshotJsonTest::decodingRules()
{
    QFETCH(QJsonObject, object);
    QFETCH(bool, decodes);
    Result<ProviderSnapshot> decoded = decodeSnapshot(object, DateCoding::iso8601);
    QCOMPARE(decoded.ok(), decodes);
    if (decodes) {
        QCOMPARE(decoded->planName, std::nullopt);
        QCOMPARE(decoded->message, std::nullopt);
        QCOMPARE(decoded->provider, UsageProvider::codex);
        QCOMPARE(decoded->collectedAt, kWholeSecond);
    }
}

QTEST_GUILESS_MAIN(SnapshotJsonTest)
#include "tst_SnapshotJson.moc"
