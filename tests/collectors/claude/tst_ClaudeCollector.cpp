// Which source of Claude usage the collector picks, with real files, fake
// executables and a clock of the test's own.
#include "collectors/claude/ClaudeCollector.h"
#include "model/SnapshotJson.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/SnapshotSamples.h"
#include "tests/support/TestHome.h"

#include <QtTest>

namespace {

const QDateTime kNow = SnapshotSamples::wholeSecond();
const QByteArray kPayload = R"({"model":{"display_name":"Opus 4.1"},
    "rate_limits":{"five_hour":{"used_percentage":42},"seven_day":{"used_percentage":13}}})";
const QString kNotFound =
    QStringLiteral("Claude Code was not found. Install it or set its executable path in Settings.");
const QString kNoRefresh = QStringLiteral("Claude fallback could not refresh: ");

// A fallback the last probe saved `age` seconds before kNow.
QByteArray fallback(qint64 age)
{
    ProviderSnapshot saved = SnapshotSamples::connected(UsageProvider::claude, kNow.addSecs(-age),
                                                        {SnapshotSamples::fiveHour(UsageProvider::claude, 77)});
    saved.source = UsageSource::claudeUsageCommand;
    saved.state = CollectorState::fallback;
    saved.message = QStringLiteral("saved earlier");
    return encodeFallbackSnapshot(saved);
}

} // namespace

class ClaudeCollectorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<FakeTools> m_fakes;

    // A collector whose search finds only what the home holds.
    ClaudeCollector collector(const std::optional<QString> &executable) const
    {
        return ClaudeCollector({.payloadPath = m_home->appDirectory() + QStringLiteral("/claude-statusline.json"),
                                .executableOverride = executable,
                                .liveInterval = 300,
                                .searchPlaces = {.path = QString(), .home = m_home->path(), .fixed = {}},
                                .clock = [] { return kNow; }});
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void sourceChoice_data();
    void sourceChoice();
    void probeResultIsReusedAndRunsOffTheCallingThread();
};

void ClaudeCollectorTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
    m_fakes = std::make_unique<FakeTools>();
    m_fakes->activate();
}

void ClaudeCollectorTest::cleanup()
{
    QCOMPARE(m_fakes->livingProcesses(), QList<pid_t>());
    m_fakes.reset();
    m_home.reset();
}

void ClaudeCollectorTest::sourceChoice_data()
{
    QTest::addColumn<QByteArray>("payload"); // empty: none recorded
    QTest::addColumn<qint64>("payloadAge");
    QTest::addColumn<QByteArray>("saved"); // the fallback file; empty: none; "/": a folder in its place
    QTest::addColumn<QString>("claude");   // the fake's scenario; empty: no `claude` anywhere
    QTest::addColumn<UsageSource>("source");
    QTest::addColumn<CollectorState>("state");
    QTest::addColumn<QString>("message"); // empty: none
    QTest::addColumn<double>("used");     // of the first window; -1: no windows

    const UsageSource line = UsageSource::claudeStatusLine;
    const UsageSource probe = UsageSource::claudeUsageCommand;
    QTest::newRow("recent payload wins") << kPayload << qint64(60) << fallback(600) << "screen" << line
                                         << CollectorState::connected << "" << 42.0;
    QTest::newRow("payload at the limit")
        << kPayload << qint64(300) << QByteArray() << "screen" << line << CollectorState::connected << "" << 42.0;
    QTest::newRow("old payload, no claude")
        << kPayload << qint64(301) << QByteArray() << "" << line << CollectorState::stale << kNotFound << 42.0;
    QTest::newRow("equal times prefer the payload")
        << kPayload << qint64(400) << fallback(400) << "" << line << CollectorState::stale << kNotFound << 42.0;
    QTest::newRow("recent fallback beats an empty payload")
        << QByteArray(R"({"rate_limits":{}})") << qint64(30) << fallback(100) << "screen" << probe
        << CollectorState::fallback << "saved earlier" << 77.0;
    QTest::newRow("nothing at all") << QByteArray() << qint64(0) << QByteArray() << "" << probe
                                    << CollectorState::unavailable << kNotFound << -1.0;
    QTest::newRow("probe fails, the old fallback stays")
        << QByteArray() << qint64(0) << fallback(3600) << "signed-out" << probe << CollectorState::stale
        << kNoRefresh + "Claude Code is not signed in. Run `claude auth login` and try again." << 77.0;
    QTest::newRow("probe result cannot be saved")
        << kPayload << qint64(3600) << QByteArray("/") << "screen" << line << CollectorState::stale
        << kNoRefresh + "Could not write %1: Is a directory" << 42.0;
}

