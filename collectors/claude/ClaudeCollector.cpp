#include "collectors/claude/ClaudeCollector.h"

#include "collectors/claude/ClaudePayloadDecoder.h"
#include "collectors/claude/ClaudeUsageProbe.h"
#include "model/SnapshotJson.h"
#include "system/AppPaths.h"
#include "system/AtomicFile.h"
#include "system/BackgroundTask.h"
#include "system/FileSystem.h"

namespace {

const QString kNotFound =
    QStringLiteral("Claude Code was not found. Install it or set its executable path in Settings.");
const QString kCouldNotRefresh = QStringLiteral("Claude fallback could not refresh: ");

} // namespace

ClaudeCollector::ClaudeCollector(Settings settings)
    : m_settings(std::move(settings))
{
}

QString ClaudeCollector::fallbackPath()
{
    return AppPaths::applicationSupportDirectory() + QStringLiteral("/claude-usage-fallback.json");
}

QFuture<Result<ProviderSnapshot>> ClaudeCollector::collect()
{
    return runInBackground([collector = *this]() -> Result<ProviderSnapshot> { return collector.collectNow(); });
}

Result<ProviderSnapshot> ClaudeCollector::loadStatusSnapshot() const
{
    if (!FileSystem::exists(m_settings.payloadPath))
        return LimitraError::integrationNotConfigured();
    Result<QByteArray> payload = FileSystem::readFile(m_settings.payloadPath);
    if (!payload)
        return payload.error();
    const QDateTime now = m_settings.clock();
    const QDateTime recordedAt = FileSystem::modificationTime(m_settings.payloadPath).value_or(now);
    return ClaudePayloadDecoder::decode(*payload, recordedAt, m_settings.liveInterval, now);
}

ProviderSnapshot ClaudeCollector::staleSnapshot(const std::optional<ProviderSnapshot> &base,
                                                const QString &message) const
{
    ProviderSnapshot snapshot;
    if (base) {
        snapshot = *base;
        snapshot.id = QUuid::createUuid();
        snapshot.state = base->windows.isEmpty() ? CollectorState::unavailable : CollectorState::stale;
    } else {
        snapshot.provider = UsageProvider::claude;
        snapshot.collectedAt = m_settings.clock();
        snapshot.source = UsageSource::claudeUsageCommand;
        snapshot.state = CollectorState::unavailable;
    }
    snapshot.message = message;
    return snapshot;
}

Result<void> ClaudeCollector::saveFallbackSnapshot(const ProviderSnapshot &snapshot)
{
    if (Result<void> directory = AppPaths::ensureApplicationSupportDirectory(); !directory)
        return directory;
    return AtomicFile::write(fallbackPath(), encodeFallbackSnapshot(snapshot));
}

ProviderSnapshot ClaudeCollector::collectNow() const
{
    QList<ProviderSnapshot> candidates;
    if (Result<ProviderSnapshot> status = loadStatusSnapshot())
        candidates.append(*status);
    if (Result<QByteArray> saved = FileSystem::readFile(fallbackPath())) {
        if (Result<ProviderSnapshot> fallback = decodeFallbackSnapshot(*saved))
            candidates.append(*fallback);
    }

    // The newest candidate with windows; on a tie the status line wins.
    std::optional<ProviderSnapshot> best;
    for (const ProviderSnapshot &candidate : candidates) {
        if (candidate.windows.isEmpty())
            continue;
        if (!best || best->collectedAt < candidate.collectedAt)
            best = candidate;
    }
    const QDateTime now = m_settings.clock();
    if (best && static_cast<double>(best->collectedAt.msecsTo(now)) / 1000.0 <= m_settings.liveInterval)
        return *best;

    const std::optional<QString> executable =
        ExecutableLocator::findClaude(m_settings.executableOverride, m_settings.searchPlaces);
    if (!executable)
        return staleSnapshot(best, kNotFound);

    Result<ProviderSnapshot> probed = ClaudeUsageProbe::collectSnapshot(*executable, m_settings.probeTimeout);
    if (!probed)
        return staleSnapshot(best, kCouldNotRefresh + probed.error().description());
    if (Result<void> saved = saveFallbackSnapshot(*probed); !saved)
        return staleSnapshot(best, kCouldNotRefresh + saved.error().description());
    return *probed;
}
