#include "app/Diagnostics.h"

#include "collectors/claude/ClaudeIntegrationManager.h"
#include "collectors/claude/ClaudeUsageProbe.h"
#include "collectors/codex/CodexRPCSession.h"
#include "system/ExecutableLocator.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace Diagnostics {

namespace {

constexpr double kLocatedCodexTimeout = 15;
constexpr double kExplicitCodexTimeout = 25;
constexpr double kClaudeProbeTimeout = 20;

// One line in one write, straight to the descriptor.
void writeLine(int fd, const QString &line)
{
    const QByteArray bytes = (line + QLatin1Char('\n')).toUtf8();
    [[maybe_unused]] const ssize_t written = ::write(fd, bytes.constData(), static_cast<size_t>(bytes.size()));
}

int report(const Result<ProviderSnapshot> &snapshot, const QString &subject)
{
    if (snapshot) {
        writeLine(STDOUT_FILENO,
                  QStringLiteral("%1 OK (%2 usage windows).").arg(subject).arg(snapshot->windows.size()));
        return 0;
    }
    writeLine(STDERR_FILENO, QStringLiteral("%1 failed: %2").arg(subject, snapshot.error().description()));
    return 1;
}

} // namespace

int checkCodex()
{
    const QStringList candidates = ExecutableLocator::codexCandidates(std::nullopt);
    if (candidates.isEmpty()) {
        writeLine(STDERR_FILENO, QStringLiteral("Codex executable not found."));
        return 2;
    }
    return report(CodexRPCSession::collect(candidates.first(), kLocatedCodexTimeout),
                  QStringLiteral("Codex collector"));
}

int checkCodexPath(const QByteArray &path)
{
    // Taken as written: no trimming, no "~"; relative to the current folder.
    const QString executable = QFile::decodeName(path);
    return report(CodexRPCSession::collect(executable, kExplicitCodexTimeout), QStringLiteral("Codex adapter"));
}

int checkClaude()
{
    // Refuses without the bridge, although the probe does not need it: the
    // check is about the whole Claude set-up.
    if (!ClaudeIntegrationManager::isInstalled()) {
        writeLine(STDERR_FILENO, QStringLiteral("Claude bridge is not installed."));
        return 2;
    }
    const std::optional<QString> claude = ExecutableLocator::findClaude(std::nullopt);
    if (!claude) {
        writeLine(STDERR_FILENO, QStringLiteral("Claude executable not found."));
        return 2;
    }
    return report(ClaudeUsageProbe::collectSnapshot(*claude, kClaudeProbeTimeout), QStringLiteral("Claude collector"));
}

} // namespace Diagnostics
