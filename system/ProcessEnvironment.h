#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <mutex>

// The process environment (`environ`) is one array for every thread. A thread
// that changes it while another walks it or hands it to posix_spawn may leave
// the other reading an array that setenv has just freed, so both hold this
// lock. Recursive: a window opened while it is held may start a child.
namespace ProcessEnvironment {

std::recursive_mutex &lock();

// A copy of this process's environment, one "NAME=value" entry each.
QList<QByteArray> entries();

// `environment` for running the executable at `executable` (a path as found,
// symbolic links not followed), with the executable's folder first on PATH.
// A tool installed with a Node version manager is a script that starts
// `node` through PATH, and the node it was installed with sits beside it, in
// a folder that a desktop session's PATH does not hold.
QList<QByteArray> forExecutable(QList<QByteArray> environment, const QString &executable);

} // namespace ProcessEnvironment
