// The /usage probe against a fake `claude` in a real pseudo-terminal.
#include "collectors/claude/ClaudeUsageProbe.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QtTest>

namespace {

const QString kNotRecognised = QStringLiteral(
    "The provider returned an unsupported response: Claude /usage did not contain recognizable plan limits");

} // namespace

class ClaudeUsageProbeTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<FakeTools> m_fakes;
    QElapsedTimer m_clock;

    // Every key typed at the fake, in order.
    QByteArray typed() const
    {
        QByteArray keys;
        for (const QJsonObject &entry : m_fakes->claudeLog()) {
            if (entry.contains(QStringLiteral("typed")))
                keys += entry.value(QStringLiteral("typed")).toString().toLatin1();
        }
        return keys;
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void screenCompleteAfterADelay();
    void childStartsAsClaudeCodeExpects();
    void trustQuestionAboutTheProbeFolder();
    void trustQuestionAboutAnotherFolder();
    void signedOut();
    void firstRunWelcome();
    void childIgnoringEveryWayToStop();
    void farMoreOutputThanKept();
    void invalidUtf8();
    void timeoutOfZero();
    void missingExecutable();
};

void ClaudeUsageProbeTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
    m_fakes = std::make_unique<FakeTools>();
    m_fakes->activate();
    m_clock.start();
}

void ClaudeUsageProbeTest::cleanup()
{
    QCOMPARE(m_fakes->livingProcesses(), QList<pid_t>());
    m_fakes.reset();
    m_home.reset();
}

void ClaudeUsageProbeTest::screenCompleteAfterADelay()
{
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("screen"), 1.5), 20);
    QVERIFY_OK(snapshot);
    QVERIFY2(m_clock.elapsed() >= 1500 && m_clock.elapsed() < 6000, qPrintable(QString::number(m_clock.elapsed())));
    QCOMPARE(snapshot->windows.size(), 3);
    QCOMPARE(snapshot->state, CollectorState::fallback);
    QCOMPARE(snapshot->planName, QStringLiteral("Max"));
    // It left the way a user leaves the screen.
    QTRY_COMPARE(typed(), QByteArray("\x1b\x03\x03"));
}

void ClaudeUsageProbeTest::childStartsAsClaudeCodeExpects()
{
    qputenv("ANTHROPIC_API_KEY", "sk-secret");
    qputenv("ANTHROPIC_AUTH_TOKEN", "token");
    qputenv("FAKE_CLAUDE_KEPT", "kept");
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("screen")), 20);
    qunsetenv("ANTHROPIC_API_KEY");
    qunsetenv("ANTHROPIC_AUTH_TOKEN");
    qunsetenv("FAKE_CLAUDE_KEPT");
    QVERIFY_OK(snapshot);

    const QJsonObject start = m_fakes->claudeLog().value(0);
    const QString folder = m_home->appDirectory() + QStringLiteral("/ClaudeProbe");
    QCOMPARE(
        start.value(QStringLiteral("argv")).toArray(),
        (QJsonArray{QStringLiteral("/usage"), QStringLiteral("--ax-screen-reader"), QStringLiteral("--safe-mode")}));
    QCOMPARE(start.value(QStringLiteral("cwd")).toString(), folder);
    QCOMPARE(start.value(QStringLiteral("pwd")).toString(), folder);
    QCOMPARE(start.value(QStringLiteral("apiKey")).toBool(), false);
    QCOMPARE(start.value(QStringLiteral("authToken")).toBool(), false);
    QCOMPARE(start.value(QStringLiteral("keptVariable")).toString(), QStringLiteral("kept"));
    QCOMPARE(start.value(QStringLiteral("columns")).toInt(), 160);
    QCOMPARE(start.value(QStringLiteral("rows")).toInt(), 50);
    QVERIFY(start.value(QStringLiteral("terminal")).toBool());
    QVERIFY(start.value(QStringLiteral("controllingTerminal")).toBool());
    QVERIFY(start.value(QStringLiteral("sessionLeader")).toBool());
    QVERIFY(QFileInfo(folder).isDir());
}

void ClaudeUsageProbeTest::trustQuestionAboutTheProbeFolder()
{
    Result<ProviderSnapshot> snapshot = ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("trust")), 20);
    QVERIFY_OK(snapshot);
    // Answered once, though the question stays on the screen for the whole run.
    QTRY_COMPARE(typed(), QByteArray("y\r\x1b\x03\x03"));
}

void ClaudeUsageProbeTest::trustQuestionAboutAnotherFolder()
{
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("trust-other")), 1.5);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), kNotRecognised);
    QVERIFY(!typed().contains('y'));
}

void ClaudeUsageProbeTest::signedOut()
{
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("signed-out")), 20);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(),
             QStringLiteral("Claude Code is not signed in. Run `claude auth login` and try again."));
    QVERIFY2(m_clock.elapsed() < 5000, "the loop must end when the child exits");
}

void ClaudeUsageProbeTest::firstRunWelcome()
{
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("first-run")), 3);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(),
             QStringLiteral("Claude Code is not signed in. Run `claude auth login` and try again."));
    QTRY_COMPARE(typed(), QByteArray("\x1b\x03\x03"));
}

void ClaudeUsageProbeTest::childIgnoringEveryWayToStop()
{
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("stubborn")), 5);
    const qint64 elapsed = m_clock.elapsed();
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), kNotRecognised);
    // The deadline (long enough for the fake to ignore signals before it
    // comes, even on a loaded machine), 150 ms after the keys, 1 s after
    // SIGTERM, then SIGKILL, which cannot be ignored.
    QVERIFY2(elapsed >= 5000 + 1150 && elapsed < 5000 + 1150 + 10000, qPrintable(QString::number(elapsed)));
    QCOMPARE(typed(), QByteArray("\x1b\x03\x03"));
}

void ClaudeUsageProbeTest::farMoreOutputThanKept()
{
    Result<ProviderSnapshot> snapshot = ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("flood")), 20);
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->windows.size(), 3);
}

void ClaudeUsageProbeTest::invalidUtf8()
{
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("invalid-utf8")), 20);
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->windows.first().usedPercent, 31.0);
}

void ClaudeUsageProbeTest::timeoutOfZero()
{
    // No polling: one read right after the start, which finds no screen yet.
    Result<ProviderSnapshot> snapshot = ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("screen")), 0);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), kNotRecognised);
    QVERIFY2(m_clock.elapsed() < 3000, qPrintable(QString::number(m_clock.elapsed())));
}

void ClaudeUsageProbeTest::missingExecutable()
{
    Result<ProviderSnapshot> snapshot =
        ClaudeUsageProbe::collectSnapshot(m_home->path() + QStringLiteral("/nothing"), 5);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(),
             QStringLiteral("Could not launch Claude /usage: No such file or directory"));
}

QTEST_GUILESS_MAIN(ClaudeUsageProbeTest)
#include "tst_ClaudeUsageProbe.moc"
