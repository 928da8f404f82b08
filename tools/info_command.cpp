// info_command.cpp - ringmix info FILE...: a table for people, or JSON for machines.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "tools/archive_file.h"
#include "tools/commands.h"
#include "tools/number_text.h"
#include "tools/sound_classes.h"
#include "tools/sound_levels.h"
#include "tools/sound_reader.h"
#include "tools/sound_report.h"
#include "tools/text_table.h"

namespace tools {

namespace {

constexpr char footer[] =
    "An archive shows each of its sounds. FILE is a sound file (.sn, .isn) by its extension; what has none "
    "of\n"
    "these is an archive if it begins like one. Peak and RMS are of all samples of all channels, decoded, "
    "in\n"
    "dB below full scale. Files that cannot be read are told on standard error and the others are shown; "
    "the\n"
    "exit status is 1 then.\n\n"
    "  ringmix info *.sn *.isn\n"
    "  ringmix info --json effects.archive | jq '.[].seconds'\n";

struct sound_info_t {
    std::string file;
    const sound_class_t* soundClass;
    stored_sound_t stored;
    sound_levels_t levels;
};

json_t ToJson(const sound_info_t& info) {
    const stored_sound_t& stored = info.stored;
    json_t json = {{"file", info.file},
                   {"class", info.soundClass->className},
                   {"name", stored.header.name},
                   {"frames", stored.header.frameCount},
                   {"seconds", stored.Seconds()},
                   {"rate", RateJson(stored)},
                   {"channels", stored.Channels()},
                   {"bits", stored.Bits()},
                   {"base_volume", ShortestDouble(stored.header.baseVolume)},
                   {"locks", LocksOf(stored.header.lockFlags)},
                   {"peak_dbfs", DecibelJson(Decibels(info.levels.peak))},
                   {"rms_dbfs", DecibelJson(Decibels(info.levels.rms))}};
    if (stored.IsAdpcm()) json["block_bytes"] = stored.blockBytes;
    return json;
}

table_row_t ToRow(const sound_info_t& info) {
    const stored_sound_t& stored = info.stored;
    std::string locks;
    for (const std::string& lock : LocksOf(stored.header.lockFlags))
        locks += (locks.empty() ? "" : ",") + lock;
    return {info.file,
            info.soundClass->className,
            stored.header.name,
            std::to_string(stored.header.frameCount),
            FixedText(stored.Seconds(), 3),
            RateText(stored),
            std::to_string(stored.Channels()),
            std::to_string(stored.Bits()),
            FixedText(stored.header.baseVolume, 3),
            locks.empty() ? "-" : locks,
            FixedText(Decibels(info.levels.peak), 1),
            FixedText(Decibels(info.levels.rms), 1)};
}

void ShowTable(const std::vector<sound_info_t>& infos) {
    std::vector<table_row_t> rows = {{"file", "class", "name", "frames", "seconds", "rate", "channels",
                                      "bits", "base volume", "locks", "peak dBFS", "RMS dBFS"}};
    for (const sound_info_t& info : infos) rows.push_back(ToRow(info));
    PrintTable(rows);
}

// Gathers what can be shown and tells what cannot.
class Collector_t {
  public:
    void Collect(const std::string& file) {
        if (!IsEngineFile(file) && ArchiveFile_t::IsArchive(file)) {
            CollectArchive(file);
        } else {
            CollectSoundFile(file);
        }
    }

    std::vector<sound_info_t> infos;
    int status = exitSuccess;

  private:
    void CollectSoundFile(const std::string& file) {
        sound_info_t info{file, SoundClassOf(file), {}, {}};
        SoundFile_t sound;
        outcome_t opened = sound.Open(file);
        if (opened && info.soundClass == nullptr) {
            opened = Failure(file, "No sound class has this file's extension");
        }
        if (!opened) return Tell(opened);
        info.stored = sound.Stored();
        Measure(sound.Samples(), std::move(info));
    }

    void CollectArchive(const std::string& file) {
        ArchiveFile_t archive;
        if (outcome_t read = archive.Read(file); !read) return Tell(read);
        for (const archive_sound_t& sound : archive.Sounds()) {
            SoundFile_t streamFile;
            std::optional<SampleReader_t> samples;
            if (outcome_t opened = OpenSamples(file, sound, streamFile, samples); opened) {
                Measure(std::move(*samples), {file, sound.soundClass, sound.stored, {}});
            } else {
                Tell(opened);
            }
        }
    }

    void Measure(SampleReader_t samples, sound_info_t info) {
        const double fullScale = info.stored.header.is16Bit ? 32768.0 : 128.0;
        outcome_t measured = MeasureLevels(samples, fullScale, info.levels);
        if (!measured) return Tell(measured);
        infos.push_back(std::move(info));
    }

    void Tell(const outcome_t& failure) {
        PrintFailure(failure);
        status = exitFailure;
    }
};

int RunInfo(const std::vector<std::string>& files, bool asJson) {
    Collector_t collector;
    for (const std::string& file : files) collector.Collect(file);
    if (asJson) {
        json_t list = json_t::array();
        for (const sound_info_t& info : collector.infos) list.push_back(ToJson(info));
        PrintJson(list);
    } else if (!collector.infos.empty()) {
        ShowTable(collector.infos);
    }
    return collector.status;
}

struct arguments_t {
    std::vector<std::string> files;
    bool asJson = false;
};

}  // namespace

command_t AddInfoCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("info", "Show what sound files and archives hold");
    command->add_option("FILE", arguments->files, "Sound files of the engine, and archives")->required();
    command->add_flag("--json", arguments->asJson, "Print one JSON array instead of a table");
    command->footer(footer);
    return [arguments] { return RunInfo(arguments->files, arguments->asJson); };
}

}  // namespace tools
