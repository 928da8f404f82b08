// export_command.cpp - ringmix export FILE OUT.wav: any sound of the engine as a PCM wave file.
#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>

#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/number_text.h"
#include "tools/output_file.h"
#include "tools/sound_choice.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"
#include "tools/wave_header.h"

namespace tools {

namespace {

constexpr char footer[] =
    "Writes the samples as they are, ADPCM decoded to 16 bits, at the sound's own rate (rounded to whole "
    "Hz,\n"
    "for a wave file knows no other). Base volume and locks have no place in a wave file. Of an archive "
    "that\n"
    "holds more than one sound, --name picks one. OUT appears when it is complete.\n\n"
    "  ringmix export speech.isn speech.wav\n"
    "  ringmix export effects.archive bell.wav --name bell\n";

struct arguments_t {
    std::string file, output, name;
    CLI::Option* nameOption = nullptr;
};

outcome_t WriteSamples(SoundChoice_t& source, OutputFile_t& file, const std::string& shownName) {
    std::vector<int16_t> samples;
    std::string bytes;
    do {
        if (outcome_t read = source.samples->Next(samples); !read) return read;
        bytes.clear();
        for (const int16_t sample : samples) {
            if (source.stored.header.is16Bit) {
                bytes += static_cast<char>(sample);
                bytes += static_cast<char>(sample >> 8);
            } else {
                bytes += static_cast<char>(sample + 128);  // unsigned there
            }
        }
        file.Write(bytes);
        if (Interrupted()) return InterruptedFailure(shownName);
    } while (!samples.empty());
    return Success();
}

outcome_t Export(const arguments_t& arguments) {
    SoundChoice_t source;
    const std::string* const name = arguments.nameOption->count() > 0 ? &arguments.name : nullptr;
    if (outcome_t opened = source.Open(arguments.file, name); !opened) return opened;
    const stored_sound_t& stored = source.stored;
    const wave_shape_t shape{stored.Channels(), stored.Bits(),
                             static_cast<uint32_t>(std::lround(stored.RateHz()))};
    if (stored.header.frameCount > shape.MaxFrames()) {
        return Failure(arguments.output, "The sound is longer than a wave file can hold");
    }
    OutputFile_t file;
    if (outcome_t made = file.Create(arguments.output); !made) return made;
    file.Write(FormatWaveHeader(stored.header.frameCount, shape));
    if (outcome_t written = WriteSamples(source, file, arguments.output); !written) return written;
    if (stored.header.SampleBytes() % 2 != 0) file.Write("\0", 1);
    if (outcome_t committed = file.Commit(); !committed) return committed;
    const std::string line = arguments.output + ": " + stored.header.name + ", " +
                             CountText(stored.header.frameCount, "frame", "frames") + ", " +
                             FixedText(stored.Seconds(), 3) + " s, " + std::to_string(shape.rateHz) +
                             " Hz, " + (stored.header.isStereo ? "stereo, " : "mono, ") +
                             std::to_string(shape.bits) + " bits";
    PrintReport(line);
    return Success();
}

}  // namespace

command_t AddExportCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("export", "Write a sound of the engine as a PCM wave file");
    command->add_option("FILE", arguments->file, "Sound file of the engine, or an archive")->required();
    command->add_option("OUT", arguments->output, "Wave file to write")->required();
    arguments->nameOption = command->add_option("--name", arguments->name, "Which sound of an archive");
    AddQuietFlag(*command);
    command->footer(footer);
    return [arguments] { return StatusOf(Export(*arguments)); };
}

}  // namespace tools
