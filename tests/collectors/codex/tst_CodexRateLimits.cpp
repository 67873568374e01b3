// The rate-limit result of the Codex app server as usage windows.
#include "collectors/codex/CodexRPCSession.h"
#include "tests/support/ResultChecks.h"

#include <QJsonDocument>
#include <QtTest>

namespace {

const QDateTime kNow = QDateTime::fromSecsSinceEpoch(1'767'000'000, Qt::UTC);

ProviderSnapshot decoded(const QByteArray &json)
{
    Result<ProviderSnapshot> result = CodexRPCSession::decode(QJsonDocument::fromJson(json).object(), kNow);
    if (!result)
        qFatal("decode failed: %s", qPrintable(result.error().description()));
    return *result;
}

QStringList ids(const ProviderSnapshot &snapshot)
{
    QStringList list;
    for (const UsageWindow &window : snapshot.windows)
        list.append(window.id);
    return list;
}

} // namespace

class CodexRateLimitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void singleLimit();
    void limitsById();
    void credits_data();
    void credits();
    void planNames_data();
    void planNames();
    void unusableWindows();
    void absentRateLimits_data();
    void absentRateLimits();
    void labels_data();
    void labels();
};

void CodexRateLimitsTest::singleLimit()
{
    const ProviderSnapshot snapshot = decoded(R"({"rateLimits": {
        "primary": {"usedPercent": 42.5, "windowDurationMins": 300, "resetsAt": 1767225600},
        "secondary": {"usedPercent": 13, "windowDurationMins": 10080}}})");
    QCOMPARE(snapshot.source, UsageSource::codexAppServer);
    QCOMPARE(snapshot.state, CollectorState::connected);
    QCOMPARE(snapshot.collectedAt, kNow);
    QCOMPARE(snapshot.windows.size(), 2);
    QCOMPARE(snapshot.windows[0], (UsageWindow{QStringLiteral("codex.codex.primary"), QStringLiteral("5-hour"), 42.5,
                                               QDateTime::fromSecsSinceEpoch(1767225600, Qt::UTC), 300, std::nullopt}));
    QCOMPARE(snapshot.windows[1], (UsageWindow{QStringLiteral("codex.codex.secondary"), QStringLiteral("Weekly"), 13,
                                               std::nullopt, 10080, std::nullopt}));
}

void CodexRateLimitsTest::limitsById()
{
    // Sorted by key; the family's name (or its key) is the scope; the first
    // plan wins; an empty "rateLimitsByLimitId" would fall back to "rateLimits".
    const ProviderSnapshot snapshot = decoded(R"({
        "rateLimits": {"limitId": "ignored", "primary": {"usedPercent": 99}},
        "rateLimitsByLimitId": {
            "gpt-5-codex-mini": {"limitId": "gpt-5-codex-mini", "limitName": "GPT-5-Codex-Mini",
                                 "primary": {"usedPercent": 3, "windowDurationMins": 300}, "planType": "team"},
            "codex": {"limitId": "codex", "primary": {"usedPercent": 20, "windowDurationMins": 300},
                      "secondary": {"usedPercent": 40, "windowDurationMins": 10080}, "planType": "pro"},
            "codex_other": {"secondary": {"usedPercent": 5, "windowDurationMins": 1440}}}})");
    QCOMPARE(ids(snapshot), (QStringList{QStringLiteral("codex.codex.primary"), QStringLiteral("codex.codex.secondary"),
                                         QStringLiteral("codex.codex_other.secondary"),
                                         QStringLiteral("codex.gpt-5-codex-mini.primary")}));
    QCOMPARE(snapshot.windows[0].scope, std::nullopt);
    QCOMPARE(snapshot.windows[2].scope, QStringLiteral("codex_other"));
    QCOMPARE(snapshot.windows[2].label, QStringLiteral("Daily"));
    QCOMPARE(snapshot.windows[3].scope, QStringLiteral("GPT-5-Codex-Mini"));
    QCOMPARE(snapshot.planName, QStringLiteral("Pro"));

    const ProviderSnapshot fallback =
        decoded(R"({"rateLimitsByLimitId": {}, "rateLimits": {"limitId": "x", "primary": {"usedPercent": 1}}})");
    QCOMPARE(ids(fallback), QStringList{QStringLiteral("codex.x.primary")});
    QCOMPARE(fallback.windows[0].scope, QStringLiteral("x"));
    QCOMPARE(fallback.windows[0].label, QStringLiteral("Primary"));

    const ProviderSnapshot mixed = decoded(R"({"rateLimitsByLimitId": {"a": {"primary": {"usedPercent": 1}}, "b": 5},
                    "rateLimits": {"primary": {"usedPercent": 2}}})");
    QCOMPARE(ids(mixed), QStringList{QStringLiteral("codex.codex.primary")});
}

