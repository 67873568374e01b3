// The Codex collector and its app-server sessions, against a fake `codex`
// that speaks the real protocol.
#include "collectors/codex/CodexCollector.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

// A wait whose time runs out at its `expiring`-th call (counted from 1) and
// that otherwise waits as long as the answer takes. Records the limits given.
struct ScriptedWait {
    int expiring = 0;
    std::shared_ptr<QList<double>> limits = std::make_shared<QList<double>>();

    bool operator()(QSemaphore &answered, double timeout) const
    {
        limits->append(timeout);
        if (limits->size() == expiring)
            return false;
        answered.acquire();
        return true;
    }
};

// A server of a few shell lines, for outcomes that need no Python.
QString shellServer(const QString &folder, const QString &body)
{
    const QString path = folder + QStringLiteral("/shell-codex");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write("#!/bin/sh\n" + body.toUtf8() + '\n') < 0)
        qFatal("cannot write %s", qPrintable(path));
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

} // namespace

class CodexCollectorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<FakeTools> m_fakes;

private Q_SLOTS:
    void init();
    void cleanup();

    void handshakeOnTheWire();
    void failures_data();
    void failures();
    void errorAnswers();
    void timeouts_data();
    void timeouts();
    void wrapperAndStubbornGrandchildAreStopped();
    void candidatesInTurn();
    void noExecutableAnywhere();
};

void CodexCollectorTest::init()
{
    m_fakes = std::make_unique<FakeTools>();
    m_fakes->activate();
}

void CodexCollectorTest::cleanup()
{
    // After every outcome no process of the session is left.
    QTRY_COMPARE_WITH_TIMEOUT(m_fakes->livingProcesses(), QList<pid_t>(), 3000);
    m_fakes.reset();
}

void CodexCollectorTest::handshakeOnTheWire()
{
    // A server that floods standard error, sends notifications and a string id
    // first, splits one answer over three writes, puts two messages in one
    // write and an invalid line between answers: the usage still reads.
    TestHome home;
    home.activate();
    Result<ProviderSnapshot> snapshot = CodexCollector(m_fakes->codex(QStringLiteral("awkward"))).collect().result();
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->windows.size(), 2);
    QCOMPARE(snapshot->windows[0].usedPercent, 42.0);
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

void CodexCollectorTest::failures_data()
{
    QTest::addColumn<QString>("server"); // empty: no such executable
    QTest::addColumn<QString>("failure");
    QTest::newRow("initialize refused")
        << R"(read -r l; echo '{"id":1,"error":{"code":-32600,"message":"not initialised properly"}}'; cat)"
        << "Codex initialization failed: not initialised properly";
    QTest::newRow("answer without result")
        << R"(read -r l; echo '{"id":1,"result":{}}'; read -r l; read -r l; echo '{"id":2}'; cat)"
        << "The provider returned an unsupported response: missing rate-limit result";
    // The end of the output says that no answer will come, before any limit.
    QTest::newRow("exits after the request") << "read -r l; exit 3"
                                             << "The Codex app server exited without answering.";
    QTest::newRow("endless line") << "exec cat /dev/zero"
                                  << "The provider returned an unsupported response: "
                                     "a message from the Codex app server was longer than 4 MiB";
    QTest::newRow("cannot launch") << ""
                                   << "Could not launch Codex: No such file or directory";
}

void CodexCollectorTest::failures()
{
    QFETCH(QString, server);
    QFETCH(QString, failure);
    const QString program =
        server.isEmpty() ? QStringLiteral("/no/such/codex") : shellServer(m_fakes->folder(), server);
    // Only the end of the output or an answer ends these waits.
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(program, 10, ScriptedWait{});
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), failure);
}

void CodexCollectorTest::errorAnswers()
{
    const QJsonObject withoutMessage{{QStringLiteral("error"), QJsonObject{{QStringLiteral("code"), -1}}}};
    QCOMPARE(CodexRPCSession::validate(withoutMessage, QStringLiteral("Codex usage")).error().description(),
             QStringLiteral("Codex usage failed: Unknown app-server error"));
    QCOMPARE(CodexRPCSession::validate(std::nullopt, QStringLiteral("Codex usage")).error().description(),
             QStringLiteral("The provider returned an unsupported response: missing response for Codex usage"));
}

void CodexCollectorTest::timeouts_data()
{
    QTest::addColumn<int>("expiring");
    QTest::addColumn<QString>("failure");
    QTest::newRow("initialize") << 1 << "Timed out while initializing the Codex app server.";
    QTest::newRow("rate limits") << 2 << "Timed out while reading Codex usage.";
}

void CodexCollectorTest::timeouts()
{
    QFETCH(int, expiring);
    QFETCH(QString, failure);
    const ScriptedWait wait{expiring};
    Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(m_fakes->codex(QStringLiteral("standard")), 7, wait);
    QVERIFY(!snapshot.ok());
    QCOMPARE(snapshot.error().description(), failure);
    // The limit applies to each wait whole, not to the session.
    QCOMPARE(*wait.limits, QList<double>(expiring, 7));
}

void CodexCollectorTest::wrapperAndStubbornGrandchildAreStopped()
{
    // Like the npm package: a wrapper that stays the parent of the server, and
    // a helper of the server that ignores SIGTERM. The check in cleanup()
    // proves that the whole group is gone.
    const QString wrapped = m_fakes->codex(QStringLiteral("grandchild"), {}, QStringLiteral("codex"), true);
    QVERIFY_OK(CodexRPCSession::collect(wrapped, 10));
}

void CodexCollectorTest::candidatesInTurn()
{
    const QString refusing = m_fakes->codex(QStringLiteral("usage-error"));
    Result<ProviderSnapshot> failed =
        CodexCollector::collectFrom({QStringLiteral("/missing/codex"), refusing}, 5, ScriptedWait{});
    QVERIFY(!failed.ok());
    QCOMPARE(failed.error().description(),
             QStringLiteral("OpenAI account usage could not be read through any installed Codex adapter. "
                            "/missing/codex: Could not launch Codex: No such file or directory | "
                            "%1: Codex usage failed: codex account authentication required")
                 .arg(refusing));

    const qsizetype before = m_fakes->receivedLines().size();
    const QString working = m_fakes->codex(QStringLiteral("standard"));
    const QString later = m_fakes->codex(QStringLiteral("standard"));
    QVERIFY_OK(CodexCollector::collectFrom({QStringLiteral("/missing/codex"), working, later}, 5, ScriptedWait{}));
    // One session ran; the candidate after the working one was not tried.
    QCOMPARE(m_fakes->receivedLines().size() - before, 3);
}

void CodexCollectorTest::noExecutableAnywhere()
{
    TestHome home;
    home.activate();
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(home.path()));
    CodexCollector collector(std::nullopt);
    QCOMPARE(collector.provider(), UsageProvider::codex);
    QFuture<Result<ProviderSnapshot>> future = collector.collect();
    qputenv("PATH", path);
    QVERIFY(future.isFinished());
    QCOMPARE(future.result().error().description(),
             QStringLiteral("Could not find the Codex executable. Set its path in Settings."));
}

QTEST_GUILESS_MAIN(CodexCollectorTest)
#include "tst_CodexCollector.moc"
