#pragma once

#include <sys/types.h>

// While an instance lives, SIGTERM, SIGINT and SIGHUP sent to this process are
// first passed on to the process group `group` and then end this process as
// they would have without it. A short-lived process that is stopped while it
// waits for a child therefore does not leave that child behind.
class TerminationForwarding
{
public:
    explicit TerminationForwarding(pid_t group);
    ~TerminationForwarding();

    TerminationForwarding(const TerminationForwarding &) = delete;
    TerminationForwarding &operator=(const TerminationForwarding &) = delete;
};
