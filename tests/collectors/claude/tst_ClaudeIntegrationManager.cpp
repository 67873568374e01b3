// Installing and removing the status-line bridge in real files of a
// throw-away home.
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

#include <sys/stat.h>

namespace {

const QString kExecutable = QStringLiteral("/opt/Limitra/limitra");

QJsonObject readJson(const QString &path)
{
    return QJsonDocument::fromJson(readAll(path)).object();
}

QJsonObject userStatusLine()
{
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("command")},
                       {QStringLiteral("command"), QStringLiteral("~/bin/line.sh")},
                       {QStringLiteral("padding"), 0}};
}

// Compares two JSON files with Python's parser, which keeps integers of any
// size exactly, so a number that Qt would round cannot hide a change.
bool deepEqual(const QString &first, const QString &second)
{
    QProcess python;
    python.start(QStringLiteral("python3"), {QStringLiteral("-c"),
                                             QStringLiteral("import json,sys\n"
                                                            "def load(p): return json.load(open(p,encoding='utf-8'),"
                                                            "parse_int=str,parse_float=str)\n"
                                                            "a=load(sys.argv[1])\n"
                                                            "b=load(sys.argv[2])\n"
                                                            "sys.exit(0 if a==b else 1)"),
                                             first, second});
    return python.waitForFinished(30000) && python.exitStatus() == QProcess::NormalExit && python.exitCode() == 0;
}

mode_t permissions(const QString &path)
{
    struct stat info = {};
    ::stat(QFile::encodeName(path).constData(), &info);
    return info.st_mode & 07777;
}

} // namespace

class ClaudeIntegrationManagerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    QString backupFile() const { return m_home->appDirectory() + QStringLiteral("/claude-statusline-backup.json"); }

private Q_SLOTS:
    void init();
    void cleanup();

    void installWithoutClaudeFolder();
    void installAndRemoveKeepUserStatusLine();
    void statusLineThatIsAString();
    void anotherBridgeIsLeftAlone();
    void brokenBridgeIsRepaired();
    void bridgeExecutable_data();
    void bridgeExecutable();
    void installTwiceKeepsTheFirstBackup();
    void statusLineChangedByTheUserIsNotRemoved();
    void removeWithoutBackup();
    void settingsThatAreNotAnObject();
    void settingsThatAreNotJson_data();
    void settingsThatAreNotJson();
    void everyOtherMemberSurvives();
    void symbolicLinkIsKept();
    void permissionsOfSettingsAreKept();
    void missingExecutablePath();
    void folderInPlaceOfClaudeSettings();
    void fileInPlaceOfApplicationFolder();
    void bridgeCommandRunsThroughShell();
};

void ClaudeIntegrationManagerTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
}

void ClaudeIntegrationManagerTest::cleanup()
{
    m_home.reset();
}

void ClaudeIntegrationManagerTest::installWithoutClaudeFolder()
{
    QVERIFY(!ClaudeIntegrationManager::isInstalled());
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QVERIFY(ClaudeIntegrationManager::isInstalled());

    const QJsonObject expected{
        {QStringLiteral("statusLine"),
         QJsonObject{{QStringLiteral("type"), QStringLiteral("command")},
                     {QStringLiteral("command"), QStringLiteral("'/opt/Limitra/limitra' --claude-statusline")},
                     {QStringLiteral("refreshInterval"), 60}}}};
    QCOMPARE(readJson(m_home->claudeSettings()), expected);
    const QByteArray backup = readAll(backupFile());
    QCOMPARE(backup, QByteArray("{\n    \"hadStatusLine\": false,\n    \"statusLine\": null\n}\n"));
    QCOMPARE(permissions(backupFile()), mode_t(0600));
}

void ClaudeIntegrationManagerTest::installAndRemoveKeepUserStatusLine()
{
    m_home->writeFile(QStringLiteral(".claude/settings.json"),
                      QJsonDocument(QJsonObject{{QStringLiteral("statusLine"), userStatusLine()},
                                                {QStringLiteral("model"), QStringLiteral("opus")}})
                          .toJson());
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QCOMPARE(readJson(backupFile()),
             (QJsonObject{{QStringLiteral("hadStatusLine"), true}, {QStringLiteral("statusLine"), userStatusLine()}}));
    QCOMPARE(readJson(m_home->claudeSettings()).value(QStringLiteral("model")), QStringLiteral("opus"));

    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QVERIFY(!ClaudeIntegrationManager::isInstalled());
    QCOMPARE(readJson(m_home->claudeSettings()), (QJsonObject{{QStringLiteral("statusLine"), userStatusLine()},
                                                              {QStringLiteral("model"), QStringLiteral("opus")}}));
    QVERIFY(QFile::exists(backupFile())); // kept until the next install
}