void CodexRateLimitsTest::credits_data()
{
    QTest::addColumn<QByteArray>("result");
    QTest::addColumn<QString>("credit"); // empty: none
    QTest::newRow("unlimited beats a balance")
        << QByteArray(R"({"rateLimits": {"credits": {"unlimited": true, "balance": "12"}}})") << "Unlimited";
    QTest::newRow("balance") << QByteArray(R"({"rateLimits": {"credits": {"unlimited": false, "balance": "12.5"}}})")
                             << "12.5";
    QTest::newRow("balance null") << QByteArray(R"({"rateLimits": {"credits": {"balance": null}}})") << "";
    QTest::newRow("later entry overrides") << QByteArray(R"({"rateLimitsByLimitId": {
        "a": {"credits": {"balance": "1"}}, "b": {"credits": {"unlimited": true}}}})")
                                           << "Unlimited";
    QTest::newRow("later entry without credits keeps earlier") << QByteArray(R"({"rateLimitsByLimitId": {
        "a": {"credits": {"balance": "1"}}, "b": {"credits": {"unlimited": false}}}})")
                                                               << "1";
}

void CodexRateLimitsTest::credits()
{
    QFETCH(QByteArray, result);
    QFETCH(QString, credit);
    QCOMPARE(decoded(result).creditBalance, credit.isEmpty() ? std::nullopt : std::optional<QString>(credit));
}

void CodexRateLimitsTest::planNames_data()
{
    QTest::addColumn<QByteArray>("planType");
    QTest::addColumn<QString>("planName");
    QTest::newRow("pro_lite") << QByteArray("\"pro_lite\"") << "Pro Lite";
    QTest::newRow("enterprise") << QByteArray("\"ENTERPRISE\"") << "Enterprise";
    QTest::newRow("not a string") << QByteArray("7") << "";
    QTest::newRow("missing") << QByteArray() << "";
}

void CodexRateLimitsTest::planNames()
{
    QFETCH(QByteArray, planType);
    QFETCH(QString, planName);
    const QByteArray member = planType.isEmpty() ? QByteArray() : ", \"planType\": " + planType;
    const ProviderSnapshot snapshot = decoded("{\"rateLimits\": {\"primary\": {\"usedPercent\": 1}" + member + "}}");
    QCOMPARE(snapshot.planName, planName.isEmpty() ? std::nullopt : std::optional<QString>(planName));
}

void CodexRateLimitsTest::unusableWindows()
{
    const ProviderSnapshot snapshot = decoded(R"({"rateLimits": {
        "primary": {"usedPercent": "50", "windowDurationMins": 300},
        "secondary": {"usedPercent": 10, "windowDurationMins": 9.1e18}}})");
    QVERIFY(snapshot.windows.isEmpty());
    QCOMPARE(snapshot.state, CollectorState::unavailable);
    QCOMPARE(snapshot.message, QStringLiteral("Codex did not report subscription usage windows."));

    const ProviderSnapshot truncated = decoded(R"({"rateLimits": {
        "primary": {"usedPercent": 110.5, "windowDurationMins": 299.9, "resetsAt": "soon"}}})");
    QCOMPARE(truncated.windows[0].windowMinutes, 299);
    QCOMPARE(truncated.windows[0].usedPercent, 110.5);
    QCOMPARE(truncated.windows[0].resetsAt, std::nullopt);
    QCOMPARE(truncated.windows[0].label, QStringLiteral("299-minute"));
}

void CodexRateLimitsTest::absentRateLimits_data()
{
    QTest::addColumn<QByteArray>("result");
    QTest::newRow("empty") << QByteArray("{}");
    QTest::newRow("rate limits null") << QByteArray(R"({"rateLimits": null})");
    QTest::newRow("empty by-id and no single") << QByteArray(R"({"rateLimitsByLimitId": {}})");
}

void CodexRateLimitsTest::absentRateLimits()
{
    QFETCH(QByteArray, result);
    Result<ProviderSnapshot> snapshot = CodexRPCSession::decode(QJsonDocument::fromJson(result).object(), kNow);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(),
             QStringLiteral("The provider returned an unsupported response: rate limits were absent"));
}

void CodexRateLimitsTest::labels_data()
{
    QTest::addColumn<qint64>("minutes"); // -1: absent
    QTest::addColumn<QString>("label");
    QTest::newRow("absent") << qint64(-1) << "Fallback";
    QTest::newRow("5-hour") << qint64(300) << "5-hour";
    QTest::newRow("weekly") << qint64(10080) << "Weekly";
    QTest::newRow("daily") << qint64(1440) << "Daily";
    QTest::newRow("28 days") << qint64(40320) << "Monthly";
    QTest::newRow("31 days") << qint64(44640) << "Monthly";
    QTest::newRow("32 days") << qint64(46080) << "32-day";
    QTest::newRow("2 days") << qint64(2880) << "2-day";
    QTest::newRow("2 hours") << qint64(120) << "2-hour";
    QTest::newRow("90 minutes") << qint64(90) << "90-minute";
    QTest::newRow("zero") << qint64(0) << "0-day";
    QTest::newRow("large, no grouping") << qint64(1440 * 1000) << "1000-day";
}

void CodexRateLimitsTest::labels()
{
    QFETCH(qint64, minutes);
    QFETCH(QString, label);
    const std::optional<qint64> value = minutes < 0 ? std::nullopt : std::optional<qint64>(minutes);
    QCOMPARE(CodexRPCSession::label(value, QStringLiteral("Fallback")), label);
}

QTEST_GUILESS_MAIN(CodexRateLimitsTest)
#include "tst_CodexRateLimits.moc"
