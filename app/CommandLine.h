#pragma once

#include <QByteArray>

#include <span>

// What the executable was asked to do, decided from its arguments alone.
struct CommandLineMode {
    enum class Kind {
        statusLine,     // --claude-statusline
        checkCodex,     // --check-codex
        checkCodexPath, // --check-codex-path=PATH
        checkClaude,    // --check-claude
        help,           // --help
        version,        // --version
        togglePanel,    // --toggle-panel: asks the running application
        graphical,      // none of the above
    };
    Kind kind = Kind::graphical;
    QByteArray path; // for checkCodexPath: what follows the '=' (may be empty)
};

// Switches match exactly and anywhere in the list; the first rule that holds
// in the order above decides.
CommandLineMode chooseCommandLineMode(std::span<const char *const> arguments);

// What --help prints: every mode with one line each.
QByteArray commandLineHelp();
// What --version prints: "Limitra 0.1.0 (1)".
QByteArray versionLine();
