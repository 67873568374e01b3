// Limitra's /usage probe against the real Claude Code CLI (installed by
// scripts/install-interop-clis). This machine cannot reach Claude's service,
// so the usage screen never appears: the diagnostic must report that, in
// time, and leave no claude process behind.
#include "tests/support/FakeTools.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QtTest>

class ClaudeInteropTest : public QObject
{
    Q_OBJECT

private:
    QString m_claude;

    // Processes still running from the installation (the launcher and the
    // native program it runs both live in node_modules).
    QList<pid_t> claudeProcesses() const
    {
        const QByteArray installation =
            QFile::encodeName(QDir(QFileInfo(m_claude).absolutePath() + QStringLiteral("/..")).canonicalPath());
        const QString target = QFileInfo(m_claude).canonicalFilePath();
        return runningProcessesWhere([&](pid_t pid, const QByteArray &commandLine) {
            return commandLine.contains(installation)
                   || QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget() == target;
        });
    }

private Q_SLOTS:
    void initTestCase();
    void probeReportsNoRecognisableUsage();
    void withoutTheBridgeNothingRuns();
};

void ClaudeInteropTest::initTestCase()
{
    m_claude = qEnvironmentVariable("LIMITRA_INTEROP_CLAUDE");
    QVERIFY2(QFileInfo(m_claude).isExecutable(), "run through `make interop`, which installs the real CLI");
}

void ClaudeInteropTest::probeReportsNoRecognisableUsage()
{
    TestHome home;
    QProcessEnvironment environment = home.environment();
    environment.insert(QStringLiteral("PATH"), QFileInfo(m_claude).absolutePath() + QStringLiteral(":/usr/bin:/bin"));
    environment.insert(QStringLiteral("ANTHROPIC_API_KEY"), QStringLiteral("sk-not-a-key"));
    // The bridge, installed the way a user would: through the status line.
    home.writeFile(QStringLiteral(".claude/settings.json"),
                   "{\"statusLine\": {\"type\": \"command\", \"command\": \"'" LIMITRA_EXECUTABLE
                   "' --claude-statusline\"}}");

    const LimitraRun run = runLimitra({QStringLiteral("--check-claude")}, {}, environment, 60000);
    QVERIFY(run.finished);
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.output.isEmpty());
    const QList<QByteArray> expected{
        "Claude collector failed: The provider returned an unsupported response: "
        "Claude /usage did not contain recognizable plan limits\n",
        "Claude collector failed: Claude Code is not signed in. Run `claude auth login` and try again.\n"};
    QVERIFY2(expected.contains(run.errors), run.errors.constData());
    QVERIFY2(run.elapsedMs < 24000, qPrintable(QString::number(run.elapsedMs)));
    QTRY_COMPARE_WITH_TIMEOUT(claudeProcesses(), QList<pid_t>(), 3000);
    QVERIFY(QFileInfo(home.appDirectory() + QStringLiteral("/ClaudeProbe")).isDir());
}

void ClaudeInteropTest::withoutTheBridgeNothingRuns()
{
    TestHome home;
    QProcessEnvironment environment = home.environment();
    environment.insert(QStringLiteral("PATH"), QFileInfo(m_claude).absolutePath() + QStringLiteral(":/usr/bin:/bin"));
    const LimitraRun run = runLimitra({QStringLiteral("--check-claude")}, {}, environment, 60000);
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.errors, QByteArray("Claude bridge is not installed.\n"));
    QVERIFY(!QFileInfo::exists(home.appDirectory() + QStringLiteral("/ClaudeProbe")));
}

QTEST_GUILESS_MAIN(ClaudeInteropTest)
#include "tst_ClaudeInterop.moc"
