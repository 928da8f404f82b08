// plot_command.cpp - ringmix plot FILE -o OUT.png|svg: a picture of a sound.
//
// The sound is read twice: once for its length and its levels, and once into the picture. Memory does not
// grow with it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>

#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/loudness.h"
#include "tools/number_text.h"
#include "tools/output_file.h"
#include "tools/pictures.h"
#include "tools/progress.h"
#include "tools/signal_source.h"
#include "tools/sound_levels.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"

namespace tools {

namespace {

constexpr char footer[] =
    "FILE is a sound file of the engine, an archive (--name picks one of its sounds) or any audio file that "
    "import\n"
    "takes. The picture has the waveform, the spectrum over time, the levels, and how the sound's end meets "
    "its\n"
    "start when a voice loops. docs/report.md tells how to read it.\n\n"
    "  ringmix plot rain.sn -o rain.png\n"
    "  ringmix plot effects.archive --name bell -o bell.svg --dark\n";

constexpr size_t seamFrames = 441;  // on either side of the seam; a hundredth of a second at 44100 Hz
constexpr size_t mostSeamChannels = 2;

struct arguments_t {
    std::string file, output, name;
    CLI::Option* nameOption = nullptr;
    bool isDark = false;

    const std::string* Name() const { return nameOption->count() > 0 ? &name : nullptr; }
};

// The first and the last frames that pass by.
class Ends_t {
  public:
    explicit Ends_t(size_t channelCount) : channels(channelCount) {}

