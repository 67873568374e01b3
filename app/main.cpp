#include "app/CommandLine.h"
#include "app/Diagnostics.h"
#include "collectors/claude/ClaudeStatusLineHelper.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

// One line straight to the descriptor, unbuffered, just before exiting.
void writeLine(int fd, const char *text)
{
    const size_t length = std::strlen(text);
    [[maybe_unused]] const ssize_t written = ::write(fd, text, length);
}

} // namespace

int main(int argc, char *argv[])
{
    // The status-line helper runs on every redraw of Claude Code's status line:
    // it must not pay for anything it does not use (no application object).
    const CommandLineMode mode = chooseCommandLineMode({argv, static_cast<size_t>(argc)});
    switch (mode.kind) {
    case CommandLineMode::Kind::statusLine:
        return ClaudeStatusLineHelper::run();
    case CommandLineMode::Kind::checkCodex:
        return Diagnostics::checkCodex();
    case CommandLineMode::Kind::checkCodexPath:
        return Diagnostics::checkCodexPath(mode.path);
    case CommandLineMode::Kind::checkClaude:
        return Diagnostics::checkClaude();
    case CommandLineMode::Kind::graphical:
        break;
    }
    writeLine(STDERR_FILENO, "Limitra: this build has no graphical application yet.\n");
    return 2;
}
