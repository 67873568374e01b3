// The usage history: merging, near-duplicates, retention, order, and a file
// that is always whole.
#include "storage/ArchiveFile.h"
#include "storage/ArchiveFormat.h"
#include "storage/UsageArchiveStore.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/SnapshotSamples.h"
#include "tests/support/TestHome.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QtConcurrent/QtConcurrentRun>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// The errno with which in-kernel copies are refused; 0 lets them through.
int g_copyRefusal = 0;
int g_copyCalls = 0;

} // namespace

// Stands in for the C library's function (the history's code is linked into
// this program), so that a test can refuse the kernel's copies.
extern "C" ssize_t copy_file_range(int in, loff_t *inOffset, int out, loff_t *outOffset, size_t length,
                                   unsigned int flags)
{
    ++g_copyCalls;
    if (g_copyRefusal != 0) {
        errno = g_copyRefusal;
        return -1;
    }
    return ::syscall(SYS_copy_file_range, in, inOffset, out, outOffset, length, flags);
}

namespace {

const QDateTime kNow = QDateTime(QDate(2026, 11, 21), QTime(12, 0), Qt::UTC);
constexpr double kNinetyDays = 90 * 86400.0;

ProviderSnapshot snapshot(UsageProvider provider, const QDateTime &at, double used = 10,
                          CollectorState state = CollectorState::connected)
{
    ProviderSnapshot result =
        SnapshotSamples::connected(provider, at, {SnapshotSamples::fiveHour(provider, used, kNow.addSecs(3600))});
    result.state = state;
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
    QList<QUuid> onDisk() const { return ids(ArchiveFormat::decode(readAll(path())).value().snapshots); }
    QStringList folderEntries() const
    {
        return QDir(QFileInfo(path()).absolutePath()).entryList(QDir::Files | QDir::Hidden);
    }

private Q_SLOTS:
    void init() { m_home = std::make_unique<TestHome>(); }
    void cleanup()
    {
        g_copyRefusal = 0;
        m_home.reset();
    }

    void nearDuplicates();
    void damagedFileIsReplaced();
    void retention();
    void order();
    void outOfOrderFile();
    void copiedTextEqualsAFullRewrite_data();
    void copiedTextEqualsAFullRewrite();
    void copyThatFails();
    void interleavedCallers();
    void killedWritersLeaveWholeFiles();
};

void UsageArchiveStoreTest::nearDuplicates()
{
    ArchiveFile archive = file();
    QVERIFY(archive.append({snapshot(UsageProvider::codex, kNow.addSecs(-600))}).ok());
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

    // Of two stored at the same moment the first is the newest, as when the
    // history is read out of order.
    const QDateTime moment = kNow.addSecs(100);
    QVERIFY(archive.append({snapshot(UsageProvider::claude, moment, 60), snapshot(UsageProvider::claude, moment, 70)})
                .ok());
    QCOMPARE(added(snapshot(UsageProvider::claude, moment.addSecs(10), 60)), 0);

    // The rule measures from the time as stored, in whole seconds, as it would
    // after a restart: 30.5 s after what the file holds, not 29.6 s.
    const QDateTime second = kNow.addSecs(300);
    QVERIFY(archive.append({snapshot(UsageProvider::codex, second.addMSecs(900), 12)}).ok());
    QCOMPARE(added(snapshot(UsageProvider::codex, second.addMSecs(30500), 12)), 1);
    const QList<ProviderSnapshot> history = archive.load().value();
    QVERIFY(std::any_of(history.cbegin(), history.cend(),
                        [&second](const ProviderSnapshot &stored) { return stored.collectedAt == second; }));
}

void UsageArchiveStoreTest::damagedFileIsReplaced()
{
    const QByteArray content("{\"snapshots\": [{\"id\": ");
    m_home->writeFile(QStringLiteral("data/Limitra/usage-history.json.damaged"), "an older damaged history");
    m_home->writeFile(QStringLiteral("data/Limitra/usage-history.json"), content);
    ArchiveFile archive = file();
    QVERIFY(archive.load().value().isEmpty());
    // Reading changes nothing; the first write keeps the damaged file aside.
    QCOMPARE(readAll(path()), content);
    const ProviderSnapshot fresh = snapshot(UsageProvider::codex, kNow);
    QCOMPARE(ids(archive.append({fresh}).value()), QList<QUuid>{fresh.id});
    QCOMPARE(onDisk(), QList<QUuid>{fresh.id});
    // What could not be read is kept, in place of the older copy.
    QCOMPARE(readAll(path() + QStringLiteral(".damaged")), content);
}

void UsageArchiveStoreTest::retention()
{
    const ProviderSnapshot boundary = snapshot(UsageProvider::codex, kNow.addDays(-90));
    const ProviderSnapshot justOlder = snapshot(UsageProvider::claude, kNow.addDays(-90).addSecs(-1));
    const ProviderSnapshot recent = snapshot(UsageProvider::claude, kNow.addDays(-1));
    // The first append makes the file, leaving nothing else in the folder.
    QVERIFY(file(kNow.addDays(-50)).append({justOlder, boundary, recent}).ok());
    QCOMPARE(folderEntries(), QStringList{QStringLiteral("usage-history.json")});

    // Days later, a new reader sees all; with nothing new, the expired ones are
    // gone from the file.
    ArchiveFile later = file();
    QCOMPARE(later.load().value().size(), 3);
    QCOMPARE(ids(later.append({}).value()), (QList<QUuid>{boundary.id, recent.id}));
    QCOMPARE(onDisk(), (QList<QUuid>{boundary.id, recent.id}));
    // One already past the retention when it arrives is not stored.
    QCOMPARE(ids(later.append({snapshot(UsageProvider::codex, kNow.addDays(-91), 77)}).value()),
             (QList<QUuid>{boundary.id, recent.id}));
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
    QCOMPARE(onDisk(), (QList<QUuid>{c.id, a.id, b.id, d.id}));

    // Written behind our back: the next append reads the file again.
    const ProviderSnapshot other = snapshot(UsageProvider::claude, kNow.addSecs(-900));
    m_home->writeFile(QStringLiteral("data/Limitra/usage-history.json"), ArchiveFormat::encode({{other}}));
    const ProviderSnapshot fresh = snapshot(UsageProvider::codex, kNow);
    QCOMPARE(ids(archive.append({fresh}).value()), (QList<QUuid>{other.id, fresh.id}));
}

void UsageArchiveStoreTest::outOfOrderFile()
{
    // A file whose records are out of order (written by hand, or by a clock
    // that went back): the newest of each provider is found wherever it
    // stands, and the rewrite puts everything in order.
    const ProviderSnapshot newest = snapshot(UsageProvider::codex, kNow.addSecs(-60));
    const ProviderSnapshot older = snapshot(UsageProvider::codex, kNow.addSecs(-3600), 5);
    const ProviderSnapshot claude = snapshot(UsageProvider::claude, kNow.addSecs(-1800));
    m_home->writeFile(QStringLiteral("data/Limitra/usage-history.json"),
                      ArchiveFormat::encode({{newest, older, claude}}));
    ArchiveFile archive = file();
    const ProviderSnapshot twin = snapshot(UsageProvider::codex, kNow.addSecs(-50)); // a near-duplicate of `newest`
    const ProviderSnapshot fresh = snapshot(UsageProvider::claude, kNow, 50);
    QCOMPARE(ids(archive.append({twin, fresh}).value()), (QList<QUuid>{older.id, claude.id, newest.id, fresh.id}));
    QCOMPARE(readAll(path()), ArchiveFormat::encode({archive.load().value()}));
}

void UsageArchiveStoreTest::copiedTextEqualsAFullRewrite_data()
{
    QTest::addColumn<int>("refusal");
    QTest::newRow("copies in the kernel") << 0;
    // File systems without in-kernel copies: read and write instead.
    QTest::newRow("refused: other file system") << int(EXDEV);
    QTest::newRow("refused: no such call") << int(ENOSYS);
    QTest::newRow("refused: not supported") << int(EOPNOTSUPP);
    QTest::newRow("refused: invalid") << int(EINVAL);
}

void UsageArchiveStoreTest::copiedTextEqualsAFullRewrite()
{
    // Many rounds: texts copied from the previous file, some expiring, some
    // new; the file must be exactly what encoding the whole history gives.
    QFETCH(int, refusal);
    g_copyRefusal = refusal;
    g_copyCalls = 0;
    QDateTime now = kNow;
    ArchiveFile archive(path(), 900, [&now] { return now; });
    for (int round = 0; round < 10; ++round) {
        now = now.addSecs(180);
        Result<QList<ProviderSnapshot>> history = archive.append(
            {snapshot(UsageProvider::codex, now, round % 7), snapshot(UsageProvider::claude, now, round)});
        QVERIFY_OK(history);
        QCOMPARE(readAll(path()), ArchiveFormat::encode({*history}));
    }
    QCOMPARE(archive.load().value().size(), 2 * 6); // a quarter hour of three-minute rounds, both ends kept
    QVERIFY(g_copyCalls >= 9);
}

void UsageArchiveStoreTest::copyThatFails()
{
    // Any write that fails midway: the file and the history stay as they were.
    ArchiveFile archive = file();
    QVERIFY(archive.append({snapshot(UsageProvider::codex, kNow.addSecs(-600))}).ok());
    const QByteArray before = readAll(path());
    g_copyRefusal = EIO;
    QVERIFY(!archive.append({snapshot(UsageProvider::codex, kNow, 50)}).ok());
    QCOMPARE(readAll(path()), before);
    QCOMPARE(folderEntries(), QStringList{QStringLiteral("usage-history.json")});
    QCOMPARE(archive.load().value().size(), 1);
    // Once writing works again, nothing of the refused round lingers.
    g_copyRefusal = 0;
    QCOMPARE(archive.append({snapshot(UsageProvider::claude, kNow)}).value().size(), 2);
    QCOMPARE(ArchiveFormat::decode(readAll(path())).value().snapshots.size(), 2);
}

void UsageArchiveStoreTest::interleavedCallers()
{
    UsageArchiveStore store(path(), 90, [] { return kNow; });
    // Serialised: a load called after an append sees it.
    QFuture<Result<QList<ProviderSnapshot>>> first = store.append({snapshot(UsageProvider::claude, kNow.addDays(-2))});
    QCOMPARE(store.load().result().value(), first.result().value());
    constexpr int kCallers = 4;
    constexpr int kRounds = 10;
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
    QCOMPARE(history.size(), 1 + kCallers * kRounds);
    const QList<QUuid> listed = ids(history);
    QCOMPARE(QSet<QUuid>(listed.begin(), listed.end()).size(), history.size());
    QVERIFY(ArchiveFormat::isSorted(history));
    QCOMPARE(ArchiveFormat::decode(readAll(path())).value().snapshots, history);
}

void UsageArchiveStoreTest::killedWritersLeaveWholeFiles()
{
    // Writers that append in a loop are killed at random moments after their
    // first append; whatever files survive decode, and the next reader clears
    // the temporary files.
    QRandomGenerator random(20261121);
    std::vector<std::unique_ptr<QProcess>> writers;
    for (int i = 0; i < 4; ++i) {
        writers.push_back(std::make_unique<QProcess>());
        writers.back()->start(QStringLiteral(ARCHIVE_WRITER), {path() + QString::number(i)});
    }
    for (const auto &writer : writers) {
        QVERIFY(writer->waitForReadyRead(30000));
        QTest::qWait(random.bounded(200));
        ::kill(static_cast<pid_t>(writer->processId()), SIGKILL);
        QVERIFY(writer->waitForFinished());
        QVERIFY_OK(ArchiveFormat::decode(readAll(writer->arguments().constFirst())));
    }
    QVERIFY(file().load().value().isEmpty());
    QCOMPARE(folderEntries().size(), 4);
}

QTEST_GUILESS_MAIN(UsageArchiveStoreTest)
#include "tst_UsageArchiveStore.moc"
