// The command-line self-checks, run as a user would run them.
#include "tests/support/FakeTools.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QtTest>

class DiagnosticsTest : public QObject
{
    Q_OBJECT

private:
    // An environment whose PATH holds only `folder` and the basic tools.
    static QProcessEnvironment withPath(const TestHome &home, const QString &folder)
    {
        QProcessEnvironment environment = home.environment();
        environment.insert(QStringLiteral("PATH"), folder + QStringLiteral(":/usr/bin:/bin"));
        return environment;
    }

private Q_SLOTS:
    void checkCodexWithLocatedExecutable();
    void checkCodexWithoutExecutable();
    void checkCodexReportsFailure();
    void checkCodexPath();
    void checkCodexPathFailures_data();
    void checkCodexPathFailures();
    void checkClaudeNeedsTheBridgeFirst();
    void checkClaudeWithoutExecutable();
    void checkClaude_data();
    void checkClaude();
};

void DiagnosticsTest::checkCodexWithLocatedExecutable()
{
    TestHome home;
    FakeTools fakes;
    const QString codex = fakes.codex(QStringLiteral("standard"));
    const LimitraRun run = runLimitra({QStringLiteral("--check-codex"), QStringLiteral("--check-claude")}, {},
                                      withPath(home, QFileInfo(codex).absolutePath()));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, QByteArray("Codex collector OK (2 usage windows).\n"));
    QVERIFY(run.errors.isEmpty());
}

void DiagnosticsTest::checkCodexWithoutExecutable()
{
    TestHome home;
    const LimitraRun run = runLimitra({QStringLiteral("--check-codex")}, {}, withPath(home, home.path()));
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.errors, QByteArray("Codex executable not found.\n"));
    QVERIFY(run.output.isEmpty());
}

void DiagnosticsTest::checkCodexReportsFailure()
{
    TestHome home;
    FakeTools fakes;
    const QString codex = fakes.codex(QStringLiteral("usage-error"));
    const LimitraRun run =
        runLimitra({QStringLiteral("--check-codex")}, {}, withPath(home, QFileInfo(codex).absolutePath()));
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.errors,
             QByteArray("Codex collector failed: Codex usage failed: codex account authentication required\n"));
}

void DiagnosticsTest::checkCodexPath()
{
    TestHome home;
    FakeTools fakes;
    const QString plus = fakes.codex(QStringLiteral("standard"),
                                     R"({"rateLimits": {"planType": "plus", "secondary": null,
                                         "primary": {"usedPercent": 71, "windowDurationMins": 10080}}})");
    const LimitraRun run =
        runLimitra({QStringLiteral("--check-codex-path=") + plus, QStringLiteral("--check-codex-path=/b")}, {},
                   home.environment());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, QByteArray("Codex adapter OK (1 usage windows).\n"));

    // Zero windows is still a success.
    const QString none = fakes.codex(QStringLiteral("standard"), R"({"rateLimits": {"primary": null}})");
    const LimitraRun empty = runLimitra({QStringLiteral("--check-codex-path=") + none}, {}, home.environment());
    QCOMPARE(empty.exitCode, 0);
    QCOMPARE(empty.output, QByteArray("Codex adapter OK (0 usage windows).\n"));
}

void DiagnosticsTest::checkCodexPathFailures_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("empty path") << QString()
                                << QByteArray(
                                       "Codex adapter failed: Could not launch Codex: No such file or directory\n");
    QTest::newRow("missing file") << QStringLiteral(
        "./no-codex-here") << QByteArray("Codex adapter failed: Could not launch Codex: No such file or directory\n");
    QTest::newRow("tilde is not expanded")
        << QStringLiteral("~/codex")
        << QByteArray("Codex adapter failed: Could not launch Codex: No such file or directory\n");
}

void DiagnosticsTest::checkCodexPathFailures()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, error);
    TestHome home;
    const LimitraRun run = runLimitra({QStringLiteral("--check-codex-path=") + path}, {}, home.environment());
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.errors, error);
    QVERIFY(run.output.isEmpty());
}

namespace {

void installBridge(const TestHome &home)
{
    home.writeFile(QStringLiteral(".claude/settings.json"),
                   R"({"statusLine": {"type": "command", "command": "'/opt/limitra' --claude-statusline"}})");
}

} // namespace

void DiagnosticsTest::checkClaudeNeedsTheBridgeFirst()
{
    TestHome home;
    FakeTools fakes;
    fakes.activate();
    const QString claude = fakes.claude(QStringLiteral("screen"));
    const LimitraRun run =
        runLimitra({QStringLiteral("--check-claude")}, {}, withPath(home, QFileInfo(claude).absolutePath()));
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.errors, QByteArray("Claude bridge is not installed.\n"));
    QVERIFY(fakes.claudeLog().isEmpty()); // not even looked for
}

void DiagnosticsTest::checkClaudeWithoutExecutable()
{
    TestHome home;
    installBridge(home);
    const LimitraRun run = runLimitra({QStringLiteral("--check-claude")}, {}, withPath(home, home.path()));
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.errors, QByteArray("Claude executable not found.\n"));
}

void DiagnosticsTest::checkClaude_data()
{
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::newRow("usage drawn") << "screen" << 0 << QByteArray("Claude collector OK (3 usage windows).\n")
                                 << QByteArray();
    QTest::newRow("signed out") << "signed-out" << 1 << QByteArray()
                                << QByteArray("Claude collector failed: Claude Code is not signed in. "
                                              "Run `claude auth login` and try again.\n");
}

void DiagnosticsTest::checkClaude()
{
    QFETCH(QString, scenario);
    QFETCH(int, status);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    TestHome home;
    installBridge(home);
    FakeTools fakes;
    fakes.activate();
    const QString claude = fakes.claude(scenario);
    const LimitraRun run =
        runLimitra({QStringLiteral("--check-claude")}, {}, withPath(home, QFileInfo(claude).absolutePath()));
    QCOMPARE(run.exitCode, status);
    QCOMPARE(run.output, output);
    QCOMPARE(run.errors, errors);
    QCOMPARE(fakes.livingProcesses(), QList<pid_t>());
}

QTEST_GUILESS_MAIN(DiagnosticsTest)
#include "tst_Diagnostics.moc"
