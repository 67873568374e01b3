#include "system/TerminationForwarding.h"

#include <csignal>
#include <iterator>

namespace {

constexpr int kForwardedSignals[] = {SIGTERM, SIGINT, SIGHUP};
volatile sig_atomic_t g_group = 0;
struct sigaction g_previous[std::size(kForwardedSignals)];

// Ends the process by the signal, so coverage never sees it run (gcov writes
// at a normal exit); tst_statuslinehelper does. GCOVR_EXCL_START
void forwardAndEnd(int signalNumber)
{
    if (g_group > 0)
        ::kill(-static_cast<pid_t>(g_group), signalNumber);
    ::signal(signalNumber, SIG_DFL);
    ::raise(signalNumber);
}
// GCOVR_EXCL_STOP

} // namespace

TerminationForwarding::TerminationForwarding(pid_t group)
{
    g_group = group;
    struct sigaction action {
    };
    action.sa_handler = forwardAndEnd;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < std::size(kForwardedSignals); ++i)
        ::sigaction(kForwardedSignals[i], &action, &g_previous[i]);
}

TerminationForwarding::~TerminationForwarding()
{
    for (std::size_t i = 0; i < std::size(kForwardedSignals); ++i)
        ::sigaction(kForwardedSignals[i], &g_previous[i], nullptr);
    g_group = 0;
}
