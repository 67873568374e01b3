// Atomic replacement of files: content, modes, links, and nothing left behind.
#include "system/AtomicFile.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <QScopeGuard>

#include <cerrno>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// While set, renameat2 answers as on a file system that takes no flags (NFS,
// many FUSE ones): the names are looked up first, then any flag is refused.
bool g_renameTakesNoFlags = false;
int g_flagsRefused = 0;

} // namespace

// Takes the place of the C library's for the core library's calls.
extern "C" int renameat2(int fromFolder, const char *from, int toFolder, const char *to, unsigned int flags) noexcept
{
    using Rename = int (*)(int, const char *, int, const char *, unsigned int);
    static const auto real = reinterpret_cast<Rename>(::dlsym(RTLD_NEXT, "renameat2"));
    if (g_renameTakesNoFlags && flags != 0) {
        ++g_flagsRefused;
        if ((flags & RENAME_EXCHANGE) != 0 && ::faccessat(toFolder, to, F_OK, AT_SYMLINK_NOFOLLOW) != 0)
            return -1; // errno: ENOENT
        errno = EINVAL;
        return -1;
    }
    return real(fromFolder, from, toFolder, to, flags);
}

namespace {

mode_t permissions(const QString &path)
{
    struct stat info = {};
    ::stat(QFile::encodeName(path).constData(), &info);
    return info.st_mode & 07777;
}

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

} // namespace

class AtomicFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesNewAndReplacesOld();
    void modes();
    void followsLinkChains();
    void refusesFoldersAndMissingParents();
    void temporariesOfDeadWritersAreRemoved();
    void targetChangedMeanwhileIsLeftAlone_data();
    void targetChangedMeanwhileIsLeftAlone();
};

void AtomicFileTest::writesNewAndReplacesOld()
{
    TestHome home;
    // A name as long as a folder entry may be: the temporary's name is no longer.
    const QString path = home.path() + QLatin1Char('/') + QString(250, QLatin1Char('n'));
    QVERIFY(AtomicFile::write(path, "first").ok());
    QCOMPARE(readAll(path), QByteArray("first"));
    QVERIFY(AtomicFile::write(path, QByteArray(200000, 'z'), {.durable = false}).ok());
    QCOMPARE(readAll(path), QByteArray(200000, 'z'));
    QVERIFY(AtomicFile::write(path, QByteArray()).ok());
    QCOMPARE(QFileInfo(path).size(), 0);
    QCOMPARE(entries(home.path()), QStringList{QFileInfo(path).fileName()});

    // A producer that fails halfway: the target keeps its content, and the
    // temporary file is gone.
    QVERIFY(AtomicFile::write(path, "whole").ok());
    const auto halfway = [](int fd) {
        if (::write(fd, "half", 4) != 4)
            return false;
        errno = ENOSPC;
        return false;
    };
    Result<void> failed = AtomicFile::write(path, halfway);
    QVERIFY(!failed.ok());
    QCOMPARE(failed.error().description(), QStringLiteral("Could not write %1: No space left on device").arg(path));
    QCOMPARE(readAll(path), QByteArray("whole"));
    QCOMPARE(entries(home.path()), QStringList{QFileInfo(path).fileName()});
}

void AtomicFileTest::modes()
{
    TestHome home;
    const QString path = home.path() + QStringLiteral("/file");
    QVERIFY(AtomicFile::write(path, "a").ok());
    QCOMPARE(permissions(path), mode_t(0600)); // private by default, whatever the umask
    QVERIFY(::chmod(QFile::encodeName(path).constData(), 0640) == 0);
    QVERIFY(AtomicFile::write(path, "b").ok());
    QCOMPARE(permissions(path), mode_t(0600)); // our own files are forced back to private
    QVERIFY(::chmod(QFile::encodeName(path).constData(), 0644) == 0);
    QVERIFY(AtomicFile::write(path, "c", {.keepExistingMode = true}).ok());
    QCOMPARE(permissions(path), mode_t(0644)); // a file someone else owns keeps its mode
}

