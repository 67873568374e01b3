// Installing and removing the status-line bridge in real files of a
// throw-away home.
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

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

QJsonObject command(const QString &line)
{
    return QJsonObject{{QStringLiteral("type"), QStringLiteral("command")}, {QStringLiteral("command"), line}};
}

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

// Whether `changed` differs from `original` and `restored` equals it, read by
// Python's parser, which keeps integers of any size exactly, so a number that
// Qt would round cannot hide a change.
bool onlyChangedBetween(const QString &original, const QString &changed, const QString &restored)
{
    QProcess python;
    python.start(QStringLiteral("python3"), {QStringLiteral("-c"),
                                             QStringLiteral("import json,sys\n"
                                                            "def load(p): return json.load(open(p,encoding='utf-8'),"
                                                            "parse_int=str,parse_float=str)\n"
                                                            "o,c,r=(load(p) for p in sys.argv[1:])\n"
                                                            "sys.exit(0 if o!=c and o==r else 1)"),
                                             original, changed, restored});
    return python.waitForFinished(30000) && python.exitStatus() == QProcess::NormalExit && python.exitCode() == 0;
}

} // namespace

class ClaudeIntegrationManagerTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    QString backupFile() const { return m_home->appDirectory() + QStringLiteral("/claude-statusline-backup.json"); }
    QJsonValue statusLine() const { return readJson(m_home->claudeSettings()).value(QStringLiteral("statusLine")); }

private Q_SLOTS:
    void init();
    void cleanup();

    void roundTrips_data();
    void roundTrips();
    void removals_data();
    void removals();
    void otherBridges();
    void bridgeExecutable_data();
    void bridgeExecutable();
    void refusals_data();
    void refusals();
    void everyOtherMemberSurvives();
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

void ClaudeIntegrationManagerTest::roundTrips_data()
{
    QTest::addColumn<QByteArray>("settings"); // empty: no ~/.claude at all
    QTest::addColumn<QByteArray>("backup");
    const QJsonObject user = command(QStringLiteral("~/bin/line.sh"));
    QTest::newRow("no Claude folder") << QByteArray()
                                      << QByteArray("{\n    \"hadStatusLine\": false,\n"
                                                    "    \"statusLine\": null\n}\n");
    QTest::newRow("the user's command")
        << json({{QStringLiteral("statusLine"), user}, {QStringLiteral("model"), QStringLiteral("opus")}})
        << json({{QStringLiteral("hadStatusLine"), true}, {QStringLiteral("statusLine"), user}});
    QTest::newRow("a status line that is a string")
        << QByteArray(R"({"statusLine": "echo plain"})")
        << QByteArray(R"({"hadStatusLine":true,"statusLine":"echo plain"})");
}

void ClaudeIntegrationManagerTest::roundTrips()
{
    QFETCH(QByteArray, settings);
    QFETCH(QByteArray, backup);
    if (!settings.isEmpty()) {
        const QString path = m_home->writeFile(QStringLiteral(".claude/settings.json"), settings);
        QVERIFY(::chmod(QFile::encodeName(path).constData(), 0644) == 0);
    }
    QVERIFY(!ClaudeIntegrationManager::isInstalled());
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QVERIFY(ClaudeIntegrationManager::isInstalled());
    QJsonObject installed = command(QStringLiteral("'/opt/Limitra/limitra' --claude-statusline"));
    installed.insert(QStringLiteral("refreshInterval"), 60);
    QCOMPARE(statusLine(), installed);
    // Installed again from elsewhere: the first backup stays.
    QVERIFY(ClaudeIntegrationManager::install(QStringLiteral("/elsewhere/limitra")).ok());
    QCOMPARE(readJson(backupFile()), QJsonDocument::fromJson(backup).object());
    if (backup.startsWith("{\n    \"hadStatusLine\": false"))
        QCOMPARE(readAll(backupFile()), backup); // written as Qt indents it
    struct stat info = {};
    QCOMPARE(::stat(QFile::encodeName(m_home->claudeSettings()).constData(), &info), 0);
    QVERIFY(settings.isEmpty() || (info.st_mode & 0777) == 0644); // a file of the user's keeps its mode

    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QVERIFY(!ClaudeIntegrationManager::isInstalled());
    QCOMPARE(readJson(m_home->claudeSettings()), QJsonDocument::fromJson(settings).object());
    QVERIFY(QFile::exists(backupFile())); // kept until the next install
}

