#include "collectors/claude/ClaudeUsageProbe.h"

#include "collectors/claude/ClaudeUsageTextDecoder.h"
#include "system/AppPaths.h"
#include "system/ChildProcess.h"
#include "system/FileSystem.h"
#include "system/ProcessEnvironment.h"
#include "system/PseudoTerminal.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <csignal>
#include <unistd.h>

extern char **environ;

namespace ClaudeUsageProbe {

namespace {

// Claude Code lays its screen out for this size.
constexpr unsigned short kColumns = 160;
constexpr unsigned short kRows = 50;
constexpr std::chrono::milliseconds kPollInterval{100};
constexpr std::chrono::milliseconds kInterruptGrace{150};
constexpr std::chrono::milliseconds kTerminateGrace{1000};

const QString kTrustQuestion = QStringLiteral("Permission Required: Accessing workspace:");
const QString kTrustPrompt = QStringLiteral("Enter y/n:");
const QByteArray kTrustAnswer = QByteArrayLiteral("y\r");
// What a user leaving the screen types: ESC, then Ctrl-C twice.
const QByteArray kInterrupt = QByteArrayLiteral("\x1b\x03\x03");

// Our environment, with the folder as PWD and without API credentials, so
// that Claude Code reports the signed-in subscription's limits.
QList<QByteArray> probeEnvironment(const QString &folder)
{
    QList<QByteArray> environment;
    const std::scoped_lock environmentLock(ProcessEnvironment::lock());
    for (char **entry = environ; entry && *entry; ++entry) {
        const QByteArray text(*entry);
        if (text.startsWith("ANTHROPIC_API_KEY=") || text.startsWith("ANTHROPIC_AUTH_TOKEN=")
            || text.startsWith("PWD="))
            continue;
        environment.append(text);
    }
    environment.append("PWD=" + QFile::encodeName(folder));
    return environment;
}

void sleepFor(std::chrono::milliseconds duration)
{
    ::usleep(static_cast<useconds_t>(std::chrono::microseconds(duration).count()));
}

void stop(ChildProcess &child, PseudoTerminal &terminal)
{
    if (!child.hasExited()) {
        terminal.write(kInterrupt);
        sleepFor(kInterruptGrace);
        if (!child.hasExited()) {
            child.signal(SIGTERM);
            if (!child.waitForExit(kTerminateGrace))
                child.signal(SIGKILL);
        }
    }
    // Whatever else it started in its session goes with it.
    child.stopGroup(std::chrono::milliseconds(0));
}

LimitraError signedOut()
{
    return LimitraError::processFailed(
        QStringLiteral("Claude Code is not signed in. Run `claude auth login` and try again."));
}

} // namespace

Result<ProviderSnapshot> collectSnapshot(const QString &executable, double timeout)
{
    if (Result<void> directory = AppPaths::ensureApplicationSupportDirectory(); !directory)
        return directory.error();
    const QString folder = AppPaths::applicationSupportDirectory() + QStringLiteral("/ClaudeProbe");
    if (Result<void> made = FileSystem::makeDirectories(folder); !made)
        return made.error();
    const QString folderName = QFileInfo(folder).fileName();

    Result<std::unique_ptr<PseudoTerminal>> opened = PseudoTerminal::open(kColumns, kRows);
    if (!opened)
        return LimitraError::processFailed(QStringLiteral("Could not create a terminal for Claude /usage."));
    PseudoTerminal &terminal = **opened;

    ChildOptions options;
    options.program = executable;
    options.arguments = {QStringLiteral("/usage"), QStringLiteral("--ax-screen-reader"), QStringLiteral("--safe-mode")};
    options.workingDirectory = folder;
    options.environment = probeEnvironment(folder);
    options.terminal = terminal.slavePath();
    Result<std::unique_ptr<ChildProcess>> started = ChildProcess::start(options);
    if (!started) {
        return LimitraError::processFailed(QStringLiteral("Could not launch Claude /usage: ")
                                           + started.error().description());
    }
    ChildProcess &child = **started;
    terminal.closeSlave();

    QByteArray buffer;
    bool trustAnswered = false;
    QElapsedTimer clock;
    clock.start();
    const qint64 timeoutMs = timeout > 0 ? static_cast<qint64>(timeout * 1000.0) : 0;
    while (clock.elapsed() < timeoutMs) {
        if (child.hasExited())
            break;
        // Reading on between two looks: a child that draws more than the
        // terminal holds would otherwise reach its screen late.
        terminal.readFor(buffer, kPollInterval, kKeptOutput);
        const QString text = QString::fromUtf8(buffer);
        // Only the question about our own folder is answered, and only once.
        if (!trustAnswered && text.contains(kTrustQuestion) && text.contains(folderName)
            && text.contains(kTrustPrompt)) {
            terminal.write(kTrustAnswer);
            trustAnswered = true;
        }
        if (ClaudeUsageTextDecoder::showsWholeScreen(text)) {
            Result<ProviderSnapshot> snapshot = ClaudeUsageTextDecoder::decode(text, QDateTime::currentDateTimeUtc());
            if (snapshot) {
                stop(child, terminal);
                return snapshot;
            }
        }
        if (ClaudeUsageTextDecoder::showsSignedOut(text)) {
            stop(child, terminal);
            return signedOut();
        }
    }

    terminal.readAvailable(buffer);
    const QString text = QString::fromUtf8(buffer);
    Result<ProviderSnapshot> snapshot = ClaudeUsageTextDecoder::decode(text, QDateTime::currentDateTimeUtc());
    stop(child, terminal);
    if (snapshot)
        return snapshot;
    if (ClaudeUsageTextDecoder::showsSignedOut(text))
        return signedOut();
    return LimitraError::invalidResponse(QStringLiteral("Claude /usage did not contain recognizable plan limits"));
}

} // namespace ClaudeUsageProbe
