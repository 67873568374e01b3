// The usage history: merging, near-duplicates, retention, order, and a file
// that is always whole.
#include "storage/ArchiveFile.h"
#include "storage/ArchiveFormat.h"
#include "storage/UsageArchiveStore.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QtConcurrent/QtConcurrentRun>
#include <QtTest>

#include <csignal>
#include <sys/stat.h>

namespace {

const QDateTime kNow = QDateTime(QDate(2026, 11, 21), QTime(12, 0), Qt::UTC);
constexpr double kNinetyDays = 90 * 86400.0;

ProviderSnapshot snapshot(UsageProvider provider, const QDateTime &at, double used = 10,
                          CollectorState state = CollectorState::connected)
{
    ProviderSnapshot result;
    result.provider = provider;
    result.collectedAt = at;
    result.source = provider == UsageProvider::codex ? UsageSource::codexAppServer : UsageSource::claudeStatusLine;
    result.state = state;
    result.windows = {UsageWindow{rawValue(provider) + QStringLiteral(".five_hour"), QStringLiteral("5-hour"), used,
                                  kNow.addSecs(3600), 300, std::nullopt}};
    return result;
}

QList<QUuid> ids(const QList<ProviderSnapshot> &snapshots)
{
    QList<QUuid> list;
    for (const ProviderSnapshot &s : snapshots)
        list.append(s.id);
    return list;
}

} // namespace

class UsageArchiveStoreTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    QString path() const { return m_home->path() + QStringLiteral("/data/Limitra/usage-history.json"); }
    ArchiveFile file(const QDateTime &now = kNow) const
    {
        return ArchiveFile(path(), kNinetyDays, [now] { return now; });
    }
    QStringList folderEntries() const
    {
        return QDir(QFileInfo(path()).absolutePath()).entryList(QDir::Files | QDir::Hidden);
    }

private Q_SLOTS:
    void init() { m_home = std::make_unique<TestHome>(); }
    void cleanup() { m_home.reset(); }

    void firstAppendCreatesTheFile();
    void nearDuplicates();
    void damagedFileIsReplaced_data();
    void damagedFileIsReplaced();
    void retention();
    void order();
    void copiedTextEqualsAFullRewrite();
    void fileChangedBehindOurBack();
    void unwritablePlace();
    void interleavedCallers();
    void storeRunsOffTheCallingThread();
    void killedWritersLeaveWholeFiles();
};

void UsageArchiveStoreTest::firstAppendCreatesTheFile()
{
    ArchiveFile archive = file();
    const QList<ProviderSnapshot> given{snapshot(UsageProvider::codex, kNow.addSecs(-60)),
                                        snapshot(UsageProvider::claude, kNow.addDays(-91)),
                                        snapshot(UsageProvider::claude, kNow)};
    Result<QList<ProviderSnapshot>> history = archive.append(given);
    QVERIFY_OK(history);
    QCOMPARE(ids(*history), (QList<QUuid>{given[0].id, given[2].id}));
    Result<UsageArchive> onDisk = ArchiveFormat::decode(readAll(path()));
    QVERIFY_OK(onDisk);
    QCOMPARE(onDisk->snapshots, *history);
    struct stat info = {};
    QCOMPARE(::stat(QFile::encodeName(path()).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0600u);
    QCOMPARE(folderEntries(), QStringList{QStringLiteral("usage-history.json")});
    QCOMPARE(file().load().value(), *history); // a new reader sees the same
}

void UsageArchiveStoreTest::nearDuplicates()
{
    ArchiveFile archive = file();
    const ProviderSnapshot first = snapshot(UsageProvider::codex, kNow.addSecs(-600));
    QVERIFY(archive.append({first}).ok());

    const auto added = [&archive](const ProviderSnapshot &candidate) {
        const qsizetype before = archive.load().value().size();
        return archive.append({candidate}).value().size() - before;
    };
    QCOMPARE(added(snapshot(UsageProvider::codex, kNow.addSecs(-590))), 0);     // same, 10 s later
    QCOMPARE(added(snapshot(UsageProvider::codex, kNow.addSecs(-1000))), 0);    // same, earlier
    QCOMPARE(added(snapshot(UsageProvider::claude, kNow.addSecs(-599))), 1);    // another provider
    QCOMPARE(added(snapshot(UsageProvider::codex, kNow.addSecs(-599), 11)), 1); // a window changed, 1 s later
    QCOMPARE(added(snapshot(UsageProvider::codex, kNow.addSecs(-598), 11, CollectorState::stale)), 1); // state changed
    QCOMPARE(added(snapshot(UsageProvider::codex, kNow.addSecs(-568), 11, CollectorState::stale)), 1); // 30 s later

    // Snapshots added by the same call do not count as stored.
    const ProviderSnapshot twin = snapshot(UsageProvider::claude, kNow);
    const qsizetype before = archive.load().value().size();
    QCOMPARE(archive.append({twin, twin}).value().size(), before + 2);
}

void UsageArchiveStoreTest::damagedFileIsReplaced_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("broken JSON") << QByteArray("{\"snapshots\": [{\"id\": ");
    QTest::newRow("binary") << QByteArray("\x00\xff\x10", 3);
}