void ClaudeIntegrationManagerTest::statusLineThatIsAString()
{
    m_home->writeFile(QStringLiteral(".claude/settings.json"), R"({"statusLine": "echo plain"})");
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QCOMPARE(readJson(backupFile()).value(QStringLiteral("statusLine")), QStringLiteral("echo plain"));
    QCOMPARE(readJson(backupFile()).value(QStringLiteral("hadStatusLine")), true);
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(readJson(m_home->claudeSettings()).value(QStringLiteral("statusLine")), QStringLiteral("echo plain"));
}

void ClaudeIntegrationManagerTest::anotherBridgeIsLeftAlone()
{
    m_home->writeFile(QStringLiteral("other copy/limitra"), "#!/bin/sh\n");
    const QByteArray settings =
        QJsonDocument(
            QJsonObject{{QStringLiteral("statusLine"),
                         QJsonObject{{QStringLiteral("type"), QStringLiteral("command")},
                                     {QStringLiteral("command"), ClaudeIntegrationManager::bridgeCommand(
                                                                     m_home->path() + "/other copy/limitra")}}}})
            .toJson();
    m_home->writeFile(QStringLiteral(".claude/settings.json"), settings);
    QVERIFY(ClaudeIntegrationManager::isInstalled());
    QVERIFY(!ClaudeIntegrationManager::isBroken());
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QCOMPARE(readAll(m_home->claudeSettings()), settings);
    QVERIFY(!QFile::exists(backupFile()));
}

// Installed from a build tree that is gone since: the status line fails until
// the installed copy takes the bridge over.
void ClaudeIntegrationManagerTest::brokenBridgeIsRepaired()
{
    m_home->writeFile(QStringLiteral(".claude/settings.json"),
                      QJsonDocument(QJsonObject{{QStringLiteral("statusLine"), userStatusLine()}}).toJson());
    QVERIFY(ClaudeIntegrationManager::install(m_home->path() + "/deleted build/bin/limitra").ok());
    QVERIFY(ClaudeIntegrationManager::isBroken());

    const QString installed = m_home->writeFile(QStringLiteral("usr/bin/limitra"), "#!/bin/sh\n");
    QVERIFY(ClaudeIntegrationManager::install(installed).ok());
    QVERIFY(!ClaudeIntegrationManager::isBroken());
    const QJsonObject statusLine = readJson(m_home->claudeSettings()).value(QStringLiteral("statusLine")).toObject();
    QCOMPARE(statusLine.value(QStringLiteral("command")), ClaudeIntegrationManager::bridgeCommand(installed));
    QCOMPARE(statusLine.value(QStringLiteral("refreshInterval")), 60);
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(readJson(m_home->claudeSettings()).value(QStringLiteral("statusLine")), userStatusLine());
}

void ClaudeIntegrationManagerTest::bridgeExecutable_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<std::optional<QString>>("executable");
    const auto made = [](const char *path) { return ClaudeIntegrationManager::bridgeCommand(QString::fromUtf8(path)); };
    QTest::newRow("plain") << made("/usr/bin/limitra") << std::optional<QString>("/usr/bin/limitra");
    QTest::newRow("quotes and spaces") << made("/home/o'neil/my build/limitra")
                                       << std::optional<QString>("/home/o'neil/my build/limitra");
    QTest::newRow("written by hand") << QStringLiteral("limitra --claude-statusline") << std::optional<QString>();
    QTest::newRow("more arguments") << QStringLiteral("'/usr/bin/limitra' -v --claude-statusline")
                                    << std::optional<QString>();
    QTest::newRow("open quote") << QStringLiteral("'/usr/bin/limitra --claude-statusline") << std::optional<QString>();
}

void ClaudeIntegrationManagerTest::bridgeExecutable()
{
    QFETCH(QString, command);
    QFETCH(std::optional<QString>, executable);
    QCOMPARE(ClaudeIntegrationManager::bridgeExecutable(command), executable);
}

void ClaudeIntegrationManagerTest::installTwiceKeepsTheFirstBackup()
{
    m_home->writeFile(QStringLiteral(".claude/settings.json"),
                      QJsonDocument(QJsonObject{{QStringLiteral("statusLine"), userStatusLine()}}).toJson());
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QVERIFY(ClaudeIntegrationManager::install(QStringLiteral("/elsewhere/limitra")).ok());
    QCOMPARE(readJson(backupFile()).value(QStringLiteral("statusLine")), userStatusLine());
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(readJson(m_home->claudeSettings()).value(QStringLiteral("statusLine")), userStatusLine());
}

void ClaudeIntegrationManagerTest::statusLineChangedByTheUserIsNotRemoved()
{
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    const QByteArray edited = R"({"statusLine": {"type": "command", "command": "my-own-line"}})";
    m_home->writeFile(QStringLiteral(".claude/settings.json"), edited);
    QVERIFY(!ClaudeIntegrationManager::isInstalled());
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(readAll(m_home->claudeSettings()), edited);
}

