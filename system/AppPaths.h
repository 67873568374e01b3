#pragma once

#include "model/Result.h"

#include <QString>

// Where Limitra keeps its own files: "Limitra" in the user's XDG data folder
// ($XDG_DATA_HOME, by default ~/.local/share).
namespace AppPaths {

// The user's XDG data folder: $XDG_DATA_HOME when it is an absolute path,
// else ~/.local/share.
QString dataHome();

// The user's XDG configuration folder: $XDG_CONFIG_HOME when it is an
// absolute path, else ~/.config.
QString configHome();

QString applicationSupportDirectory();

// The last status-line payload, which the helper writes and the application
// reads: "claude-statusline.json" in applicationSupportDirectory().
QString claudeStatusLinePayload();

// Creates the folder (mode 0700) and any missing parents; an existing folder
// is fine, a file in its place is an error.
Result<void> ensureApplicationSupportDirectory();

// The user's home folder ($HOME, else the password database).
QString homeDirectory();

} // namespace AppPaths