void AtomicFileTest::followsLinkChains()
{
    TestHome home;
    const QString target = home.writeFile(QStringLiteral("real/target.json"), "old");
    QVERIFY(QFile::link(QStringLiteral("real/target.json"), home.path() + QStringLiteral("/middle")));
    QVERIFY(QFile::link(home.path() + QStringLiteral("/middle"), home.path() + QStringLiteral("/entry")));
    QVERIFY(AtomicFile::write(home.path() + QStringLiteral("/entry"), "new").ok());
    QVERIFY(QFileInfo(home.path() + QStringLiteral("/entry")).isSymLink());
    QVERIFY(QFileInfo(home.path() + QStringLiteral("/middle")).isSymLink());
    QCOMPARE(readAll(target), QByteArray("new"));
    QCOMPARE(entries(home.path() + QStringLiteral("/real")), QStringList{QStringLiteral("target.json")});

    // A dangling link gets its target made.
    QVERIFY(QFile::link(QStringLiteral("real/later.json"), home.path() + QStringLiteral("/dangling")));
    QVERIFY(AtomicFile::write(home.path() + QStringLiteral("/dangling"), "made").ok());
    QCOMPARE(readAll(home.path() + QStringLiteral("/real/later.json")), QByteArray("made"));

    QVERIFY(QFile::link(home.path() + QStringLiteral("/b"), home.path() + QStringLiteral("/a")));
    QVERIFY(QFile::link(home.path() + QStringLiteral("/a"), home.path() + QStringLiteral("/b")));
    Result<void> written = AtomicFile::write(home.path() + QStringLiteral("/a"), "x");
    QVERIFY(!written.ok());
    QVERIFY2(written.error().description().contains(QLatin1String("symbolic links")),
             qPrintable(written.error().description()));
}

void AtomicFileTest::refusesFoldersAndMissingParents()
{
    TestHome home;
    QDir().mkpath(home.path() + QStringLiteral("/folder"));
    Result<void> onFolder = AtomicFile::write(home.path() + QStringLiteral("/folder"), "x");
    QVERIFY(!onFolder.ok());
    QVERIFY(onFolder.error().description().endsWith(QLatin1String("Is a directory")));
    QVERIFY(QFileInfo(home.path() + QStringLiteral("/folder")).isDir());

    Result<void> noParent = AtomicFile::write(home.path() + QStringLiteral("/missing/file"), "x");
    QVERIFY(!noParent.ok());
    QCOMPARE(noParent.error().description(),
             QStringLiteral("Could not write %1/missing/file: No such file or directory").arg(home.path()));
    QVERIFY(!AtomicFile::checkWritable(home.path() + QStringLiteral("/missing/file")).ok());
    QVERIFY(AtomicFile::checkWritable(home.path() + QStringLiteral("/new-file")).ok());
}

void AtomicFileTest::temporariesOfDeadWritersAreRemoved()
{
    TestHome home;
    const QString folder = home.path();
    const QString dead = home.writeFile(QStringLiteral(".a.json.limitra-tmp-Ab3xZ9"), "half");
    const QString live = home.writeFile(QStringLiteral(".b.json.limitra-tmp-Qw7yU2"), "being written");
    const QStringList notOurs{home.writeFile(QStringLiteral(".c.json.tmp-Ab3xZ9"), "x"),
                              home.writeFile(QStringLiteral("a.json.limitra-tmp-Ab3xZ9"), "x"),
                              home.writeFile(QStringLiteral(".a.json.limitra-tmp-Ab3xZ9x"), "x")};
    // A writer in another process holds its temporary's lock while it lives.
    QProcess writer;
    writer.start(QStringLiteral("flock"), {QStringLiteral("-o"), live, QStringLiteral("sleep"), QStringLiteral("60")});
    QVERIFY(writer.waitForStarted());
    const auto locked = [&] {
        QFile file(live);
        return file.open(QIODevice::ReadOnly) && ::flock(file.handle(), LOCK_EX | LOCK_NB) != 0;
    };
    QTRY_VERIFY(locked());

    QVERIFY(AtomicFile::write(folder + QStringLiteral("/d.json"), "new").ok());
    QVERIFY(!QFile::exists(dead));
    QVERIFY(QFile::exists(live));
    for (const QString &path : notOurs)
        QVERIFY2(QFile::exists(path), qPrintable(path));

    // The lock goes with the last holder: flock's child may still close its
    // copy of the descriptor after flock itself is gone.
    writer.kill();
    writer.waitForFinished();
    QTRY_VERIFY(AtomicFile::write(folder + QStringLiteral("/d.json"), "newer").ok() && !QFile::exists(live));
}