void ClaudeIntegrationManagerTest::removeWithoutBackup()
{
    m_home->writeFile(QStringLiteral(".claude/settings.json"),
                      QJsonDocument(QJsonObject{{QStringLiteral("statusLine"), userStatusLine()},
                                                {QStringLiteral("theme"), QStringLiteral("dark")}})
                          .toJson());
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QVERIFY(QFile::remove(backupFile()));
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(readJson(m_home->claudeSettings()), (QJsonObject{{QStringLiteral("theme"), QStringLiteral("dark")}}));

    // A damaged backup counts as none.
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-statusline-backup.json"),
                      R"({"hadStatusLine": "yes", "statusLine": "echo no"})");
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QVERIFY(!readJson(m_home->claudeSettings()).contains(QStringLiteral("statusLine")));
}

void ClaudeIntegrationManagerTest::settingsThatAreNotAnObject()
{
    m_home->writeFile(QStringLiteral(".claude/settings.json"), "[]");
    const QString expected =
        QStringLiteral("The provider returned an unsupported response: ~/.claude/settings.json is not a JSON object");
    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QCOMPARE(installed.error().description(), expected);
    Result<void> removed = ClaudeIntegrationManager::uninstall();
    QVERIFY(!removed.ok());
    QCOMPARE(removed.error().description(), expected);
    QVERIFY(!ClaudeIntegrationManager::isInstalled());
    QCOMPARE(readAll(m_home->claudeSettings()), QByteArray("[]"));
    QVERIFY(!QFile::exists(backupFile()));
}

void ClaudeIntegrationManagerTest::settingsThatAreNotJson_data()
{
    QTest::addColumn<QByteArray>("broken");
    QTest::newRow("cut short") << QByteArray(R"({"statusLine": {"type": "command",)");
    // Qt's reader accepts each of these and would write back something else.
    QTest::newRow("number with a leading dot")
        << QByteArray(R"({"statusLine": {"type": "command", "command": "~/bin/line.sh", "padding": .5e1}})");
    QTest::newRow("number as a key") << QByteArray(R"({"env": {1.5: "x"}})");
    QTest::newRow("unknown escape") << QByteArray(R"({"env": {"PATH": "C:\xtools"}})");
    QTest::newRow("raw control character") << QByteArray("{\"env\": {\"A\": \"a\tb\"}}");
    QTest::newRow("byte-order mark") << QByteArray("\xEF\xBB\xBF{}");
}

void ClaudeIntegrationManagerTest::settingsThatAreNotJson()
{
    QFETCH(QByteArray, broken);
    m_home->writeFile(QStringLiteral(".claude/settings.json"), broken);
    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QVERIFY2(installed.error().description().startsWith(QLatin1String("~/.claude/settings.json is not valid JSON")),
             qPrintable(installed.error().description()));
    QCOMPARE(readAll(m_home->claudeSettings()), broken);
    QVERIFY(!QFile::exists(backupFile()));
}

void ClaudeIntegrationManagerTest::everyOtherMemberSurvives()
{
    const QByteArray original = R"json({
  "$schema": "https://json.schemastore.org/claude-code-settings.json",
  "env": {"CLAUDE_CODE_MAX_OUTPUT_TOKENS": "16000", "ÜBER": "Grüße 🚀 \u00e9\t\"quoted\""},
  "permissions": {"allow": ["Bash(git diff:*)", "Read(~/.zshrc)"], "deny": [], "defaultMode": "acceptEdits"},
  "hooks": {"PostToolUse": [{"matcher": "Edit|Write",
             "hooks": [{"type": "command", "command": "prettier --write \"$FILE\"", "timeout": 30}]}]},
  "statusLine": {"type": "command", "command": "~/bin/line.sh", "padding": 0, "scale": 1e999},
  "cleanupPeriodDays": 30,
  "big": 9007199254740993,
  "biggest": 9223372036854775807,
  "smallest": -9223372036854775808,
  "beyond64bits": 18446744073709551616,
  "huge": 123456789012345678901234567890,
  "overflowsDouble": 1e400,
  "exact": 0.10000000000000000555,
  "ratio": 0.1,
  "tiny": 5e-324,
  "flags": [true, false, null, {}, [], [[1, 2], {"a": {"b": {"c": null}}}]],
  "negativeZero": -0,
  "\uFEFFstatusLine": "not ours: a different key",
  "loneSurrogate": "\ud800",
  "includeCoAuthoredBy": false
})json";
    const QString settings = m_home->writeFile(QStringLiteral(".claude/settings.json"), original);
    const QString copy = m_home->writeFile(QStringLiteral("original.json"), original);

    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QVERIFY(!deepEqual(settings, copy)); // the comparison does see a change
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QVERIFY2(deepEqual(settings, copy), readAll(settings).constData());
}

