#include "system/AppPaths.h"

#include "system/FileSystem.h"

#include <QFile>

#include <pwd.h>
#include <unistd.h>

namespace AppPaths {

QString homeDirectory()
{
    const QByteArray home = qgetenv("HOME");
    if (!home.isEmpty())
        return QFile::decodeName(home);
    if (const passwd *entry = ::getpwuid(::getuid()); entry && entry->pw_dir)
        return QFile::decodeName(entry->pw_dir);
    qFatal("Limitra cannot tell the user's home folder");
}

QString dataHome()
{
    QString configured = QFile::decodeName(qgetenv("XDG_DATA_HOME"));
    // Relative values are invalid and must be ignored.
    if (configured.startsWith(QLatin1Char('/')))
        return configured;
    return homeDirectory() + QStringLiteral("/.local/share");
}

QString configHome()
{
    QString configured = QFile::decodeName(qgetenv("XDG_CONFIG_HOME"));
    if (configured.startsWith(QLatin1Char('/')))
        return configured;
    return homeDirectory() + QStringLiteral("/.config");
}

QString applicationSupportDirectory()
{
    return dataHome() + QStringLiteral("/Limitra");
}

QString claudeStatusLinePayload()
{
    return applicationSupportDirectory() + QStringLiteral("/claude-statusline.json");
}

Result<void> ensureApplicationSupportDirectory()
{
    return FileSystem::makeDirectories(applicationSupportDirectory(), 0700);
}

} // namespace AppPaths
