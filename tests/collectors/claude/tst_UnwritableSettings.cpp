// Settings and folders the user may not write. Runs as an unprivileged user
// (the test wrapper drops root), since root may write anything.
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <unistd.h>

namespace {

const QString kExecutable = QStringLiteral("/opt/Limitra/limitra");
const QByteArray kSettings = R"({"statusLine": {"type": "command", "command": "mine"}, "theme": "dark"})";

} // namespace

class UnwritableSettingsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    QString backupFile() const { return m_home->appDirectory() + QStringLiteral("/claude-statusline-backup.json"); }
    QStringList claudeFolderEntries() const
    {
        return QDir(m_home->path() + QStringLiteral("/.claude")).entryList(QDir::Files | QDir::Hidden);
    }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void readOnlySettingsFile();
    void readOnlySettingsFolder();
    void readOnlyApplicationFolder();
    void removalFromReadOnlySettings();
};

void UnwritableSettingsTest::initTestCase()
{
    QVERIFY2(::geteuid() != 0, "these checks mean nothing for root; run through tests/support/run-unprivileged");
}

void UnwritableSettingsTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
    m_home->writeFile(QStringLiteral(".claude/settings.json"), kSettings);
}

void UnwritableSettingsTest::cleanup()
{
    // Give write access back so the temporary home can be removed.
    for (const QString &folder : {QStringLiteral("/.claude"), QStringLiteral("/.local/share/Limitra")})
        QFile::setPermissions(m_home->path() + folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_home.reset();
}

void UnwritableSettingsTest::readOnlySettingsFile()
{
    QVERIFY(QFile::setPermissions(m_home->claudeSettings(), QFile::ReadOwner));
    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QVERIFY2(installed.error().description().contains(QLatin1String("Permission denied")),
             qPrintable(installed.error().description()));
    QCOMPARE(readAll(m_home->claudeSettings()), kSettings);
    QVERIFY(!QFile::exists(backupFile()));
    QCOMPARE(claudeFolderEntries(), QStringList{QStringLiteral("settings.json")});
}

void UnwritableSettingsTest::readOnlySettingsFolder()
{
    QVERIFY(QFile::setPermissions(m_home->path() + QStringLiteral("/.claude"), QFile::ReadOwner | QFile::ExeOwner));
    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QCOMPARE(readAll(m_home->claudeSettings()), kSettings);
    QVERIFY(!QFile::exists(backupFile()));
    QCOMPARE(claudeFolderEntries(), QStringList{QStringLiteral("settings.json")});
}

void UnwritableSettingsTest::readOnlyApplicationFolder()
{
    QVERIFY(QDir().mkpath(m_home->appDirectory()));
    QVERIFY(QFile::setPermissions(m_home->appDirectory(), QFile::ReadOwner | QFile::ExeOwner));
    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QVERIFY2(installed.error().description().contains(QLatin1String("claude-statusline-backup.json")),
             qPrintable(installed.error().description()));
    QCOMPARE(readAll(m_home->claudeSettings()), kSettings);
    QCOMPARE(claudeFolderEntries(), QStringList{QStringLiteral("settings.json")});
}

void UnwritableSettingsTest::removalFromReadOnlySettings()
{
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    const QByteArray installed = readAll(m_home->claudeSettings());
    const QByteArray backup = readAll(backupFile());
    QVERIFY(QFile::setPermissions(m_home->claudeSettings(), QFile::ReadOwner));

    QVERIFY(!ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(readAll(m_home->claudeSettings()), installed);
    QCOMPARE(readAll(backupFile()), backup);
    QVERIFY(ClaudeIntegrationManager::isInstalled());
}

QTEST_GUILESS_MAIN(UnwritableSettingsTest)
#include "tst_UnwritableSettings.moc"