void AtomicFileTest::targetChangedMeanwhileIsLeftAlone_data()
{
    // What the caller read (null: no file), what the target held when the
    // write began (null: no file), what another program renames into place
    // while the write checks (null: nothing), and what must be there after.
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("during");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<bool>("written");
    QTest::addColumn<bool>("noRenameFlags");
    QTest::newRow("unchanged") << QByteArray("as read") << QByteArray("as read") << QByteArray() << QByteArray("ours")
                               << true << false;
    QTest::newRow("still absent") << QByteArray() << QByteArray() << QByteArray() << QByteArray("ours") << true
                                  << false;
    QTest::newRow("replaced after the read")
        << QByteArray("as read") << QByteArray("theirs") << QByteArray() << QByteArray("theirs") << false << false;
    QTest::newRow("created after the read")
        << QByteArray() << QByteArray("theirs") << QByteArray() << QByteArray("theirs") << false << false;
    QTest::newRow("created during the check")
        << QByteArray() << QByteArray() << QByteArray("newest") << QByteArray("newest") << false << false;
    QTest::newRow("a newer write during a failing check")
        << QByteArray("as read") << QByteArray("theirs") << QByteArray("newest") << QByteArray("newest") << false
        << false;
    // A check followed by a rename would put ours over theirs.
    QTest::newRow("a newer write during a passing check")
        << QByteArray("as read") << QByteArray("as read") << QByteArray("newest") << QByteArray("newest") << false
        << false;
    // Without an exchange of names, a change is seen up to the rename only.
    for (const bool unchanged : {true, false}) {
        QTest::addRow("no rename flags, %s", unchanged ? "unchanged" : "replaced after the read")
            << QByteArray("as read") << QByteArray(unchanged ? "as read" : "theirs") << QByteArray()
            << QByteArray(unchanged ? "ours" : "theirs") << unchanged << true;
    }
    QTest::newRow("no rename flags, still absent")
        << QByteArray() << QByteArray() << QByteArray() << QByteArray("ours") << true << true;
}

void AtomicFileTest::targetChangedMeanwhileIsLeftAlone()
{
    QFETCH(QByteArray, read);
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, during);
    QFETCH(QByteArray, after);
    QFETCH(bool, written);
    QFETCH(bool, noRenameFlags);
    g_renameTakesNoFlags = noRenameFlags;
    g_flagsRefused = 0;
    const auto flagsBack = qScopeGuard([] { g_renameTakesNoFlags = false; });
    TestHome home;
    const QString path = home.path() + QStringLiteral("/settings.json");
    if (!before.isNull())
        home.writeFile(QStringLiteral("settings.json"), before);
    const std::optional<QByteArray> expected = read.isNull() ? std::nullopt : std::optional(read);
    const auto stillAsRead = [&](const std::optional<QByteArray> &current) {
        if (!during.isNull()) {
            // Like an editor: a new file renamed over the old one.
            home.writeFile(QStringLiteral("other.tmp"), during);
            if (std::rename(QFile::encodeName(home.path() + QStringLiteral("/other.tmp")).constData(),
                            QFile::encodeName(path).constData())
                != 0)
                qFatal("the other writer could not rename its file");
        }
        return current == expected;
    };
    QCOMPARE(AtomicFile::write(path, "ours", {.stillAsRead = stillAsRead}).ok(), written);
    QCOMPARE(g_flagsRefused > 0, noRenameFlags && written); // the stand-in was asked
    QCOMPARE(readAll(path), after);
    QCOMPARE(entries(home.path()), QStringList{QStringLiteral("settings.json")});
}

QTEST_GUILESS_MAIN(AtomicFileTest)
#include "tst_AtomicFile.moc"
