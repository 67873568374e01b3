#include "system/AtomicFile.h"

#include "system/FileSystem.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

namespace AtomicFile {

namespace {

constexpr int kMaxLinkHops = 40;
// Keeps the temporary name within NAME_MAX for long file names.
constexpr qsizetype kMaxNameInTemporary = 200;
Error writeError(int errorNumber, const QString &path)
{
    return Error::fromErrno(errorNumber, QStringLiteral("Could not write %1").arg(path));
}

QByteArray folderOf(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    if (slash < 0)
        return QByteArrayLiteral(".");
    if (slash == 0)
        return QByteArrayLiteral("/");
    return path.left(slash);
}

QByteArray nameOf(const QByteArray &path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

// ".<target name>.limitra-tmp-XXXXXX": a name no other program uses, so that
// leftovers of ours can be told from anybody else's files.
constexpr char kTemporaryMark[] = ".limitra-tmp-";
constexpr qsizetype kRandomPartLength = 6;
constexpr int kCreateAttempts = 4;

bool isOurTemporaryName(QByteArrayView name)
{
    const qsizetype mark = name.size() - kRandomPartLength - qsizetype(sizeof kTemporaryMark - 1);
    return name.startsWith('.') && mark > 0 && name.sliced(mark).startsWith(kTemporaryMark);
}

// A writer holds an exclusive lock on its temporary file from creating it
// until after the rename, and the kernel drops the lock when the writer dies,
// however it dies: a temporary of ours that can be locked has no writer.
void removeStaleTemporaries(const QByteArray &folder)
{
    DIR *directory = ::opendir(folder.constData());
    if (!directory)
        return;
    const int folderFd = ::dirfd(directory);
    while (const dirent *entry = ::readdir(directory)) {
        if (!isOurTemporaryName(entry->d_name))
            continue;
        const int fd = ::openat(folderFd, entry->d_name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        if (fd < 0)
            continue;
        struct stat info = {};
        if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && ::flock(fd, LOCK_EX | LOCK_NB) == 0)
            ::unlinkat(folderFd, entry->d_name, 0);
        ::close(fd);
    }
    ::closedir(directory);
}

// Creates and locks a temporary file next to `target`; -1 with errno set on failure.
int createTemporary(const QByteArray &folder, const QByteArray &target, QByteArray &temporary)
{
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        temporary = folder + "/." + nameOf(target).left(kMaxNameInTemporary) + kTemporaryMark
                    + QByteArray(kRandomPartLength, 'X');
        const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
        if (fd < 0)
            return -1;
        struct stat info = {};
        // A cleaner may have taken the file between its creation and the lock.
        if (::flock(fd, LOCK_EX) == 0 && ::fstat(fd, &info) == 0 && info.st_nlink > 0)
            return fd;
        ::close(fd);
    }
    errno = EAGAIN;
    return -1;
}

// 0 when the existing target (if any) and its folder allow the replacement,
// else the errno value that explains why not.
int replacementBlocker(const QByteArray &target)
{
    const QByteArray folder = folderOf(target);
    struct stat info = {};
    if (::stat(folder.constData(), &info) != 0)
        return errno;
    if (!S_ISDIR(info.st_mode))
        return ENOTDIR;
    if (::access(folder.constData(), W_OK | X_OK) != 0)
        return errno;
    if (::stat(target.constData(), &info) == 0) {
        if (S_ISDIR(info.st_mode))
            return EISDIR;
        if (::access(target.constData(), W_OK) != 0)
            return errno;
    }
    return 0;
}

} // namespace

Result<QByteArray> resolveSymbolicLinks(const QByteArray &path)
{
    QByteArray current = path;
    for (int hop = 0; hop < kMaxLinkHops; ++hop) {
        struct stat info = {};
        if (::lstat(current.constData(), &info) != 0 || !S_ISLNK(info.st_mode))
            return current;
        char buffer[PATH_MAX];
        const ssize_t length = ::readlink(current.constData(), buffer, sizeof buffer);
        if (length < 0 || length >= static_cast<ssize_t>(sizeof buffer))
            return Error::fromErrno(length < 0 ? errno : ENAMETOOLONG,
                                    QStringLiteral("Could not follow %1").arg(QFile::decodeName(path)));
        const QByteArray link(buffer, length);
        current = link.startsWith('/') ? link : folderOf(current) + '/' + link;
    }
    return Error::fromErrno(ELOOP, QStringLiteral("Could not follow %1").arg(QFile::decodeName(path)));
}

Result<void> checkWritable(const QString &path)
{
    Result<QByteArray> target = resolveSymbolicLinks(QFile::encodeName(path));
    if (!target)
        return target.error();
    if (const int blocker = replacementBlocker(*target))
        return writeError(blocker, path);
    return {};
}

Result<void> write(const QString &path, QByteArrayView data, const Options &options)
{
    return write(
        path, [data](int fd) { return FileSystem::writeAll(fd, data); }, options);
}

void removeLeftovers(const QString &path)
{
    Result<QByteArray> target = resolveSymbolicLinks(QFile::encodeName(path));
    if (!target)
        return;
    removeStaleTemporaries(folderOf(*target));
    // Temporaries named before they carried the mark.
    const QString folder = QFile::decodeName(folderOf(*target));
    const QString prefix =
        QLatin1Char('.') + QFile::decodeName(nameOf(*target).left(kMaxNameInTemporary)) + QStringLiteral(".tmp-");
    const QDir directory(folder);
    for (const QString &name : directory.entryList({prefix + QLatin1Char('*')}, QDir::Files | QDir::Hidden)) {
        if (name.size() == prefix.size() + 6)
            QFile::remove(directory.filePath(name));
    }
}

Result<void> write(const QString &path, const std::function<bool(int fd)> &produce, const Options &options)
{
    Result<QByteArray> resolved = resolveSymbolicLinks(QFile::encodeName(path));
    if (!resolved)
        return resolved.error();
    const QByteArray &target = *resolved;
    if (const int blocker = replacementBlocker(target))
        return writeError(blocker, path);

    mode_t mode = options.mode;
    struct stat existing = {};
    if (options.keepExistingMode && ::stat(target.constData(), &existing) == 0)
        mode = existing.st_mode & 07777;

    const QByteArray folder = folderOf(target);
    removeStaleTemporaries(folder);
    QByteArray temporary;
    const int fd = createTemporary(folder, target, temporary);
    if (fd < 0)
        return writeError(errno, path);

    int failure = 0;
    errno = 0;
    if (::fchmod(fd, mode) != 0 || !produce(fd) || (options.durable && ::fsync(fd) != 0))
        failure = errno != 0 ? errno : EIO;
    if (failure == 0 && options.stillAsRead && !options.stillAsRead())
        failure = ECANCELED;
    // Renamed while still open, so that the lock marks a live writer until the end.
    if (failure == 0 && ::rename(temporary.constData(), target.constData()) != 0)
        failure = errno;
    if (failure != 0)
        ::unlink(temporary.constData());
    if (::close(fd) != 0 && failure == 0)
        failure = errno;
    if (failure != 0)
        return writeError(failure, path);

    if (options.durable) {
        // Makes the rename itself survive a crash.
        const int folderFd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (folderFd >= 0) {
            ::fsync(folderFd);
            ::close(folderFd);
        }
    }
    return {};
}

} // namespace AtomicFile
