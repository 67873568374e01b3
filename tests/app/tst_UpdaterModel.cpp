// Update checks against a feed served from this machine, the feed's format,
// and how versions compare.
#include "app/Appcast.h"
#include "app/UpdaterModel.h"
#include "app/VersionComparison.h"
#include "tests/support/ResultChecks.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace {

// Answers every request with one status and body, the way a web server would.
class FeedServer : public QObject
{
public:
    FeedServer()
    {
        QVERIFY(m_server.listen(QHostAddress::LocalHost));
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    m_request += socket->readAll();
                    if (!m_request.contains("\r\n\r\n"))
                        return;
                    ++requests;
                    socket->write("HTTP/1.1 " + status + "\r\nContent-Type: application/rss+xml\r\nContent-Length: "
                                  + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
                    socket->disconnectFromHost();
                    m_request.clear();
                });
            }
        });
    }
    QUrl url() const { return QUrl(QStringLiteral("http://127.0.0.1:%1/appcast.xml").arg(m_server.serverPort())); }

    QByteArray status = "200 OK";
    QByteArray body;
    int requests = 0;

private:
    QTcpServer m_server;
    QByteArray m_request;
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
    void newerReleaseFound();
    void upToDate();
    void failures_data();
    void failures();
    void withoutFeedNothingChecks();
    void firstAutomaticCheck();
};

void UpdaterModelTest::versions_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("order");
    QTest::newRow("equal") << "1.2.3"
                           << "1.2.3" << 0;
    QTest::newRow("numbers, not text") << "1.10"
                                       << "1.9" << 1;
    QTest::newRow("leading zeros") << "1.01"
                                   << "1.1" << 0;
    QTest::newRow("longer with a number") << "1.3.1"
                                          << "1.3" << 1;
    QTest::newRow("pre-release") << "1.3b1"
                                 << "1.3" << -1;
    QTest::newRow("pre-release with a dash") << "2.0-beta"
                                             << "2.0" << -1;
    QTest::newRow("beta before release candidate") << "1.3b2"
                                                   << "1.3rc1" << -1;
    QTest::newRow("pre-release numbers") << "1.3b10"
                                         << "1.3b9" << 1;
    QTest::newRow("number beats word") << "1.3.1"
                                       << "1.3b" << 1;
    QTest::newRow("build numbers") << "100"
                                   << "99" << 1;
    QTest::newRow("very long numbers") << "12345678901234567890"
                                       << "12345678901234567891" << -1;
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

void UpdaterModelTest::newerReleaseFound()
{
    FeedServer server;
    server.body = kTwoReleases;
    UpdaterModel updater(options(server.url(), "10"));
    QVERIFY(updater.canCheckForUpdates());
    QCOMPARE(updater.versionText(), QStringLiteral("Version 0.1.0 (10)"));
    QSignalSpy found(&updater, &UpdaterModel::updateFound);
    QSignalSpy canCheck(&updater, &UpdaterModel::canCheckForUpdatesChanged);
    QMetaObject::invokeMethod(&updater, "checkForUpdates");
    QVERIFY(!updater.canCheckForUpdates()); // one check at a time
    QTRY_COMPARE(found.count(), 1);
    QCOMPARE(found.first().value(0).toString(), QStringLiteral("0.3.0"));
    QCOMPARE(updater.availableVersion(), QStringLiteral("0.3.0"));
    QCOMPARE(updater.availableLink(), QUrl(QStringLiteral("https://example.invalid/limitra-0.3.0.AppImage")));
    QCOMPARE(updater.statusMessage(), QStringLiteral("Limitra 0.3.0 is available."));
    QVERIFY(updater.canCheckForUpdates());
    QCOMPARE(canCheck.count(), 2);
    QCOMPARE(server.requests, 1);
}

void UpdaterModelTest::upToDate()
{
    FeedServer server;
    server.body = kTwoReleases;
    UpdaterModel updater(options(server.url(), "30"));
    QSignalSpy result(&updater, &UpdaterModel::resultChanged);
    updater.checkForUpdates();
    QTRY_COMPARE(result.count(), 1);
    QCOMPARE(updater.statusMessage(), QStringLiteral("Limitra is up to date."));
    QCOMPARE(updater.availableVersion(), QString());
}

void UpdaterModelTest::failures_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("not found") << QByteArray("404 Not Found") << QByteArray("nothing here");
    QTest::newRow("not a feed") << QByteArray("200 OK") << QByteArray("<html><body>");
}

void UpdaterModelTest::failures()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    FeedServer server;
    server.status = status;
    server.body = body;
    UpdaterModel updater(options(server.url(), "1"));
    QSignalSpy result(&updater, &UpdaterModel::resultChanged);
    updater.checkForUpdates();
    QTRY_COMPARE(result.count(), 1);
    QVERIFY2(updater.statusMessage().startsWith(QLatin1String("The update check failed: ")),
             qPrintable(updater.statusMessage()));
    QVERIFY(updater.canCheckForUpdates());
}

void UpdaterModelTest::withoutFeedNothingChecks()
{
    UpdaterModel updater(options(QUrl(), ""));
    QVERIFY(!updater.canCheckForUpdates());
    QCOMPARE(updater.versionText(), QStringLiteral("Version 0.1.0 (—)"));
    QSignalSpy result(&updater, &UpdaterModel::resultChanged);
    updater.checkForUpdates();
    QTest::qWait(100);
    QCOMPARE(result.count(), 0);
}

void UpdaterModelTest::firstAutomaticCheck()
{
    FeedServer server;
    server.body = kTwoReleases;
    UpdaterModel::Options automatic = options(server.url(), "10");
    automatic.firstCheckDelay = std::chrono::milliseconds(50);
    UpdaterModel updater(automatic);
    QTRY_COMPARE(server.requests, 1);
    QTRY_COMPARE(updater.availableVersion(), QStringLiteral("0.3.0"));
}

QTEST_GUILESS_MAIN(UpdaterModelTest)
#include "tst_UpdaterModel.moc"
