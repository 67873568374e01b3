// The history file's format: the same bytes as Qt's JSON writer, read back
// by the same rules as every other snapshot reader.
#include "model/SnapshotJson.h"
#include "storage/ArchiveFormat.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/SnapshotSamples.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

namespace {

// The history file as Qt's own writer lays it out.
QByteArray qtLayout(const QList<ProviderSnapshot> &snapshots)
{
    QJsonArray list;
    for (const ProviderSnapshot &snapshot : snapshots)
        list.append(encodeSnapshot(snapshot, DateCoding::iso8601));
    return QJsonDocument(QJsonObject{{QStringLiteral("snapshots"), list}}).toJson(QJsonDocument::Indented);
}

QList<ProviderSnapshot> variedSnapshots()
{
    const QDateTime at = SnapshotSamples::wholeSecond();
    QList<ProviderSnapshot> snapshots{SnapshotSamples::full(at)};

    ProviderSnapshot bare;
    bare.provider = UsageProvider::codex;
    bare.collectedAt = at.addSecs(180);
    bare.source = UsageSource::codexAppServer;
    bare.state = CollectorState::error;
    bare.message = QStringLiteral("tab\t, bell \a, escape \x1b, quote \", backslash \\, slash /, é, 😀, \u2028");
    snapshots.append(bare);

    ProviderSnapshot numbers = bare;
    numbers.id = QUuid::createUuid();
    for (const double value : {0.0, -0.0, 1.0, 42.5, 0.1, 1e15, 1e16, 9007199254740992.0, 1152921504606846976.0, -3.25,
                               1e-7, 123456.789, 99.99999999999999, 1e300}) {
        numbers.windows.append(UsageWindow{QStringLiteral("w"), QStringLiteral("label"), value,
                                           QDateTime::fromSecsSinceEpoch(-62135596800LL + 86400, Qt::UTC),
                                           qint64(9000000000000000000LL), std::nullopt});
    }
    snapshots.append(numbers);

    // Years that need padding, and one beyond four digits.
    ProviderSnapshot dates = bare;
    dates.id = QUuid::createUuid();
    dates.collectedAt = QDateTime(QDate(999, 1, 2), QTime(3, 4, 5), Qt::UTC);
    dates.windows = {UsageWindow{QStringLiteral("a"), QStringLiteral("b"), 1,
                                 QDateTime(QDate(12345, 6, 7), QTime(8, 9, 10), Qt::UTC), std::nullopt, std::nullopt}};
    snapshots.append(dates);
    return snapshots;
}

} // namespace

class ArchiveFormatTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void layoutIsQtWritersLayout();
    void roundTrip();
    void fractionsOfSecondsAreDropped();
    void decodingRules_data();
    void decodingRules();
    void damagedFiles_data();
    void damagedFiles();
    void damagedRecordCostsOnlyItself_data();
    void damagedRecordCostsOnlyItself();
};

void ArchiveFormatTest::layoutIsQtWritersLayout()
{
    QCOMPARE(ArchiveFormat::encode({}), qtLayout({}));
    const QList<ProviderSnapshot> snapshots = variedSnapshots();
    for (const ProviderSnapshot &snapshot : snapshots)
        QCOMPARE(ArchiveFormat::encode({{snapshot}}), qtLayout({snapshot}));
    QCOMPARE(ArchiveFormat::encode({snapshots}), qtLayout(snapshots));
}

void ArchiveFormatTest::roundTrip()
{
    const UsageArchive archive{variedSnapshots().mid(0, 2)};
    Result<UsageArchive> decoded = ArchiveFormat::decode(ArchiveFormat::encode(archive));
    QVERIFY_OK(decoded);
    QCOMPARE(decoded->snapshots.size(), 2);
    QCOMPARE(decoded->snapshots[0].windows, archive.snapshots[0].windows);
    QCOMPARE(*decoded, archive);
}

