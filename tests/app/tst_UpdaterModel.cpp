// Update checks against a feed in a local file, the feed's format,
// and how versions compare.
#include "app/Appcast.h"
#include "app/UpdaterModel.h"
#include "app/VersionComparison.h"
#include "system/AtomicFile.h"
#include "tests/support/ResultChecks.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// A feed served from a file of its own; an empty body: no file, as a missing page.
class FeedFile
{
public:
    explicit FeedFile(const QByteArray &body)
    {
        if (!body.isEmpty())
            QVERIFY(AtomicFile::write(url().toLocalFile(), body).ok());
    }
    QUrl url() const { return QUrl::fromLocalFile(m_folder.filePath(QStringLiteral("appcast.xml"))); }

private:
    QTemporaryDir m_folder;
};

QByteArray feed(const QByteArray &items)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">\n"
           "  <channel><title>Limitra</title>"
           + items + "</channel></rss>";
}

// Moc cannot read raw string literals, hence the escapes.
const QByteArray kTwoReleases =
    feed("<item><title>Limitra 0.2</title><sparkle:version>20</sparkle:version>\n"
         "  <sparkle:shortVersionString>0.2.0</sparkle:shortVersionString>\n"
         "  <link>https://example.invalid/releases/0.2.0</link></item>\n"
         "<item><title>Limitra 0.3</title>\n"
         "  <enclosure url=\"https://example.invalid/limitra-0.3.0.AppImage\" sparkle:version=\"30\"\n"
         "             sparkle:shortVersionString=\"0.3.0\" length=\"100\" type=\"application/octet-stream\"/>"
         "</item>");

UpdaterModel::Options options(const QUrl &feed, const QString &build)
{
    return {.feed = feed,
            .shortVersion = QStringLiteral("0.1.0"),
            .buildVersion = build,
            .interval = std::chrono::hours(24),
            .firstCheckDelay = std::chrono::hours(1)};
}

} // namespace

class UpdaterModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void versions_data();
    void versions();
    void feedFormat();
    void checks_data();
    void checks();
    void withoutFeedNothingChecks();
    void firstAutomaticCheck();
};

void UpdaterModelTest::versions_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("order");
    // "a <, = or > b", split at the spaces.
    for (const char *row :
         {"1.2.3 = 1.2.3", "1.10 > 1.9", "1.01 = 1.1", "1.3.1 > 1.3", "1.3b1 < 1.3", "2.0-beta < 2.0", "1.3b2 < 1.3rc1",
          "1.3b10 > 1.3b9", "1.3.1 > 1.3b", "100 > 99", "12345678901234567890 < 12345678901234567891"}) {
        const QStringList parts = QString::fromLatin1(row).split(QLatin1Char(' '));
        QTest::newRow(row) << parts[0] << parts[2] << static_cast<int>(QStringLiteral("<=>").indexOf(parts[1])) - 1;
    }
    QTest::newRow("white space") << " 1.2 "
                                 << "1.2" << 0;
}

void UpdaterModelTest::versions()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(int, order);
    QCOMPARE(compareVersions(a, b), order);
    QCOMPARE(compareVersions(b, a), -order);
}

void UpdaterModelTest::feedFormat()
{
    Result<QList<AppcastItem>> items = Appcast::parse(kTwoReleases);
    QVERIFY_OK(items);
    QCOMPARE(items->size(), 2);
    QCOMPARE(items->at(0).version, QStringLiteral("20"));
    QCOMPARE(items->at(0).shortVersion, QStringLiteral("0.2.0"));
    QCOMPARE(items->at(0).link, QUrl(QStringLiteral("https://example.invalid/releases/0.2.0")));
    QCOMPARE(items->at(1).version, QStringLiteral("30")); // from the enclosure
    QCOMPARE(items->at(1).link, QUrl(QStringLiteral("https://example.invalid/limitra-0.3.0.AppImage")));

    QCOMPARE(Appcast::newestUpdate(*items, "0.1.0", "10")->shortVersion, QStringLiteral("0.3.0"));
    QCOMPARE(Appcast::newestUpdate(*items, "0.1.0", "25")->shortVersion, QStringLiteral("0.3.0"));
    QVERIFY(!Appcast::newestUpdate(*items, "0.3.0", "30"));
    // Without sparkle:version, the short versions are compared.
    const QList<AppcastItem> shortOnly{{QString(), "0.1.1", QUrl()}};
    QVERIFY(Appcast::newestUpdate(shortOnly, "0.1.0", "999"));
    QVERIFY(!Appcast::newestUpdate(shortOnly, "0.1.1", "1"));

    QVERIFY(!Appcast::parse("<rss><channel><item>").ok());
    QCOMPARE(Appcast::parse(feed("")).value().size(), 0);
}

void UpdaterModelTest::checks_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("build");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("available");
    QTest::newRow("newer release") << kTwoReleases << "10"
                                   << "Limitra 0.3.0 is available."
                                   << "0.3.0";
    QTest::newRow("up to date") << kTwoReleases << "30"
                                << "Limitra is up to date."
                                << "";
    QTest::newRow("not found") << QByteArray() << "1"
                               << "The update check failed: "
                               << "";
    QTest::newRow("not a feed") << QByteArray("<html><body>") << "1"
                                << "The update check failed: "
                                << "";
}

void UpdaterModelTest::checks()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, build);
    QFETCH(QString, message);
    QFETCH(QString, available);
    const FeedFile feed(body);
    UpdaterModel updater(options(feed.url(), build));
    QVERIFY(updater.canCheckForUpdates());
    QSignalSpy found(&updater, &UpdaterModel::updateFound);
    QSignalSpy result(&updater, &UpdaterModel::resultChanged);
    QMetaObject::invokeMethod(&updater, "checkForUpdates");
    QVERIFY(!updater.canCheckForUpdates()); // one check at a time
    QTRY_COMPARE(result.count(), 1);
    QVERIFY2(updater.statusMessage().startsWith(message), qPrintable(updater.statusMessage()));
    QCOMPARE(updater.availableVersion(), available);
    QCOMPARE(found.count(), available.isEmpty() ? 0 : 1);
    if (!available.isEmpty())
        QCOMPARE(updater.availableLink(), QUrl(QStringLiteral("https://example.invalid/limitra-0.3.0.AppImage")));
    QVERIFY(updater.canCheckForUpdates());
}

void UpdaterModelTest::withoutFeedNothingChecks()
{
    UpdaterModel updater(options(QUrl(), ""));
    QVERIFY(!updater.canCheckForUpdates());
    QCOMPARE(updater.versionText(), QStringLiteral("Version 0.1.0 (—)"));
    QSignalSpy result(&updater, &UpdaterModel::resultChanged);
    updater.checkForUpdates();
    QCOMPARE(result.count(), 0);
}

void UpdaterModelTest::firstAutomaticCheck()
{
    const FeedFile feed(kTwoReleases);
    UpdaterModel::Options automatic = options(feed.url(), "10");
    automatic.firstCheckDelay = std::chrono::milliseconds(0);
    UpdaterModel updater(automatic);
    QCOMPARE(updater.versionText(), QStringLiteral("Version 0.1.0 (10)"));
    QTRY_COMPARE(updater.availableVersion(), QStringLiteral("0.3.0"));
}

QTEST_GUILESS_MAIN(UpdaterModelTest)
#include "tst_UpdaterModel.moc"
