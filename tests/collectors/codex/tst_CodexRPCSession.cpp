// One app-server session against a fake `codex` that speaks the real protocol.
#include "collectors/codex/CodexRPCSession.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

const QByteArray kByIdResult = R"({
  "rateLimits": {"limitId": "codex", "primary": {"usedPercent": 20, "windowDurationMins": 300}},
  "rateLimitsByLimitId": {
    "codex": {"limitId": "codex", "limitName": null, "planType": "pro",
              "primary": {"usedPercent": 20.5, "windowDurationMins": 300, "resetsAt": 1767225600},
              "secondary": {"usedPercent": 44, "windowDurationMins": 10080, "resetsAt": 1767600000},
              "credits": {"hasCredits": true, "unlimited": false, "balance": "120"}},
    "codex_bengalfox": {"limitId": "codex_bengalfox", "limitName": "GPT-5.1-Codex-Max",
              "primary": {"usedPercent": 2, "windowDurationMins": 300},
              "secondary": {"usedPercent": 9, "windowDurationMins": 10080}}}})";

} // namespace

class CodexRPCSessionTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FakeTools> m_fakes;

private Q_SLOTS:
    void init();
    void cleanup();

    void handshakeOnTheWire();
    void answersArriveInAnyShape_data();
    void answersArriveInAnyShape();
    void severalLimitFamilies();
    void serverErrors_data();
    void serverErrors();
    void neverAnswering();
    void slowButWithinTheLimit();
    void exitingEarly();
    void endlessLineEndsTheSession();
    void cannotLaunch();
    void wrapperAndStubbornGrandchildAreStopped();
};

void CodexRPCSessionTest::init()
{
    m_fakes = std::make_unique<FakeTools>();
    m_fakes->activate();
}

void CodexRPCSessionTest::cleanup()
{
    // After every outcome no process of the session is left.
    QTRY_COMPARE_WITH_TIMEOUT(m_fakes->livingProcesses(), QList<pid_t>(), 3000);
    m_fakes.reset();
}

void CodexRPCSessionTest::handshakeOnTheWire()
{
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(m_fakes->codex(QStringLiteral("standard")), 10);
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->windows.size(), 2);
    QCOMPARE(snapshot->planName, QStringLiteral("Pro"));

    const QList<QByteArray> lines = m_fakes->receivedLines();
    QCOMPARE(lines.size(), 3);
    for (const QByteArray &line : lines)
        QVERIFY2(!line.contains('\n') && !line.contains("  ") && !line.contains("jsonrpc"), line.constData());
    const QJsonObject initialize = QJsonDocument::fromJson(lines[0]).object();
    QCOMPARE(initialize.value(QStringLiteral("method")).toString(), QStringLiteral("initialize"));
    QCOMPARE(initialize.value(QStringLiteral("id")).toInt(), 1);
    const QJsonObject params = initialize.value(QStringLiteral("params")).toObject();
    QCOMPARE(params.value(QStringLiteral("clientInfo")).toObject(),
             (QJsonObject{{QStringLiteral("name"), QStringLiteral("limitra")},
                          {QStringLiteral("title"), QStringLiteral("Limitra")},
                          {QStringLiteral("version"), CodexRPCSession::appVersion()}}));
    QCOMPARE(params.value(QStringLiteral("capabilities")).toObject().value(QStringLiteral("optOutNotificationMethods")),
             (QJsonArray{QStringLiteral("thread/started"), QStringLiteral("item/agentMessage/delta")}));
    QCOMPARE(QJsonDocument::fromJson(lines[1]).object(),
             (QJsonObject{{QStringLiteral("method"), QStringLiteral("initialized")}}));
    QCOMPARE(QJsonDocument::fromJson(lines[2]).object(),
             (QJsonObject{{QStringLiteral("method"), QStringLiteral("account/rateLimits/read")},
                          {QStringLiteral("id"), 2}}));
}

void CodexRPCSessionTest::answersArriveInAnyShape_data()
{
    QTest::addColumn<QString>("scenario");
    QTest::newRow("notifications before the answer") << "notifications-first";
    QTest::newRow("two messages in one write") << "batched";
    QTest::newRow("one message in three writes") << "split";
    QTest::newRow("invalid line between answers") << "invalid-line";
    QTest::newRow("more on standard error than a pipe holds") << "stderr-flood";
}

void CodexRPCSessionTest::answersArriveInAnyShape()
{
    QFETCH(QString, scenario);
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(m_fakes->codex(scenario), 10);
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->windows.size(), 2);
    QCOMPARE(snapshot->windows[0].usedPercent, 42.0);
}

