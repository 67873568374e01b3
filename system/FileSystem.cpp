#include "system/FileSystem.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

namespace FileSystem {

Result<void> makeDirectories(const QString &path, mode_t mode)
{
    const QByteArray native = QFile::encodeName(path);
    if (native.isEmpty())
        return Error::fromErrno(ENOENT, QStringLiteral("Could not create the folder \"\""));

    // Walk the components from the root so that every missing level gets `mode`.
    qsizetype next = 1;
    while (true) {
        const qsizetype slash = native.indexOf('/', next);
        const QByteArray prefix = slash < 0 ? native : native.left(slash);
        if (!prefix.isEmpty() && prefix != "/") {
            if (::mkdir(prefix.constData(), mode) != 0 && errno != EEXIST)
                return Error::fromErrno(errno, QStringLiteral("Could not create the folder %1").arg(path));
            struct stat info = {};
            if (::stat(prefix.constData(), &info) != 0)
                return Error::fromErrno(errno, QStringLiteral("Could not create the folder %1").arg(path));
            if (!S_ISDIR(info.st_mode))
                return Error::fromErrno(ENOTDIR, QStringLiteral("Could not create the folder %1").arg(path));
        }
        if (slash < 0)
            return {};
        next = slash + 1;
    }
}

Result<QByteArray> readFile(const QString &path, qint64 maxBytes, qsizetype spareCapacity)
{
    const QByteArray native = QFile::encodeName(path);
    const auto failure = [&path](int errorNumber) {
        return Error::fromErrno(errorNumber, QStringLiteral("Could not read %1").arg(path));
    };
    const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return failure(errno);

    QByteArray data;
    struct stat info = {};
    int errorNumber = 0;
    if (::fstat(fd, &info) != 0) {
        errorNumber = errno;
    } else if (!S_ISREG(info.st_mode)) {
        errorNumber = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    } else if (info.st_size > maxBytes) {
        errorNumber = EFBIG;
    } else {
        data.reserve(static_cast<qsizetype>(info.st_size) + spareCapacity);
        char chunk[65536];
        while (true) {
            const ssize_t got = ::read(fd, chunk, sizeof chunk);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0) {
                errorNumber = errno;
                break;
            }
            if (got == 0)
                break;
            if (data.size() + got > maxBytes) {
                errorNumber = EFBIG;
                break;
            }
            data.append(chunk, got);
        }
        // Only when the file grew while being read does this move the data.
        if (data.capacity() - data.size() < spareCapacity)
            data.reserve(data.size() + spareCapacity);
    }
    ::close(fd);
    if (errorNumber != 0)
        return failure(errorNumber);
    return data;
}

bool writeAll(int fd, QByteArrayView bytes)
{
    const char *cursor = bytes.data();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, cursor, static_cast<size_t>(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            if (written == 0)
                errno = EPIPE;
            return false;
        }
        cursor += written;
        left -= written;
    }
    return true;
}

bool exists(const QString &path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

std::optional<QDateTime> modificationTime(const QString &path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    const qint64 msecs = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

std::optional<QString> currentExecutablePath()
{
    const QByteArray appImage = qgetenv("APPIMAGE");
    if (!appImage.isEmpty())
        return QFile::decodeName(appImage);
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0)
        return std::nullopt;
    return QFile::decodeName(QByteArray(buffer, length));
}

} // namespace FileSystem
