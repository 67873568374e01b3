// Settings the user may not write. Runs as an unprivileged user (the test
// wrapper drops root), since root may write anything.
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <unistd.h>

class UnwritableSettingsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void readOnly_data();
    void readOnly();
};

void UnwritableSettingsTest::initTestCase()
{
    QVERIFY2(::geteuid() != 0, "these checks mean nothing for root; run through tests/support/run-unprivileged");
}

void UnwritableSettingsTest::readOnly_data()
{
    QTest::addColumn<QString>("readOnly");
    QTest::addColumn<bool>("installFirst"); // then the removal is refused
    QTest::newRow("settings file") << ".claude/settings.json" << false;
    QTest::newRow("settings folder") << ".claude" << false;
    QTest::newRow("removal from a read-only settings file") << ".claude/settings.json" << true;
}

void UnwritableSettingsTest::readOnly()
{
    QFETCH(QString, readOnly);
    QFETCH(bool, installFirst);
    TestHome home;
    home.activate();
    home.writeFile(QStringLiteral(".claude/settings.json"),
                   R"({"statusLine": {"type": "command", "command": "mine"}})");
    const QString backup = home.appDirectory() + QStringLiteral("/claude-statusline-backup.json");
    if (installFirst)
        QVERIFY(ClaudeIntegrationManager::install(QStringLiteral("/opt/Limitra/limitra")).ok());
    const QByteArray settings = readAll(home.claudeSettings());
    const QByteArray saved = readAll(backup);
    const QString path = home.path() + QLatin1Char('/') + readOnly;
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner));

    Result<void> changed = installFirst ? ClaudeIntegrationManager::uninstall()
                                        : ClaudeIntegrationManager::install(QStringLiteral("/opt/Limitra/limitra"));
    QVERIFY(!changed.ok());
    QVERIFY2(changed.error().description().contains(QLatin1String("Permission denied")),
             qPrintable(changed.error().description()));
    QCOMPARE(readAll(home.claudeSettings()), settings);
    QCOMPARE(readAll(backup), saved);
    QCOMPARE(QDir(home.path() + QStringLiteral("/.claude")).entryList(QDir::Files | QDir::Hidden).size(), 1);
    QCOMPARE(ClaudeIntegrationManager::isInstalled(), installFirst);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QTEST_GUILESS_MAIN(UnwritableSettingsTest)
#include "tst_UnwritableSettings.moc"
