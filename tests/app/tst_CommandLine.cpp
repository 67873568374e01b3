// Which mode the arguments select, and what the executable does in each, run
// as a user would run it: without a desktop session, with fake `codex` and
// `claude` programs on the PATH.
#include "app/CommandLine.h"
#include "tests/support/FakeTools.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <vector>

Q_DECLARE_METATYPE(CommandLineMode::Kind)

class CommandLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void modes_data();
    void modes();
    void runs_data();
    void runs();
};

void CommandLineTest::modes_data()
{
    using Kind = CommandLineMode::Kind;
    QTest::addColumn<QList<QByteArray>>("arguments");
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QByteArray>("path");

    QTest::newRow("nothing") << QList<QByteArray>{} << Kind::graphical << QByteArray();
    QTest::newRow("status line anywhere")
        << QList<QByteArray>{"x", "--claude-statusline"} << Kind::statusLine << QByteArray();
    QTest::newRow("status line beats diagnostics")
        << QList<QByteArray>{"--check-codex", "--check-claude", "--claude-statusline"} << Kind::statusLine
        << QByteArray();
    QTest::newRow("codex beats claude") << QList<QByteArray>{"--check-claude", "--check-codex"} << Kind::checkCodex
                                        << QByteArray();
    QTest::newRow("codex beats codex path")
        << QList<QByteArray>{"--check-codex-path=/a", "--check-codex"} << Kind::checkCodex << QByteArray();
    QTest::newRow("first path wins") << QList<QByteArray>{"--check-codex-path=/a", "--check-codex-path=/b"}
                                     << Kind::checkCodexPath << QByteArray("/a");
    QTest::newRow("empty path") << QList<QByteArray>{"--check-codex-path="} << Kind::checkCodexPath << QByteArray("");
    QTest::newRow("path kept as written")
        << QList<QByteArray>{"--check-codex-path= ~/bin/codex"} << Kind::checkCodexPath << QByteArray(" ~/bin/codex");
    QTest::newRow("claude") << QList<QByteArray>{"--check-claude"} << Kind::checkClaude << QByteArray();
    QTest::newRow("toggle panel") << QList<QByteArray>{"--toggle-panel"} << Kind::togglePanel << QByteArray();
    QTest::newRow("help") << QList<QByteArray>{"--help"} << Kind::help << QByteArray();
    QTest::newRow("version") << QList<QByteArray>{"--version"} << Kind::version << QByteArray();
    QTest::newRow("diagnostics before help")
        << QList<QByteArray>{"--help", "--check-claude"} << Kind::checkClaude << QByteArray();
    QTest::newRow("help before version") << QList<QByteArray>{"--version", "--help"} << Kind::help << QByteArray();
    QTest::newRow("version before toggle")
        << QList<QByteArray>{"--toggle-panel", "--version"} << Kind::version << QByteArray();
    QTest::newRow("letter case differs") << QList<QByteArray>{"--Check-Claude", "--CLAUDE-STATUSLINE"}
                                         << Kind::graphical << QByteArray();
    QTest::newRow("single dash") << QList<QByteArray>{"-check-codex", "-claude-statusline"} << Kind::graphical
                                 << QByteArray();
    QTest::newRow("switch with a suffix") << QList<QByteArray>{"--check-codex2"} << Kind::graphical << QByteArray();
}

void CommandLineTest::modes()
{
    QFETCH(QList<QByteArray>, arguments);
    QFETCH(CommandLineMode::Kind, kind);
    QFETCH(QByteArray, path);
    std::vector<const char *> argv{"limitra"};
    for (const QByteArray &argument : arguments)
        argv.push_back(argument.constData());
    const CommandLineMode mode = chooseCommandLineMode(argv);
    QCOMPARE(mode.kind, kind);
    QCOMPARE(mode.path, path);
}