void ClaudeCollectorTest::sourceChoice()
{
    QFETCH(QByteArray, payload);
    QFETCH(qint64, payloadAge);
    QFETCH(QByteArray, saved);
    QFETCH(QString, claude);
    QFETCH(UsageSource, source);
    QFETCH(CollectorState, state);
    QFETCH(QString, message);
    QFETCH(double, used);
    if (!payload.isEmpty()) {
        QFile file(m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-statusline.json"), payload));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(kNow.addSecs(-payloadAge), QFileDevice::FileModificationTime));
    }
    const QString fallbackPath = ClaudeCollector::fallbackPath();
    if (saved == "/")
        QVERIFY(QDir().mkpath(fallbackPath));
    else if (!saved.isEmpty())
        m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-usage-fallback.json"), saved);
    const std::optional<QString> executable =
        claude.isEmpty() ? m_home->path() + QStringLiteral("/no-claude") : m_fakes->claude(claude);

    // A probe that cannot succeed ends at once.
    const ProviderSnapshot snapshot = collector(executable).collectNow();
    QCOMPARE(snapshot.provider, UsageProvider::claude);
    QCOMPARE(snapshot.source, source);
    QCOMPARE(snapshot.state, state);
    QCOMPARE(snapshot.message.value_or(QString()), QString(message).replace(QStringLiteral("%1"), fallbackPath));
    QCOMPARE(snapshot.windows.isEmpty() ? -1.0 : snapshot.windows.first().usedPercent, used);
    if (snapshot.windows.isEmpty())
        QCOMPARE(snapshot.collectedAt, kNow);
    if (source == UsageSource::claudeStatusLine && !payload.isEmpty())
        QCOMPARE(snapshot.collectedAt, kNow.addSecs(-payloadAge));
}

void ClaudeCollectorTest::probeResultIsReusedAndRunsOffTheCallingThread()
{
    // Only a fallback that cannot be read: the probe answers, off the calling
    // thread, and its result is saved for the next round.
    m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-usage-fallback.json"), "{not json");
    const QString claude = m_fakes->claude(QStringLiteral("screen"));
    auto threads = std::make_shared<QSet<QThread *>>();
    ClaudeCollector::Settings settings{.payloadPath = m_home->appDirectory() + QStringLiteral("/none.json"),
                                       .executableOverride = claude,
                                       .searchPlaces = {.path = QString(), .home = m_home->path(), .fixed = {}},
                                       .clock = [threads] {
                                           threads->insert(QThread::currentThread());
                                           return kNow;
                                       }};
    ClaudeCollector background(settings);
    QCOMPARE(background.provider(), UsageProvider::claude);
    Result<ProviderSnapshot> probed = background.collect().result();
    QVERIFY_OK(probed);
    QCOMPARE(probed->state, CollectorState::fallback);
    QCOMPARE(probed->windows.first().usedPercent, 31.0);
    QVERIFY(!threads->isEmpty());
    QVERIFY(!threads->contains(QThread::currentThread()));

    // The next round within the live interval reuses it without a probe.
    const qsizetype started = m_fakes->claudeLog().size();
    QCOMPARE(ClaudeCollector(settings).collectNow(), *probed);
    QCOMPARE(m_fakes->claudeLog().size(), started);
}

QTEST_GUILESS_MAIN(ClaudeCollectorTest)
#include "tst_ClaudeCollector.moc"
