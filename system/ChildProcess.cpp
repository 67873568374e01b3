#include "system/ChildProcess.h"

#include "system/GuardedSpawn.h"
#include "system/ProcessEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

extern char **environ;

namespace {

constexpr std::chrono::milliseconds kExitPollInterval{20};

void ignoreBrokenPipes()
{
    static const bool ignored = [] {
        ::signal(SIGPIPE, SIG_IGN);
        return true;
    }();
    Q_UNUSED(ignored);
}

// Whether a process of group `group` still runs. Zombies do not count: an
// orphan is reaped by init, which in some containers takes seconds.
bool groupHasLiveMembers(pid_t group)
{
    if (::kill(-group, 0) != 0 && errno != EPERM)
        return false;
    QDir proc(QStringLiteral("/proc"));
    for (const QString &entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (!entry.front().isDigit())
            continue;
        QFile statFile(proc.filePath(entry) + QStringLiteral("/stat"));
        if (!statFile.open(QIODevice::ReadOnly))
            continue;
        // "pid (name) state ppid pgrp ...": the name may hold spaces and parentheses.
        const QByteArray stat = statFile.read(512);
        const qsizetype close = stat.lastIndexOf(')');
        const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
        if (close > 0 && fields.size() > 2 && fields[2].toInt() == group && fields[0] != "Z")
            return true;
    }
    return false;
}

void closeFd(int &fd)
{
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

// Owns the argument or environment strings handed to posix_spawn.
class CStringList
{
public:
    void append(QByteArray text) { m_storage.push_back(std::move(text)); }
    char **data()
    {
        m_pointers.clear();
        for (QByteArray &text : m_storage)
            m_pointers.push_back(text.data());
        m_pointers.push_back(nullptr);
        return m_pointers.data();
    }

private:
    std::vector<QByteArray> m_storage;
    std::vector<char *> m_pointers;
};

struct Pipe {
    int read = -1;
    int write = -1;
    ~Pipe()
    {
        closeFd(read);
        closeFd(write);
    }
};

int openPipe(Pipe &pipe)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return errno;
    pipe.read = fds[0];
    pipe.write = fds[1];
    return 0;
}

// Connects standard stream `target` of the child as `mode` asks; `childEnd`
// is the pipe end the child uses when the mode is a pipe.
int connectStream(posix_spawn_file_actions_t &actions, ChildStream mode, int target, int childEnd)
{
    switch (mode) {
    case ChildStream::pipe:
        return posix_spawn_file_actions_adddup2(&actions, childEnd, target);
    case ChildStream::null:
        return posix_spawn_file_actions_addopen(&actions, target, "/dev/null", target == 0 ? O_RDONLY : O_WRONLY, 0);
    case ChildStream::inherit:
        return 0;
    }
    return EINVAL;
}

int openExitFd(pid_t pid)
{
#ifdef SYS_pidfd_open
    const long fd = ::syscall(SYS_pidfd_open, pid, 0);
    if (fd >= 0) {
        ::fcntl(static_cast<int>(fd), F_SETFD, FD_CLOEXEC);
        return static_cast<int>(fd);
    }
#else
    Q_UNUSED(pid);
#endif
    return -1;
}

// The child's standard streams, its working folder, and none of our other
// descriptors.
int addFileActions(posix_spawn_file_actions_t &actions, const ChildOptions &options, int inputEnd, int outputEnd,
                   int errorsEnd)
{
    int failure = 0;
    if (options.terminal) {
        // Opened after setsid() and without O_NOCTTY, the terminal becomes the
        // controlling terminal of the new session.
        const QByteArray device = QFile::encodeName(*options.terminal);
        failure = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, device.constData(), O_RDWR, 0);
        if (failure == 0)
            failure = posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
        if (failure == 0)
            failure = posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
    } else {
        failure = connectStream(actions, options.input, STDIN_FILENO, inputEnd);
        if (failure == 0)
            failure = connectStream(actions, options.output, STDOUT_FILENO, outputEnd);
        if (failure == 0)
            failure = connectStream(actions, options.errors, STDERR_FILENO, errorsEnd);
    }
    if (failure == 0)
        failure = posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    if (failure == 0 && options.workingDirectory)
        failure =
            posix_spawn_file_actions_addchdir_np(&actions, QFile::encodeName(*options.workingDirectory).constData());
    return failure;
}

// Default signal dispositions, an empty mask, and the session or process
// group the options ask for.
int setAttributes(posix_spawnattr_t &attributes, const ChildOptions &options)
{
    sigset_t allSignals, noSignals;
    sigfillset(&allSignals);
    sigemptyset(&noSignals);
    short flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    if (options.terminal)
        flags |= POSIX_SPAWN_SETSID;
    else if (options.ownProcessGroup)
        flags |= POSIX_SPAWN_SETPGROUP;
    int failure = posix_spawnattr_setflags(&attributes, flags);
    if (failure == 0)
        failure = posix_spawnattr_setsigdefault(&attributes, &allSignals);
    if (failure == 0)
        failure = posix_spawnattr_setsigmask(&attributes, &noSignals);
    if (failure == 0 && options.ownProcessGroup && !options.terminal)
        failure = posix_spawnattr_setpgroup(&attributes, 0);
    return failure;
}

