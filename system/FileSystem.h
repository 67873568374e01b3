#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QString>

#include <sys/types.h>

#include <optional>

// Small, explicit file-system operations with the platform's error texts.
namespace FileSystem {

// Creates `path` and any missing parents with `mode`; an existing directory
// (or a symbolic link to one) is fine. Existing folders keep their mode.
Result<void> makeDirectories(const QString &path, mode_t mode = 0700);

// Reads a whole regular file. Never blocks on a FIFO or device that happens to
// sit at the path, and refuses files larger than `maxBytes`. The array gets
// `spareCapacity` bytes of room beyond the content (parsers that read ahead).
Result<QByteArray> readFile(const QString &path, qint64 maxBytes = qint64(512) * 1024 * 1024,
                            qsizetype spareCapacity = 0);

// Writes all of `bytes` to a blocking descriptor, retrying after signals.
// False (with errno set; EPIPE for a descriptor that takes nothing) on failure.
bool writeAll(int fd, QByteArrayView bytes);

// Whether anything (even a dangling symbolic link) exists at the path.
bool exists(const QString &path);

std::optional<QDateTime> modificationTime(const QString &path);

// The running executable's absolute path: $APPIMAGE when running from an
// AppImage, else the target of /proc/self/exe; none if neither is known.
std::optional<QString> currentExecutablePath();

} // namespace FileSystem