void CommandLineTest::runs_data()
{
    QTest::addColumn<QStringList>("arguments"); // "%codex": the fake codex's path
    QTest::addColumn<QString>("codex");         // the fake's scenario; empty: no codex
    QTest::addColumn<QByteArray>("codexResult");
    QTest::addColumn<QString>("claude");
    QTest::addColumn<bool>("bridge");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");

    const QByteArray plus = R"({"rateLimits": {"planType": "plus", "secondary": null,
                                "primary": {"usedPercent": 71, "windowDurationMins": 10080}}})";
    const QByteArray cannotLaunch = "Codex adapter failed: Could not launch Codex: No such file or directory\n";
    QTest::newRow("no display") << QStringList{"--unknown"} << "" << QByteArray() << "" << false << 2 << QByteArray()
                                << QByteArray("Limitra: no graphical display (neither DISPLAY nor WAYLAND_DISPLAY is "
                                              "set); the command-line modes work without one.\n");
    QTest::newRow("toggle without an instance") << QStringList{"--toggle-panel"} << "" << QByteArray() << "" << false
                                                << 1 << QByteArray() << QByteArray("Limitra is not running.\n");
    QTest::newRow("codex found") << QStringList{"--check-codex", "--check-claude"} << "standard" << QByteArray() << ""
                                 << false << 0 << QByteArray("Codex collector OK (2 usage windows).\n") << QByteArray();
    QTest::newRow("codex not found") << QStringList{"--check-codex"} << "" << QByteArray() << "" << false << 2
                                     << QByteArray() << QByteArray("Codex executable not found.\n");
    QTest::newRow("codex fails") << QStringList{"--check-codex"} << "usage-error" << QByteArray() << "" << false << 1
                                 << QByteArray()
                                 << QByteArray("Codex collector failed: Codex usage failed: codex account "
                                               "authentication required\n");
    QTest::newRow("codex path") << QStringList{"--check-codex-path=%codex", "--check-codex-path=/b"} << "standard"
                                << plus << "" << false << 0 << QByteArray("Codex adapter OK (1 usage windows).\n")
                                << QByteArray();
    QTest::newRow("empty codex path") << QStringList{"--check-codex-path="} << "standard" << QByteArray() << "" << false
                                      << 1 << QByteArray() << cannotLaunch;
    QTest::newRow("missing codex path") << QStringList{"--check-codex-path=./no-codex-here"} << "" << QByteArray() << ""
                                        << false << 1 << QByteArray() << cannotLaunch;
    QTest::newRow("tilde is not expanded") << QStringList{"--check-codex-path=~/codex"} << "" << QByteArray() << ""
                                           << false << 1 << QByteArray() << cannotLaunch;
    // The bridge is checked before `claude` is even looked for.
    QTest::newRow("claude without the bridge")
        << QStringList{"--check-claude"} << "" << QByteArray() << "screen" << false << 2 << QByteArray()
        << QByteArray("Claude bridge is not installed.\n");
    QTest::newRow("claude not found") << QStringList{"--check-claude"} << "" << QByteArray() << "" << true << 2
                                      << QByteArray() << QByteArray("Claude executable not found.\n");
    QTest::newRow("claude usage drawn") << QStringList{"--check-claude"} << "" << QByteArray() << "screen" << true << 0
                                        << QByteArray("Claude collector OK (3 usage windows).\n") << QByteArray();
    QTest::newRow("claude signed out") << QStringList{"--check-claude"} << "" << QByteArray() << "signed-out" << true
                                       << 1 << QByteArray()
                                       << QByteArray("Claude collector failed: Claude Code is not signed in. "
                                                     "Run `claude auth login` and try again.\n");
}

void CommandLineTest::runs()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, codex);
    QFETCH(QByteArray, codexResult);
    QFETCH(QString, claude);
    QFETCH(bool, bridge);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    TestHome home;
    FakeTools fakes;
    fakes.activate();
    const QString codexPath = codex.isEmpty() ? QString() : fakes.codex(codex, codexResult);
    const QString claudePath = claude.isEmpty() ? QString() : fakes.claude(claude);
    if (bridge) {
        home.writeFile(QStringLiteral(".claude/settings.json"),
                       R"({"statusLine": {"type": "command", "command": "'/opt/limitra' --claude-statusline"}})");
    }
    QProcessEnvironment environment = home.environment();
    QString path = QStringLiteral("/usr/bin:/bin");
    for (const QString &fake : {codexPath, claudePath}) {
        if (!fake.isEmpty())
            path.prepend(QFileInfo(fake).absolutePath() + QLatin1Char(':'));
    }
    environment.insert(QStringLiteral("PATH"), path);
    for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        environment.remove(QString::fromLatin1(name));
    // No session bus: nobody can own the instance's name.
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
    arguments.replaceInStrings(QStringLiteral("%codex"), codexPath);

    const LimitraRun run = runLimitra(arguments, {}, environment);
    QCOMPARE(run.exitCode, exitCode);
    QCOMPARE(run.output, output);
    QCOMPARE(run.errors, errors);
    QCOMPARE(fakes.livingProcesses(), QList<pid_t>());
    if (!bridge)
        QVERIFY(fakes.claudeLog().isEmpty());
}

QTEST_GUILESS_MAIN(CommandLineTest)
#include "tst_CommandLine.moc"
