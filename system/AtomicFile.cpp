#include "system/AtomicFile.h"

#include "system/FileSystem.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstdio>
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

// What is at `path` now (nothing when there is no file), or false when it
// cannot be read.
bool contentAt(const QByteArray &path, std::optional<QByteArray> &content)
{
    content.reset();
    if (::access(path.constData(), F_OK) != 0)
        return errno == ENOENT;
    Result<QByteArray> bytes = FileSystem::readFile(QFile::decodeName(path));
    if (bytes)
        content = std::move(*bytes);
    return bytes.ok();
}

// Moves the temporary file (open as `fd`) over the target if the target holds
// what `stillAsRead` expects: 0, ECANCELED when it does not (the other
// program's file stays), or another errno. On failure the temporary name is
// left for the caller to remove.
int replaceIfAsRead(const QByteArray &temporary, const QByteArray &target, int fd,
                    const std::function<bool(const std::optional<QByteArray> &)> &stillAsRead)
{
    const auto asRead = [&stillAsRead](const QByteArray &path) {
        std::optional<QByteArray> content;
        return contentAt(path, content) && stillAsRead(content);
    };
    // Most changes show here, before anyone could see ours.
    if (!asRead(target))
        return ECANCELED;
    const char *from = temporary.constData();
    const char *to = target.constData();
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_EXCHANGE) == 0) {
        // The temporary name now holds the file ours replaced: a write that
        // came after the check shows here, and is undone within moments.
        if (asRead(temporary)) {
            ::unlink(from);
            return 0;
        }
        // Theirs goes back. The exchange takes out whatever is in place now:
        // ours, unless yet another write came in between, which then goes
        // back in place too, being the newest.
        if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_EXCHANGE) != 0)
            return 0; // their file left our temporary name; ours stands
        struct stat mine = {}, outside = {};
        if (::fstat(fd, &mine) == 0 && ::stat(from, &outside) == 0
            && (mine.st_ino != outside.st_ino || mine.st_dev != outside.st_dev))
            ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_EXCHANGE);
        return ECANCELED;
    }
    if (errno == ENOENT) { // no target to exchange with
        if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
            return 0;
        if (errno == EEXIST) {
            asRead(target); // created meanwhile: lets the caller see that it changed
            return ECANCELED;
        }
    }
    // NFS and many FUSE file systems take no flags (the names are looked up
    // first, so a missing target still said ENOENT): the check above is all.
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return errno;
    return ::rename(from, to) == 0 ? 0 : errno;
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
    // Renamed while still open, so that the lock marks a live writer until the end.
    if (failure == 0 && options.stillAsRead)
        failure = replaceIfAsRead(temporary, target, fd, options.stillAsRead);
    else if (failure == 0 && ::rename(temporary.constData(), target.constData()) != 0)
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