void ArchiveFormatTest::fractionsOfSecondsAreDropped()
{
    const ProviderSnapshot original = SnapshotSamples::full(SnapshotSamples::wholeSecond().addMSecs(750));
    Result<UsageArchive> decoded = ArchiveFormat::decode(ArchiveFormat::encode({{original}}));
    QVERIFY_OK(decoded);
    const ProviderSnapshot &back = decoded->snapshots.front();
    QVERIFY(back != original);
    QCOMPARE(back.collectedAt, SnapshotSamples::wholeSecond());
    QCOMPARE(back.windows.front().resetsAt, SnapshotSamples::wholeSecond().addSecs(3600));
    ProviderSnapshot expected = original;
    expected.collectedAt = back.collectedAt;
    expected.windows[0].resetsAt = back.windows[0].resetsAt;
    QCOMPARE(back, expected);

    // Read from text too, where ISO 8601 also allows a fraction of a minute:
    // what is read is what a rewrite keeps.
    for (const char *at : {"2026-08-24T21:17:11.75Z", "2026-08-24T21:17.2Z", "2026-08-24T23:17:11.5+02:00"}) {
        const QByteArray file = QByteArray(R"({"snapshots": [{"collectedAt": ")") + at
                                + R"(", "id": "EDE62C3D-4556-420D-8AA8-D7ABEA6754AE", "provider": "claude",)"
                                  R"( "source": "claudeUsageCommand", "state": "fallback", "windows": []}]})";
        Result<UsageArchive> read = ArchiveFormat::decode(file);
        QVERIFY_OK(read);
        QCOMPARE(read->snapshots.front().collectedAt.time().msec(), 0);
        QCOMPARE(ArchiveFormat::decode(ArchiveFormat::encode(*read)).value(), *read);
    }
}

void ArchiveFormatTest::decodingRules_data()
{
    SnapshotSamples::addDecodingRows();
}

void ArchiveFormatTest::decodingRules()
{
    QFETCH(QJsonObject, object);
    QFETCH(bool, decodes);
    const QByteArray file =
        QJsonDocument(QJsonObject{{QStringLiteral("snapshots"), QJsonArray{object}}}).toJson(QJsonDocument::Compact);
    // A snapshot that does not decode is left out; the file still reads.
    Result<UsageArchive> decoded = ArchiveFormat::decode(file);
    QVERIFY_OK(decoded);
    QCOMPARE(decoded->snapshots.size(), decodes ? 1 : 0);
    if (decodes) {
        const ProviderSnapshot &snapshot = decoded->snapshots.front();
        QCOMPARE(snapshot.planName, std::nullopt);
        QCOMPARE(snapshot.provider, UsageProvider::codex);
        QCOMPARE(snapshot.collectedAt, SnapshotSamples::wholeSecond());
        // Every row's windows share one id: one is kept, the first.
        QVERIFY(snapshot.windows.size() <= 1);
        QVERIFY(snapshot.windows.isEmpty() || snapshot.windows.first().label != QStringLiteral("second"));
    }
}

void ArchiveFormatTest::damagedFiles_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("broken JSON") << QByteArray("{\"snapshots\": [");
    QTest::newRow("array") << QByteArray("[]");
    QTest::newRow("snapshots not a list") << QByteArray("{\"snapshots\": {}}");
    QTest::newRow("garbage after the document") << ArchiveFormat::encode({}) + "x";
    QTest::newRow("second document") << ArchiveFormat::encode({}) + "{}";
    // Damage in the parts the reader has no use for still makes the file damaged.
    const QByteArray whole = ArchiveFormat::encode({{SnapshotSamples::full(SnapshotSamples::wholeSecond())}});
    const auto withMember = [&whole](const char *member) {
        return QByteArray(whole).replace("{\n            \"collectedAt\"",
                                         QByteArray("{") + member + ", \"collectedAt\"");
    };
    QTest::newRow("malformed key in an unknown member") << withMember("\"x\": {\"a\" 1}");
    QTest::newRow("stray character in an unknown member") << withMember("\"x\": [1 2]");
    QTest::newRow("bad literal in an unknown member") << withMember("\"x\": tru");
    QTest::newRow("bad escape in an unknown key") << withMember("\"x\\q\": 1");
    QTest::newRow("bad member after the list") << QByteArray(whole).replace("\n    ]\n}", "\n    ], \"x\": [1,]\n}");
    // What a strict parser refuses, or Qt's reader would read otherwise.
    QTest::newRow("byte-order mark") << "\xEF\xBB\xBF" + whole;
    QTest::newRow("two snapshot lists") << QByteArray(whole).replace("\n    ]\n}", "\n    ], \"snapshots\": []\n}");
}

