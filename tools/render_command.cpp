// render_command.cpp - ringmix render SCENE.toml -o OUT.wav: a scene to a wave file, or to standard output.
//
// The length is known before the first byte, so the header goes out first and the output is never held in
// memory.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tools/commands.h"
#include "tools/number_text.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/scene_player.h"
#include "tools/scene_sounds.h"
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
    "  ringmix render scene.toml -o out.wav\n"
    "  ringmix render scene.toml -o - | aplay\n";

struct arguments_t {
    std::string scene, output;
    bool withStatistics = false;
};

// Standard output, or a file that appears when it is complete.
class WaveTarget_t {
  public:
    explicit WaveTarget_t(const std::string& output) : name(output), toStandardOutput(output == "-") {}

    outcome_t Open() { return toStandardOutput ? Success() : file.Create(name); }

    bool Write(const void* bytes, size_t count) {
        if (!toStandardOutput) return file.Write(bytes, count);
        if (pipeError == 0 && std::fwrite(bytes, 1, count, stdout) != count) pipeError = errno;
        return pipeError == 0;
    }

    outcome_t Close() {
        if (!toStandardOutput) return file.Commit();
        if (pipeError == 0 && std::fflush(stdout) != 0) pipeError = errno;
        return pipeError == 0 ? Success() : Failure("standard output", std::strerror(pipeError));
    }

    bool ToStandardOutput() const { return toStandardOutput; }

  private:
    std::string name;
    bool toStandardOutput;
    OutputFile_t file;
    int pipeError = 0;
};

outcome_t RenderInto(WaveTarget_t& target, const scene_t& scene, SceneSounds_t& sounds,
                     std::vector<stream_statistics_t>& streams) {
    const std::string header = FormatWaveHeader(scene.outputFrames);
    if (!target.Write(header.data(), header.size())) return target.Close();
    Progress_t progress(scene.path.filename().string(), uint64_t{scene.outputFrames} * 4);
    uint64_t bytesWritten = 0;
    bool isWritten = true;
    const auto sink = [&](const uint8_t* bytes, size_t count) {
        isWritten = target.Write(bytes, count);
        bytesWritten += count;
        progress.Show(bytesWritten);
        return isWritten;
    };
    const outcome_t played = PlayScene(scene, sounds, sink, &streams);
    return played || !isWritten ? target.Close() : played;
}

outcome_t Render(const arguments_t& arguments) {
    scene_t scene;
    SceneSounds_t sounds(scene);
    if (outcome_t prepared = PrepareScene(arguments.scene, scene, sounds); !prepared) return prepared;
    WaveTarget_t target(arguments.output);
    if (outcome_t opened = target.Open(); !opened) return opened;
    if (outcome_t imported = sounds.Import(); !imported) return imported;
    std::vector<stream_statistics_t> streams;
    if (outcome_t rendered = RenderInto(target, scene, sounds, streams); !rendered) return rendered;
    if (!target.ToStandardOutput()) {
        std::printf("%s: %u frames, %s s\n", arguments.output.c_str(), scene.outputFrames,
                    FixedText(scene.outputFrames / 44100.0, 3).c_str());
    }
    if (arguments.withStatistics) PrintStatistics(streams, target.ToStandardOutput() ? stderr : stdout);
    return Success();
}

}  // namespace

command_t AddRenderCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("render", "Play a scene without a sound card, into a wave file");
    command->add_option("SCENE", arguments->scene, "Scene file (TOML)")->required();
    command->add_option("-o,--output", arguments->output, "Wave file to write; - for standard output")
        ->required();
    command->add_flag("--stats", arguments->withStatistics,
                      "Say what each stream cost; on standard error if the output goes to standard output");
    command->footer(footer);
    return [arguments] { return StatusOf(Render(*arguments)); };
}

}  // namespace tools
