// Limitra against the real Codex CLI (installed by scripts/install-interop-clis),
// with a home that has no Codex account: the handshake completes and the
// server's refusal to read rate limits is reported.
#include "tests/support/FakeTools.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QtTest>

namespace {

// Processes still running from the Codex installation at `folder`.
QList<pid_t> codexProcesses(const QString &folder)
{
    const QByteArray installation = QFile::encodeName(folder);
    return runningProcessesWhere(
        [&installation](pid_t, const QByteArray &commandLine) { return commandLine.contains(installation); });
}

} // namespace

class CodexInteropTest : public QObject
{
    Q_OBJECT

private:
    QString m_codex;
    QString m_installation;

private Q_SLOTS:
    void initTestCase();
    void reportsTheRefusal_data();
    void reportsTheRefusal();
};

void CodexInteropTest::initTestCase()
{
    m_codex = qEnvironmentVariable("LIMITRA_INTEROP_CODEX");
    QVERIFY2(QFileInfo(m_codex).isExecutable(), "run through `make interop`, which installs the real CLI");
    // node_modules/.bin/codex -> the package folder holds the wrapper and the native server.
    m_installation = QFileInfo(m_codex).absoluteDir().absoluteFilePath(QStringLiteral(".."));
    m_installation = QDir(m_installation).canonicalPath();
}

void CodexInteropTest::reportsTheRefusal_data()
{
    QTest::addColumn<bool>("located");
    QTest::newRow("the path given") << false;
    QTest::newRow("found in PATH") << true;
}

void CodexInteropTest::reportsTheRefusal()
{
    QFETCH(bool, located);
    TestHome home;
    QProcessEnvironment environment = home.environment();
    environment.insert(QStringLiteral("PATH"), QFileInfo(m_codex).absolutePath() + QStringLiteral(":/usr/bin:/bin"));
    const QString check = located ? QStringLiteral("--check-codex") : QStringLiteral("--check-codex-path=") + m_codex;
    const LimitraRun run = runLimitra({check}, {}, environment, 60000);
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.output.isEmpty());
    const QByteArray prefix =
        located ? "Codex collector failed: Codex usage failed: " : "Codex adapter failed: Codex usage failed: ";
    QVERIFY2(run.errors.startsWith(prefix) && run.errors.endsWith("\n") && run.errors.contains("authentication"),
             run.errors.constData());
    QTRY_COMPARE_WITH_TIMEOUT(codexProcesses(m_installation), QList<pid_t>(), 3000);
}

QTEST_GUILESS_MAIN(CodexInteropTest)
#include "tst_CodexInterop.moc"
