// Which source of Claude usage the collector picks, with real files and fake
// executables.
#include "collectors/claude/ClaudeCollector.h"
#include "model/SnapshotJson.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <sys/stat.h>

namespace {

const QByteArray kPayload =
    R"({"model":{"display_name":"Opus 4.1"},"rate_limits":{"five_hour":{"used_percentage":42},"seven_day":{"used_percentage":13}}})";
const QString kNotFound =
    QStringLiteral("Claude Code was not found. Install it or set its executable path in Settings.");

} // namespace

class ClaudeCollectorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<FakeTools> m_fakes;

    QString payloadPath() const { return m_home->appDirectory() + QStringLiteral("/claude-statusline.json"); }

    // The payload as if the helper had recorded it `age` seconds ago.
    void recordPayload(const QByteArray &payload, qint64 age) const
    {
        m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-statusline.json"), payload);
        QFile file(payloadPath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTimeUtc().addSecs(-age), QFileDevice::FileModificationTime));
    }

    void saveFallback(qint64 age, const QString &message = QStringLiteral("saved earlier")) const
    {
        ProviderSnapshot snapshot;
        snapshot.provider = UsageProvider::claude;
        snapshot.collectedAt = QDateTime::currentDateTimeUtc().addSecs(-age);
        snapshot.source = UsageSource::claudeUsageCommand;
        snapshot.state = CollectorState::fallback;
        snapshot.windows = {UsageWindow{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), 77, std::nullopt,
                                        300, std::nullopt}};
        snapshot.message = message;
        m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-usage-fallback.json"),
                          encodeFallbackSnapshot(snapshot));
    }

    // A collector whose search finds only what `folder` holds.
    ClaudeCollector collector(const std::optional<QString> &override, double probeTimeout = 20) const
    {
        return ClaudeCollector({.payloadPath = payloadPath(),
                                .executableOverride = override,
                                .liveInterval = 300,
                                .probeTimeout = probeTimeout,
                                .searchPlaces = {.path = QString(), .home = m_home->path(), .fixed = {}}});
    }

    bool probeRan() const { return !m_fakes->claudeLog().isEmpty(); }

private Q_SLOTS:
    void init();
    void cleanup();

    void recentPayloadWins();
    void oldPayloadWithoutClaude();
    void equalTimesPreferThePayload();
    void recentFallbackBeatsEmptyPayload();
    void nothingAtAll();
    void probeRefreshesTheFallback();
    void probeFailureKeepsTheBestCandidate();
    void brokenFallbackIsIgnoredAndReplaced();
    void fallbackThatCannotBeSaved();
    void collectRunsOffTheCallingThread();
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

void ClaudeCollectorTest::recentPayloadWins()
{
    recordPayload(kPayload, 60);
    saveFallback(10 * 60);
    const ProviderSnapshot snapshot = collector(m_fakes->claude(QStringLiteral("screen"))).collectNow();
    QCOMPARE(snapshot.state, CollectorState::connected);
    QCOMPARE(snapshot.source, UsageSource::claudeStatusLine);
    QCOMPARE(snapshot.windows.size(), 2);
    QCOMPARE(snapshot.message, std::nullopt);
    QVERIFY(!probeRan());
}

void ClaudeCollectorTest::oldPayloadWithoutClaude()
{
    recordPayload(kPayload, 305);
    const QDateTime recordedAt = QFileInfo(payloadPath()).lastModified().toUTC();
    const ProviderSnapshot snapshot = collector(m_home->path() + QStringLiteral("/no-claude")).collectNow();
    QCOMPARE(snapshot.state, CollectorState::stale);
    QCOMPARE(snapshot.source, UsageSource::claudeStatusLine);
    QCOMPARE(snapshot.message, kNotFound);
    QCOMPARE(snapshot.windows.size(), 2);
    QCOMPARE(snapshot.modelName, QStringLiteral("Opus 4.1"));
    QCOMPARE(snapshot.collectedAt.toMSecsSinceEpoch() / 1000, recordedAt.toMSecsSinceEpoch() / 1000);
}

void ClaudeCollectorTest::equalTimesPreferThePayload()
{
    recordPayload(kPayload, 30);
    // The fallback saved at the payload's exact moment.
    ProviderSnapshot fallback;
    fallback.provider = UsageProvider::claude;
    fallback.collectedAt = QFileInfo(payloadPath()).lastModified().toUTC();
    fallback.source = UsageSource::claudeUsageCommand;
    fallback.state = CollectorState::fallback;
    fallback.windows = {
        UsageWindow{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), 1, std::nullopt, 300, std::nullopt}};
    m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-usage-fallback.json"),
                      encodeFallbackSnapshot(fallback));
    const ProviderSnapshot snapshot = collector(std::nullopt).collectNow();
    QCOMPARE(snapshot.source, UsageSource::claudeStatusLine);
}

void ClaudeCollectorTest::recentFallbackBeatsEmptyPayload()
{
    recordPayload(R"({"rate_limits":{}})", 30);
    saveFallback(100);
    const ProviderSnapshot snapshot = collector(m_fakes->claude(QStringLiteral("screen"))).collectNow();
    QCOMPARE(snapshot.source, UsageSource::claudeUsageCommand);
    QCOMPARE(snapshot.state, CollectorState::fallback);
    QCOMPARE(snapshot.message, QStringLiteral("saved earlier"));
    QCOMPARE(snapshot.windows.first().usedPercent, 77.0);
    QVERIFY(!probeRan());
}

