#pragma once

#include <QByteArray>

// The command-line self-checks: one collector run, one line, a fixed status
// (0 read, 1 the collector failed, 2 a precondition failed).
namespace Diagnostics {

// --check-codex: the first Codex executable this machine has.
int checkCodex();
// --check-codex-path=PATH: exactly the given executable.
int checkCodexPath(const QByteArray &path);
// --check-claude: the /usage probe, once the bridge is installed.
int checkClaude();

} // namespace Diagnostics
