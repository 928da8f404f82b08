// program.cpp - the command line: help, version, wrong usage, and which subcommand runs.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/outcome.h"
#include "tools/subcommands.h"
#include "tools/text_table.h"

namespace tools {

namespace {

constexpr char footer[] =
    "Errors read \"ringmix: FILE: reason\". Exit status: 0 success, 1 failure, 2 wrong usage. A file that "
    "is\n"
    "written appears when it is complete; until then, and after a failure, an older one stays as it was.\n";

// Errors of the command line go out in the program's own form; help and version as they are.
int ReportParse(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::fprintf(
        stderr,
        "ringmix: %s\nRun ringmix --help, or with a command's name before it, to see what it takes.\n",
        error.what());
    return exitUsage;
}

}  // namespace

void PrintFailure(const outcome_t& failure) {
    std::fprintf(stderr, "ringmix: %s\n", Printable(failure.subject + ": " + failure.reason).c_str());
}

int StatusOf(const outcome_t& outcome) {
    if (outcome) return exitSuccess;
    PrintFailure(outcome);
    return exitFailure;
}

int RunProgram(int argumentCount, char** arguments) {
    CLI::App app("Imports, inspects, archives, renders and plays sounds of the ringmix audio engine",
                 "ringmix");
    AddVersionFlag(app);
    app.require_subcommand(0, 1);
    app.footer(footer);
    const Subcommands_t subcommands(
        app, {AddImportCommand, AddExportCommand, AddInfoCommand, AddArchiveCommand, AddRenderCommand,
              AddVerifyCommand, AddPlayCommand, AddDevicesCommand, AddVolumeCommand, AddLatencyCommand});
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return ReportParse(app, error);
    }
    CatchInterrupts();
    if (!app.get_subcommands().empty()) return subcommands.Run(exitUsage);
    std::fputs(app.help().c_str(), stderr);
    return exitUsage;
}

}  // namespace tools
