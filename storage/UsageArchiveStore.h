#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QFuture>
#include <QString>
#include <QThreadPool>

#include <functional>
#include <memory>

class ArchiveFile;

// The usage history ("usage-history.json"): its operations run one at a time,
// in the order they were called, on a thread of the store's own, so callers
// are never blocked.
class UsageArchiveStore
{
public:
    using History = QList<ProviderSnapshot>;

    // Touches no file. `clock` tells the current time (for the retention).
    UsageArchiveStore(
        QString path, int retentionDays = 90,
        std::function<QDateTime()> clock = [] { return QDateTime::currentDateTimeUtc(); });
    // Waits for the operations already called.
    ~UsageArchiveStore();

    QFuture<Result<History>> load();
    QFuture<Result<History>> append(QList<ProviderSnapshot> snapshots);

    // "usage-history.json" in the application's folder.
    static QString defaultPath();

private:
    std::unique_ptr<ArchiveFile> m_file; // used only on m_executor's thread
    QThreadPool m_executor;
};
