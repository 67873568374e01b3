// The inbox below the session: what the session tests through a real pipe
// cannot arrange exactly (chunk boundaries, ids, replaced answers).
#include "collectors/codex/RPCInbox.h"

#include <QtTest>

class RPCInboxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answers_data();
    void answers();
    void overlongLineEndsTheSession_data();
    void overlongLineEndsTheSession();
    void endOfInputWakesEveryWaiter();
};

void RPCInboxTest::answers_data()
{
    QTest::addColumn<qint64>("id");
    QTest::addColumn<QByteArrayList>("chunks");
    QTest::addColumn<QString>("result"); // empty: no answer, the waiter sleeps on
    QTest::newRow("split across chunks") << qint64(7) << QByteArrayList{"{\"id\":", "7,\"result\":", "\"x\"}\n"} << "x";
    QTest::newRow("line not ended yet") << qint64(7) << QByteArrayList{"{\"id\":7,\"result\":\"x\"}"} << "";
    QTest::newRow("integer written as a fraction")
        << qint64(2) << QByteArrayList{"{\"id\":2.0,\"result\":\"x\"}\n"} << "x";
    QTest::newRow("id beyond 2^53 kept exactly") << qint64(9007199254740993LL)
                                                 << QByteArrayList{"{\"id\":9007199254740992,\"result\":\"no\"}\n",
                                                                   "{\"id\":9007199254740993,\"result\":\"x\"}\n"}
                                                 << "x";
    QTest::newRow("string id") << qint64(1) << QByteArrayList{"{\"id\":\"1\",\"result\":\"x\"}\n"} << "";
    QTest::newRow("later answer replaces")
        << qint64(1) << QByteArrayList{"{\"id\":1,\"result\":\"a\"}\n{\"id\":1,\"result\":\"b\"}\n"} << "b";
    QTest::newRow("request from the server")
        << qint64(2) << QByteArrayList{"{\"id\":2,\"method\":\"x/requestApproval\"}\n"} << "";
    QTest::newRow("junk lines before the answer")
        << qint64(1) << QByteArrayList{"[1]\n{bad\n\n{\"method\":\"account/updated\"}\n{\"id\":1,\"result\":\"x\"}\n"}
        << "x";
    QTest::newRow("answer nobody asked for") << qint64(1) << QByteArrayList{"{\"id\":99,\"result\":\"x\"}\n"} << "";
}

void RPCInboxTest::answers()
{
    QFETCH(qint64, id);
    QFETCH(QByteArrayList, chunks);
    QFETCH(QString, result);
    RPCInbox inbox;
    QSemaphore *waiter = inbox.prepare(id);
    QCOMPARE(inbox.prepare(id), waiter); // asked again, the same one
    for (const QByteArray &chunk : chunks)
        inbox.consume(chunk);
    QCOMPARE(waiter->tryAcquire(), !result.isEmpty());
    QCOMPARE(inbox.response(id).value_or(QJsonObject()).value(QStringLiteral("result")).toString(), result);
    QVERIFY(!inbox.response(99));
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
}

QTEST_GUILESS_MAIN(RPCInboxTest)
#include "tst_RPCInbox.moc"
