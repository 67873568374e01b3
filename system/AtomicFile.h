#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <sys/types.h>

#include <functional>
#include <optional>

// Replacing a file so that readers only ever see the old or the new content:
// the bytes go to a temporary file in the target's folder, which is then
// renamed over the target. Temporaries that a killed writer left in the
// folder are removed at the next write there. A symbolic link at the path is followed, so the
// link survives and its target is replaced. A target the user may not write
// is refused (the rename alone would get around its permissions).
namespace AtomicFile {

struct Options {
    mode_t mode = 0600;
    // Keep the permissions of a file being replaced (for files other programs
    // own); `mode` then only applies to a new file.
    bool keepExistingMode = false;
    // Flush the data and the folder to disk before returning. Files that are
    // rewritten every few seconds and worthless after a crash skip it.
    bool durable = true;
    // For files that other programs write too: whether what the target holds
    // (nothing: there is no file) is what the caller read. False leaves the
    // target as the other program wrote it and fails the write (ECANCELED), so
    // that the caller can read it again. Where the file system can exchange
    // two names, the check sees exactly the file the new one replaced, so no
    // write in between goes unnoticed; elsewhere it comes just before the
    // rename.
    std::function<bool(const std::optional<QByteArray> &current)> stillAsRead;
};

Result<void> write(const QString &path, QByteArrayView data, const Options &options = {});

// The same, with the content produced by `produce`, which writes it to the
// temporary file's descriptor and returns false (with errno set) on failure.
Result<void> write(const QString &path, const std::function<bool(int fd)> &produce, const Options &options = {});

// Removes temporary files that an interrupted `write` left in the folder of
// `path` (a process killed while writing), without waiting for the next write.
void removeLeftovers(const QString &path);

// Whether `write` could replace the file at `path` now: its folder exists and
// may be written, and an existing target may be written. Lets a caller that
// changes several files check them all before touching any.
Result<void> checkWritable(const QString &path);

// The path with symbolic links at its end followed (up to 40 hops). The
// final target need not exist.
Result<QByteArray> resolveSymbolicLinks(const QByteArray &path);

} // namespace AtomicFile
