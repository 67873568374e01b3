#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <chrono>
#include <memory>

// A pseudo-terminal pair with a fixed window size. A child runs on the slave
// (see ChildOptions::terminal); the parent reads what it draws from the master
// without blocking and types into it.
class PseudoTerminal
{
public:
    static Result<std::unique_ptr<PseudoTerminal>> open(unsigned short columns, unsigned short rows);
    ~PseudoTerminal();

    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    QString slavePath() const { return m_slavePath; }
    // Once the child has the slave, the parent lets go of it, so that reading
    // the master ends (EIO) when the child's side is gone.
    void closeSlave();

    // Appends whatever the master has ready, in chunks of up to 8192 bytes,
    // until a read returns nothing (no data ready, end, or an error), and
    // returns how many bytes it appended.
    qsizetype readAvailable(QByteArray &buffer);
    // Appends what the child draws during `duration`, as it comes, keeping
    // only the newest `keep` bytes of `buffer`. A child that draws faster than
    // the terminal holds is read at its own pace rather than a terminal's
    // worth per call. Once the child's side is gone it just waits the time out.
    void readFor(QByteArray &buffer, std::chrono::milliseconds duration, qsizetype keep);
    // Types `bytes` into the terminal; false when they could not all be written.
    bool write(QByteArrayView bytes);

private:
    PseudoTerminal() = default;

    int m_master = -1;
    int m_slave = -1;
    QString m_slavePath;
};
