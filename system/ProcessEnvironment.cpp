#include "system/ProcessEnvironment.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

#include <unistd.h>

namespace {

// What PATH means to `env` and the shells when it is not set.
constexpr char kDefaultPath[] = "/usr/local/bin:/usr/bin:/bin";

} // namespace

std::recursive_mutex &ProcessEnvironment::lock()
{
    static std::recursive_mutex environment;
    return environment;
}

QList<QByteArray> ProcessEnvironment::entries()
{
    QList<QByteArray> copy;
    const std::scoped_lock environmentLock(lock());
    for (char **entry = environ; entry && *entry; ++entry)
        copy.append(QByteArray(*entry));
    return copy;
}

QList<QByteArray> ProcessEnvironment::forExecutable(QList<QByteArray> environment, const QString &executable)
{
    const QByteArray folder = QFile::encodeName(QFileInfo(executable).absolutePath());
    const auto path = std::find_if(environment.begin(), environment.end(),
                                   [](const QByteArray &entry) { return entry.startsWith("PATH="); });
    if (path == environment.end()) {
        environment.append("PATH=" + folder + ':' + kDefaultPath);
        return environment;
    }
    const QByteArray value = path->mid(5);
    if (!value.split(':').contains(folder))
        *path = "PATH=" + folder + (value.isEmpty() ? QByteArray() : ':' + value);
    return environment;
}
