// Which mode the arguments select, and what the executable does without one.
#include "app/CommandLine.h"
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
    void graphicalStartsNeedARunningSession_data();
    void graphicalStartsNeedARunningSession();
};

void CommandLineTest::modes_data()
{
    using Kind = CommandLineMode::Kind;
    QTest::addColumn<QList<QByteArray>>("arguments");
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QByteArray>("path");

    QTest::newRow("nothing") << QList<QByteArray>{"limitra"} << Kind::graphical << QByteArray();
    QTest::newRow("status line anywhere")
        << QList<QByteArray>{"limitra", "x", "--claude-statusline"} << Kind::statusLine << QByteArray();
    QTest::newRow("status line beats diagnostics")
        << QList<QByteArray>{"limitra", "--check-codex", "--check-claude", "--claude-statusline"} << Kind::statusLine
        << QByteArray();
    QTest::newRow("codex beats claude") << QList<QByteArray>{"limitra", "--check-claude", "--check-codex"}
                                        << Kind::checkCodex << QByteArray();
    QTest::newRow("codex beats codex path")
        << QList<QByteArray>{"limitra", "--check-codex-path=/a", "--check-codex"} << Kind::checkCodex << QByteArray();
    QTest::newRow("first path wins") << QList<QByteArray>{"limitra", "--check-codex-path=/a", "--check-codex-path=/b"}
                                     << Kind::checkCodexPath << QByteArray("/a");
    QTest::newRow("empty path") << QList<QByteArray>{"limitra", "--check-codex-path="} << Kind::checkCodexPath
                                << QByteArray("");
    QTest::newRow("path kept as written") << QList<QByteArray>{"limitra", "--check-codex-path= ~/bin/codex"}
                                          << Kind::checkCodexPath << QByteArray(" ~/bin/codex");
    QTest::newRow("claude") << QList<QByteArray>{"limitra", "--check-claude"} << Kind::checkClaude << QByteArray();
    QTest::newRow("toggle panel") << QList<QByteArray>{"limitra", "--toggle-panel"} << Kind::togglePanel
                                  << QByteArray();
    QTest::newRow("help") << QList<QByteArray>{"limitra", "--help"} << Kind::help << QByteArray();
    QTest::newRow("version") << QList<QByteArray>{"limitra", "--version"} << Kind::version << QByteArray();
    QTest::newRow("diagnostics before help")
        << QList<QByteArray>{"limitra", "--help", "--check-claude"} << Kind::checkClaude << QByteArray();
    QTest::newRow("help before version") << QList<QByteArray>{"limitra", "--version", "--help"} << Kind::help
                                         << QByteArray();
    QTest::newRow("version before toggle")
        << QList<QByteArray>{"limitra", "--toggle-panel", "--version"} << Kind::version << QByteArray();
    QTest::newRow("diagnostics before toggle")
        << QList<QByteArray>{"limitra", "--toggle-panel", "--check-claude"} << Kind::checkClaude << QByteArray();
    QTest::newRow("letter case differs") << QList<QByteArray>{"limitra", "--Check-Claude", "--CLAUDE-STATUSLINE"}
                                         << Kind::graphical << QByteArray();
    QTest::newRow("single dash") << QList<QByteArray>{"limitra", "-check-codex", "-claude-statusline"}
                                 << Kind::graphical << QByteArray();
    QTest::newRow("switch with a suffix")
        << QList<QByteArray>{"limitra", "--check-codex2"} << Kind::graphical << QByteArray();
}

void CommandLineTest::modes()
{
    QFETCH(QList<QByteArray>, arguments);
    QFETCH(CommandLineMode::Kind, kind);
    QFETCH(QByteArray, path);
    std::vector<const char *> argv;
    for (const QByteArray &argument : arguments)
        argv.push_back(argument.constData());
    const CommandLineMode mode = chooseCommandLineMode(argv);
    QCOMPARE(mode.kind, kind);
    QCOMPARE(mode.path, path);
}

void CommandLineTest::graphicalStartsNeedARunningSession_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("errors");
    QTest::newRow("no display") << QStringLiteral("--unknown") << 2
                                << QByteArray(
                                       "Limitra: no graphical display (neither DISPLAY nor WAYLAND_DISPLAY is set); "
                                       "the command-line modes work without one.\n");
    QTest::newRow("toggle without an instance")
        << QStringLiteral("--toggle-panel") << 1 << QByteArray("Limitra is not running.\n");
}

void CommandLineTest::graphicalStartsNeedARunningSession()
{
    QFETCH(QString, argument);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, errors);
    TestHome home;
    QProcessEnvironment environment = home.environment();
    for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        environment.remove(QString::fromLatin1(name));
    // No session bus: nobody can own the instance's name.
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
    const LimitraRun run = runLimitra({argument}, {}, environment);
    QCOMPARE(run.exitCode, exitCode);
    QCOMPARE(run.errors, errors);
    QVERIFY(run.output.isEmpty());
}

QTEST_GUILESS_MAIN(CommandLineTest)
#include "tst_CommandLine.moc"
