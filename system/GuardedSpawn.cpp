#include "system/GuardedSpawn.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Everything up to the end of runGuard runs only in the forked guard and its
// command, which end by exec, _exit or a signal: gcov writes its counts at
// a normal exit, so coverage cannot see these lines (tst_statuslinehelper
// runs them). GCOVR_EXCL_START

// Where the program's exec failure travels back (close-on-exec: a successful
// exec closes it, which the parent reads as success).
constexpr int kFailureFd = 3;
// The guard's parent-death signal; its handler ends the whole group.
constexpr int kParentDied = SIGUSR2;

void endGroup(int)
{
    ::kill(0, SIGKILL);
}

// Only async-signal-safe calls from here on: the parent may have threads.
void standardStream(int fd, int target, int flags)
{
    if (fd < 0) {
        fd = ::open("/dev/null", flags | O_CLOEXEC);
        if (fd < 0)
            return;
    }
    if (fd == target)
        ::fcntl(fd, F_SETFD, 0);
    else
        ::dup2(fd, target);
}

[[noreturn]] void runGuard(pid_t parent, const char *program, char *const argv[], char *const envp[],
                           const char *workingDirectory)
{
    ::setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    struct sigaction onParentDeath = {};
    onParentDeath.sa_handler = endGroup;
    ::sigaction(kParentDied, &onParentDeath, nullptr);
    ::prctl(PR_SET_PDEATHSIG, kParentDied);
    if (::getppid() != parent) // the parent died before the signal was asked for
        endGroup(0);

    const pid_t command = ::fork();
    if (command == 0) {
        for (int signalNumber = 1; signalNumber < NSIG; ++signalNumber)
            ::signal(signalNumber, SIG_DFL);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        if (workingDirectory && ::chdir(workingDirectory) != 0) {
            const int failure = errno;
            [[maybe_unused]] const ssize_t written = ::write(kFailureFd, &failure, sizeof failure);
            ::_exit(127);
        }
        ::execve(program, argv, envp);
        const int failure = errno;
        [[maybe_unused]] const ssize_t written = ::write(kFailureFd, &failure, sizeof failure);
        ::_exit(127);
    }
    if (command < 0) {
        const int failure = errno;
        [[maybe_unused]] const ssize_t written = ::write(kFailureFd, &failure, sizeof failure);
        ::_exit(127);
    }
    ::close(kFailureFd);
    ::close(STDIN_FILENO);
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    int status = 0;
    while (::waitpid(command, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        ::signal(WTERMSIG(status), SIG_DFL);
        ::kill(::getpid(), WTERMSIG(status));
        ::_exit(128 + WTERMSIG(status));
    }
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : 127);
}
// GCOVR_EXCL_STOP

} // namespace

pid_t spawnGuarded(const char *program, char *const argv[], char *const envp[], int input, int output, int errors,
                   const char *workingDirectory)
{
    int failurePipe[2];
    if (::pipe2(failurePipe, O_CLOEXEC) != 0)
        return -errno;
    const pid_t parent = ::getpid();
    const pid_t guard = ::fork();
    if (guard == 0) {
        // GCOVR_EXCL_START: the guard (see above)
        // Streams and the failure pipe into place, everything else closed.
        const int failureEnd = ::fcntl(failurePipe[1], F_DUPFD_CLOEXEC, 10);
        standardStream(input, STDIN_FILENO, O_RDONLY);
        standardStream(output, STDOUT_FILENO, O_WRONLY);
        standardStream(errors, STDERR_FILENO, O_WRONLY);
        ::dup3(failureEnd, kFailureFd, O_CLOEXEC);
        ::syscall(SYS_close_range, kFailureFd + 1, ~0U, 0);
        runGuard(parent, program, argv, envp, workingDirectory);
        // GCOVR_EXCL_STOP
    }
    ::close(failurePipe[1]);
    if (guard < 0) {
        const int failure = errno;
        ::close(failurePipe[0]);
        return -failure;
    }
    ::setpgid(guard, guard); // either side may come first
    int failure = 0;
    ssize_t got = 0;
    do {
        got = ::read(failurePipe[0], &failure, sizeof failure);
    } while (got < 0 && errno == EINTR);
    ::close(failurePipe[0]);
    if (got == sizeof failure) {
        int status = 0;
        while (::waitpid(guard, &status, 0) < 0 && errno == EINTR) {
        }
        return -failure;
    }
    return guard;
}
