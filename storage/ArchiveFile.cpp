#include "storage/ArchiveFile.h"

#include "storage/ArchiveFormat.h"
#include "system/AtomicFile.h"
#include "system/FileSystem.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 kNearDuplicateMs = 30'000;

// Copies `length` bytes from `offset` of `from` to the end of `to`, inside the kernel.
bool copyRange(int from, qint64 offset, qint64 length, int to)
{
    loff_t position = offset;
    while (length > 0) {
        const ssize_t copied = ::copy_file_range(from, &position, to, nullptr, static_cast<size_t>(length), 0);
        if (copied < 0 && errno == EINTR)
            continue;
        if (copied <= 0) {
            if (copied < 0 && errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP)
                return false;
            // A file system without in-kernel copies: read and write.
            char buffer[65536];
            while (length > 0) {
                const ssize_t got =
                    ::pread(from, buffer, static_cast<size_t>(std::min<qint64>(length, sizeof buffer)), position);
                if (got <= 0)
                    return false;
                if (!FileSystem::writeAll(to, QByteArrayView(buffer, got)))
                    return false;
                position += got;
                length -= got;
            }
            return true;
        }
        length -= copied;
    }
    return true;
}

// The newest stored snapshot of each provider: the first of the greatest
// collection time, in history order. A sorted history is searched from its
// end, which finds them after a few steps.
std::map<UsageProvider, const ProviderSnapshot *> latestByProvider(const QList<ProviderSnapshot> &history, bool sorted)
{
    std::map<UsageProvider, const ProviderSnapshot *> latest;
    if (!sorted) {
        for (const ProviderSnapshot &snapshot : history) {
            const ProviderSnapshot *&current = latest[snapshot.provider];
            if (!current || current->collectedAt < snapshot.collectedAt)
                current = &snapshot;
        }
        return latest;
    }
    for (qsizetype i = history.size() - 1; i >= 0; --i) {
        const ProviderSnapshot &snapshot = history[i];
        const auto found = latest.find(snapshot.provider);
        if (found == latest.end())
            latest.emplace(snapshot.provider, &snapshot);
        else if (found->second->collectedAt == snapshot.collectedAt)
            found->second = &snapshot; // an earlier one of the same moment
        else if (latest.size() == static_cast<std::size_t>(allCases<UsageProvider>.size())
                 && std::all_of(latest.begin(), latest.end(), [&snapshot](const auto &entry) {
                        return snapshot.collectedAt < entry.second->collectedAt;
                    }))
            break;
    }
    return latest;
}

QList<ProviderSnapshot> storedForm(const QList<ProviderSnapshot> &snapshots)
{
    if (snapshots.isEmpty())
        return {};
    Result<UsageArchive> read = ArchiveFormat::decode(ArchiveFormat::encode({snapshots}));
    return read ? std::move(read->snapshots) : QList<ProviderSnapshot>();
}

bool isNearDuplicate(const ProviderSnapshot &candidate, const ProviderSnapshot *latest)
{
    return latest && latest->collectedAt.msecsTo(candidate.collectedAt) < kNearDuplicateMs
           && candidate.windows == latest->windows && candidate.state == latest->state;
}

} // namespace

ArchiveFile::ArchiveFile(QString path, double retentionSeconds, Clock clock)
    : m_path(std::move(path))
    , m_retentionSeconds(retentionSeconds)
    , m_clock(std::move(clock))
{
}

Result<QList<ProviderSnapshot>> ArchiveFile::load()
{
    ensureLoaded();
    return *m_history;
}

void ArchiveFile::ensureLoaded()
{
    if (m_history && (!m_layout || fileIsOurs()))
        return;
    m_layout.reset();
    AtomicFile::removeLeftovers(m_path);
    Result<QByteArray> bytes =
        FileSystem::readFile(m_path, qint64(2) * 1024 * 1024 * 1024, ArchiveFormat::kReadPadding);
    Result<UsageArchive> decoded = bytes ? ArchiveFormat::decode(*bytes) : Result<UsageArchive>(bytes.error());
    m_unreadable = !decoded && QFileInfo(m_path).isFile();
    m_history = decoded ? std::move(decoded->snapshots) : QList<ProviderSnapshot>();
    m_historySorted = ArchiveFormat::isSorted(*m_history);
}

bool ArchiveFile::fileIsOurs() const
{
    struct stat info = {};
    if (!m_layout || ::stat(QFile::encodeName(m_path).constData(), &info) != 0)
        return false;
    return info.st_dev == m_layout->device && info.st_ino == m_layout->inode && info.st_size == m_layout->size
           && info.st_mtim.tv_sec == m_layout->modified.tv_sec && info.st_mtim.tv_nsec == m_layout->modified.tv_nsec;
}

