// archive_command.cpp - ringmix archive create|list|extract|add|remove, and the three of them that write an
// archive.
#include <CLI/CLI.hpp>
#include <memory>

#include "tools/archive_file.h"
#include "tools/commands.h"
#include "tools/number_text.h"
#include "tools/sound_classes.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"

namespace tools {

namespace {

constexpr char footer[] =
    "An archive is one file that holds many sounds, by name. A host, or a scene, loads it whole.\n\n"
    "  ringmix archive create effects.archive bell.sn speech.isn\n"
    "  ringmix archive list effects.archive\n"
    "  ringmix archive add effects.archive rain.sn\n"
    "  ringmix archive remove effects.archive bell\n"
    "  ringmix archive extract effects.archive --to sounds\n";

constexpr char createFooter[] =
    "Each FILE is a sound file of the engine (.sn, .isn; see ringmix import); the name inside it becomes "
    "the\n"
    "sound's name in the archive, and no two may be the same. Of a stream (.ssn, .iss) the archive holds "
    "the\n"
    "path as it stands here: the file must stay where it is. An older ARCHIVE is replaced once the new one "
    "is\n"
    "complete.\n";

constexpr char addFooter[] =
    "As create, to the sounds that are there already. If anything fails the archive stays as it was.\n";

constexpr char removeFooter[] =
    "NAME is a sound's own name, as ringmix archive list shows it; for a stream whose file is gone, its "
    "path.\n"
    "If one of them is not there nothing is removed.\n";

struct arguments_t {
    std::string archive;
    std::vector<std::string> items;  // files, or names of sounds
};

outcome_t Write(ArchiveFile_t& archive, const std::string& path) {
    if (outcome_t written = archive.Write(path); !written) return written;
    const size_t count = archive.Sounds().size();
    PrintReport(path + ": " + CountText(count, "sound", "sounds") + ", " + std::to_string(archive.Bytes()) +
                " bytes");
    return Success();
}

outcome_t AddFiles(ArchiveFile_t& archive, const arguments_t& arguments) {
    for (const std::string& file : arguments.items) {
        if (outcome_t added = archive.Add(file); !added) return added;
    }
    return Write(archive, arguments.archive);
}

outcome_t RunCreate(const arguments_t& arguments) {
    ArchiveFile_t archive;
    return AddFiles(archive, arguments);
}

outcome_t RunAdd(const arguments_t& arguments) {
    ArchiveFile_t archive;
    if (outcome_t read = archive.Read(arguments.archive); !read) return read;
    return AddFiles(archive, arguments);
}

outcome_t RunRemove(const arguments_t& arguments) {
    ArchiveFile_t archive;
    if (outcome_t read = archive.Read(arguments.archive); !read) return read;
    for (const std::string& name : arguments.items) {
        if (outcome_t removed = archive.Remove(name); !removed) return removed;
    }
    return Write(archive, arguments.archive);
}

// Whoever forgets the archive's name would lose the first sound file.
std::string CheckArchiveName(const std::string& path) {
    return IsEngineFile(path) ? "an archive cannot have the extension of a sound file" : "";
}

struct description_t {
    const char *name, *says, *archiveSays, *itemTitle, *itemSays, *footer;
};

command_t AddWriter(CLI::App& app, const description_t& description, outcome_t (*run)(const arguments_t&)) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand(description.name, description.says);
    command->add_option("ARCHIVE", arguments->archive, description.archiveSays)
        ->required()
        ->check(CLI::Validator(CheckArchiveName, ""));
    command->add_option(description.itemTitle, arguments->items, description.itemSays)->required();
    AddQuietFlag(*command);
    command->footer(description.footer);
    return [arguments, run] { return StatusOf(run(*arguments)); };
}

}  // namespace

command_t AddArchiveCreateCommand(CLI::App& app) {
    return AddWriter(app,
                     {"create", "Make an archive of sound files", "Archive to write", "FILE",
                      "Sound files of the engine", createFooter},
                     RunCreate);
}

command_t AddArchiveAddCommand(CLI::App& app) {
    return AddWriter(app,
                     {"add", "Put sound files into an archive", "Archive to change", "FILE",
                      "Sound files of the engine", addFooter},
                     RunAdd);
}

command_t AddArchiveRemoveCommand(CLI::App& app) {
    return AddWriter(app,
                     {"remove", "Take sounds out of an archive", "Archive to change", "NAME",
                      "Sounds of the archive", removeFooter},
                     RunRemove);
}

command_t AddArchiveCommand(CLI::App& app) {
    CLI::App* command = app.add_subcommand("archive", "Make, list, unpack and change sound archives");
    command->require_subcommand(1);
    command->footer(footer);
    const auto subcommands = std::make_shared<Subcommands_t>(
        *command, std::initializer_list<Subcommands_t::adder_t>{
                      AddArchiveCreateCommand, AddArchiveListCommand, AddArchiveExtractCommand,
                      AddArchiveAddCommand, AddArchiveRemoveCommand});
    return [subcommands] { return subcommands->Run(exitUsage); };
}

}  // namespace tools