    void Add(const std::vector<double>& block) {
        const size_t room = seamFrames * channels;
        if (first.size() < room) {
            const size_t count = std::min(room - first.size(), block.size());
            first.insert(first.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
        }
        last.insert(last.end(), block.begin(), block.end());
        if (last.size() > room) last.erase(last.begin(), last.end() - static_cast<std::ptrdiff_t>(room));
    }

    bool AreThere() const { return !first.empty(); }
    // The largest step that a loop makes from the last frame to the first.
    double Step() const {
        double step = 0.0;
        for (size_t channel = 0; channel < channels; ++channel)
            step = std::max(step, std::abs(first[channel] - last[last.size() - channels + channel]));
        return step;
    }
    void Into(plot_t& plot) const {
        plot.seamStart = last.size() / channels;
        for (size_t channel = 0; channel < std::min(channels, mostSeamChannels); ++channel) {
            std::vector<double>& lane = plot.seam.emplace_back();
            for (const std::vector<double>* part : {&last, &first}) {
                for (size_t i = channel; i < part->size(); i += channels) lane.push_back((*part)[i]);
            }
        }
    }

  private:
    size_t channels;
    std::vector<double> first, last;
};

outcome_t ForEachBlock(const arguments_t& arguments, SignalSource_t& source,
                       const std::function<void(const std::vector<double>&)>& act) {
    std::vector<double> block;
    do {
        if (outcome_t read = source.ReadBlock(block); !read) return read;
        if (Interrupted()) return InterruptedFailure(arguments.file);
        act(block);
    } while (!block.empty());
    return Success();
}

std::string DbText(double decibels, const char* unit) {
    return std::isfinite(decibels) ? FixedText(decibels, 1) + " " + unit : std::string("silence");
}

std::string LevelFacts(const signal_levels_t& levels, const std::optional<loudness_t>& loudness) {
    std::string text =
        "peak " + DbText(Decibels(levels.Peak()), "dBFS") + ", RMS " + DbText(Decibels(levels.Rms()), "dBFS");
    if (loudness) {
        text += ", loudness " + DbText(loudness->integratedLufs, "LUFS") + ", true peak " +
                DbText(loudness->truePeakDb, "dBTP");
    }
    double offset = 0.0;
    for (const channel_levels_t& channel : levels.channels) {
        const double mean = levels.frames > 0 ? channel.sum / static_cast<double>(levels.frames) : 0.0;
        if (std::abs(mean) > std::abs(offset)) offset = mean;
    }
    return text + ", DC offset " + FixedText(offset, 4) + ", " +
           CountText(levels.FullScaleSamples(), "sample", "samples") + " at full scale";
}

outcome_t Measure(const arguments_t& arguments, plot_t& plot, uint64_t& frames) {
    SignalSource_t source;
    if (outcome_t opened = source.Open(arguments.file, arguments.Name()); !opened) return opened;
    SignalLevels_t levels(source.Channels(), source.HighestValue());
    LoudnessMeter_t loudness(source.Channels(), source.RateHz());
    Ends_t ends(source.Channels());
    const outcome_t read = ForEachBlock(arguments, source, [&](const std::vector<double>& block) {
        levels.Add(block.data(), block.size() / source.Channels());
        loudness.Add(block.data(), block.size() / source.Channels());
        ends.Add(block);
    });
    if (!read) return read;
    frames = levels.Levels().frames;
    plot.title = source.Title();
    plot.facts = source.Facts();
    plot.facts.front() += ", " + CountText(frames, "frame", "frames") + ", " +
                          FixedText(static_cast<double>(frames) / source.RateHz(), 3) + " s";
    plot.facts.push_back(LevelFacts(levels.Levels(), loudness.Finish()));
    if (!ends.AreThere()) return Success();
    plot.facts.push_back(ends.Step() > 0.0 ? "a loop steps by " + DbText(Decibels(ends.Step()), "dBFS") +
                                                 " from the last frame to the first"
                                           : "a loop has no step at its seam");
    ends.Into(plot);
    return Success();
}

outcome_t View(const arguments_t& arguments, SignalSource_t& source, uint64_t frames, SignalView_t& view) {
    Progress_t progress(std::filesystem::path(arguments.file).filename().string(), frames);
    uint64_t framesDrawn = 0;
    const outcome_t read = ForEachBlock(arguments, source, [&](const std::vector<double>& block) {
        view.Add(block.data(), block.size() / source.Channels());
        progress.Show(framesDrawn += block.size() / source.Channels());
    });
    if (read) view.Finish();
    return read;
}

outcome_t Plot(const arguments_t& arguments) {
    if (outcome_t drawing = CheckPictureName(arguments.output); !drawing) return drawing;
    plot_t plot;
    uint64_t frames = 0;
    if (outcome_t measured = Measure(arguments, plot, frames); !measured) return measured;
    OutputFile_t file;
    if (outcome_t made = file.Create(arguments.output); !made) return made;
    SignalSource_t source;
    if (outcome_t opened = source.Open(arguments.file, arguments.Name()); !opened) return opened;
    SignalView_t view(source.Channels(), source.RateHz(), frames, source.HighestValue());
    if (outcome_t viewed = View(arguments, source, frames, view); !viewed) return viewed;
    const std::string picture = DrawPlot(arguments.output, arguments.isDark, plot, view);
    if (picture.empty()) return Failure(arguments.output, "There is not enough memory for the picture");
    file.Write(picture);
    if (outcome_t committed = file.Commit(); !committed) return committed;
    PrintReport(arguments.output + ": " + plot.title);
    for (const std::string& fact : plot.facts) PrintReport("  " + fact);
    return Success();
}

}  // namespace

command_t AddPlotCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("plot", "Draw the waveform and the spectrum of a sound");
    command->add_option("FILE", arguments->file, "Sound file of the engine, archive, or audio file")
        ->required();
    command->add_option("-o,--output", arguments->output, "Picture to write; its name ends in .png or .svg")
        ->required();
    arguments->nameOption = command->add_option("--name", arguments->name, "Which sound of an archive");
    command->add_flag("--dark", arguments->isDark, "Light on dark");
    AddQuietFlag(*command);
    command->footer(footer);
    return [arguments] { return StatusOf(Plot(*arguments)); };
}

}  // namespace tools
