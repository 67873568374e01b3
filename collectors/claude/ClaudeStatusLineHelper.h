#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <optional>

// The status-line command that the bridge installs into Claude Code: records
// each payload for the running application, then prints the user's previous
// status line (or a short usage summary of its own).
namespace ClaudeStatusLineHelper {

// The executable's switch that runs the helper; the installed command ends
// with it, which is also how Limitra recognises its own bridge.
inline constexpr char kCommandLineSwitch[] = "--claude-statusline";

// How long the helper waits for standard input to form a complete JSON
// document before it gives up with status 2.
inline constexpr std::chrono::milliseconds kInputTimeLimit{5000};
// No status-line payload comes near this size.
inline constexpr qsizetype kMaxPayloadBytes = 16 * 1024 * 1024;
// The previous status-line command gets this long, and may print this much,
// before it counts as failed and its process group is stopped: a status line
// that takes seconds or fills a screen is broken anyway, and Claude Code asks
// for a new one every few seconds while it works.
inline constexpr std::chrono::milliseconds kPreviousCommandTimeLimit{5000};
inline constexpr qsizetype kMaxPreviousOutputBytes = 1024 * 1024;

// Reads the payload from standard input and writes the status line to standard
// output. Returns 0 (recorded and printed), 1 (could not record it or could not
// start the previous command) or 2 (no JSON object or array on the input).
int run();

// Runs the status-line command saved in the backup with `input` on its
// standard input. None when there is no usable saved command, when it is the
// bridge itself, or when it did not exit with status 0 within `timeLimit` and
// the output limit.
Result<std::optional<QByteArray>>
runOriginalStatusLine(const QByteArray &input, std::chrono::milliseconds timeLimit = kPreviousCommandTimeLimit);

// "Claude · 5h 42% · 7d 13%\n", or "Limitra · waiting for Claude usage\n".
QString compactSummary(const QByteArray &payload);

} // namespace ClaudeStatusLineHelper
