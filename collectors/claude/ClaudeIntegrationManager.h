#pragma once

#include "model/Result.h"
#include "system/FileSystem.h"

#include <QJsonObject>
#include <QString>

#include <optional>

// Installs Limitra's status-line helper as Claude Code's status-line command
// (the "bridge") in ~/.claude/settings.json, keeping the user's previous
// command in a backup that the helper runs and that removal restores. Only
// the "statusLine" member of the settings is ever changed.
namespace ClaudeIntegrationManager {

QString settingsPath();
QString backupPath();

// The shell command that runs `executablePath` as the helper; safe for any path.
QString bridgeCommand(const QString &executablePath);

// The executable that a command made by `bridgeCommand` runs; nothing for
// any other command.
std::optional<QString> bridgeExecutable(const QString &command);

// Whether the settings' status-line command is a bridge (of any copy of Limitra).
bool isInstalled();

// Whether the installed bridge runs an executable that no longer exists (a
// build tree that was deleted, a copy that was uninstalled): Claude Code's
// status line then fails until `install` repairs it.
bool isBroken();

// Makes the running executable (or `executablePath`) Claude Code's status-line
// command. Harmless when a working bridge is already installed; a broken one
// is pointed at this executable, keeping the status line saved when it was
// first installed. When the settings cannot be written, no file is changed.
Result<void> install(const std::optional<QString> &executablePath = FileSystem::currentExecutablePath());

// Restores the status line saved at install time (or removes it when there
// was none). A status line the user changed since is left alone.
Result<void> uninstall();

} // namespace ClaudeIntegrationManager
