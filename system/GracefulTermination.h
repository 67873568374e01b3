#pragma once

#include <QObject>

// While an instance lives, SIGTERM, SIGINT and SIGHUP (a session that logs
// out, Ctrl+C in a terminal, a closed terminal) become `requested` on the
// event loop instead of ending the process on the spot, so that it can leave
// as its Quit command does. A second such signal ends the process at once,
// in case leaving hangs. A signal the process was started ignoring (`nohup`)
// stays ignored. One instance at a time: the signals are the process's.
class GracefulTermination : public QObject
{
    Q_OBJECT

public:
    explicit GracefulTermination(QObject *parent = nullptr);
    ~GracefulTermination() override;

Q_SIGNALS:
    void requested(int signalNumber);

private:
    void readSignal();

    int m_fds[2] = {-1, -1};
};
