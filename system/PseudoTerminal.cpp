#include "system/PseudoTerminal.h"

#include <QDeadlineTimer>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr size_t kReadChunk = 8192;

} // namespace

Result<std::unique_ptr<PseudoTerminal>> PseudoTerminal::open(unsigned short columns, unsigned short rows)
{
    std::unique_ptr<PseudoTerminal> terminal(new PseudoTerminal);
    winsize size{};
    size.ws_col = columns;
    size.ws_row = rows;
    char name[256] = {};
    if (::openpty(&terminal->m_master, &terminal->m_slave, name, nullptr, &size) != 0)
        return Error::fromErrno(errno, QStringLiteral("openpty"));
    ::fcntl(terminal->m_master, F_SETFD, FD_CLOEXEC);
    ::fcntl(terminal->m_slave, F_SETFD, FD_CLOEXEC);
    ::fcntl(terminal->m_master, F_SETFL, ::fcntl(terminal->m_master, F_GETFL) | O_NONBLOCK);
    terminal->m_slavePath = QFile::decodeName(name);
    return terminal;
}

PseudoTerminal::~PseudoTerminal()
{
    closeSlave();
    if (m_master >= 0)
        ::close(m_master);
}

void PseudoTerminal::closeSlave()
{
    if (m_slave >= 0) {
        ::close(m_slave);
        m_slave = -1;
    }
}

qsizetype PseudoTerminal::readAvailable(QByteArray &buffer)
{
    char chunk[kReadChunk];
    qsizetype appended = 0;
    while (true) {
        const ssize_t got = ::read(m_master, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR)
            continue;
        // Nothing ready (EAGAIN), the child's side is gone (EIO), or the end.
        if (got <= 0)
            return appended;
        buffer.append(chunk, got);
        appended += got;
    }
}

void PseudoTerminal::readFor(QByteArray &buffer, std::chrono::milliseconds duration, qsizetype keep)
{
    const QDeadlineTimer deadline(duration);
    while (!deadline.hasExpired()) {
        const auto left = static_cast<int>(deadline.remainingTime());
        pollfd master{m_master, POLLIN, 0};
        const int ready = ::poll(&master, 1, left);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return;
        if (readAvailable(buffer) == 0) {
            // Ready yet nothing to read: the child's side is gone (EIO from
            // here on). Polling again would spin.
            ::poll(nullptr, 0, static_cast<int>(deadline.remainingTime()));
            return;
        }
        if (buffer.size() > keep)
            buffer.remove(0, buffer.size() - keep);
    }
}

bool PseudoTerminal::write(QByteArrayView bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t sent = ::write(m_master, bytes.data() + written, static_cast<size_t>(bytes.size() - written));
        if (sent > 0) {
            written += sent;
            continue;
        }
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0 && errno == EAGAIN) {
            pollfd entry{m_master, POLLOUT, 0};
            if (::poll(&entry, 1, 1000) > 0)
                continue;
        }
        return false;
    }
    return true;
}