void ClaudeCollectorTest::nothingAtAll()
{
    const ProviderSnapshot snapshot = collector(std::nullopt).collectNow();
    QCOMPARE(snapshot.state, CollectorState::unavailable);
    QCOMPARE(snapshot.source, UsageSource::claudeUsageCommand);
    QCOMPARE(snapshot.provider, UsageProvider::claude);
    QCOMPARE(snapshot.message, kNotFound);
    QVERIFY(snapshot.windows.isEmpty());
    QVERIFY(qAbs(snapshot.collectedAt.secsTo(QDateTime::currentDateTimeUtc())) < 5);
}

void ClaudeCollectorTest::probeRefreshesTheFallback()
{
    recordPayload(kPayload, 3600);
    const QString claude = m_fakes->claude(QStringLiteral("screen"));
    const ProviderSnapshot snapshot = collector(claude).collectNow();
    QCOMPARE(snapshot.source, UsageSource::claudeUsageCommand);
    QCOMPARE(snapshot.state, CollectorState::fallback);
    QCOMPARE(snapshot.planName, QStringLiteral("Max"));
    QVERIFY(probeRan());

    // Saved compact, private, and decodable to the same snapshot.
    const QString fallback = ClaudeCollector::fallbackPath();
    const QByteArray saved = readAll(fallback);
    QVERIFY(!saved.contains('\n'));
    Result<ProviderSnapshot> decoded = decodeFallbackSnapshot(saved);
    QVERIFY_OK(decoded);
    QCOMPARE(*decoded, snapshot);
    struct stat info = {};
    QCOMPARE(::stat(QFile::encodeName(fallback).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0600u);

    // The next round within the live interval reuses it without a probe.
    const qsizetype started = m_fakes->claudeLog().size();
    const ProviderSnapshot again = collector(claude).collectNow();
    QCOMPARE(again, snapshot);
    QCOMPARE(m_fakes->claudeLog().size(), started);
}

void ClaudeCollectorTest::probeFailureKeepsTheBestCandidate()
{
    saveFallback(3600, QStringLiteral("old message"));
    const ProviderSnapshot stale = collector(m_fakes->claude(QStringLiteral("signed-out"))).collectNow();
    QCOMPARE(stale.state, CollectorState::stale);
    QCOMPARE(stale.message, QStringLiteral("Claude fallback could not refresh: Claude Code is not signed in. "
                                           "Run `claude auth login` and try again."));
    QCOMPARE(stale.windows.first().usedPercent, 77.0);

    // Without any candidate, a timed-out probe leaves an empty snapshot.
    QVERIFY(QFile::remove(ClaudeCollector::fallbackPath()));
    const ProviderSnapshot empty = collector(m_fakes->claude(QStringLiteral("trust-other")), 1).collectNow();
    QCOMPARE(empty.state, CollectorState::unavailable);
    QCOMPARE(empty.message, QStringLiteral("Claude fallback could not refresh: The provider returned an unsupported "
                                           "response: Claude /usage did not contain recognizable plan limits"));
    QVERIFY(!QFile::exists(ClaudeCollector::fallbackPath()));
}

void ClaudeCollectorTest::brokenFallbackIsIgnoredAndReplaced()
{
    m_home->writeFile(QStringLiteral(".local/share/Limitra/claude-usage-fallback.json"), "{not json");
    const ProviderSnapshot snapshot = collector(m_fakes->claude(QStringLiteral("screen"))).collectNow();
    QCOMPARE(snapshot.state, CollectorState::fallback);
    QVERIFY(decodeFallbackSnapshot(readAll(ClaudeCollector::fallbackPath())).ok());
}

void ClaudeCollectorTest::fallbackThatCannotBeSaved()
{
    recordPayload(kPayload, 3600);
    QVERIFY(QDir().mkpath(ClaudeCollector::fallbackPath())); // a folder where the file belongs
    const ProviderSnapshot snapshot = collector(m_fakes->claude(QStringLiteral("screen"))).collectNow();
    QCOMPARE(snapshot.state, CollectorState::stale);
    QCOMPARE(snapshot.source, UsageSource::claudeStatusLine); // the probe's snapshot is dropped
    QCOMPARE(snapshot.message, QStringLiteral("Claude fallback could not refresh: Could not write %1: Is a directory")
                                   .arg(ClaudeCollector::fallbackPath()));
}

void ClaudeCollectorTest::collectRunsOffTheCallingThread()
{
    ClaudeCollector slow = collector(m_fakes->claude(QStringLiteral("screen"), 1.5));
    QCOMPARE(slow.provider(), UsageProvider::claude);
    QElapsedTimer timer;
    timer.start();
    QFuture<Result<ProviderSnapshot>> future = slow.collect();
    QVERIFY(timer.elapsed() < 500);
    QVERIFY(!future.isFinished());
    QTRY_VERIFY_WITH_TIMEOUT(future.isFinished(), 30000);
    QVERIFY_OK(future.result());
    QCOMPARE(future.result()->state, CollectorState::fallback);
}

QTEST_GUILESS_MAIN(ClaudeCollectorTest)
#include "tst_ClaudeCollector.moc"
