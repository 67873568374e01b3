#include "app/CommandLine.h"
#include "app/Diagnostics.h"
#include "collectors/claude/ClaudeStatusLineHelper.h"
#include "system/FileSystem.h"

#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

namespace {

// One line straight to the descriptor, unbuffered, just before exiting.
void writeLine(int fd, const char *text)
{
    const size_t length = std::strlen(text);
    [[maybe_unused]] const ssize_t written = ::write(fd, text, length);
}

// The graphical part lives in a module beside the core, so that the
// command-line modes never load Qt's GUI stack. It sits at the same place
// relative to the executable in the build tree and after installation.
int runModule(const char *entryPoint, int argc, char *argv[])
{
    const std::optional<QString> executable = FileSystem::currentExecutablePath();
    if (!executable) {
        writeLine(STDERR_FILENO, "Limitra: cannot tell where this executable is.\n");
        return 2;
    }
    const QString folder = executable->left(executable->lastIndexOf(QLatin1Char('/')));
    const QByteArray modulePath = (folder + QStringLiteral("/" LIMITRA_MODULE_RELATIVE_PATH)).toLocal8Bit();
    void *module = ::dlopen(modulePath.constData(), RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        writeLine(STDERR_FILENO, "Limitra: cannot load the graphical module: ");
        writeLine(STDERR_FILENO, ::dlerror());
        writeLine(STDERR_FILENO, "\n");
        return 2;
    }
    using Entry = int (*)(int, char **);
    auto entry = reinterpret_cast<Entry>(::dlsym(module, entryPoint));
    if (!entry) {
        writeLine(STDERR_FILENO, "Limitra: the graphical module is incomplete.\n");
        return 2;
    }
    // The module stays loaded until the process ends: Qt's objects outlive main.
    return entry(argc, argv);
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
    case CommandLineMode::Kind::help:
        writeLine(STDOUT_FILENO, commandLineHelp().constData());
        return 0;
    case CommandLineMode::Kind::version:
        writeLine(STDOUT_FILENO, versionLine().constData());
        return 0;
    case CommandLineMode::Kind::togglePanel:
        return runModule("limitra_toggle_panel", argc, argv);
    case CommandLineMode::Kind::graphical:
        break;
    }
    return runModule("limitra_run_application", argc, argv);
}
