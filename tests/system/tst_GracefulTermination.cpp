// Termination signals reach the event loop instead of ending the process,
// except those the process was started ignoring.
#include "system/GracefulTermination.h"

#include <QtTest>

#include <csignal>

class GracefulTerminationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signalsBecomeRequests_data();
    void signalsBecomeRequests();
};

void GracefulTerminationTest::signalsBecomeRequests_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::addColumn<bool>("ignoredBefore");
    QTest::newRow("SIGTERM") << int(SIGTERM) << false;
    QTest::newRow("SIGINT") << int(SIGINT) << false;
    QTest::newRow("SIGHUP") << int(SIGHUP) << false;
    QTest::newRow("SIGHUP under nohup") << int(SIGHUP) << true;
}

void GracefulTerminationTest::signalsBecomeRequests()
{
    QFETCH(int, signalNumber);
    QFETCH(bool, ignoredBefore);
    const auto before = ::signal(signalNumber, ignoredBefore ? SIG_IGN : SIG_DFL);
    {
        GracefulTermination termination;
        QSignalSpy requests(&termination, &GracefulTermination::requested);
        // Still alive after the signal: either it became a request or it stayed ignored.
        QCOMPARE(::raise(signalNumber), 0);
        if (ignoredBefore) {
            QCoreApplication::processEvents();
            QCOMPARE(requests.count(), 0);
        } else {
            QTRY_COMPARE(requests.count(), 1);
            QCOMPARE(requests.first().first().toInt(), signalNumber);
        }
    }
    {
        // Gone without a signal (one would have reset the handler itself): the
        // disposition it found is back, or a later signal would be swallowed.
        const GracefulTermination unused;
    }
    struct sigaction now {
    };
    ::sigaction(signalNumber, nullptr, &now);
    QVERIFY(now.sa_handler == (ignoredBefore ? SIG_IGN : SIG_DFL));
    ::signal(signalNumber, before);
}

QTEST_GUILESS_MAIN(GracefulTerminationTest)
#include "tst_GracefulTermination.moc"
