// The Codex collector: candidates tried in turn, off the calling thread.
#include "collectors/codex/CodexCollector.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QtTest>

class CodexCollectorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstWorkingCandidateAnswers();
    void everyFailureIsReported();
    void collectRunsOffTheCallingThread();
    void noExecutableAnywhere();
};

void CodexCollectorTest::firstWorkingCandidateAnswers()
{
    FakeTools fakes;
    fakes.activate();
    const QString refusing = fakes.codex(QStringLiteral("usage-error"));
    const QString working = fakes.codex(QStringLiteral("standard"));
    const QString unused = fakes.codex(QStringLiteral("never-answer"));
    Result<ProviderSnapshot> snapshot = CodexCollector::collectFrom(
        {QStringLiteral("/missing/codex"), refusing, working, unused}, CodexCollector::kSessionTimeout);
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->windows.size(), 2);
    // Three sessions ran: the missing one never started, the last one was not tried.
    QCOMPARE(fakes.receivedLines().size(), 3 + 3);
}

void CodexCollectorTest::everyFailureIsReported()
{
    FakeTools fakes;
    fakes.activate();
    const QString refusing = fakes.codex(QStringLiteral("usage-error"));
    const QString silent = fakes.codex(QStringLiteral("never-answer"));
    // The limit is for the silent one; the refusing one (a Python program)
    // must answer within it even on a loaded machine.
    Result<ProviderSnapshot> snapshot =
        CodexCollector::collectFrom({QStringLiteral("/missing/codex"), refusing, silent}, 5);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(),
             QStringLiteral("OpenAI account usage could not be read through any installed Codex adapter. "
                            "/missing/codex: Could not launch Codex: No such file or directory | "
                            "%1: Codex usage failed: codex account authentication required | "
                            "%2: Timed out while initializing the Codex app server.")
                 .arg(refusing, silent));
    QTRY_COMPARE_WITH_TIMEOUT(fakes.livingProcesses(), QList<pid_t>(), 3000);
}

void CodexCollectorTest::collectRunsOffTheCallingThread()
{
    TestHome home;
    home.activate();
    FakeTools fakes;
    fakes.activate();
    const QString slow = fakes.codex(QStringLiteral("slow"));
    CodexCollector collector(slow);
    QCOMPARE(collector.provider(), UsageProvider::codex);
    QElapsedTimer timer;
    timer.start();
    QFuture<Result<ProviderSnapshot>> future = collector.collect();
    QVERIFY(timer.elapsed() < 500); // the 12-second session runs elsewhere
    QVERIFY(!future.isFinished());
    QTRY_VERIFY_WITH_TIMEOUT(future.isFinished(), 30000);
    QVERIFY_OK(future.result());
}

void CodexCollectorTest::noExecutableAnywhere()
{
    TestHome home;
    home.activate();
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(home.path()));
    CodexCollector collector(std::nullopt);
    QFuture<Result<ProviderSnapshot>> future = collector.collect();
    qputenv("PATH", path);
    QVERIFY(future.isFinished());
    QVERIFY(!future.result().ok());
    QCOMPARE(future.result().error().description(),
             QStringLiteral("Could not find the Codex executable. Set its path in Settings."));
}

QTEST_GUILESS_MAIN(CodexCollectorTest)
#include "tst_CodexCollector.moc"
