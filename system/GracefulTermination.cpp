#include "system/GracefulTermination.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};
volatile sig_atomic_t g_writeFd = -1;
struct sigaction g_previous[std::size(kSignals)];

// Only async-signal-safe calls: the number goes down the socket, the event
// loop does the rest. SA_RESETHAND has already put the default back.
void passOn(int signalNumber)
{
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signalNumber);
    if (g_writeFd >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(g_writeFd, &byte, 1);
    }
    errno = savedErrno;
}

} // namespace

GracefulTermination::GracefulTermination(QObject *parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, m_fds) != 0) {
        qWarning("Limitra: termination signals will end the process at once: %s", std::strerror(errno));
        return;
    }
    g_writeFd = m_fds[0];
    auto *notifier = new QSocketNotifier(m_fds[1], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &GracefulTermination::readSignal);
    struct sigaction action {
    };
    action.sa_handler = passOn;
    action.sa_flags = SA_RESTART | SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        // An ignored signal stays ignored: `nohup limitra` must outlive its terminal.
        ::sigaction(kSignals[i], nullptr, &g_previous[i]);
        if (g_previous[i].sa_handler != SIG_IGN)
            ::sigaction(kSignals[i], &action, nullptr);
    }
}

GracefulTermination::~GracefulTermination()
{
    if (m_fds[0] < 0)
        return;
    for (std::size_t i = 0; i < std::size(kSignals); ++i)
        ::sigaction(kSignals[i], &g_previous[i], nullptr);
    g_writeFd = -1;
    ::close(m_fds[0]);
    ::close(m_fds[1]);
}

void GracefulTermination::readSignal()
{
    unsigned char byte = 0;
    while (::read(m_fds[1], &byte, 1) == 1)
        Q_EMIT requested(byte);
}
