#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <chrono>
#include <limits>
#include <memory>
#include <optional>

// How one standard stream of a child is connected.
enum class ChildStream {
    pipe,    // a pipe whose other end the parent holds
    null,    // /dev/null
    inherit, // the parent's own descriptor
};

struct ChildOptions {
    QString program; // a path; relative paths resolve against the current folder
    QStringList arguments;
    std::optional<QString> workingDirectory;
    std::optional<QList<QByteArray>> environment; // "NAME=value" entries; none inherits ours
    ChildStream input = ChildStream::pipe;
    ChildStream output = ChildStream::pipe;
    ChildStream errors = ChildStream::null;
    // Start the child as the leader of a new process group, so that stopping it
    // reaches everything it started.
    bool ownProcessGroup = true;
    // The child's process group is killed when this process dies, even by
    // SIGKILL: the child then runs under a guard process that leads the group
    // (see GuardedSpawn.h) and whose pid is the one this class knows. Implies
    // `ownProcessGroup`; not with `terminal`.
    bool endsWithParent = false;
    // A terminal device (a pseudo-terminal's slave) to run the child on: it
    // starts a new session with the terminal as its controlling terminal and
    // as all three standard streams (`input`, `output` and `errors` are then
    // not used). The session leader also leads its own process group.
    std::optional<QString> terminal;
};

// How a child ended.
struct ExitStatus {
    bool exited = false; // false: ended by a signal
    int code = 0;        // exit code, or the signal number
    bool success() const { return exited && code == 0; }
};

// One child started with posix_spawn. Its descriptors are close-on-exec in the
// parent, so other children never inherit them; the child itself gets only its
// three standard streams, default signal dispositions and an empty signal
// mask. Starting a child makes this process ignore SIGPIPE, so that writing to
// a child that has gone away fails with EPIPE instead of ending us.
// A ChildProcess that is destroyed while its child still runs kills the
// child's process group and reaps it: no child outlives its owner unreaped.
class ChildProcess
{
public:
    static Result<std::unique_ptr<ChildProcess>> start(const ChildOptions &options);
    ~ChildProcess();

    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t pid() const { return m_pid; }
    int inputFd() const { return m_input; }   // -1 unless the input is a pipe
    int outputFd() const { return m_output; } // -1 unless the output is a pipe
    int errorsFd() const { return m_errors; } // -1 unless standard error is a pipe
    // A descriptor that becomes readable when the child ends (-1 on kernels
    // without pidfd; callers then poll `hasExited`).
    int exitFd() const { return m_exitFd; }

    void closeInput();
    void closeOutput();

    // Reaps the child if it has ended, without blocking.
    bool hasExited();
    // Waits up to `timeout` (forever when none) for the child to end.
    std::optional<ExitStatus> waitForExit(std::optional<std::chrono::milliseconds> timeout = std::nullopt);
    std::optional<ExitStatus> exitStatus() const { return m_status; }

    // Sends `signal` to the child's process group (or to the child alone when
    // it shares ours). Does nothing once the child has been reaped.
    void signal(int signalNumber);

    // Ends the child and everything in its process group: SIGTERM to the
    // group, up to `grace` for the group to empty, then SIGKILL; the child is
    // reaped. The group is signalled even when the child itself has already
    // ended, since a wrapper may leave the real work running in its group.
    void stopGroup(std::chrono::milliseconds grace);

private:
    ChildProcess() = default;
    // Takes the parent's ends of the child's pipes (left at -1).
    static std::unique_ptr<ChildProcess> adopt(pid_t pid, bool ownGroup, int &input, int &output, int &errors);
    void recordStatus(int waitStatus);

    pid_t m_pid = -1;
    bool m_ownGroup = true;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;
    int m_exitFd = -1;
    std::optional<ExitStatus> m_status;
};

// What a child printed on its standard output, and how it ended.
struct ChildRun {
    QByteArray output;
    ExitStatus status;
    // The child's group was stopped because it passed a `RunLimits` bound.
    bool limitExceeded = false;
};

// Bounds on `runToCompletion`: past either, the child's whole process group
// is stopped (SIGTERM, `grace`, SIGKILL).
struct RunLimits {
    std::optional<std::chrono::milliseconds> time;
    qsizetype maxOutput = std::numeric_limits<qsizetype>::max();
    std::chrono::milliseconds grace{200};
};

// Feeds `input` to the child's standard input (then closes it), collects its
// standard output and waits for it to end. Output is read while the child runs,
// so a child printing more than a pipe holds never blocks; reading stops when
// the child has ended and what it left in the pipe is read, even if a process
// it started in the background keeps the pipe open. A child that stops reading
// its input early is not an error.
ChildRun runToCompletion(ChildProcess &child, QByteArrayView input, const RunLimits &limits = {});
