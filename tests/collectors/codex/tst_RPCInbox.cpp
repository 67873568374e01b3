// The inbox below the session: what the session tests through a real pipe
// cannot arrange exactly (chunk boundaries, ids, replaced answers).
#include "collectors/codex/RPCInbox.h"

#include <QtTest>

class RPCInboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messageSplitAcrossThreeChunks();
    void idsAreIntegerValues();
    void laterAnswerReplacesEarlier();
    void requestFromTheServerIsNoAnswer();
    void endOfInputWakesEveryWaiter();
};

void RPCInboxTest::messageSplitAcrossThreeChunks()
{
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(7);
    inbox.consume("{\"id\":");
    inbox.consume("7,\"result\":");
    QVERIFY(!waiter->tryAcquire());
    QVERIFY(!inbox.response(7));
    inbox.consume("{\"x\":true}}\n{\"id\":8");
    QVERIFY(waiter->tryAcquire());
    QVERIFY(!waiter->tryAcquire()); // handled once
    QVERIFY(inbox.response(7)->value(QStringLiteral("result")).toObject().value(QStringLiteral("x")).toBool());
    inbox.consume("}\n"); // the rest of the next message stayed in the buffer
    QVERIFY(inbox.response(8));
}

void RPCInboxTest::idsAreIntegerValues()
{
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(2);
    inbox.consume("{\"id\":2.0,\"result\":{}}\n{\"id\":9007199254740993,\"result\":{}}\n");
    QVERIFY(waiter->tryAcquire());
    QVERIFY(inbox.response(9007199254740993LL));
}

void RPCInboxTest::laterAnswerReplacesEarlier()
{
    RPCInbox inbox;
    inbox.consume("{\"id\":1,\"result\":\"first\"}\n{\"id\":1,\"result\":\"second\"}\n");
    QCOMPARE(inbox.response(1)->value(QStringLiteral("result")).toString(), QStringLiteral("second"));
    // A semaphore registered late is returned as it is when asked again.
    QSemaphore *waiter = inbox.prepare(1);
    QCOMPARE(inbox.prepare(1), waiter);
}

void RPCInboxTest::requestFromTheServerIsNoAnswer()
{
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(2);
    inbox.consume("{\"id\":2,\"method\":\"item/commandExecution/requestApproval\",\"params\":{}}\n"
                  "{\"method\":\"account/updated\",\"params\":{}}\n");
    QVERIFY(!waiter->tryAcquire());
    QVERIFY(!inbox.response(2));
    inbox.consume("{\"id\":2,\"result\":{}}\n");
    QVERIFY(waiter->tryAcquire());
    QVERIFY(!inbox.response(2)->contains(QStringLiteral("method")));
}

void RPCInboxTest::endOfInputWakesEveryWaiter()
{
    RPCInbox inbox;
    QSemaphore *early = inbox.prepare(1);
    QVERIFY(!inbox.closed());
    inbox.close();
    QVERIFY(inbox.closed());
    QVERIFY(early->tryAcquire());
    // A waiter registered afterwards does not wait either.
    QVERIFY(inbox.prepare(2)->tryAcquire());
    QVERIFY(!inbox.response(1));
}

QTEST_GUILESS_MAIN(RPCInboxTest)
#include "tst_RPCInbox.moc"
