// program.cpp - the command line: help, version, wrong usage, and which subcommand runs.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/outcome.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"
#include "tools/text_table.h"

namespace tools {

namespace {

constexpr char footer[] =
    "Errors read \"ringmix: FILE: reason\". Exit status: 0 success, 1 failure, 2 wrong usage. A file that "
    "is\n"
    "written appears when it is complete; until then, and after a failure, an older one stays as it was.\n";

void PrintError(const std::string& text) {
    std::fprintf(stderr, "%s %s\n", Painted(stderr, paint_t::red, "ringmix:").c_str(), text.c_str());
}

// What to run to see how the command that was meant is used.
std::string UsageHint(const CLI::App& app) {
    std::string command = "ringmix";
    for (const CLI::App* at = &app; !at->get_subcommands().empty();) {
        at = at->get_subcommands().front();
        command += " " + at->get_name();
    }
    return "Run " + command + " --help to see what it takes.\n";
}

// Whether the next word was to be a command.
bool TakesCommand(const CLI::App& app) {
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty()) at = at->get_subcommands().front();
    return !at->get_subcommands([](const CLI::App*) { return true; }).empty();
}

// Errors of the command line go out in the program's own form; help and version as they are.
int ReportParse(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    const std::vector<std::string> unknown = app.remaining(true);
    const bool isCommand = !unknown.empty() && !unknown.front().starts_with('-') && TakesCommand(app);
    PrintError(isCommand ? "There is no command " + unknown.front() : error.what());
    std::fputs(UsageHint(app).c_str(), stderr);
    return exitUsage;
}

}  // namespace

void PrintFailure(const outcome_t& failure) {
    PrintError(Printable(failure.subject + ": " + failure.reason));
}

int StatusOf(const outcome_t& outcome) {
    if (outcome) return exitSuccess;
    PrintFailure(outcome);
    return exitFailure;
}

int RunProgram(int argumentCount, char** arguments) {
    SetQuiet(false);
    CLI::App app("Imports, inspects, archives, renders and plays sounds of the ringmix audio engine",
                 "ringmix");
    AddVersionFlag(app);
    app.require_subcommand(0, 1);
    app.footer(footer);
    const Subcommands_t subcommands(
        app, {AddImportCommand, AddExportCommand, AddInfoCommand, AddArchiveCommand, AddRenderCommand,
              AddVerifyCommand, AddPlotCommand, AddPlayCommand, AddDevicesCommand, AddVolumeCommand,
              AddLatencyCommand});
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