void ClaudeIntegrationManagerTest::removals_data()
{
    QTest::addColumn<QByteArray>("edited"); // the settings after install; empty: as installed
    QTest::addColumn<QByteArray>("backup"); // empty: removed
    QTest::addColumn<QByteArray>("left");
    const QByteArray mine = R"({"statusLine": {"type": "command", "command": "my-own-line"}, "theme": "dark"})";
    QTest::newRow("a status line the user changed since") << mine << QByteArray("{}") << mine;
    QTest::newRow("no backup") << QByteArray() << QByteArray()
                               << json({{QStringLiteral("theme"), QStringLiteral("dark")}});
    QTest::newRow("a damaged backup counts as none")
        << QByteArray() << QByteArray(R"({"hadStatusLine": "yes", "statusLine": "echo no"})")
        << json({{QStringLiteral("theme"), QStringLiteral("dark")}});
    QTest::newRow("a backup that is JSON only to a lax reader")
        << QByteArray() << QByteArray(R"({"hadStatusLine": true, "statusLine": "echo no", "n": .5})")
        << json({{QStringLiteral("theme"), QStringLiteral("dark")}});
}

void ClaudeIntegrationManagerTest::removals()
{
    QFETCH(QByteArray, edited);
    QFETCH(QByteArray, backup);
    QFETCH(QByteArray, left);
    m_home->writeFile(QStringLiteral(".claude/settings.json"),
                      R"({"statusLine": {"type": "command", "command": "~/bin/line.sh"}, "theme": "dark"})");
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    if (!edited.isEmpty())
        m_home->writeFile(QStringLiteral(".claude/settings.json"), edited);
    if (backup.isEmpty())
        QVERIFY(QFile::remove(backupFile()));
    else
        m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-statusline-backup.json"), backup);
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(readJson(m_home->claudeSettings()), QJsonDocument::fromJson(left).object());
}

