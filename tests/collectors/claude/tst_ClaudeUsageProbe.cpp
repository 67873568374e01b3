// The /usage probe against a fake `claude` in a real pseudo-terminal.
#include "collectors/claude/ClaudeUsageProbe.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>
#include <QtTest>

namespace {

const QString kNotRecognised = QStringLiteral(
    "The provider returned an unsupported response: Claude /usage did not contain recognizable plan limits");
const QString kSignedOut = QStringLiteral("Claude Code is not signed in. Run `claude auth login` and try again.");
// What a user leaving the screen types.
const QByteArray kLeave = "\x1b\x03\x03";

} // namespace

class ClaudeUsageProbeTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<FakeTools> m_fakes;

    // Every key typed at the fake, in order.
    QByteArray typed() const
    {
        QByteArray keys;
        for (const QJsonObject &entry : m_fakes->claudeLog())
            keys += entry.value(QStringLiteral("typed")).toString().toLatin1();
        return keys;
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void childStartsAsClaudeCodeExpects();
    void screens_data();
    void screens();
};

void ClaudeUsageProbeTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
    m_fakes = std::make_unique<FakeTools>();
    m_fakes->activate();
}

void ClaudeUsageProbeTest::cleanup()
{
    QCOMPARE(m_fakes->livingProcesses(), QList<pid_t>());
    m_fakes.reset();
    m_home.reset();
}

void ClaudeUsageProbeTest::childStartsAsClaudeCodeExpects()
{
    qputenv("ANTHROPIC_API_KEY", "sk-secret");
    qputenv("ANTHROPIC_AUTH_TOKEN", "token");
    qputenv("FAKE_CLAUDE_KEPT", "kept");
    Result<ProviderSnapshot> snapshot = ClaudeUsageProbe::collectSnapshot(m_fakes->claude(QStringLiteral("trust")), 20);
    qunsetenv("ANTHROPIC_API_KEY");
    qunsetenv("ANTHROPIC_AUTH_TOKEN");
    qunsetenv("FAKE_CLAUDE_KEPT");
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->state, CollectorState::fallback);
    QCOMPARE(snapshot->planName, QStringLiteral("Max"));

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
    // The question about its own folder stays on the screen for the whole run,
    // yet is answered once; then it left the way a user leaves the screen.
    QTRY_COMPARE(typed(), "y\r" + kLeave);
}

void ClaudeUsageProbeTest::screens_data()
{
    QTest::addColumn<QString>("scenario"); // empty: no such executable
    QTest::addColumn<double>("delay");     // before the fake draws anything
    QTest::addColumn<double>("timeout");
    QTest::addColumn<QString>("failure"); // empty: three windows read
    QTest::addColumn<QByteArray>("keys");

    QTest::newRow("far more output than kept, invalid UTF-8") << "flood" << 0.0 << 20.0 << "" << kLeave;
    // A question about another folder stays unanswered; the first-run welcome
    // says signed out; then the keys, SIGTERM and SIGKILL, which the child
    // cannot ignore.
    QTest::newRow("child ignoring every way to stop") << "stubborn" << 0.0 << 20.0 << kSignedOut << kLeave;
    // No polling: one read right after the start, before anything is drawn.
    QTest::newRow("time-out of zero") << "screen" << 1.5 << 0.0 << kNotRecognised << QByteArray();
    QTest::newRow("missing executable") << "" << 0.0 << 5.0
                                        << "Could not launch Claude /usage: No such file or directory" << QByteArray();
}

void ClaudeUsageProbeTest::screens()
{
    QFETCH(QString, scenario);
    QFETCH(double, delay);
    QFETCH(double, timeout);
    QFETCH(QString, failure);
    QFETCH(QByteArray, keys);
    const QString claude =
        scenario.isEmpty() ? m_home->path() + QStringLiteral("/nothing") : m_fakes->claude(scenario, delay);
    Result<ProviderSnapshot> snapshot = ClaudeUsageProbe::collectSnapshot(claude, timeout);
    if (failure.isEmpty()) {
        QVERIFY_OK(snapshot);
        QCOMPARE(snapshot->windows.size(), 3);
        QCOMPARE(snapshot->windows.first().usedPercent, 31.0);
    } else {
        QVERIFY(!snapshot.ok());
        QCOMPARE(snapshot.error().description(), failure);
    }
    QTRY_COMPARE(typed(), keys);
}

QTEST_GUILESS_MAIN(ClaudeUsageProbeTest)
#include "tst_ClaudeUsageProbe.moc"