void CodexRPCSessionTest::severalLimitFamilies()
{
    Result<ProviderSnapshot> snapshot =
        CodexRPCSession::collect(m_fakes->codex(QStringLiteral("standard"), kByIdResult), 10);
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->windows.size(), 4);
    QCOMPARE(snapshot->windows[2].id, QStringLiteral("codex.codex_bengalfox.primary"));
    QCOMPARE(snapshot->windows[2].scope, QStringLiteral("GPT-5.1-Codex-Max"));
    QCOMPARE(snapshot->creditBalance, QStringLiteral("120"));
}

void CodexRPCSessionTest::serverErrors_data()
{
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<QString>("description");
    QTest::newRow("initialize refused") << "init-error"
                                        << "Codex initialization failed: not initialised properly";
    QTest::newRow("usage refused") << "usage-error"
                                   << "Codex usage failed: codex account authentication required";
    QTest::newRow("error without message") << "usage-error-without-message"
                                           << "Codex usage failed: Unknown app-server error";
    QTest::newRow("answer without result")
        << "no-result"
        << "The provider returned an unsupported response: missing rate-limit result";
}

void CodexRPCSessionTest::serverErrors()
{
    QFETCH(QString, scenario);
    QFETCH(QString, description);
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(m_fakes->codex(scenario), 10);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), description);
}

void CodexRPCSessionTest::neverAnswering()
{
    QElapsedTimer timer;
    timer.start();
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(m_fakes->codex(QStringLiteral("never-answer")), 1);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), QStringLiteral("Timed out while initializing the Codex app server."));
    QVERIFY(timer.elapsed() >= 1000);
}

void CodexRPCSessionTest::slowButWithinTheLimit()
{
    // Each answer takes 6 s, so the two take longer than the limit of 10 s,
    // which applies to each wait separately. The 4 s left over are for the
    // fake's start on a loaded machine.
    QVERIFY_OK(CodexRPCSession::collect(m_fakes->codex(QStringLiteral("slow")), 10));
    Result<ProviderSnapshot> tooSlow = CodexRPCSession::collect(m_fakes->codex(QStringLiteral("slow")), 1);
    QVERIFY(!tooSlow.ok());
    QCOMPARE(tooSlow.error().description(), QStringLiteral("Timed out while initializing the Codex app server."));
}

void CodexRPCSessionTest::exitingEarly()
{
    // The server reads the request and leaves: the end of its output says that
    // no answer will come, long before the limit.
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(m_fakes->codex(QStringLiteral("exit-early")), 60);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), QStringLiteral("The Codex app server exited without answering."));
}

void CodexRPCSessionTest::endlessLineEndsTheSession()
{
    // Output without a line break ends the session once it passes the bound,
    // long before the limit, and with memory to match.
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(m_fakes->codex(QStringLiteral("endless-line")), 60);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(),
             QStringLiteral("The provider returned an unsupported response: "
                            "a message from the Codex app server was longer than 4 MiB"));
}

void CodexRPCSessionTest::cannotLaunch()
{
    Result<ProviderSnapshot> missing = CodexRPCSession::collect(QStringLiteral("/no/such/codex"), 5);
    QVERIFY(!missing.ok());
    QCOMPARE(missing.error().description(), QStringLiteral("Could not launch Codex: No such file or directory"));
    Result<ProviderSnapshot> empty = CodexRPCSession::collect(QString(), 5);
    QVERIFY(!empty.ok());
    QVERIFY(empty.error().description().startsWith(QLatin1String("Could not launch Codex: ")));
}

void CodexRPCSessionTest::wrapperAndStubbornGrandchildAreStopped()
{
    // Like the npm package: a wrapper that stays the parent of the server, and
    // a helper of the server that ignores SIGTERM. The checks in cleanup()
    // prove that the whole group is gone.
    const QString wrapped = m_fakes->codex(QStringLiteral("grandchild"), {}, QStringLiteral("codex"), true);
    QVERIFY_OK(CodexRPCSession::collect(wrapped, 10));
    QTRY_COMPARE_WITH_TIMEOUT(m_fakes->livingProcesses(), QList<pid_t>(), 3000);
    const QString silent = m_fakes->codex(QStringLiteral("never-answer"), {}, QStringLiteral("codex"), true);
    QVERIFY(!CodexRPCSession::collect(silent, 0.5).ok());
}

QTEST_GUILESS_MAIN(CodexRPCSessionTest)
#include "tst_CodexRPCSession.moc"
