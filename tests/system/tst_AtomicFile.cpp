// Atomic replacement of files: content, modes, links, and nothing left behind.
#include "system/AtomicFile.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <sys/file.h>
#include <sys/stat.h>

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
    void danglingLinkCreatesItsTarget();
    void linkLoopIsAnError();
    void refusesFoldersAndMissingParents();
    void longFileName();
    void temporariesOfDeadWritersAreRemoved();
    void targetChangedMeanwhileIsLeftAlone();
};

void AtomicFileTest::writesNewAndReplacesOld()
{
    TestHome home;
    const QString path = home.path() + QStringLiteral("/data.json");
    QVERIFY(AtomicFile::write(path, "first").ok());
    QCOMPARE(readAll(path), QByteArray("first"));
    QVERIFY(AtomicFile::write(path, QByteArray(200000, 'z'), {.durable = false}).ok());
    QCOMPARE(readAll(path), QByteArray(200000, 'z'));
    QVERIFY(AtomicFile::write(path, QByteArray()).ok());
    QCOMPARE(QFileInfo(path).size(), 0);
    QCOMPARE(entries(home.path()), QStringList{QStringLiteral("data.json")});
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
}

void AtomicFileTest::danglingLinkCreatesItsTarget()
{
    TestHome home;
    QDir().mkpath(home.path() + QStringLiteral("/real"));
    QVERIFY(QFile::link(QStringLiteral("real/later.json"), home.path() + QStringLiteral("/entry")));
    QVERIFY(AtomicFile::write(home.path() + QStringLiteral("/entry"), "made").ok());
    QCOMPARE(readAll(home.path() + QStringLiteral("/real/later.json")), QByteArray("made"));
}

void AtomicFileTest::linkLoopIsAnError()
{
    TestHome home;
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

void AtomicFileTest::longFileName()
{
    TestHome home;
    const QString path = home.path() + QLatin1Char('/') + QString(250, QLatin1Char('n'));
    QVERIFY(AtomicFile::write(path, "long").ok());
    QCOMPARE(readAll(path), QByteArray("long"));
    QCOMPARE(entries(home.path()).size(), 1);
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

    writer.kill();
    writer.waitForFinished();
    QVERIFY(AtomicFile::write(folder + QStringLiteral("/d.json"), "newer").ok());
    QVERIFY(!QFile::exists(live));
}

void AtomicFileTest::targetChangedMeanwhileIsLeftAlone()
{
    // Another program replaces the file between our read and our rename.
    TestHome home;
    const QString path = home.writeFile(QStringLiteral("settings.json"), "as read");
    const auto otherWriterWins = [&] {
        QFile::remove(path);
        home.writeFile(QStringLiteral("settings.json"), "theirs");
        return readAll(path) == "as read";
    };
    const Result<void> written = AtomicFile::write(path, "ours", {.stillAsRead = otherWriterWins});
    QVERIFY(!written.ok());
    QCOMPARE(readAll(path), QByteArray("theirs"));
    QCOMPARE(entries(home.path()), QStringList{QStringLiteral("settings.json")});
    QVERIFY(AtomicFile::write(path, "ours", {.stillAsRead = [&] { return readAll(path) == "theirs"; }}).ok());
    QCOMPARE(readAll(path), QByteArray("ours"));
}

QTEST_GUILESS_MAIN(AtomicFileTest)
#include "tst_AtomicFile.moc"
