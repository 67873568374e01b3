// A history folder the user may not write. Runs as an unprivileged user (the
// test wrapper drops root), since root may write anything.
#include "storage/ArchiveFile.h"
#include "storage/ArchiveFormat.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <unistd.h>

class UnwritableArchiveTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(::geteuid() != 0, "run through tests/support/run-unprivileged"); }
    void readOnlyFolderKeepsThePreviousFile();
};

void UnwritableArchiveTest::readOnlyFolderKeepsThePreviousFile()
{
    TestHome home;
    const QString folder = home.path() + QStringLiteral("/Limitra");
    const QString path = folder + QStringLiteral("/usage-history.json");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    ArchiveFile archive(path, 90 * 86400.0, [now] { return now; });

    ProviderSnapshot first;
    first.collectedAt = now.addSecs(-600);
    QVERIFY(archive.append({first}).ok());
    const QByteArray before = readAll(path);

    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
    ProviderSnapshot second;
    second.collectedAt = now;
    Result<QList<ProviderSnapshot>> refused = archive.append({second});
    QVERIFY(!refused.ok());
    QCOMPARE(refused.error().description(), QStringLiteral("Could not write %1: Permission denied").arg(path));
    QCOMPARE(readAll(path), before);
    QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("usage-history.json")});
    QCOMPARE(archive.load().value().size(), 1);

    // Once writable again, nothing of the refused round lingers.
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    ProviderSnapshot third;
    third.collectedAt = now.addSecs(1);
    QCOMPARE(archive.append({third}).value().size(), 2);
    QCOMPARE(ArchiveFormat::decode(readAll(path)).value().snapshots.size(), 2);
}

QTEST_GUILESS_MAIN(UnwritableArchiveTest)
#include "tst_UnwritableArchive.moc"
