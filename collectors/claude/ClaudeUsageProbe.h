#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QString>

// Runs `claude /usage` in a pseudo-terminal of its own working folder, answers
// the one question Claude Code may ask first (whether to trust that folder),
// watches the screen until the usage is drawn or the time runs out, decodes
// it and stops the child firmly. Blocks the calling thread for up to
// `timeout` seconds plus about 1.2 s of stopping.
namespace ClaudeUsageProbe {

Result<ProviderSnapshot> collectSnapshot(const QString &executable, double timeout);

// How much of what the child draws is kept: the newest bytes.
inline constexpr qsizetype kKeptOutput = 256000;

} // namespace ClaudeUsageProbe
