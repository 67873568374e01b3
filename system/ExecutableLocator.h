#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// Finds the `codex` and `claude` executables the way a desktop application
// must: it does not inherit the user's shell set-up, so it searches a fixed
// set of places besides PATH, and honours a path typed in Settings.
namespace ExecutableLocator {

// Where to look; `current()` reads this process's PATH and home.
struct SearchPlaces {
    QString path;      // the PATH value
    QString home;      // the user's home folder
    QStringList fixed; // after PATH, before the per-user folders

    static SearchPlaces current();
};

// The folders searched for `name`, in the order listed; the last folder that
// holds a usable `name` wins, so a per-user install beats a system-wide one,
// which beats PATH.
QStringList searchDirectories(const SearchPlaces &places);

std::optional<QString> find(const QString &name, const std::optional<QString> &override,
                            const SearchPlaces &places = SearchPlaces::current());
std::optional<QString> findClaude(const std::optional<QString> &override,
                                  const SearchPlaces &places = SearchPlaces::current());
// Every distinct usable Codex executable, the override first.
QStringList codexCandidates(const std::optional<QString> &override,
                            const SearchPlaces &places = SearchPlaces::current());

// A file the current user may execute (not a folder).
bool isUsable(const QString &path);

} // namespace ExecutableLocator