void ClaudeIntegrationManagerTest::otherBridges()
{
    // Another copy's working bridge is left alone.
    const QString other = m_home->writeFile(QStringLiteral("other copy/limitra"), "#!/bin/sh\n");
    const QByteArray settings =
        json({{QStringLiteral("statusLine"), command(ClaudeIntegrationManager::bridgeCommand(other))}});
    m_home->writeFile(QStringLiteral(".claude/settings.json"), settings);
    QVERIFY(ClaudeIntegrationManager::isInstalled());
    QVERIFY(!ClaudeIntegrationManager::isBroken());
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    QCOMPARE(readAll(m_home->claudeSettings()), settings);
    QVERIFY(!QFile::exists(backupFile()));

    // One from a build tree that is gone since fails the status line until
    // the installed copy takes it over, keeping the first backup.
    const QJsonObject user = command(QStringLiteral("~/bin/line.sh"));
    m_home->writeFile(QStringLiteral(".claude/settings.json"), json({{QStringLiteral("statusLine"), user}}));
    QVERIFY(ClaudeIntegrationManager::install(m_home->path() + "/deleted build/bin/limitra").ok());
    QVERIFY(ClaudeIntegrationManager::isBroken());
    QVERIFY(ClaudeIntegrationManager::install(other).ok());
    QVERIFY(!ClaudeIntegrationManager::isBroken());
    QCOMPARE(statusLine().toObject().value(QStringLiteral("command")), ClaudeIntegrationManager::bridgeCommand(other));
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QCOMPARE(statusLine(), user);
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

void ClaudeIntegrationManagerTest::refusals_data()
{
    QTest::addColumn<QByteArray>("settings");
    QTest::addColumn<QString>("inTheWay"); // a file standing where this folder belongs
    QTest::addColumn<QString>("error");    // the start of the message
    const QString notJson = QStringLiteral("~/.claude/settings.json is not valid JSON");
    QTest::newRow("not an object") << QByteArray("[]") << ""
                                   << "The provider returned an unsupported response: "
                                      "~/.claude/settings.json is not a JSON object";
    QTest::newRow("cut short") << QByteArray(R"({"statusLine": {"type": "command",)") << "" << notJson;
    // Qt's reader accepts each of these and would write back something else.
    QTest::newRow("number with a leading dot") << QByteArray(R"({"statusLine": {"padding": .5e1}})") << "" << notJson;
    QTest::newRow("number as a key") << QByteArray(R"({"env": {1.5: "x"}})") << "" << notJson;
    QTest::newRow("unknown escape") << QByteArray(R"({"env": {"PATH": "C:\xtools"}})") << "" << notJson;
    QTest::newRow("raw control character") << QByteArray("{\"env\": {\"A\": \"a\tb\"}}") << "" << notJson;
    QTest::newRow("byte-order mark") << QByteArray("\xEF\xBB\xBF{}") << "" << notJson;
    QTest::newRow("a file in place of the application folder") << QByteArray("{}") << ".local/share/Limitra"
                                                               << "Could not create the folder";
}

void ClaudeIntegrationManagerTest::refusals()
{
    QFETCH(QByteArray, settings);
    QFETCH(QString, inTheWay);
    QFETCH(QString, error);
    m_home->writeFile(QStringLiteral(".claude/settings.json"), settings);
    if (!inTheWay.isEmpty())
        m_home->writeFile(inTheWay, "a file");
    Result<void> installed = ClaudeIntegrationManager::install(kExecutable);
    QVERIFY(!installed.ok());
    QVERIFY2(installed.error().description().startsWith(error), qPrintable(installed.error().description()));
    QCOMPARE(readAll(m_home->claudeSettings()), settings);
    QVERIFY(!QFile::exists(backupFile()));
    QCOMPARE(QDir(m_home->path() + QStringLiteral("/.claude")).entryList(QDir::Files | QDir::Hidden).size(), 1);
    if (inTheWay.isEmpty()) {
        Result<void> removed = ClaudeIntegrationManager::uninstall();
        QVERIFY(!removed.ok());
        QCOMPARE(removed.error().description(), installed.error().description());
    }
    for (const std::optional<QString> &path : {std::optional<QString>(), std::optional<QString>(QString())})
        QCOMPARE(ClaudeIntegrationManager::install(path).error().description(),
                 QStringLiteral("Could not determine the Limitra executable path."));
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
  "big": 9007199254740993,
  "biggest": 9223372036854775807,
  "smallest": -9223372036854775808,
  "beyond64bits": 18446744073709551616,
  "huge": 123456789012345678901234567890,
  "overflowsDouble": 1e400,
  "exact": 0.10000000000000000555,
  "tiny": 5e-324,
  "flags": [true, false, null, {}, [], [[1, 2], {"a": {"b": {"c": null}}}]],
  "negativeZero": -0,
  "\uFEFFstatusLine": "not ours: a different key",
  "loneSurrogate": "\ud800"
})json";
    const QString settings = m_home->writeFile(QStringLiteral(".claude/settings.json"), original);
    const QString copy = m_home->writeFile(QStringLiteral("original.json"), original);
    QVERIFY(ClaudeIntegrationManager::install(kExecutable).ok());
    // The comparison does see the installed bridge.
    const QString installed = m_home->writeFile(QStringLiteral("installed.json"), readAll(settings));
    QVERIFY(ClaudeIntegrationManager::uninstall().ok());
    QVERIFY2(onlyChangedBetween(copy, installed, settings), readAll(settings).constData());
}

void ClaudeIntegrationManagerTest::bridgeCommandRunsThroughShell()
{
    // An executable path that a careless quote would break in every way.
    const QString folder = m_home->path() + QStringLiteral("/it's a \"dir\" with $HOME and `date` \\ ;|&");
    QVERIFY(QDir().mkpath(folder));
    const QString executable = folder + QStringLiteral("/lim'itra $(touch pwned)");
    QVERIFY(QFile::link(QStringLiteral(LIMITRA_EXECUTABLE), executable));
    QVERIFY(ClaudeIntegrationManager::install(executable).ok());

    const QByteArray payload =
        R"({"rate_limits":{"five_hour":{"used_percentage":42},"seven_day":{"used_percentage":13}}})";
    const QString line = statusLine().toObject().value(QStringLiteral("command")).toString();
    const LimitraRun run = runShell(line, payload, m_home->environment());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, QByteArray("Claude · 5h 42% · 7d 13%\n"));
    QCOMPARE(readAll(m_home->appDirectory() + QStringLiteral("/claude-statusline.json")), payload);
    QVERIFY(!QFile::exists(QStringLiteral("pwned")));
    QVERIFY(!QFile::exists(m_home->path() + QStringLiteral("/pwned")));
}

QTEST_GUILESS_MAIN(ClaudeIntegrationManagerTest)
#include "tst_ClaudeIntegrationManager.moc"
