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
    void onlyAnswersToPendingRequestsAreKept();
    void overlongLineEndsTheSession_data();
    void overlongLineEndsTheSession();
    void requestFromTheServerIsNoAnswer();
    void endOfInputWakesEveryWaiter();
};

void RPCInboxTest::messageSplitAcrossThreeChunks()
{
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(7);
    inbox.prepare(8);
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
    inbox.prepare(9007199254740993LL);
    inbox.consume("{\"id\":2.0,\"result\":{}}\n{\"id\":9007199254740993,\"result\":{}}\n");
    QVERIFY(waiter->tryAcquire());
    QVERIFY(inbox.response(9007199254740993LL));
}

void RPCInboxTest::onlyAnswersToPendingRequestsAreKept()
{
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(1);
    QCOMPARE(inbox.prepare(1), waiter); // asked again, the same one
    inbox.consume("{\"id\":1,\"result\":\"first\"}\n{\"id\":1,\"result\":\"second\"}\n"
                  "{\"id\":3,\"result\":\"never asked\"}\n");
    QCOMPARE(inbox.response(1)->value(QStringLiteral("result")).toString(), QStringLiteral("second"));
    QVERIFY(!inbox.response(3));
}

void RPCInboxTest::overlongLineEndsTheSession_data()
{
    QTest::addColumn<bool>("complete");
    QTest::newRow("no line break yet") << false;
    QTest::newRow("a whole line") << true;
}

void RPCInboxTest::overlongLineEndsTheSession()
{
    QFETCH(bool, complete);
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(1);
    const QByteArray chunk(1024 * 1024, 'x');
    for (qsizetype sent = 0; sent + chunk.size() <= RPCInbox::kMaxLineBytes; sent += chunk.size())
        inbox.consume(chunk);
    QVERIFY(!inbox.overflowed());
    inbox.consume(complete ? QByteArray("xx\n{\"id\":1,\"result\":{}}\n") : chunk);
    QVERIFY(inbox.overflowed());
    QVERIFY(waiter->tryAcquire()); // the waiter wakes at once
    QVERIFY(!inbox.response(1));
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
