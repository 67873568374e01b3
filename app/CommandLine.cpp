#include "app/CommandLine.h"

#include "LimitraVersion.h"
#include "collectors/claude/ClaudeStatusLineHelper.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

bool anyEquals(std::span<const char *const> arguments, std::string_view switchText)
{
    return std::any_of(arguments.begin(), arguments.end(),
                       [switchText](const char *argument) { return argument && argument == switchText; });
}

} // namespace

CommandLineMode chooseCommandLineMode(std::span<const char *const> arguments)
{
    using Kind = CommandLineMode::Kind;
    if (anyEquals(arguments, ClaudeStatusLineHelper::kCommandLineSwitch))
        return {Kind::statusLine, {}};
    if (anyEquals(arguments, "--check-codex"))
        return {Kind::checkCodex, {}};
    constexpr std::string_view pathPrefix = "--check-codex-path=";
    for (const char *argument : arguments) {
        if (argument && std::string_view(argument).starts_with(pathPrefix))
            return {Kind::checkCodexPath, QByteArray(argument + pathPrefix.size())};
    }
    if (anyEquals(arguments, "--check-claude"))
        return {Kind::checkClaude, {}};
    if (anyEquals(arguments, "--help"))
        return {Kind::help, {}};
    if (anyEquals(arguments, "--version"))
        return {Kind::version, {}};
    if (anyEquals(arguments, "--toggle-panel"))
        return {Kind::togglePanel, {}};
    return {Kind::graphical, {}};
}

QByteArray commandLineHelp()
{
    return QByteArrayLiteral(
        "Usage: limitra [MODE]\n"
        "Shows how much of the Codex and Claude Code usage limits you have used.\n"
        "Without a mode, starts the tray application (or shows its dashboard when it runs).\n"
        "\n"
        "Modes (the first one listed here that is given wins):\n"
        "  --claude-statusline       Claude Code's status-line command, installed by the bridge\n"
        "  --check-codex             read Codex usage once through the codex found on this machine\n"
        "  --check-codex-path=PATH   the same with the codex executable at PATH\n"
        "  --check-claude            read Claude usage once through claude /usage\n"
        "  --help                    print this help\n"
        "  --version                 print the version and build number\n"
        "  --toggle-panel            open or close the running application's panel\n");
}

QByteArray versionLine()
{
    return QByteArrayLiteral("Limitra ") + LimitraVersion::kVersion + " (" + LimitraVersion::kBuildNumber + ")\n";
}
