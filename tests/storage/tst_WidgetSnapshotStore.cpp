// The file desktop widgets read.
#include "storage/WidgetSnapshotStore.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <sys/stat.h>

namespace {

ProviderSnapshot snapshot(UsageProvider provider, QList<UsageWindow> windows)
{
    ProviderSnapshot result;
    result.provider = provider;
    result.collectedAt = QDateTime::currentDateTimeUtc();
    result.state = provider == UsageProvider::codex ? CollectorState::connected : CollectorState::stale;
    result.windows = std::move(windows);
    return result;
}

} // namespace

class WidgetSnapshotStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void format();
    void noSnapshots();
    void onlyClaude();
    void writtenWhereWidgetsLook();
};

void WidgetSnapshotStoreTest::format()
{
    const QDateTime tenSeconds = QDateTime(QDate(2001, 1, 1), QTime(0, 0, 10), Qt::UTC);
    QMap<UsageProvider, ProviderSnapshot> latest;
    // Inserted claude first: the file still lists codex first.
    latest.insert(UsageProvider::claude,
                  snapshot(UsageProvider::claude, {UsageWindow{QStringLiteral("c"), QStringLiteral("Weekly"), -5,
                                                               std::nullopt, 10080, std::nullopt}}));
    latest.insert(UsageProvider::codex,
                  snapshot(UsageProvider::codex, {UsageWindow{QStringLiteral("a"), QStringLiteral("5-hour"), 130,
                                                              tenSeconds.addMSecs(500), 300, std::nullopt},
                                                  UsageWindow{QStringLiteral("b"), QStringLiteral("Weekly"), 42.5,
                                                              std::nullopt, 10080, std::nullopt}}));
    const QByteArray bytes = WidgetSnapshotStore::encode(latest, tenSeconds);
    QVERIFY(!bytes.contains('\n') && !bytes.contains(' '));
    const QJsonObject root = QJsonDocument::fromJson(bytes).object();
    QCOMPARE(root.value(QStringLiteral("generatedAt")).toDouble(), 10.0);
    const QJsonArray providers = root.value(QStringLiteral("providers")).toArray();
    QCOMPARE(providers.size(), 2);
    const QJsonObject codex = providers[0].toObject();
    QCOMPARE(codex, (QJsonObject{{QStringLiteral("id"), QStringLiteral("codex")},
                                 {QStringLiteral("name"), QStringLiteral("Codex")},
                                 {QStringLiteral("state"), QStringLiteral("connected")},
                                 {QStringLiteral("windows"),
                                  QJsonArray{QJsonObject{{QStringLiteral("label"), QStringLiteral("5-hour")},
                                                         {QStringLiteral("usedPercent"), 100},
                                                         {QStringLiteral("resetsAt"), 10.5}},
                                             QJsonObject{{QStringLiteral("label"), QStringLiteral("Weekly")},
                                                         {QStringLiteral("usedPercent"), 42.5}}}}}));
    const QJsonObject claudeWindow = providers[1].toObject().value(QStringLiteral("windows")).toArray()[0].toObject();
    QCOMPARE(claudeWindow.value(QStringLiteral("usedPercent")).toDouble(), 0.0);
    QVERIFY(!claudeWindow.contains(QStringLiteral("resetsAt")));
    QCOMPARE(providers[1].toObject().value(QStringLiteral("state")).toString(), QStringLiteral("stale"));
}

void WidgetSnapshotStoreTest::noSnapshots()
{
    const QJsonObject root =
        QJsonDocument::fromJson(WidgetSnapshotStore::encode({}, QDateTime::currentDateTimeUtc())).object();
    QVERIFY(root.value(QStringLiteral("providers")).isArray());
    QVERIFY(root.value(QStringLiteral("providers")).toArray().isEmpty());
}

void WidgetSnapshotStoreTest::onlyClaude()
{
    QMap<UsageProvider, ProviderSnapshot> latest;
    latest.insert(UsageProvider::claude, snapshot(UsageProvider::claude, {}));
    const QJsonArray providers =
        QJsonDocument::fromJson(WidgetSnapshotStore::encode(latest, QDateTime::currentDateTimeUtc()))
            .object()
            .value(QStringLiteral("providers"))
            .toArray();
    QCOMPARE(providers.size(), 1);
    QCOMPARE(providers[0].toObject().value(QStringLiteral("id")).toString(), QStringLiteral("claude"));
    QCOMPARE(providers[0].toObject().value(QStringLiteral("name")).toString(), QStringLiteral("Claude"));
}

void WidgetSnapshotStoreTest::writtenWhereWidgetsLook()
{
    TestHome home;
    home.activate();
    const QString expected = home.dataHome() + QStringLiteral("/com.limitra.app.widgets/widget-usage.json");
    QCOMPARE(WidgetSnapshotStore::filePath(), expected);
    QVERIFY_OK(WidgetSnapshotStore::exportLatest({}));
    QVERIFY(QJsonDocument::fromJson(readAll(expected)).isObject());
    struct stat info = {};
    QCOMPARE(::stat(QFile::encodeName(expected).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0600u);

    // A file in the folder's place: the error, and no partial success.
    QVERIFY(QFile::remove(expected));
    QVERIFY(QDir().rmdir(WidgetSnapshotStore::sharedContainerPath()));
    home.writeFile(QStringLiteral(".local/share/com.limitra.app.widgets"), "taken");
    QVERIFY(!WidgetSnapshotStore::exportLatest({}).ok());
}

QTEST_GUILESS_MAIN(WidgetSnapshotStoreTest)
#include "tst_WidgetSnapshotStore.moc"
