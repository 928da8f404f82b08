// subcommands.h - a command line that offers a choice of commands, each with --help and --version.
#pragma once

#include <initializer_list>
#include <vector>

#include "tools/commands.h"

namespace tools {

class Subcommands_t {
  public:
    using adder_t = command_t (*)(CLI::App&);

    Subcommands_t(CLI::App& app, std::initializer_list<adder_t> adders);

    // Runs the one that the command line has named; `otherwise` if it names none.
    int Run(int otherwise) const;

  private:
    struct subcommand_t {
        CLI::App* app;
        command_t run;
    };

    std::vector<subcommand_t> subcommands;
};

// --version, for the program and for each of its commands.
void AddVersionFlag(CLI::App& app);

// --quiet, for commands that report what they do.
void AddQuietFlag(CLI::App& app);

}  // namespace tools