void ClaudeIntegrationManagerTest::symbolicLinkIsKept()
{
    const QString target = m_home->writeFile(QStringLiteral("dotfiles/claude.json"), R"({"theme": "dark"})");
    QDir().mkpath(m_home->path() + QStringLiteral("/.claude"));
    QVERIFY(QFile::link(QStringLiteral("../dotfiles/claude.json"), m_home->claudeSettings()));

    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QVERIFY(QFileInfo(m_home->claudeSettings()).isSymLink());
    QVERIFY(readJson(target).contains(QStringLiteral("statusLine")));
    QVERIFY(ClaudeIntegrationManager::isInstalled());

    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QVERIFY(QFileInfo(m_home->claudeSettings()).isSymLink());
    QCOMPARE(readJson(target), (QJsonObject{{QStringLiteral("theme"), QStringLiteral("dark")}}));
    QCOMPARE(QDir(m_home->path() + QStringLiteral("/dotfiles")).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

void ClaudeIntegrationManagerTest::permissionsOfSettingsAreKept()
{
    const QString settings = m_home->writeFile(QStringLiteral(".claude/settings.json"), "{}");
    QVERIFY(
        QFile::setPermissions(settings, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther));
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QCOMPARE(permissions(settings), mode_t(0644));
}

void ClaudeIntegrationManagerTest::missingExecutablePath()
{
    for (const std::optional<QString> &path : {std::optional<QString>(), std::optional<QString>(QString())}) {
        Result<void> installed = ClaudeIntegrationManager::install(path);
        QVERIFY(!installed.ok());
        QCOMPARE(installed.error().description(), QStringLiteral("Could not determine the Limitra executable path."));
    }
    QVERIFY(!QFile::exists(m_home->claudeSettings()));
}

void ClaudeIntegrationManagerTest::folderInPlaceOfClaudeSettings()
{
    // ~/.claude is a plain file: the settings cannot be written, and the backup
    // of an earlier install is not touched.
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    const QByteArray backup = readAll(backupFile());
    QVERIFY(QDir(m_home->path() + QStringLiteral("/.claude")).removeRecursively());
    m_home->writeFile(QStringLiteral(".claude"), "not a folder");

    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QVERIFY2(installed.error().description().contains(QLatin1String(".claude")),
             qPrintable(installed.error().description()));
    QCOMPARE(readAll(backupFile()), backup);
    QCOMPARE(readAll(m_home->path() + QStringLiteral("/.claude")), QByteArray("not a folder"));
}

void ClaudeIntegrationManagerTest::fileInPlaceOfApplicationFolder()
{
    const QByteArray settings = R"({"statusLine": {"type": "command", "command": "mine"}})";
    m_home->writeFile(QStringLiteral(".claude/settings.json"), settings);
    m_home->writeFile(QStringLiteral(".local/share/Limitra"), "a file");
    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QVERIFY2(installed.error().description().contains(QLatin1String("Limitra")),
             qPrintable(installed.error().description()));
    QCOMPARE(readAll(m_home->claudeSettings()), settings);
}

void ClaudeIntegrationManagerTest::bridgeCommandRunsThroughShell()
{
    // An executable path that a careless quote would break in every way.
    const QString folder = m_home->path() + QStringLiteral("/it's a \"dir\" with $HOME and `date` \\ ;|&");
    QVERIFY(QDir().mkpath(folder));
    const QString executable = folder + QStringLiteral("/lim'itra $(touch pwned)");
    QVERIFY(QFile::link(QStringLiteral(LIMITRA_EXECUTABLE), executable));
    QVERIFY(ClaudeIntegrationManager::install(executable).ok());

    const QString command = readJson(m_home->claudeSettings())
                                .value(QStringLiteral("statusLine"))
                                .toObject()
                                .value(QStringLiteral("command"))
                                .toString();
    const QByteArray payload = R"({"model":{"display_name":"Opus 4.1"},"rate_limits":{
        "five_hour":{"used_percentage":42,"resets_at":1767225600},
        "seven_day":{"used_percentage":13,"resets_at":1767600000}}})";
    const LimitraRun run = runShell(command, payload, m_home->environment());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, QByteArray("Claude · 5h 42% · 7d 13%\n"));
    QCOMPARE(readAll(m_home->appDirectory() + QStringLiteral("/claude-statusline.json")), payload);
    QVERIFY(!QFile::exists(QStringLiteral("pwned")));
    QVERIFY(!QFile::exists(m_home->path() + QStringLiteral("/pwned")));
}

QTEST_GUILESS_MAIN(ClaudeIntegrationManagerTest)
#include "tst_ClaudeIntegrationManager.moc"