void ArchiveFormatTest::damagedFiles()
{
    QFETCH(QByteArray, file);
    QVERIFY(!ArchiveFormat::decode(file).ok());
    // White space after the document is fine.
    QVERIFY(ArchiveFormat::decode(ArchiveFormat::encode({}) + " \n\t").ok());
}

void ArchiveFormatTest::damagedRecordCostsOnlyItself_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    QTest::newRow("window length beyond the bound")
        << QByteArray("\"windowMinutes\": 777") << QByteArray("\"windowMinutes\": 9100000000000000000");
    QTest::newRow("percentage as text") << QByteArray("\"usedPercent\": 7.5") << QByteArray("\"usedPercent\": \"7.5\"");
    QTest::newRow("plan not text") << QByteArray("\"planName\": \"Middle\"") << QByteArray("\"planName\": [5]");
    QTest::newRow("two window lists") << QByteArray("\"planName\": \"Middle\"")
                                      << QByteArray("\"planName\": \"Middle\", \"windows\": []");
    // Grammatical, but no string or number this writer writes: the record goes.
    QTest::newRow("lone surrogate") << QByteArray("\"planName\": \"Middle\"")
                                    << QByteArray("\"planName\": \"Mid\\ud800dle\"");
    QTest::newRow("lone low surrogate") << QByteArray("\"planName\": \"Middle\"")
                                        << QByteArray("\"planName\": \"Mid\\udc00dle\"");
    QTest::newRow("huge exponent") << QByteArray("\"usedPercent\": 7.5") << QByteArray("\"usedPercent\": 1e400");
    QTest::newRow("exponent beyond 64 bits")
        << QByteArray("\"usedPercent\": 7.5") << QByteArray("\"usedPercent\": 1e99999999999999999999");
    QTest::newRow("window length with a fraction")
        << QByteArray("\"windowMinutes\": 777") << QByteArray("\"windowMinutes\": 777.5");
}

void ArchiveFormatTest::damagedRecordCostsOnlyItself()
{
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, to);
    const QDateTime at = SnapshotSamples::wholeSecond();
    ProviderSnapshot middle = SnapshotSamples::full(at.addSecs(60));
    middle.planName = QStringLiteral("Middle");
    middle.windows[0].windowMinutes = 777;
    middle.windows[0].usedPercent = 7.5;
    const UsageArchive archive{{SnapshotSamples::full(at), middle, SnapshotSamples::full(at.addSecs(120))}};
    const QByteArray file = ArchiveFormat::encode(archive);
    QCOMPARE(file.count(from), 1);

    Result<UsageArchive> decoded = ArchiveFormat::decode(QByteArray(file).replace(from, to));
    QVERIFY_OK(decoded);
    QCOMPARE(decoded->snapshots, (QList<ProviderSnapshot>{archive.snapshots[0], archive.snapshots[2]}));

    // The longest window length a collector keeps reads back.
    middle.windows[0].windowMinutes = static_cast<qint64>(kMaxWindowMinutes);
    middle.windows[1].windowMinutes = -static_cast<qint64>(kMaxWindowMinutes);
    QCOMPARE(ArchiveFormat::decode(ArchiveFormat::encode({{middle}})).value().snapshots,
             QList<ProviderSnapshot>{middle});
}

QTEST_GUILESS_MAIN(ArchiveFormatTest)
#include "tst_ArchiveFormat.moc"
