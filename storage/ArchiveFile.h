#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QList>
#include <QString>

#include <sys/types.h>

#include <functional>
#include <optional>

// The history file and the history it holds, on the calling thread.
// After the first read the history stays in memory (only this application
// writes the file), and a rewrite copies the text of the snapshots that did not
// change from the previous file instead of encoding them again. Not
// thread-safe: UsageArchiveStore runs it on one thread.
class ArchiveFile
{
public:
    using Clock = std::function<QDateTime()>;

    ArchiveFile(QString path, double retentionSeconds, Clock clock);

    // The stored history. Records that do not decode are left out; a file
    // that cannot be read as a history gives an empty one, and the next append
    // renames it to "<name>.damaged" instead of overwriting it.
    Result<QList<ProviderSnapshot>> load();

    // Adds `snapshots` (dropping near-duplicates of each provider's newest
    // stored snapshot), drops what is older than the retention, sorts by
    // collection time, replaces the file atomically and returns the history.
    // When the file cannot be written, the file and the history stay as they were.
    Result<QList<ProviderSnapshot>> append(const QList<ProviderSnapshot> &snapshots);

private:
    // Where each snapshot's text lies in the file this object last wrote.
    struct Layout {
        QList<qint64> begins; // offset of each snapshot's text, in history order
        qint64 end = 0;       // offset just past the last snapshot's text
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        timespec modified{};
    };

    void ensureLoaded();
    bool fileIsOurs() const;
    Result<Layout> write(const QList<ProviderSnapshot> &history, qsizetype firstKept, qsizetype appended);

    QString m_path;
    double m_retentionSeconds;
    Clock m_clock;
    std::optional<QList<ProviderSnapshot>> m_history;
    bool m_historySorted = true;
    bool m_unreadable = false; // the file is there but held no history
    std::optional<Layout> m_layout;
};
