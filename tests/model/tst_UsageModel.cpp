// Text forms of the usage model: errors, relative times, raw values.
#include "model/CollectorState.h"
#include "model/DockIconVisibility.h"
#include "model/Error.h"
#include "model/LimitraError.h"
#include "model/ProviderSnapshot.h"

#include <QtTest>

class UsageModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorDescriptions_data();
    void errorDescriptions();
    void relativeTime_data();
    void relativeTime();
    void computedTexts();
    void rawValuesReadBack();
};

void UsageModelTest::errorDescriptions_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("expected");
    QTest::newRow("executable") << LimitraError::executableNotFound(QStringLiteral("Codex")).description()
                                << QStringLiteral("Could not find the Codex executable. Set its path in Settings.");
    QTest::newRow("process failed is its payload")
        << LimitraError::processFailed(QStringLiteral("exactly this")).description() << QStringLiteral("exactly this");
    QTest::newRow("timeout ends with a period")
        << LimitraError::timeout(QStringLiteral("reading Codex usage")).description()
        << QStringLiteral("Timed out while reading Codex usage.");
    QTest::newRow("invalid response")
        << LimitraError::invalidResponse(QStringLiteral("missing rate-limit result")).description()
        << QStringLiteral("The provider returned an unsupported response: missing rate-limit result");
    QTest::newRow("shortcut") << LimitraError::shortcutUnavailable(QStringLiteral("Ctrl+Alt+U")).description()
                              << QStringLiteral(
                                     "Ctrl+Alt+U is already used by another app. Pick a different shortcut.");
    QTest::newRow("integration") << LimitraError::integrationNotConfigured().description()
                                 << QStringLiteral("Claude integration is not configured yet.");
    QTest::newRow("platform error passes its text")
        << Error::platform(QStringLiteral("disk full")).description() << QStringLiteral("disk full");
}

void UsageModelTest::errorDescriptions()
{
    QFETCH(QString, description);
    QFETCH(QString, expected);
    QCOMPARE(description, expected);
}

void UsageModelTest::relativeTime_data()
{
    QTest::addColumn<qint64>("offsetMs");
    QTest::addColumn<QString>("expected");
    QTest::newRow("now") << qint64(0) << QStringLiteral("in 0 sec.");
    QTest::newRow("seconds ahead") << qint64(59'999) << QStringLiteral("in 59 sec.");
    QTest::newRow("one minute") << qint64(60'000) << QStringLiteral("in 1 min.");
    QTest::newRow("minutes ago") << qint64(-3 * 60'000 - 500) << QStringLiteral("3 min. ago");
    QTest::newRow("hours cut toward zero") << qint64(2 * 3'600'000 + 59 * 60'000) << QStringLiteral("in 2 hr.");
    QTest::newRow("one day") << qint64(86'400'000) << QStringLiteral("in 1 day");
    QTest::newRow("days ago") << qint64(-3 * 86'400'000) << QStringLiteral("3 days ago");
    QTest::newRow("weeks") << qint64(15 * 86'400'000LL) << QStringLiteral("in 2 wk.");
    QTest::newRow("months") << qint64(-65 * 86'400'000LL) << QStringLiteral("2 mo. ago");
    QTest::newRow("years") << qint64(800 * 86'400'000LL) << QStringLiteral("in 2 yr.");
}

void UsageModelTest::relativeTime()
{
    QFETCH(qint64, offsetMs);
    QFETCH(QString, expected);
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    const UsageWindow window{.id = QStringLiteral("w"), .resetsAt = now.addMSecs(offsetMs)};
    QCOMPARE(window.resetDescription(now), QStringLiteral("Resets ") + expected);
}

void UsageModelTest::computedTexts()
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    QCOMPARE(UsageWindow{}.resetDescription(now), QStringLiteral("Reset unavailable"));
    QCOMPARE(UsageWindow{.resetsAt = now.addSecs(-7200)}.resetDescription(now), QStringLiteral("Resets 2 hr. ago"));

    ProviderSnapshot snapshot;
    snapshot.collectedAt = now.addSecs(-180);
    QCOMPARE(snapshot.freshnessDescription(now), QStringLiteral("Updated 3 min. ago"));
}

void UsageModelTest::rawValuesReadBack()
{
    // Every case reads back from its own raw value, and the texts are the file format.
    for (UsageProvider provider : allCases<UsageProvider>)
        QCOMPARE(fromRawValue<UsageProvider>(rawValue(provider)), provider);
    for (CollectorState state : allCases<CollectorState>)
        QCOMPARE(fromRawValue<CollectorState>(rawValue(state)), state);
    for (UsageSource source : allCases<UsageSource>)
        QCOMPARE(fromRawValue<UsageSource>(rawValue(source)), source);
    for (DockIconVisibility visibility : allCases<DockIconVisibility>)
        QCOMPARE(fromRawValue<DockIconVisibility>(rawValue(visibility)), visibility);

    QCOMPARE(fromRawValue<UsageProvider>(u"Codex"), std::nullopt);
    QCOMPARE(fromRawValue<DockIconVisibility>(u"sometimes"), std::nullopt);
    QCOMPARE(rawValue(DockIconVisibility::whileDashboardOpen), QStringLiteral("whileDashboardOpen"));
    QCOMPARE(rawValue(UsageSource::claudeUsageCommand), QStringLiteral("claudeUsageCommand"));

    QCOMPARE(allCases<UsageProvider>.front(), UsageProvider::codex);
    QCOMPARE(displayName(UsageProvider::codex), QStringLiteral("OpenAI Codex"));
    QCOMPARE(displayName(UsageProvider::claude), QStringLiteral("Claude Code"));
    QCOMPARE(shortName(UsageProvider::codex), QStringLiteral("Codex"));
    QCOMPARE(shortName(UsageProvider::claude), QStringLiteral("Claude"));
}

QTEST_GUILESS_MAIN(UsageModelTest)
#include "tst_UsageModel.moc"
