// The JSON coding of snapshots, as the fallback file uses it, and the rules every reader shares.
#include "model/SnapshotJson.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/SnapshotSamples.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

namespace {

const QDateTime kWholeSecond = SnapshotSamples::wholeSecond();

ProviderSnapshot fullSnapshot(const QDateTime &collectedAt)
{
    return SnapshotSamples::full(collectedAt);
}

} // namespace

class SnapshotJsonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void absentOptionalsAreOmitted();
    void fallbackUsesSecondsSince2001();
    void fallbackKeepsFractions();
    void decodingRules_data();
    void decodingRules();
};

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
    SnapshotSamples::addDecodingRows();
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
        // Every row's windows share one id: one is kept, the first.
        QVERIFY(decoded->windows.size() <= 1);
        QVERIFY(decoded->windows.isEmpty() || decoded->windows.first().label != QStringLiteral("second"));
    }
}

QTEST_GUILESS_MAIN(SnapshotJsonTest)
#include "tst_SnapshotJson.moc"
