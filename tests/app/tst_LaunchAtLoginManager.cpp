// Launch at login through an XDG autostart entry in a throw-away home.
#include "app/platform/LaunchAtLoginManager.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QProcess>
#include <QtTest>

class LaunchAtLoginManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void enableAndDisable();
    void execQuoting_data();
    void execQuoting();
    void entriesFound_data();
    void entriesFound();
};

void LaunchAtLoginManagerTest::enableAndDisable()
{
    TestHome home;
    home.activate();
    const QString entry = home.configHome() + "/autostart/com.limitra.Limitra.desktop";
    QCOMPARE(LaunchAtLoginManager::defaultEntryPath(), entry);
    LaunchAtLoginManager manager(QStringLiteral("/opt/Limitra/limitra"));
    QVERIFY(!manager.isEnabled());
    QVERIFY_OK(manager.setEnabled(true));
    QVERIFY(manager.isEnabled());
    const QByteArray content = readAll(entry);
    QVERIFY(content.startsWith("[Desktop Entry]\n"));
    QVERIFY(content.contains("\nType=Application\n"));
    QVERIFY(content.contains("\nExec=\"/opt/Limitra/limitra\"\n"));
    QVERIFY_OK(manager.setEnabled(true)); // nothing to do
    QVERIFY_OK(manager.setEnabled(false));
    QVERIFY(!QFile::exists(entry));
    QVERIFY_OK(manager.setEnabled(false));
}

void LaunchAtLoginManagerTest::execQuoting_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("plain") << "/usr/bin/limitra";
    QTest::newRow("spaces") << "/home/me/My Apps/limitra";
    QTest::newRow("quotes and dollars") << "/tmp/it's \"quoted\" $HOME `x`/limitra";
    QTest::newRow("backslash and percent") << "/tmp/a\\b/100%/limitra";
}

void LaunchAtLoginManagerTest::execQuoting()
{
    QFETCH(QString, path);
    const QByteArray entry = LaunchAtLoginManager::entry(path);
    QCOMPARE(LaunchAtLoginManager::execProgram(entry), path);

    // Independently: the Exec value, with the string escapes and field codes
    // undone, is one word for a shell (the quoting rules are the shell's).
    QByteArray exec = entry.mid(entry.indexOf("Exec=") + 5);
    exec = exec.left(exec.indexOf('\n')).replace("\\\\", "\\").replace("%%", "%");
    QProcess shell;
    shell.start("/bin/sh", {"-c", "printf '%s|' " + QString::fromUtf8(exec)});
    QVERIFY(shell.waitForFinished());
    QCOMPARE(QString::fromUtf8(shell.readAllStandardOutput()), path + "|");
}

void LaunchAtLoginManagerTest::entriesFound_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("enabled");
    QByteArray ours = LaunchAtLoginManager::entry(QStringLiteral("/opt/limitra"));
    ours.replace("X-GNOME-Autostart-enabled=true\n", "");
    QTest::newRow("as written") << ours << true;
    QTest::newRow("hidden") << ours + "Hidden=true\n" << false;
    QTest::newRow("switched off in GNOME") << ours + "X-GNOME-Autostart-enabled=false\n" << false;
    QTest::newRow("hidden=false") << ours + "Hidden=false\n" << true;
    QTest::newRow("another program's") << QByteArray(
        "[Desktop Entry]\nType=Application\nExec=/usr/bin/something-else --flag\n")
                                       << false;
}

void LaunchAtLoginManagerTest::entriesFound()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, enabled);
    TestHome home;
    const QString entry = home.writeFile("autostart/com.limitra.Limitra.desktop", content);
    LaunchAtLoginManager manager(QStringLiteral("/opt/limitra"), entry);
    QCOMPARE(manager.isEnabled(), enabled);
    if (!enabled) {
        QVERIFY_OK(manager.setEnabled(false)); // not enabled: left untouched
        QCOMPARE(readAll(entry), content);
        // Enabling writes our entry again.
        QVERIFY_OK(manager.setEnabled(true));
        QVERIFY(manager.isEnabled());
    }
}

QTEST_GUILESS_MAIN(LaunchAtLoginManagerTest)
#include "tst_LaunchAtLoginManager.moc"