void UsageArchiveStoreTest::damagedFileIsReplaced()
{
    QFETCH(QByteArray, content);
    QDir().mkpath(QFileInfo(path()).absolutePath());
    m_home->writeFile(QStringLiteral("data/Limitra/usage-history.json.damaged"), "an older damaged history");
    m_home->writeFile(QStringLiteral("data/Limitra/usage-history.json"), content);
    ArchiveFile archive = file();
    QVERIFY(archive.load().value().isEmpty());
    const ProviderSnapshot fresh = snapshot(UsageProvider::codex, kNow);
    QCOMPARE(ids(archive.append({fresh}).value()), QList<QUuid>{fresh.id});
    QCOMPARE(ArchiveFormat::decode(readAll(path())).value().snapshots.size(), 1);
    // What could not be read is kept, in place of the older copy.
    QCOMPARE(readAll(path() + QStringLiteral(".damaged")), content);
}

void UsageArchiveStoreTest::retention()
{
    const ProviderSnapshot boundary = snapshot(UsageProvider::codex, kNow.addDays(-90));
    const ProviderSnapshot justOlder = snapshot(UsageProvider::claude, kNow.addDays(-90).addSecs(-1));
    const ProviderSnapshot recent = snapshot(UsageProvider::claude, kNow.addDays(-1));
    QVERIFY(
        ArchiveFile(path(), kNinetyDays, [] { return kNow.addDays(-50); }).append({justOlder, boundary, recent}).ok());

    // Days later, with nothing new, the expired ones are gone from the file.
    ArchiveFile later = file();
    QCOMPARE(later.load().value().size(), 3);
    QCOMPARE(ids(later.append({}).value()), (QList<QUuid>{boundary.id, recent.id}));
    QCOMPARE(ArchiveFormat::decode(readAll(path())).value().snapshots.size(), 2);
}

void UsageArchiveStoreTest::order()
{
    ArchiveFile archive = file();
    const ProviderSnapshot a = snapshot(UsageProvider::codex, kNow.addSecs(-300));
    const ProviderSnapshot b = snapshot(UsageProvider::claude, kNow.addSecs(-300), 20);
    const ProviderSnapshot c = snapshot(UsageProvider::claude, kNow.addSecs(-600), 30);
    QVERIFY(archive.append({a, b}).ok());
    // An older snapshot arriving late goes to its place; equal times keep their order.
    const ProviderSnapshot d = snapshot(UsageProvider::codex, kNow.addSecs(-300), 40);
    QCOMPARE(ids(archive.append({c, d}).value()), (QList<QUuid>{c.id, a.id, b.id, d.id}));
    QCOMPARE(ids(ArchiveFormat::decode(readAll(path())).value().snapshots), (QList<QUuid>{c.id, a.id, b.id, d.id}));
}

void UsageArchiveStoreTest::copiedTextEqualsAFullRewrite()
{
    // Many rounds: texts copied from the previous file, some expiring, some
    // new; the file must be exactly what encoding the whole history gives.
    QDateTime now = kNow;
    ArchiveFile archive(path(), 3600, [&now] { return now; });
    for (int round = 0; round < 60; ++round) {
        now = now.addSecs(180);
        Result<QList<ProviderSnapshot>> history = archive.append(
            {snapshot(UsageProvider::codex, now, round % 7), snapshot(UsageProvider::claude, now, round)});
        QVERIFY_OK(history);
        QCOMPARE(readAll(path()), ArchiveFormat::encode({*history}));
    }
    QCOMPARE(archive.load().value().size(), 2 * 21); // an hour of three-minute rounds, both ends kept
}

