// archive_extract_command.cpp - ringmix archive extract ARCHIVE [NAME...] --to DIR: sound files again.
//
// The names come out of the archive and may be anything. Every file to be written is checked before the first
// one is, and none lies outside DIR.
#include <CLI/CLI.hpp>
#include <memory>

#include "tools/archive_file.h"
#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/output_file.h"
#include "tools/sound_classes.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"

namespace tools {

namespace {

constexpr char footer[] =
    "Writes DIR/NAME.sn and DIR/NAME.isn, all sounds or those that are named. DIR is made if it is not "
    "there.\n"
    "Streams are not in the archive: their files stay where they are. A name that a sound file or a folder\n"
    "cannot hold is an error, and nothing is written then; name the others to get them. Base volumes have\n"
    "three decimals in a sound file.\n";

struct arguments_t {
    std::string archive, folder;
    std::vector<std::string> names;
};

struct extraction_t {
    const archive_sound_t* sound;
    std::filesystem::path target;  // empty for a stream that was not asked for by name
};

outcome_t Plan(const arguments_t& arguments, const archive_sound_t& sound, std::vector<extraction_t>& plan) {
    const std::string& name = sound.Name();
    if (sound.soundClass->isStream) {
        return Failure(arguments.archive, name + " is a stream: its sound file is " + sound.path);
    }
    if (name.find('/') != std::string::npos) {
        return Failure(arguments.archive, "No file can have the name " + name);
    }
    if (FormatStoredSound(sound.stored).empty()) {
        return Failure(arguments.archive, IsSoundFileName(name)
                                              ? "No sound file can hold the base volume of " + name
                                              : "No sound file can hold the name \"" + name +
                                                    "\": 1 to 99 bytes without blanks");
    }
    const auto target = std::filesystem::path(arguments.folder) / (name + "." + sound.soundClass->tag);
    std::error_code ignored;
    if (std::filesystem::is_symlink(target, ignored)) {
        return Failure(target.string(), "A symbolic link, which may lead anywhere");
    }
    plan.push_back({&sound, target});
    return Success();
}

outcome_t PlanAll(const arguments_t& arguments, const ArchiveFile_t& archive,
                  std::vector<extraction_t>& plan) {
    for (const std::string& name : arguments.names) {
        const archive_sound_t* sound = archive.Find(name);
        if (sound == nullptr)
            return Failure(arguments.archive,
                           "Has no sound " + name + ": ringmix archive list shows what it has");
        if (outcome_t planned = Plan(arguments, *sound, plan); !planned) return planned;
    }
    if (!arguments.names.empty()) return Success();
    for (const archive_sound_t& sound : archive.Sounds()) {
        if (sound.soundClass->isStream) {
            plan.push_back({&sound, {}});
        } else if (outcome_t planned = Plan(arguments, sound, plan); !planned) {
            return planned;
        }
    }
    return Success();
}

outcome_t MakeFolder(const std::string& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) return Failure(folder, error.message());
    return std::filesystem::is_directory(folder) ? Success() : Failure(folder, "Not a folder");
}

outcome_t WriteSoundFile(const extraction_t& extraction) {
    if (Interrupted()) return InterruptedFailure(extraction.target.string());
    OutputFile_t file;
    if (outcome_t made = file.Create(extraction.target); !made) return made;
    file.Write(FormatStoredSound(extraction.sound->stored));
    const byte_reader_t read = ReadStoredBytes(*extraction.sound->sound);
    std::vector<uint8_t> piece(65536);
    for (size_t count; (count = read(piece.data(), piece.size())) > 0;) file.Write(piece.data(), count);
    if (outcome_t committed = file.Commit(); !committed) return committed;
    PrintReport(extraction.target.string());
    return Success();
}

outcome_t RunExtract(const arguments_t& arguments) {
    ArchiveFile_t archive;
    if (outcome_t read = archive.Read(arguments.archive); !read) return read;
    std::vector<extraction_t> plan;
    if (outcome_t planned = PlanAll(arguments, archive, plan); !planned) return planned;
    if (outcome_t made = MakeFolder(arguments.folder); !made) return made;
    for (const extraction_t& extraction : plan) {
        const archive_sound_t& sound = *extraction.sound;
        if (sound.soundClass->isStream) {
            PrintReport(sound.Name() + ": a stream, stays in " + sound.path);
        } else if (outcome_t written = WriteSoundFile(extraction); !written) {
            return written;
        }
    }
    return Success();
}

}  // namespace

command_t AddArchiveExtractCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("extract", "Write sound files again");
    command->add_option("ARCHIVE", arguments->archive, "Archive to read")->required();
    command->add_option("NAME", arguments->names, "Sounds of the archive [all]");
    command->add_option("--to", arguments->folder, "Folder for the sound files")->required();
    AddQuietFlag(*command);
    command->footer(footer);
    return [arguments] { return StatusOf(RunExtract(*arguments)); };
}

}  // namespace tools
