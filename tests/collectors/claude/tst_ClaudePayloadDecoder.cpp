// Decoding Claude Code status-line payloads into snapshots.
#include "collectors/claude/ClaudePayloadDecoder.h"

#include <QtTest>

namespace {

const QDateTime kNow = QDateTime::fromSecsSinceEpoch(1'767'225'600, Qt::UTC); // 2026-01-01T00:00:00Z
const QString kNotYet = QStringLiteral(
    "Claude has not reported plan limits yet. They appear after the first response for supported subscriptions.");

ProviderSnapshot decoded(const QByteArray &payload, const QDateTime &collectedAt = kNow)
{
    Result<ProviderSnapshot> result = ClaudePayloadDecoder::decode(payload, collectedAt, 300, kNow);
    if (!result)
        qFatal("decoding failed: %s", qPrintable(result.error().description()));
    return *result;
}

} // namespace

class ClaudePayloadDecoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void windowVocabulary_data();
    void windowVocabulary();
    void valuesAsTheyStand();
    void malformedMembersAreSkipped();
    void freshness_data();
    void freshness();
    void rejectedDocuments_data();
    void rejectedDocuments();
};

void ClaudePayloadDecoderTest::windowVocabulary_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("label");
    QTest::addColumn<qint64>("minutes"); // -1: none
    QTest::addColumn<QString>("scope");  // empty: none

    QTest::newRow("five_hour") << QString("five_hour") << "5-hour" << qint64(300) << "";
    QTest::newRow("seven_day") << QString("seven_day") << "Weekly" << qint64(10080) << "";
    QTest::newRow("opus has no duration") << QString("opus") << "Opus" << qint64(-1) << "Opus";
    QTest::newRow("opus_weekly") << QString("opus_weekly") << "Opus" << qint64(10080) << "Opus";
    QTest::newRow("fable") << QString("fable") << "Fable" << qint64(10080) << "Fable";
    QTest::newRow("fable_seven_day") << QString("fable_seven_day") << "Fable" << qint64(10080) << "Fable";
    QTest::newRow("unknown key") << QString("sonnet_weekly") << "Sonnet Weekly" << qint64(-1) << "";
    QTest::newRow("capitalised pieces") << QString("extra_usage_LIMIT") << "Extra Usage Limit" << qint64(-1) << "";
    QTest::newRow("empty pieces dropped") << QString("__odd__key_") << "Odd Key" << qint64(-1) << "";
    QTest::newRow("underscores only") << QString("___") << "" << qint64(-1) << "";
    QTest::newRow("scope test is case-sensitive") << QString("Opus_weekly") << "Opus Weekly" << qint64(-1) << "";
    QTest::newRow("opus anywhere") << QString("my_opus_limit") << "My Opus Limit" << qint64(-1) << "Opus";
    QTest::newRow("fable wins over opus") << QString("opus_fable") << "Opus Fable" << qint64(-1) << "Fable";
}

void ClaudePayloadDecoderTest::windowVocabulary()
{
    QFETCH(QString, key);
    QFETCH(QString, label);
    QFETCH(qint64, minutes);
    QFETCH(QString, scope);
    const QByteArray payload = "{\"rate_limits\":{\"" + key.toUtf8() + "\":{\"used_percentage\":5}}}";
    const ProviderSnapshot snapshot = decoded(payload);
    QCOMPARE(snapshot.windows.size(), 1);
    const UsageWindow &window = snapshot.windows.front();
    QCOMPARE(window.id, QStringLiteral("claude.") + key);
    QCOMPARE(window.label, label);
    QCOMPARE(window.windowMinutes, minutes < 0 ? std::nullopt : std::optional<qint64>(minutes));
    QCOMPARE(window.scope, scope.isEmpty() ? std::nullopt : std::optional<QString>(scope));
}

