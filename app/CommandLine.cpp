#include "app/CommandLine.h"

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
    if (anyEquals(arguments, "--claude-statusline"))
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
    if (anyEquals(arguments, "--toggle-panel"))
        return {Kind::togglePanel, {}};
    return {Kind::graphical, {}};
}
