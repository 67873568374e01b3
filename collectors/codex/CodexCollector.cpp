#include "collectors/codex/CodexCollector.h"

#include "collectors/codex/CodexRPCSession.h"
#include "system/BackgroundTask.h"
#include "system/ExecutableLocator.h"

CodexCollector::CodexCollector(std::optional<QString> executableOverride)
    : m_executableOverride(std::move(executableOverride))
{
}

QFuture<Result<ProviderSnapshot>> CodexCollector::collect()
{
    const QStringList candidates = ExecutableLocator::codexCandidates(m_executableOverride);
    if (candidates.isEmpty())
        return QtFuture::makeReadyFuture(
            Result<ProviderSnapshot>(LimitraError::executableNotFound(QStringLiteral("Codex"))));
    return runInBackground([candidates] { return collectFrom(candidates, kSessionTimeout); });
}

Result<ProviderSnapshot> CodexCollector::collectFrom(const QStringList &candidates, double sessionTimeout,
                                                     const CodexRPCSession::Wait &wait)
{
    QStringList failures;
    for (const QString &candidate : candidates) {
        Result<ProviderSnapshot> snapshot = CodexRPCSession::collect(candidate, sessionTimeout, wait);
        if (snapshot)
            return snapshot;
        failures.append(candidate + QStringLiteral(": ") + snapshot.error().description());
    }
    return LimitraError::processFailed(
        QStringLiteral("OpenAI account usage could not be read through any installed Codex adapter. ")
        + failures.join(QStringLiteral(" | ")));
}
