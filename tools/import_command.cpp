// import_command.cpp - ringmix import INPUT OUTPUT.
#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>

#include "sounds/sound.h"
#include "tools/commands.h"
#include "tools/engine_rates.h"
#include "tools/number_text.h"
#include "tools/sound_classes.h"
#include "tools/sound_import.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"

namespace tools {

namespace {

constexpr char footer[] =
    "A PCM wave file of 44100, 22050 or 11025 Hz goes into a .sn file sample by sample. Anything else is\n"
    "decoded, brought to one or two channels (front left and right as they are, others 3 dB lower to their\n"
    "side or, from the middle, to both; scaled so that nothing can clip), resampled to the nearest of these\n"
    "rates, and rounded without dither. Samples beyond full scale are clipped and counted.\n\n"
    "A .isn file holds IMA ADPCM: a quarter of the size, decoded while it plays. An IMA ADPCM wave file is\n"
    "copied block by block; all else is encoded, and the report tells the sizes before and after and the\n"
    "signal-to-noise ratio of the decoded result.\n\n"
    "A .ssn file is a .sn file, and a .iss file a .isn file, that the engine plays from disk.\n\n"
    "OUTPUT appears when it is complete; a failed import leaves an older one as it was.\n\n"
    "  ringmix import rain.flac rain.sn --volume 0.8\n"
    "  ringmix import speech.wav speech.isn --mono --rate 22050\n";

struct arguments_t {
    std::string input, output, locks;
    std::string name;
    CLI::Option* nameOption = nullptr;
    import_options_t options;
};

// "" if it is one; CLI11 shows anything else as the trouble with the option.
std::string CheckLocks(const std::string& text) {
    std::istringstream list(text);
    for (std::string lock; std::getline(list, lock, ',');) {
        if (lock != "volume" && lock != "pan" && lock != "frequency") {
            return "locks are volume, pan and frequency, with commas between them";
        }
    }
    return {};
}

uint32_t LockFlagsOf(const std::string& text) {
    uint32_t flags = 0;
    std::istringstream list(text);
    for (std::string lock; std::getline(list, lock, ',');) {
        flags |= lock == "volume" ? lockVolume : lock == "pan" ? lockPan : lockFrequency;
    }
    return flags;
}

std::string CheckOutputName(const std::string& text) {
    return IsEngineFile(text) ? "" : "the name of a sound file ends in .sn, .isn, .ssn or .iss";
}

std::string SizeText(const import_report_t& report) {
    return std::to_string(report.sourceBytes) + " -> " + std::to_string(report.outputBytes) + " bytes";
}

std::string FormText(const import_report_t& report) {
    const stored_sound_t& stored = report.stored;
    if (!stored.IsAdpcm()) return stored.header.is16Bit ? "16 bits" : "8 bits";
    std::string text =
        "ADPCM in blocks of " + std::to_string(stored.blockBytes) + " bytes, " + SizeText(report);
    if (!report.signalToNoiseDb) {
        text += ", copied";
        if (stored.compressedBytes % stored.blockBytes != 0)
            text += " (its last block is not whole: not played)";
    } else if (std::isinf(*report.signalToNoiseDb)) {
        text += *report.signalToNoiseDb > 0 ? ", without loss" : ", noise on silence";
    } else {
        text += ", signal-to-noise ratio " + FixedText(*report.signalToNoiseDb, 2) + " dB";
    }
    return text;
}

void PrintImport(const std::string& output, const import_report_t& report) {
    const sound_header_t& header = report.stored.header;
    const uint32_t rateHz = outputRateHz / header.rateDivisor;
    std::string line = output + ": " + header.name + ", " + CountText(header.frameCount, "frame", "frames") +
                       ", " + FixedText(report.stored.Seconds(), 3) + " s, " + std::to_string(rateHz) +
                       " Hz, " + (header.isStereo ? "stereo, " : "mono, ") + FormText(report);
    if (report.sourceRateHz != rateHz)
        line += ", resampled from " + std::to_string(report.sourceRateHz) + " Hz";
    if (report.sourceChannels != report.stored.Channels()) {
        line += ", mixed down from " + std::to_string(report.sourceChannels) + " channels";
    }
    if (report.clippedSamples != 0)
        line += ", " + CountText(report.clippedSamples, "sample", "samples") + " clipped";
    PrintReport(line);
}

int RunImport(const arguments_t& arguments) {
    import_options_t options = arguments.options;
    options.lockFlags = LockFlagsOf(arguments.locks);
    if (arguments.nameOption->count() > 0) options.name = arguments.name;
    if (const outcome_t valid = CheckImportOptions(arguments.input, arguments.output, options); !valid) {
        PrintFailure(valid);
        return valid.subject == arguments.input ? exitFailure : exitUsage;
    }
    import_report_t report;
    const outcome_t imported = ImportSound(arguments.input, arguments.output, options, report);
    if (!imported) return StatusOf(imported);
    PrintImport(arguments.output, report);
    return exitSuccess;
}

}  // namespace

command_t AddImportCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    import_options_t& options = arguments->options;
    CLI::App* command = app.add_subcommand("import", "Turn an audio file into a sound file of the engine");
    command->add_option("INPUT", arguments->input, "Wave, FLAC, Ogg, MP3, AIFF, ... file")->required();
    command
        ->add_option("OUTPUT", arguments->output,
                     "Sound file to write; its name ends in .sn or .ssn (samples), .isn or .iss (ADPCM)")
        ->required()
        ->check(CLI::Validator(CheckOutputName, ""));
    arguments->nameOption = command->add_option(
        "--name", arguments->name, "The sound's own name, 1 to 99 bytes without blanks [the input's stem]");
    command->add_option("--volume", options.baseVolume, "The sound's own volume; 1.0 is full [1.0]");
    command->add_option("--lock", arguments->locks, "What voices may not change: volume,pan,frequency")
        ->check(CLI::Validator(CheckLocks, ""));
    command->add_option("--rate", options.rateHz, "Sample rate in Hz [the nearest one]")
        ->check(CLI::IsMember({44100u, 22050u, 11025u}));
    command->add_flag("--mono", options.toMono, "Average all channels into one");
    command->add_flag("--8bit", options.to8Bit, "Store 8-bit samples; not for ADPCM");
    AddQuietFlag(*command);
    command->footer(footer);
    return [arguments] { return RunImport(*arguments); };
}

}  // namespace tools
