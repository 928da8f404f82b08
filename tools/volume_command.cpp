// volume_command.cpp - ringmix volume: the machine's own mixer lines.
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <memory>

#include "output/hardware_volume.h"
#include "tools/commands.h"
#include "tools/outcome.h"

namespace tools {

namespace {

constexpr char footer[] =
    "The line is the first of the default mixer whose name holds the word, in lower case, in upper case or\n"
    "with a capital. Without a number its volume is printed, without a word that of each line there is.\n\n"
    "  ringmix volume master 80\n";

struct arguments_t {
    std::string line;
    int percent = -1;
};

bool Get(const std::string& line, float& volume) {
    return line == "master" ? AudioSystem::GetMasterVolume(&volume) : AudioSystem::GetWaveVolume(&volume);
}

bool Print(const std::string& line) {
    float volume = 0;
    if (!Get(line, volume)) return false;
    std::printf("%s: %d\n", line.c_str(), static_cast<int>(std::lround(volume * 100)));
    return true;
}

outcome_t Run(const arguments_t& arguments) {
    if (arguments.line.empty()) {
        const bool hasMaster = Print("master");
        const bool hasWave = Print("wave");
        return hasMaster || hasWave ? Success() : Failure("mixer", "The machine has no line with a volume");
    }
    if (arguments.percent >= 0) {
        const float volume = static_cast<float>(arguments.percent) / 100;
        arguments.line == "master" ? AudioSystem::SetMasterVolume(volume)
                                   : AudioSystem::SetWaveVolume(volume);
    }
    return Print(arguments.line)
               ? Success()
               : Failure(arguments.line, "The machine's mixer has no such line with a volume");
}

}  // namespace

command_t AddVolumeCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("volume", "Show or set the volume of the machine's mixer");
    command->add_option("LINE", arguments->line, "master or wave")->check(CLI::IsMember({"master", "wave"}));
    command->add_option("PERCENT", arguments->percent, "0 to 100")->check(CLI::Range(0, 100));
    command->footer(footer);
    return [arguments] { return StatusOf(Run(*arguments)); };
}

}  // namespace tools