Result<QList<ProviderSnapshot>> ArchiveFile::append(const QList<ProviderSnapshot> &snapshots)
{
    ensureLoaded();
    const QList<ProviderSnapshot> &history = *m_history;
    const auto latest = latestByProvider(history, m_historySorted);
    QList<ProviderSnapshot> accepted;
    for (const ProviderSnapshot &snapshot : snapshots) {
        const auto found = latest.find(snapshot.provider);
        if (!isNearDuplicate(snapshot, found == latest.end() ? nullptr : found->second))
            accepted.append(snapshot);
    }

    // Into the history as the file will read them back (whole seconds), so
    // that this history and the one a later start reads agree, near-duplicates
    // included.
    accepted = storedForm(accepted);

    const QDateTime cutoff = m_clock().addMSecs(-static_cast<qint64>(m_retentionSeconds * 1000.0));
    const auto expired = [&cutoff](const ProviderSnapshot &snapshot) { return snapshot.collectedAt < cutoff; };
    accepted.removeIf(expired);

    // The usual round: the history is in order and the new snapshots come
    // after it. Then the result is the history without its expired start, plus
    // the new snapshots, and the file can be rewritten by copying.
    const bool appendsInOrder =
        m_historySorted && ArchiveFormat::isSorted(accepted)
        && (history.isEmpty() || accepted.isEmpty() || !(accepted.first().collectedAt < history.last().collectedAt));
    QList<ProviderSnapshot> merged;
    qsizetype firstKept = 0;
    if (appendsInOrder) {
        firstKept = std::partition_point(history.cbegin(), history.cend(), expired) - history.cbegin();
        merged = history.mid(firstKept);
        merged.append(accepted);
    } else {
        merged = history;
        merged.removeIf(expired);
        merged.append(accepted);
        std::stable_sort(merged.begin(), merged.end(), [](const ProviderSnapshot &a, const ProviderSnapshot &b) {
            return a.collectedAt < b.collectedAt;
        });
    }

    const bool copyable = appendsInOrder && m_layout && fileIsOurs();
    if (Result<void> folder = FileSystem::makeDirectories(QFileInfo(m_path).absolutePath()); !folder)
        return folder.error();
    if (m_unreadable) {
        // This append starts a new history: keep what could not be read
        // (replacing an older such copy) instead of overwriting it.
        const QByteArray damaged = QFile::encodeName(m_path + QStringLiteral(".damaged"));
        ::rename(QFile::encodeName(m_path).constData(), damaged.constData());
        m_unreadable = false;
    }
    Result<Layout> written = write(merged, copyable ? firstKept : -1, accepted.size());
    if (!written)
        return written.error();
    m_layout = *written;
    m_history = merged;
    m_historySorted = true;
    return merged;
}

// Writes `history`. With `firstKept` >= 0 the texts of all but the last
// `appended` snapshots are copied from the current file, starting at its
// snapshot `firstKept`; otherwise every snapshot is encoded.
Result<ArchiveFile::Layout> ArchiveFile::write(const QList<ProviderSnapshot> &history, qsizetype firstKept,
                                               qsizetype appended)
{
    Layout layout;
    layout.begins.reserve(history.size());
    int previous = -1;
    if (firstKept >= 0) {
        previous = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_CLOEXEC);
        if (previous < 0)
            firstKept = -1;
    }

    const auto produce = [&](int fd) {
        QByteArray text = ArchiveFormat::header();
        qint64 offset = 0;
        const auto flush = [&] {
            offset += text.size();
            const bool ok = FileSystem::writeAll(fd, text);
            text.clear();
            return ok;
        };
        qsizetype encodeFrom = 0;
        if (firstKept >= 0 && history.size() > appended) {
            // Unchanged snapshots: one copy of their text, separators included.
            const qint64 copyStart = m_layout->begins[firstKept];
            text += ArchiveFormat::separator(true);
            if (!flush())
                return false;
            for (qsizetype i = firstKept; i < m_layout->begins.size(); ++i)
                layout.begins.append(offset + m_layout->begins[i] - copyStart);
            if (!copyRange(previous, copyStart, m_layout->end - copyStart, fd))
                return false;
            offset += m_layout->end - copyStart;
            encodeFrom = history.size() - appended;
        }
        for (qsizetype i = encodeFrom; i < history.size(); ++i) {
            text += ArchiveFormat::separator(i == 0);
            layout.begins.append(offset + text.size());
            ArchiveFormat::appendSnapshot(text, history[i]);
            if (text.size() > 1 << 20 && !flush())
                return false;
        }
        layout.end = offset + text.size();
        text += ArchiveFormat::footer();
        if (!flush())
            return false;
        struct stat info = {};
        if (::fstat(fd, &info) != 0)
            return false;
        layout.device = info.st_dev;
        layout.inode = info.st_ino;
        layout.size = info.st_size;
        layout.modified = info.st_mtim;
        return true;
    };
    Result<void> written =
        AtomicFile::write(m_path, produce, {.mode = 0600, .keepExistingMode = false, .durable = true});
    if (previous >= 0)
        ::close(previous);
    if (!written)
        return written.error();
    return layout;
}