void ClaudePayloadDecoderTest::valuesAsTheyStand()
{
    const ProviderSnapshot snapshot = decoded(R"({"rate_limits": {
        "a": {"used_percentage": 104.5, "resets_at": 1767225600},
        "b": {"used_percentage": -3, "resets_at": 1767600000.5},
        "c": {"used_percentage": true, "resets_at": "2026-01-01T00:00:00Z"},
        "d": {"used_percentage": 1, "resets_at": 1e300},
        "e": {"used_percentage": 1, "resets_at": 1767225600000},
        "f": {"used_percentage": 1, "resets_at": 1e12},
        "g": {"used_percentage": 1, "resets_at": -62135596801},
        "h": {"used_percentage": 1, "resets_at": 253402300800}}})");
    QCOMPARE(snapshot.source, UsageSource::claudeStatusLine);
    QCOMPARE(snapshot.windows.size(), 8);
    QCOMPARE(snapshot.windows[0].usedPercent, 104.5);
    QCOMPARE(snapshot.windows[0].resetsAt, QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC));
    QCOMPARE(snapshot.windows[1].usedPercent, -3.0);
    QCOMPARE(snapshot.windows[1].resetsAt, QDateTime::fromMSecsSinceEpoch(1'767'600'000'500, Qt::UTC));
    QCOMPARE(snapshot.windows[2].usedPercent, 1.0); // a boolean counts as a number
    // Text, milliseconds, or years outside 1 to 9999, which the history could
    // not write and read back: the window stays, without a reset.
    for (qsizetype i = 2; i < 8; ++i)
        QCOMPARE(snapshot.windows[i].resetsAt, std::nullopt);
}

void ClaudePayloadDecoderTest::malformedMembersAreSkipped()
{
    const ProviderSnapshot snapshot = decoded(R"({"model": {"display_name": 4},
        "rate_limits": {"a": 5, "b": {"used_percentage": null}, "c": {"used_percentage": "50"},
                        "d": [1], "e": {"resets_at": 1}, "f": {"used_percentage": 50}}})");
    QCOMPARE(snapshot.windows.size(), 1);
    QCOMPARE(snapshot.windows.front().id, QStringLiteral("claude.f"));
    QCOMPARE(snapshot.modelName, std::nullopt);

    const ProviderSnapshot arrayLimits = decoded(R"({"rate_limits": [], "model": {"display_name": "Opus 4"}})");
    QCOMPARE(arrayLimits.state, CollectorState::unavailable);
    QCOMPARE(arrayLimits.message, kNotYet);
    QCOMPARE(arrayLimits.modelName, QStringLiteral("Opus 4"));
    QVERIFY(arrayLimits.windows.isEmpty());
}

void ClaudePayloadDecoderTest::freshness_data()
{
    QTest::addColumn<qint64>("ageSeconds");
    QTest::addColumn<bool>("withWindows");
    QTest::addColumn<CollectorState>("state");
    QTest::newRow("just recorded") << qint64(0) << true << CollectorState::connected;
    QTest::newRow("exactly at the limit") << qint64(300) << true << CollectorState::connected;
    QTest::newRow("one second older") << qint64(301) << true << CollectorState::stale;
    QTest::newRow("recorded in the future") << qint64(-600) << true << CollectorState::connected;
    QTest::newRow("old but empty") << qint64(5000) << false << CollectorState::unavailable;
}

void ClaudePayloadDecoderTest::freshness()
{
    QFETCH(qint64, ageSeconds);
    QFETCH(bool, withWindows);
    QFETCH(CollectorState, state);
    const QByteArray payload = withWindows ? R"({"rate_limits":{"five_hour":{"used_percentage":1}}})" : "{}";
    const ProviderSnapshot snapshot = decoded(payload, kNow.addSecs(-ageSeconds));
    QCOMPARE(snapshot.state, state);
    QCOMPARE(snapshot.collectedAt, kNow.addSecs(-ageSeconds));
    if (state == CollectorState::stale)
        QCOMPARE(snapshot.message, QStringLiteral("This is the last usage reported by Claude Code."));
}

void ClaudePayloadDecoderTest::rejectedDocuments_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("expected"); // empty: the JSON reader's own error
    QTest::newRow("empty array") << QByteArray("[]")
                                 << "The provider returned an unsupported response: "
                                    "Claude status-line payload is not an object";
    QTest::newRow("empty input") << QByteArray() << "";
    QTest::newRow("bare number") << QByteArray("5") << "";
    QTest::newRow("bare string") << QByteArray("\"x\"") << "";
    QTest::newRow("not json") << QByteArray("hello") << "";
    QTest::newRow("trailing garbage") << QByteArray("{} x") << "";
}

void ClaudePayloadDecoderTest::rejectedDocuments()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, expected);
    Result<ProviderSnapshot> result = ClaudePayloadDecoder::decode(payload, kNow, 300, kNow);
    QVERIFY(!result.ok());
    if (expected.isEmpty()) {
        QVERIFY2(result.error().description().contains(QLatin1String("is not valid JSON")),
                 qPrintable(result.error().description()));
        QCOMPARE(result.error().limitraError(), nullptr);
    } else {
        QCOMPARE(result.error().description(), expected);
    }
}

QTEST_GUILESS_MAIN(ClaudePayloadDecoderTest)
#include "tst_ClaudePayloadDecoder.moc"
