// archive_list_command.cpp - ringmix archive list ARCHIVE [--json].
#include <CLI/CLI.hpp>
#include <memory>

#include "tools/archive_file.h"
#include "tools/commands.h"
#include "tools/number_text.h"
#include "tools/sound_classes.h"
#include "tools/sound_report.h"
#include "tools/text_table.h"

namespace tools {

namespace {

constexpr char footer[] =
    "In the order of the file. Bytes are those of the sound's tag and record in the archive; 25 more end "
    "it.\n"
    "A stream has a path: its sound file stays outside the archive. Where that cannot be read the stream is\n"
    "listed without a name, the trouble is told on standard error, and the exit status is 1.\n";

json_t ToJson(const archive_sound_t& sound) {
    const stored_sound_t& stored = sound.stored;
    json_t json = {{"class", sound.soundClass->className}};
    if (sound.fileTrouble) {
        json.update({{"name", stored.header.name},
                     {"frames", stored.header.frameCount},
                     {"seconds", stored.Seconds()},
                     {"rate", RateJson(stored)},
                     {"channels", stored.Channels()},
                     {"bits", stored.Bits()}});
    }
    json["bytes"] = sound.recordBytes;
    if (sound.soundClass->isStream) json["path"] = sound.path;
    return json;
}

table_row_t ToRow(const archive_sound_t& sound) {
    const stored_sound_t& stored = sound.stored;
    table_row_t row = {sound.soundClass->className, "-", "-", "-", "-"};
    if (sound.fileTrouble) {
        row = {sound.soundClass->className, stored.header.name, FixedText(stored.Seconds(), 3),
               RateText(stored), std::to_string(stored.Channels())};
    }
    row.push_back(std::to_string(sound.recordBytes));
    row.push_back(sound.soundClass->isStream ? sound.path : "-");
    return row;
}

int RunList(const std::string& path, bool asJson) {
    ArchiveFile_t archive;
    if (outcome_t read = archive.Read(path); !read) return StatusOf(read);
    int status = exitSuccess;
    json_t list = json_t::array();
    std::vector<table_row_t> rows = {{"class", "name", "seconds", "rate", "channels", "bytes", "path"}};
    for (const archive_sound_t& sound : archive.Sounds()) {
        if (!sound.fileTrouble) status = StatusOf(sound.fileTrouble);
        list.push_back(ToJson(sound));
        rows.push_back(ToRow(sound));
    }
    if (asJson) {
        PrintJson(list);
    } else {
        PrintTable(rows);
    }
    return status;
}

struct arguments_t {
    std::string archive;
    bool asJson = false;
};

}  // namespace

command_t AddArchiveListCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("list", "Show the sounds of an archive");
    command->add_option("ARCHIVE", arguments->archive, "Archive to read")->required();
    command->add_flag("--json", arguments->asJson, "Print one JSON array instead of a table");
    command->footer(footer);
    return [arguments] { return RunList(arguments->archive, arguments->asJson); };
}

}  // namespace tools