void UsageArchiveStoreTest::fileChangedBehindOurBack()
{
    ArchiveFile archive = file();
    QVERIFY(archive.append({snapshot(UsageProvider::codex, kNow.addSecs(-600))}).ok());
    const ProviderSnapshot other = snapshot(UsageProvider::claude, kNow.addSecs(-900));
    m_home->writeFile(QStringLiteral("data/Limitra/usage-history.json"), ArchiveFormat::encode({{other}}));
    const ProviderSnapshot fresh = snapshot(UsageProvider::codex, kNow);
    QCOMPARE(ids(archive.append({fresh}).value()), (QList<QUuid>{other.id, fresh.id}));
}

void UsageArchiveStoreTest::unwritablePlace()
{
    // The folder's place is taken by a file: the error is the file system's,
    // and nothing else changes.
    m_home->writeFile(QStringLiteral("data/Limitra"), "a file");
    ArchiveFile archive = file();
    Result<QList<ProviderSnapshot>> appended = archive.append({snapshot(UsageProvider::codex, kNow)});
    QVERIFY(!appended.ok());
    QVERIFY2(appended.error().description().endsWith(QLatin1String("Not a directory")),
             qPrintable(appended.error().description()));
    QCOMPARE(readAll(m_home->path() + QStringLiteral("/data/Limitra")), QByteArray("a file"));
    QVERIFY(archive.load().value().isEmpty());
}

void UsageArchiveStoreTest::interleavedCallers()
{
    UsageArchiveStore store(path(), 90, [] { return kNow; });
    constexpr int kCallers = 8;
    constexpr int kRounds = 25;
    QList<QFuture<void>> callers;
    for (int caller = 0; caller < kCallers; ++caller) {
        callers.append(QtConcurrent::run([&store, caller] {
            for (int round = 0; round < kRounds; ++round) {
                // Distinct times, so the resulting order is known.
                const QDateTime at = kNow.addSecs(-86400 + (round * kCallers + caller) * 60);
                store.append({snapshot(UsageProvider::codex, at, caller * 100 + round)}).waitForFinished();
            }
        }));
    }
    for (QFuture<void> &caller : callers)
        caller.waitForFinished();
    const QList<ProviderSnapshot> history = store.load().result().value();
    QCOMPARE(history.size(), kCallers * kRounds);
    QSet<QUuid> unique;
    for (const ProviderSnapshot &s : history)
        unique.insert(s.id);
    QCOMPARE(unique.size(), history.size());
    QVERIFY(ArchiveFormat::isSorted(history));
    QCOMPARE(ArchiveFormat::decode(readAll(path())).value().snapshots, history);
}

void UsageArchiveStoreTest::storeRunsOffTheCallingThread()
{
    UsageArchiveStore store(path(), 90, [] { return kNow; });
    QFuture<Result<QList<ProviderSnapshot>>> appended = store.append({snapshot(UsageProvider::codex, kNow)});
    QFuture<Result<QList<ProviderSnapshot>>> loaded = store.load();
    // Serialised: the load called second sees the append called first.
    QCOMPARE(loaded.result().value().size(), 1);
    QCOMPARE(appended.result().value(), loaded.result().value());
}

void UsageArchiveStoreTest::killedWritersLeaveWholeFiles()
{
    // A process that appends in a loop is killed at random moments; whatever
    // file survives decodes, and the next reader clears the temporary files.
    QRandomGenerator random(20261121);
    for (int attempt = 0; attempt < 12; ++attempt) {
        QProcess writer;
        writer.start(QStringLiteral(ARCHIVE_WRITER), {path()});
        QVERIFY(writer.waitForStarted());
        QTest::qWait(50 + random.bounded(400));
        ::kill(static_cast<pid_t>(writer.processId()), SIGKILL);
        QVERIFY(writer.waitForFinished());
        if (!QFile::exists(path()))
            continue; // killed before its first write
        Result<UsageArchive> survived = ArchiveFormat::decode(readAll(path()));
        QVERIFY_OK(survived);
    }
    QVERIFY(file().load().value().size() > 0);
    QCOMPARE(folderEntries(), QStringList{QStringLiteral("usage-history.json")});
}

QTEST_GUILESS_MAIN(UsageArchiveStoreTest)
#include "tst_UsageArchiveStore.moc"
