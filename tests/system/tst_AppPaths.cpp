// Where Limitra keeps its files, and how the folder is made.
#include "system/AppPaths.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <sys/stat.h>

class AppPathsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void followsXdgDataHome();
    void createsPrivateFolderOnce();
    void fileInTheWay();
};

void AppPathsTest::followsXdgDataHome()
{
    TestHome home;
    home.activate();
    QCOMPARE(AppPaths::applicationSupportDirectory(), home.path() + QStringLiteral("/.local/share/Limitra"));
    qputenv("XDG_DATA_HOME", "/srv/data");
    QCOMPARE(AppPaths::applicationSupportDirectory(), QStringLiteral("/srv/data/Limitra"));
    qputenv("XDG_DATA_HOME", "relative/data"); // not absolute: ignored
    QCOMPARE(AppPaths::applicationSupportDirectory(), home.path() + QStringLiteral("/.local/share/Limitra"));
    qunsetenv("XDG_DATA_HOME");
    QCOMPARE(AppPaths::applicationSupportDirectory(), home.path() + QStringLiteral("/.local/share/Limitra"));
}

void AppPathsTest::createsPrivateFolderOnce()
{
    TestHome home;
    home.activate();
    QVERIFY(AppPaths::ensureApplicationSupportDirectory().ok());
    QVERIFY(AppPaths::ensureApplicationSupportDirectory().ok());
    struct stat info = {};
    QCOMPARE(::stat(QFile::encodeName(home.appDirectory()).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0700u);
}

void AppPathsTest::fileInTheWay()
{
    TestHome home;
    home.activate();
    home.writeFile(QStringLiteral(".local/share/Limitra"), "in the way");
    Result<void> made = AppPaths::ensureApplicationSupportDirectory();
    QVERIFY(!made.ok());
    QCOMPARE(made.error().description(),
             QStringLiteral("Could not create the folder %1: Not a directory").arg(home.appDirectory()));
}

QTEST_GUILESS_MAIN(AppPathsTest)
#include "tst_AppPaths.moc"
