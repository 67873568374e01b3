// The file desktop widgets read; the desktop session test finds it where
// widgets look.
#include "storage/WidgetSnapshotStore.h"
#include "tests/support/SnapshotSamples.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

class WidgetSnapshotStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void format();
};

void WidgetSnapshotStoreTest::format()
{
    using namespace SnapshotSamples;
    const QDateTime tenSeconds = QDateTime(QDate(2001, 1, 1), QTime(0, 0, 10), Qt::UTC);
    QMap<UsageProvider, ProviderSnapshot> latest;
    QCOMPARE(QJsonDocument::fromJson(WidgetSnapshotStore::encode(latest, tenSeconds)).object(),
             (QJsonObject{{QStringLiteral("generatedAt"), 10}, {QStringLiteral("providers"), QJsonArray()}}));
    // Inserted claude first: the file still lists codex first.
    latest.insert(UsageProvider::claude,
                  connected(UsageProvider::claude, tenSeconds, {weekly(UsageProvider::claude, -5)}));
    latest[UsageProvider::claude].state = CollectorState::stale;
    latest.insert(UsageProvider::codex, connected(UsageProvider::codex, tenSeconds,
                                                  {fiveHour(UsageProvider::codex, 130, tenSeconds.addMSecs(500)),
                                                   weekly(UsageProvider::codex, 42.5)}));
    const QByteArray bytes = WidgetSnapshotStore::encode(latest, tenSeconds);
    QVERIFY(!bytes.contains('\n') && !bytes.contains(' '));
    const QJsonArray providers = QJsonDocument::fromJson(bytes).object().value(QStringLiteral("providers")).toArray();
    const auto window = [](const char *label, double used) {
        return QJsonObject{{QStringLiteral("label"), QString::fromUtf8(label)}, {QStringLiteral("usedPercent"), used}};
    };
    QJsonObject clamped = window("5-hour", 100);
    clamped.insert(QStringLiteral("resetsAt"), 10.5);
    QCOMPARE(providers,
             (QJsonArray{QJsonObject{{QStringLiteral("id"), QStringLiteral("codex")},
                                     {QStringLiteral("name"), QStringLiteral("Codex")},
                                     {QStringLiteral("state"), QStringLiteral("connected")},
                                     {QStringLiteral("windows"), QJsonArray{clamped, window("Weekly", 42.5)}}},
                         QJsonObject{{QStringLiteral("id"), QStringLiteral("claude")},
                                     {QStringLiteral("name"), QStringLiteral("Claude")},
                                     {QStringLiteral("state"), QStringLiteral("stale")},
                                     {QStringLiteral("windows"), QJsonArray{window("Weekly", 0)}}}}));
}

QTEST_GUILESS_MAIN(WidgetSnapshotStoreTest)
#include "tst_WidgetSnapshotStore.moc"
