// render_command.cpp - ringmix render SCENE.toml: a scene to a wave file, to a page that tells about it, or
// to JSON.
//
// The length is known before the first byte, so the header goes out first and the output is never held in
// memory.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "tools/commands.h"
#include "tools/engine_rates.h"
#include "tools/number_text.h"
#include "tools/output_target.h"
#include "tools/pictures.h"
#include "tools/progress.h"
#include "tools/render_json.h"
#include "tools/render_recorder.h"
#include "tools/scene_player.h"
#include "tools/scene_sounds.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"
#include "tools/wave_header.h"

namespace tools {

namespace {

constexpr char footer[] =
    "A scene names sounds, archives and events: which voice plays what, when, how loud, how fast. Its "
    "sounds\n"
    "may be any audio files; those that are no sound files of the engine are imported first. The output is\n"
    "16-bit stereo at 44100 Hz, the same bytes on every run and every machine. Errors in a scene name file\n"
    "and line. docs/scenes.md has every key.\n\n"
    "--stats tells of each stream: pages and bytes read, pages read more than once, the most pages in "
    "memory\n"
    "at a time, and frames that were mixed before their page had arrived.\n\n"
    "--report writes one page with everything in it: waveform, spectrum, voices, ring, cost. --json has the "
    "same\n"
    "figures for machines. docs/report.md tells what they mean.\n\n"
    "  ringmix render scene.toml -o out.wav --report out.html\n"
    "  ringmix render scene.toml --json - | jq .levels.peak_dbfs\n"
    "  ringmix render scene.toml -o - | aplay\n";

struct arguments_t {
    std::string scene, output, report, json;
    bool withStatistics = false;
};

struct targets_t {
    OutputTarget_t wave, page, json;

    explicit targets_t(const arguments_t& arguments)
        : wave(arguments.output), page(arguments.report), json(arguments.json) {}

    // All of them, so that what cannot be written is told before anything is rendered.
    outcome_t Open() {
        for (OutputTarget_t* target : {&wave, &page, &json}) {
            if (outcome_t opened = target->Open(); !opened) return opened;
        }
        return Success();
    }
    bool ToStandardOutput() const {
        return wave.ToStandardOutput() || page.ToStandardOutput() || json.ToStandardOutput();
    }
};

// What the page and the JSON need to know of a render, gathered while it runs.
struct observation_t {
    observation_t(const scene_t& scene, bool isDrawn) : recorder(scene) {
        if (isDrawn) view.emplace(2, outputRateHz, scene.outputFrames, 32767.0 / 32768.0);
    }
    void Add(const uint8_t* bytes, size_t count) {
        recorder.AddOutput(bytes, count);
        if (view) view->Add(recorder.LatestSamples().data(), recorder.LatestSamples().size() / 2);
    }

    RenderRecorder_t recorder;
    std::optional<SignalView_t> view;  // only the page needs it
};

outcome_t Play(const scene_t& scene, SceneSounds_t& sounds, OutputTarget_t& wave, observation_t* observation,
               std::vector<stream_statistics_t>& streams) {
    wave.Write(FormatWaveHeader(scene.outputFrames));
    Progress_t progress(scene.path.filename().string(), uint64_t{scene.outputFrames} * 4);
    uint64_t bytesPlayed = 0;
    bool isWritten = true;
    const auto sink = [&](const uint8_t* bytes, size_t count) {
        isWritten = wave.Write(bytes, count);
        if (observation) observation->Add(bytes, count);
        progress.Show(bytesPlayed += count);
        return isWritten;
    };
    const outcome_t played =
        PlayScene(scene, sounds, sink, &streams, observation ? &observation->recorder : nullptr);
    return played || !isWritten ? wave.Close() : played;
}

outcome_t Tell(targets_t& targets, observation_t& observation,
               const std::vector<stream_statistics_t>& streams) {
    const render_figures_t figures = observation.recorder.Finish(streams);
    if (observation.view) {
        observation.view->Finish();
        targets.page.Write(RenderPage(figures, *observation.view));
    }
    if (targets.json.IsWanted()) targets.json.Write(JsonText(RenderJson(figures), -1));
    if (outcome_t closed = targets.page.Close(); !closed) return closed;
    return targets.json.Close();
}

outcome_t Render(const arguments_t& arguments) {
    if (!arguments.report.empty()) {
        if (outcome_t drawing = CheckPictures(arguments.report); !drawing) return drawing;
    }
    scene_t scene;
    SceneSounds_t sounds(scene);
    if (outcome_t prepared = PrepareScene(arguments.scene, scene, sounds); !prepared) return prepared;
    targets_t targets(arguments);
    if (outcome_t opened = targets.Open(); !opened) return opened;
    if (outcome_t imported = sounds.Import(); !imported) return imported;
    std::vector<stream_statistics_t> streams;
    std::optional<observation_t> observation;
    if (targets.page.IsWanted() || targets.json.IsWanted())
        observation.emplace(scene, targets.page.IsWanted());
    observation_t* const looksOn = observation ? &*observation : nullptr;
    if (outcome_t played = Play(scene, sounds, targets.wave, looksOn, streams); !played) return played;
    if (observation) {
        if (outcome_t told = Tell(targets, *observation, streams); !told) return told;
    }
    if (!targets.ToStandardOutput()) {
        const std::string& main = targets.wave.IsWanted()   ? arguments.output
                                  : targets.page.IsWanted() ? arguments.report
                                                            : arguments.json;
        PrintReport(main + ": " + CountText(scene.outputFrames, "frame", "frames") + ", " +
                    FixedText(scene.outputFrames / 44100.0, 3) + " s");
    }
    if (arguments.withStatistics) PrintStatistics(streams, targets.ToStandardOutput() ? stderr : stdout);
    return Success();
}

// However the two are written.
bool AreTheSame(const std::string& one, const std::string& other) {
    if (one.empty() || other.empty() || one == "-" || other == "-") return !one.empty() && one == other;
    std::error_code error;  // leaves an empty path
    const auto place = [&error](const std::string& name) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(name, error), error);
    };
    return one == other || (!place(one).empty() && place(one) == place(other));
}

// A result that is written twice, or none at all, is a slip of the pen.
void CheckOutputs(const arguments_t& arguments) {
    if (arguments.output.empty() && arguments.report.empty() && arguments.json.empty())
        throw CLI::RequiredError("--output, --report or --json");
    const std::string* const names[] = {&arguments.output, &arguments.report, &arguments.json};
    for (const std::string* one : names) {
        for (const std::string* other : names) {
            if (one != other && AreTheSame(*one, *other))
                throw CLI::ValidationError(*one, "is to hold two different things");
        }
    }
}

}  // namespace

command_t AddRenderCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("render", "Play a scene without a sound card, into a wave file");
    command->add_option("SCENE", arguments->scene, "Scene file (TOML)")->required();
    command->add_option("-o,--output", arguments->output, "Wave file to write; - for standard output");
    command->add_option("--report", arguments->report,
                        "Page of HTML to write, with pictures and figures; - for standard output");
    command->add_option("--json", arguments->json, "The same figures as JSON; - for standard output");
    command->add_flag("--stats", arguments->withStatistics,
                      "Say what each stream cost; on standard error if the output goes to standard output");
    AddQuietFlag(*command);
    command->footer(footer);
    command->final_callback([arguments, command] {
        if (command->parsed()) CheckOutputs(*arguments);
    });
    return [arguments] { return StatusOf(Render(*arguments)); };
}

}  // namespace tools
