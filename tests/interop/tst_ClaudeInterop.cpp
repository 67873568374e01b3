// Limitra's /usage probe against the real Claude Code CLI (installed by
// scripts/install-interop-clis). This machine cannot reach Claude's service,
// so the usage screen never appears: the diagnostic must report that, in
// time, and leave no claude process behind.
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QtTest>

class ClaudeInteropTest : public QObject
{
    Q_OBJECT

private:
    QString m_claude;

    QStringList claudeProcesses() const
    {
        const QByteArray installation =
            QFile::encodeName(QFileInfo(m_claude).absoluteDir().canonicalPath() + QStringLiteral("/.."));
        const QByteArray target = QFile::encodeName(QFileInfo(m_claude).canonicalFilePath());
        QStringList found;
        for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
            bool numeric = false;
            entry.toInt(&numeric);
            if (!numeric)
                continue;
            const QByteArray executable =
                QFile::encodeName(QFileInfo(QStringLiteral("/proc/%1/exe").arg(entry)).symLinkTarget());
            const QByteArray stat = readAll(QStringLiteral("/proc/%1/stat").arg(entry));
            if ((executable == target || readAll(QStringLiteral("/proc/%1/cmdline").arg(entry)).contains(installation))
                && !stat.contains(") Z "))
                found.append(entry);
        }
        return found;
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
    QTRY_COMPARE_WITH_TIMEOUT(claudeProcesses(), QStringList(), 3000);
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
