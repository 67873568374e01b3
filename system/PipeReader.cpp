#include "system/PipeReader.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

PipeReader::PipeReader(int fd, Callback callback, EndCallback ended)
    : m_callback(std::move(callback))
    , m_ended(std::move(ended))
    , m_wakeFd(::eventfd(0, EFD_CLOEXEC))
    , m_thread([this, fd] { run(fd); })
{
}

PipeReader::~PipeReader()
{
    stop();
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

void PipeReader::stop()
{
    if (!m_thread.joinable())
        return;
    m_stopping = true;
    if (m_wakeFd >= 0) {
        const quint64 one = 1;
        [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
    }
    m_thread.join();
}

void PipeReader::run(int fd)
{
    char chunk[65536];
    // Without a wake-up descriptor (none could be made), look at the flag now and then.
    const int wait = m_wakeFd >= 0 ? -1 : 50;
    while (!m_stopping) {
        pollfd entries[2] = {{fd, POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
        const int ready = ::poll(entries, m_wakeFd >= 0 ? 2 : 1, wait);
        if (ready == 0)
            continue;
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (m_wakeFd >= 0 && entries[1].revents != 0)
            return;
        const ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got <= 0)
            break;
        m_callback(QByteArrayView(chunk, got));
    }
    if (!m_stopping && m_ended)
        m_ended();
}
