#include "system/ExecutableLocator.h"

#include "system/AppPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace ExecutableLocator {

namespace {

// The override counts when it holds more than white space; "~" at its start
// means the home folder.
std::optional<QString> expandedOverride(const std::optional<QString> &override, const QString &home)
{
    if (!override || override->trimmed().isEmpty())
        return std::nullopt;
    const QString &path = *override;
    if (path == QLatin1String("~"))
        return home;
    if (path.startsWith(QLatin1String("~/")))
        return home + path.mid(1);
    return path;
}

} // namespace

SearchPlaces SearchPlaces::current()
{
    return {
        .path = QFile::decodeName(qgetenv("PATH")),
        .home = AppPaths::homeDirectory(),
        // Homebrew on Linux, then the system-wide place for hand installs.
        .fixed = {QStringLiteral("/home/linuxbrew/.linuxbrew/bin"), QStringLiteral("/usr/local/bin")},
    };
}

bool isUsable(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    struct stat info = {};
    return !native.isEmpty() && ::stat(native.constData(), &info) == 0 && S_ISREG(info.st_mode)
           && ::access(native.constData(), X_OK) == 0;
}

QStringList searchDirectories(const SearchPlaces &places)
{
    QStringList directories = places.path.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    directories += places.fixed;
    for (const char *perUser : {"/.local/bin", "/.npm-global/bin", "/.volta/bin", "/.bun/bin"})
        directories.append(places.home + QLatin1String(perUser));
    // Node versions in the order the folder lists them, not sorted.
    const QDir nvm(places.home + QStringLiteral("/.nvm/versions/node"));
    for (const QString &version : nvm.entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Unsorted))
        directories.append(nvm.filePath(version) + QStringLiteral("/bin"));
    return directories;
}

std::optional<QString> find(const QString &name, const std::optional<QString> &override, const SearchPlaces &places)
{
    if (std::optional<QString> expanded = expandedOverride(override, places.home); expanded && isUsable(*expanded))
        return expanded;
    const QStringList directories = searchDirectories(places);
    // The last directory wins.
    for (qsizetype i = directories.size() - 1; i >= 0; --i) {
        const QString candidate = directories[i] + QLatin1Char('/') + name;
        if (isUsable(candidate))
            return candidate;
    }
    return std::nullopt;
}

std::optional<QString> findClaude(const std::optional<QString> &override, const SearchPlaces &places)
{
    if (std::optional<QString> found = find(QStringLiteral("claude"), override, places))
        return found;
    // Where Claude Code's own "local" installation puts it.
    const QString local = places.home + QStringLiteral("/.claude/local/claude");
    if (isUsable(local))
        return local;
    return std::nullopt;
}

QStringList codexCandidates(const std::optional<QString> &override, const SearchPlaces &places)
{
    QStringList added;
    if (const std::optional<QString> expanded = expandedOverride(override, places.home))
        added.append(*expanded);
    if (const std::optional<QString> found = find(QStringLiteral("codex"), std::nullopt, places))
        added.append(*found);

    QStringList kept;
    QStringList canonical;
    for (const QString &candidate : added) {
        if (!isUsable(candidate))
            continue;
        const QString resolved = QFileInfo(candidate).canonicalFilePath();
        if (canonical.contains(resolved))
            continue;
        canonical.append(resolved);
        kept.append(candidate);
    }
    return kept;
}

} // namespace ExecutableLocator
