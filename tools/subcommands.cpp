// subcommands.cpp - see the header.
#include "tools/subcommands.h"

#include <CLI/CLI.hpp>

#include "tools/terminal.h"

namespace tools {

void AddVersionFlag(CLI::App& app) {
    app.set_version_flag("--version", "ringmix " RINGMIX_VERSION, "Print the version and exit");
}

void AddQuietFlag(CLI::App& app) {
    app.add_flag_callback(
        "-q,--quiet", [] { SetQuiet(true); }, "No progress and no report: only errors");
}

Subcommands_t::Subcommands_t(CLI::App& app, std::initializer_list<adder_t> adders) {
    for (const adder_t add : adders) {
        command_t run = add(app);
        CLI::App* made = app.get_subcommands([](CLI::App*) { return true; }).back();
        AddVersionFlag(*made);
        subcommands.push_back({made, std::move(run)});
    }
}

int Subcommands_t::Run(int otherwise) const {
    for (const subcommand_t& subcommand : subcommands) {
        if (subcommand.app->parsed()) return subcommand.run();
    }
    return otherwise;
}

}  // namespace tools