// Reads what the child has written so far, up to one chunk past `limit`;
// closes the output at its end or on an error.
void drainOutput(ChildProcess &child, QByteArray &output, qsizetype limit)
{
    char chunk[65536];
    while (child.outputFd() >= 0 && output.size() <= limit) {
        const ssize_t got = ::read(child.outputFd(), chunk, sizeof chunk);
        if (got > 0) {
            output.append(chunk, got);
            continue;
        }
        if (got < 0 && errno == EINTR)
            continue;
        if (got == 0 || errno != EAGAIN)
            child.closeOutput();
        return;
    }
}

// Writes as much of the rest of `input` as the pipe takes now; closes the
// input once all of it is written or the child stops reading.
void feedInput(ChildProcess &child, QByteArrayView input, qsizetype &written)
{
    if (child.inputFd() < 0)
        return;
    while (written < input.size()) {
        const ssize_t sent =
            ::write(child.inputFd(), input.data() + written, static_cast<size_t>(input.size() - written));
        if (sent > 0) {
            written += sent;
            continue;
        }
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0 && errno == EAGAIN)
            break;
        written = input.size(); // EPIPE: the child does not want more input
    }
    if (written >= input.size())
        child.closeInput();
}

} // namespace

Result<std::unique_ptr<ChildProcess>> ChildProcess::start(const ChildOptions &options)
{
    ignoreBrokenPipes();
    Pipe input, output, errors;
    for (auto [mode, pipe] : {std::pair{options.input, &input}, {options.output, &output}, {options.errors, &errors}}) {
        if (mode == ChildStream::pipe) {
            if (const int failure = openPipe(*pipe))
                return Error::fromErrno(failure, QString());
        }
    }

    // A relative program path means the caller's folder, even when the child
    // starts in another working folder.
    QString program = options.program;
    if (!program.isEmpty() && QFileInfo(program).isRelative())
        program = QDir::current().absoluteFilePath(program);
    const QByteArray programPath = QFile::encodeName(program);

    CStringList argv;
    argv.append(programPath);
    for (const QString &argument : options.arguments)
        argv.append(argument.toUtf8());
    CStringList envp;
    if (options.environment) {
        for (const QByteArray &entry : *options.environment)
            envp.append(entry);
    }

    if (options.endsWithParent && !options.terminal) {
        const auto childEnd = [](ChildStream mode, int pipeEnd, int own) {
            return mode == ChildStream::pipe ? pipeEnd : mode == ChildStream::inherit ? own : -1;
        };
        const QByteArray folder =
            options.workingDirectory ? QFile::encodeName(*options.workingDirectory) : QByteArray();
        const std::scoped_lock environment(ProcessEnvironment::lock());
        const pid_t guard = spawnGuarded(
            programPath.constData(), argv.data(), options.environment ? envp.data() : environ,
            childEnd(options.input, input.read, STDIN_FILENO), childEnd(options.output, output.write, STDOUT_FILENO),
            childEnd(options.errors, errors.write, STDERR_FILENO),
            options.workingDirectory ? folder.constData() : nullptr);
        if (guard < 0)
            return Error::fromErrno(-guard, QString());
        return adopt(guard, true, input.write, output.read, errors.read);
    }

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    int failure = addFileActions(actions, options, input.read, output.write, errors.write);
    if (failure == 0)
        failure = setAttributes(attributes, options);

    pid_t pid = -1;
    if (failure == 0) {
        const std::scoped_lock environment(ProcessEnvironment::lock());
        failure = ::posix_spawn(&pid, programPath.constData(), &actions, &attributes, argv.data(),
                                options.environment ? envp.data() : environ);
    }
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (failure != 0)
        return Error::fromErrno(failure, QString());

    return adopt(pid, options.ownProcessGroup || options.terminal.has_value(), input.write, output.read, errors.read);
}

std::unique_ptr<ChildProcess> ChildProcess::adopt(pid_t pid, bool ownGroup, int &input, int &output, int &errors)
{
    std::unique_ptr<ChildProcess> child(new ChildProcess);
    child->m_pid = pid;
    child->m_ownGroup = ownGroup;
    std::swap(child->m_input, input);
    std::swap(child->m_output, output);
    std::swap(child->m_errors, errors);
    child->m_exitFd = openExitFd(pid);
    return child;
}

ChildProcess::~ChildProcess()
{
    closeFd(m_input);
    closeFd(m_output);
    closeFd(m_errors);
    if (!hasExited()) {
        signal(SIGKILL);
        waitForExit();
    }
    closeFd(m_exitFd);
}

