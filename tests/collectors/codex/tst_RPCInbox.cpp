// Reassembling newline-delimited JSON-RPC messages from pipe chunks.
#include "collectors/codex/RPCInbox.h"

#include <QtTest>

#include <thread>

class RPCInboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void twoMessagesInOneChunk();
    void messageSplitAcrossThreeChunks();
    void invalidLineBetweenAnswers();
    void notificationsDoNotWake();
    void idsAreIntegerValues();
    void laterAnswerReplacesEarlier();
    void wakesAWaiterOnAnotherThread();
};

void RPCInboxTest::twoMessagesInOneChunk()
{
    RPCInbox inbox;
    QSemaphore *first = inbox.prepare(1);
    QSemaphore *second = inbox.prepare(2);
    inbox.consume("{\"id\":1,\"result\":{}}\n{\"id\":2,\"result\":{\"a\":1}}\n");
    QVERIFY(first->tryAcquire());
    QVERIFY(second->tryAcquire());
    QCOMPARE(inbox.response(2)->value(QStringLiteral("result")).toObject().value(QStringLiteral("a")).toInt(), 1);
}

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

void RPCInboxTest::invalidLineBetweenAnswers()
{
    RPCInbox inbox;
    inbox.consume("{\"id\":1,\"result\":1}\n{broken json\n\n[1,2]\n\"text\"\n{\"id\":2,\"result\":2}\n");
    QVERIFY(inbox.response(1));
    QVERIFY(inbox.response(2));
}

void RPCInboxTest::notificationsDoNotWake()
{
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(1);
    inbox.consume("{\"method\":\"configWarning\",\"params\":{}}\n{\"id\":\"1\",\"result\":{}}\n"
                  "{\"id\":null}\n{\"method\":\"x\",\"id\":true}\n");
    QVERIFY(!waiter->tryAcquire());
    QVERIFY(!inbox.response(1));
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

void RPCInboxTest::wakesAWaiterOnAnotherThread()
{
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(3);
    std::thread feeder([&inbox] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        inbox.consume("{\"id\":3,");
        inbox.consume("\"result\":{}}\n");
    });
    QVERIFY(waiter->tryAcquire(1, 10000));
    feeder.join();
    QVERIFY(inbox.response(3));
}

QTEST_GUILESS_MAIN(RPCInboxTest)
#include "tst_RPCInbox.moc"
