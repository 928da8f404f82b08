// commands.h - the subcommands of the program. Each adds its options to the command line and answers for
// running it.
#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace tools {

constexpr int exitSuccess = 0, exitFailure = 1, exitUsage = 2;

// What a subcommand does when it has been chosen; the result is the program's exit status.
using command_t = std::function<int()>;

command_t AddImportCommand(CLI::App& app);
command_t AddExportCommand(CLI::App& app);
command_t AddInfoCommand(CLI::App& app);
command_t AddArchiveCommand(CLI::App& app);
command_t AddRenderCommand(CLI::App& app);
command_t AddVerifyCommand(CLI::App& app);
command_t AddPlotCommand(CLI::App& app);
command_t AddPlayCommand(CLI::App& app);
command_t AddDevicesCommand(CLI::App& app);
command_t AddVolumeCommand(CLI::App& app);
command_t AddLatencyCommand(CLI::App& app);

// The subcommands of `archive`.
command_t AddArchiveCreateCommand(CLI::App& app);
command_t AddArchiveListCommand(CLI::App& app);
command_t AddArchiveExtractCommand(CLI::App& app);
command_t AddArchiveAddCommand(CLI::App& app);
command_t AddArchiveRemoveCommand(CLI::App& app);

// The whole program. Prints results on standard output and trouble on standard error.
int RunProgram(int argumentCount, char** arguments);

struct outcome_t;

// "ringmix: subject: reason" on standard error.
void PrintFailure(const outcome_t& failure);

// The exit status of a command that has ended so; a failure is printed.
int StatusOf(const outcome_t& outcome);

}  // namespace tools