void ChildProcess::closeInput()
{
    closeFd(m_input);
}

void ChildProcess::closeOutput()
{
    closeFd(m_output);
}

void ChildProcess::recordStatus(int waitStatus)
{
    if (WIFEXITED(waitStatus))
        m_status = ExitStatus{true, WEXITSTATUS(waitStatus)};
    else
        m_status = ExitStatus{false, WTERMSIG(waitStatus)};
}

bool ChildProcess::hasExited()
{
    if (m_status)
        return true;
    int waitStatus = 0;
    pid_t reaped;
    do {
        reaped = ::waitpid(m_pid, &waitStatus, WNOHANG);
    } while (reaped < 0 && errno == EINTR);
    if (reaped == m_pid) {
        recordStatus(waitStatus);
        return true;
    }
    if (reaped < 0) {
        // Someone else reaped it (ECHILD); it is gone either way.
        m_status = ExitStatus{false, 0};
        return true;
    }
    return false;
}

std::optional<ExitStatus> ChildProcess::waitForExit(std::optional<std::chrono::milliseconds> timeout)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = timeout ? Clock::now() + *timeout : Clock::time_point::max();
    while (!hasExited()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (timeout && left.count() <= 0)
            return std::nullopt;
        if (m_exitFd >= 0) {
            pollfd entry{m_exitFd, POLLIN, 0};
            const int wait = timeout ? static_cast<int>(std::min<qint64>(left.count(), INT_MAX)) : -1;
            ::poll(&entry, 1, wait);
        } else {
            ::usleep(static_cast<useconds_t>(kExitPollInterval.count() * 1000));
        }
    }
    return m_status;
}

void ChildProcess::signal(int signalNumber)
{
    if (m_status || m_pid <= 0)
        return;
    ::kill(m_ownGroup ? -m_pid : m_pid, signalNumber);
}

void ChildProcess::stopGroup(std::chrono::milliseconds grace)
{
    if (m_pid <= 0)
        return;
    if (!m_ownGroup) {
        signal(SIGKILL);
        waitForExit();
        return;
    }
    // The group id is the child's pid; it stays reserved while any member lives.
    const auto stillThere = [this] { return !hasExited() || groupHasLiveMembers(m_pid); };
    if (!stillThere())
        return;
    ::kill(-m_pid, SIGTERM);
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + grace;
    waitForExit(grace);
    while (groupHasLiveMembers(m_pid) && Clock::now() < deadline)
        ::usleep(5000);
    if (stillThere())
        ::kill(-m_pid, SIGKILL);
    waitForExit();
}

ChildRun runToCompletion(ChildProcess &child, QByteArrayView input, const RunLimits &limits)
{
    using Clock = std::chrono::steady_clock;
    const std::optional<Clock::time_point> deadline =
        limits.time ? std::optional(Clock::now() + *limits.time) : std::nullopt;
    ChildRun run;
    qsizetype written = 0;
    if (child.inputFd() >= 0) {
        ::fcntl(child.inputFd(), F_SETFL, ::fcntl(child.inputFd(), F_GETFL) | O_NONBLOCK);
        if (input.isEmpty())
            child.closeInput();
    }
    if (child.outputFd() >= 0)
        ::fcntl(child.outputFd(), F_SETFL, ::fcntl(child.outputFd(), F_GETFL) | O_NONBLOCK);

    const auto stopForLimit = [&] {
        child.closeInput();
        child.closeOutput();
        child.stopGroup(limits.grace);
        run.limitExceeded = true;
        run.status = child.exitStatus().value_or(ExitStatus{});
        return run;
    };

    while (!child.hasExited()) {
        pollfd entries[3];
        nfds_t count = 0;
        if (child.outputFd() >= 0)
            entries[count++] = {child.outputFd(), POLLIN, 0};
        if (child.inputFd() >= 0)
            entries[count++] = {child.inputFd(), POLLOUT, 0};
        if (child.exitFd() >= 0)
            entries[count++] = {child.exitFd(), POLLIN, 0};
        std::optional<std::chrono::milliseconds> wait;
        if (child.exitFd() < 0)
            wait = kExitPollInterval;
        if (deadline) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
            if (left.count() <= 0)
                return stopForLimit();
            wait = wait ? std::min(*wait, left) : left;
        }
        if (::poll(entries, count, wait ? static_cast<int>(wait->count()) : -1) < 0 && errno != EINTR)
            break;

        drainOutput(child, run.output, limits.maxOutput);
        if (run.output.size() > limits.maxOutput)
            return stopForLimit();
        feedInput(child, input, written);
    }
    child.closeInput();
    drainOutput(child, run.output, limits.maxOutput);
    child.closeOutput();
    if (run.output.size() > limits.maxOutput)
        run.limitExceeded = true;
    run.status = child.waitForExit().value_or(ExitStatus{});
    return run;
}
