#include "storage/UsageArchiveStore.h"

#include "storage/ArchiveFile.h"
#include "system/AppPaths.h"
#include "system/BackgroundTask.h"

UsageArchiveStore::UsageArchiveStore(QString path, int retentionDays, std::function<QDateTime()> clock)
    : m_file(std::make_unique<ArchiveFile>(std::move(path), retentionDays * 86400.0, std::move(clock)))
{
    // One thread: operations are serialised, first called, first run.
    m_executor.setMaxThreadCount(1);
}

UsageArchiveStore::~UsageArchiveStore()
{
    m_executor.waitForDone();
}

QFuture<Result<UsageArchiveStore::History>> UsageArchiveStore::load()
{
    return runOn(m_executor, [file = m_file.get()] { return file->load(); });
}

QFuture<Result<UsageArchiveStore::History>> UsageArchiveStore::append(QList<ProviderSnapshot> snapshots)
{
    return runOn(m_executor,
                 [file = m_file.get(), snapshots = std::move(snapshots)] { return file->append(snapshots); });
}

QString UsageArchiveStore::defaultPath()
{
    return AppPaths::applicationSupportDirectory() + QStringLiteral("/usage-history.json");
}
