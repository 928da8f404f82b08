// verify_command.cpp - ringmix verify SCENE.toml EXPECTED: whether a scene still sounds as it did, to the
// bit.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "tools/audio_source.h"
#include "tools/commands.h"
#include "tools/difference_view.h"
#include "tools/engine_rates.h"
#include "tools/number_text.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/sample_hash.h"
#include "tools/scene_player.h"
#include "tools/scene_sounds.h"
#include "tools/sound_levels.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"
#include "tools/text_table.h"

namespace tools {

namespace {

constexpr char footer[] =
    "EXPECTED is a wave file that `render` wrote before, or the SHA-256 hash of its samples (64 digits), "
    "which\n"
    "this command prints with --hash. The exit status is 0 if every sample is equal and 1 if not; then the "
    "first\n"
    "frame that differs is told, and how many do and by how much; --picture draws what was expected there, "
    "what\n"
    "came, and where else the two differ.\n\n"
    "  ringmix verify level1.toml level1.wav\n"
    "  ringmix verify level1.toml --hash > level1.sha256\n"
    "  ringmix verify level1.toml \"$(cat level1.sha256)\"\n";

struct arguments_t {
    std::string scene, expected, picture;
    bool printsHash = false, isDark = false;
};

std::string FrameText(uint64_t frame, const char* channel = "") {
    return std::to_string(frame) + " (" + FixedText(static_cast<double>(frame) / outputRateHz, 4) + " s" +
           channel + ")";
}

// Compares what is played with a file, frame by frame, as it comes.
class Comparison_t {
  public:
    outcome_t Open(const std::string& path) {
        if (outcome_t opened = file.Open(path); !opened) return opened;
        if (file.Channels() == 2 && file.RateHz() == outputRateHz && file.Is16Bit()) return Success();
        return Failure(path, "Not a wave file of 44100 Hz in 16-bit stereo, as render writes it");
    }
    // For a picture, from the first sample on.
    void Observe(uint64_t sceneFrames) { view.emplace(std::max(sceneFrames, file.ClaimedFrames())); }
    const DifferenceView_t& View() const { return *view; }

    outcome_t Take(const uint8_t* bytes, size_t count) {
        for (size_t at = 0; at < count; at += 2) {
            if (next == block.size() && !hasEnded) {
                if (outcome_t read = ReadBlock(); !read) return read;
            }
            const auto sample = static_cast<int16_t>(bytes[at] | bytes[at + 1] << 8);
            if (hasEnded) {
                framesBeyond += at % 4 == 0 ? 1 : 0;
                if (view) view->Add(sample, std::nullopt);
                continue;
            }
            Compare(sample, NextWanted());
        }
        return Success();
    }

    // At the end of the scene: what the file still holds.
    outcome_t Finish() {
        while (!hasEnded) {
            framesMissing += (block.size() - next) / 2;
            while (view && next < block.size()) view->Add(std::nullopt, NextWanted());
            if (outcome_t read = ReadBlock(); !read) return read;
        }
        return Success();
    }

    bool IsEqual() const { return framesDiffering + framesBeyond + framesMissing == 0; }

    // One line for each way in which they differ.
    std::vector<std::string> Findings() const {
        std::vector<std::string> lines;
        if (framesDiffering > 0) {
            lines.push_back("first difference in frame " +
                            FrameText(firstSample / 2, firstSample % 2 == 0 ? ", left" : ", right") + ": " +
                            std::to_string(firstHeard) + " instead of " + std::to_string(firstWanted));
            lines.push_back(CountText(framesDiffering, "frame differs", "frames differ") + ", by up to " +
                            std::to_string(largest) + " (" + FixedText(Decibels(largest / 32768.0), 1) +
                            " dBFS)");
        }
        const std::string from = " than expected: from frame " + FrameText(samples / 2) + " on";
        if (framesBeyond > 0) lines.push_back(CountText(framesBeyond, "frame", "frames") + " longer" + from);
        if (framesMissing > 0)
            lines.push_back(CountText(framesMissing, "frame", "frames") + " shorter" + from);
        return lines;
    }

  private:
    outcome_t ReadBlock() {
        outcome_t read = file.ReadBlock(block);
        next = 0;
        hasEnded = block.empty();
        return read;
    }

    int NextWanted() { return static_cast<int>(std::lround(block[next++] * 32768.0)); }

    void Compare(int heard, int wanted) {
        if (view) view->Add(heard, wanted);
        const uint64_t sample = samples++;
        if (heard == wanted) return;
        if (framesDiffering == 0) {
            firstSample = sample;
            firstHeard = heard;
            firstWanted = wanted;
        }
        if (framesDiffering == 0 || lastFrame != sample / 2) ++framesDiffering;
        lastFrame = sample / 2;
        largest = std::max(largest, std::abs(heard - wanted));
    }

    AudioSource_t file;
    std::optional<DifferenceView_t> view;  // if there is to be a picture
    std::vector<double> block;
    size_t next = 0;
    bool hasEnded = false;  // the file; nothing more is asked of it then
    uint64_t samples = 0;   // that both have
    uint64_t firstSample = 0, lastFrame = 0;
    uint64_t framesDiffering = 0, framesBeyond = 0, framesMissing = 0;
    int firstHeard = 0, firstWanted = 0, largest = 0;
};

int Verdict(const arguments_t& arguments, bool isEqual) {
    const std::string verdict =
        isEqual ? Painted(stdout, paint_t::green, "equal to") : Painted(stdout, paint_t::red, "differs from");
    if (!IsQuiet()) {
        std::printf("%s: %s %s\n", Printable(arguments.scene).c_str(), verdict.c_str(),
                    Printable(arguments.expected).c_str());
    }
    return isEqual ? exitSuccess : exitFailure;
}

outcome_t Draw(const arguments_t& arguments, const Comparison_t& comparison, OutputFile_t& file) {
    difference_t difference = comparison.View().Difference();
    difference.title = arguments.scene + " differs from " + arguments.expected;
    difference.facts = comparison.Findings();
    const std::string picture = DrawDifference(arguments.picture, arguments.isDark, difference);
    if (picture.empty()) return Failure(arguments.picture, "There is not enough memory for the picture");
    file.Write(picture);
    return file.Commit();
}

// The hash of what is played, and how it compares with a file, if there is one.
outcome_t Play(const scene_t& scene, SceneSounds_t& sounds, SampleHash_t& hash, Comparison_t* comparison) {
    Progress_t progress(scene.path.filename().string(), uint64_t{scene.outputFrames} * 4);
    uint64_t bytesPlayed = 0;
    outcome_t compared = Success();
    outcome_t played = PlayScene(scene, sounds, [&](const uint8_t* bytes, size_t count) {
        hash.Add(bytes, count);
        if (comparison) compared = comparison->Take(bytes, count);
        progress.Show(bytesPlayed += count);
        return compared.isGood;
    });
    if (compared && comparison) compared = comparison->Finish();
    return compared ? played : compared;
}

int Verify(const arguments_t& arguments) {
    OutputFile_t picture;
    if (!arguments.picture.empty()) {
        outcome_t made = CheckPictureName(arguments.picture);
        if (made) made = picture.Create(arguments.picture);
        if (!made) return StatusOf(made);
    }
    scene_t scene;
    SceneSounds_t sounds(scene);
    if (outcome_t prepared = PrepareScene(arguments.scene, scene, sounds); !prepared)
        return StatusOf(prepared);
    std::optional<Comparison_t> comparison;
    if (!arguments.printsHash && !SampleHash_t::IsHash(arguments.expected)) {
        if (!std::filesystem::exists(arguments.expected))
            return StatusOf(
                Failure(arguments.expected, "No such file, and no hash either: that has 64 digits"));
        if (outcome_t opened = comparison.emplace().Open(arguments.expected); !opened)
            return StatusOf(opened);
        if (!arguments.picture.empty()) comparison->Observe(scene.outputFrames);
    }
    if (outcome_t imported = sounds.Import(); !imported) return StatusOf(imported);

    SampleHash_t hash;
    if (outcome_t played = Play(scene, sounds, hash, comparison ? &*comparison : nullptr); !played)
        return StatusOf(played);

    const std::string digits = hash.Finish();
    if (arguments.printsHash) {
        std::printf("%s\n", digits.c_str());
        return exitSuccess;
    }
    if (!comparison) {
        const bool isEqual = SampleHash_t::AreEqual(digits, arguments.expected);
        if (!isEqual) PrintReport("its hash is " + digits);
        return Verdict(arguments, isEqual);
    }
    for (const std::string& finding : comparison->Findings()) PrintReport(finding);
    if (!arguments.picture.empty() && !comparison->IsEqual()) {
        if (outcome_t drawn = Draw(arguments, *comparison, picture); !drawn) return StatusOf(drawn);
        PrintReport("picture: " + arguments.picture);
    }
    return Verdict(arguments, comparison->IsEqual());
}

}  // namespace

command_t AddVerifyCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("verify", "Check that a scene sounds as it did, to the bit");
    command->add_option("SCENE", arguments->scene, "Scene file (TOML)")->required();
    CLI::Option* expected =
        command->add_option("EXPECTED", arguments->expected, "Wave file, or hash of the samples");
    CLI::Option* hash = command->add_flag("--hash", arguments->printsHash, "Print the hash instead");
    hash->excludes(expected);
    command
        ->add_option("--picture", arguments->picture,
                     "Picture to write if they differ; its name ends in .png or .svg")
        ->excludes(hash);
    command->add_flag("--dark", arguments->isDark, "The picture in light on dark");
    AddQuietFlag(*command);
    command->footer(footer);
    command->final_callback([arguments, command] {
        if (command->parsed() && arguments->expected.empty() && !arguments->printsHash) {
            throw CLI::RequiredError("EXPECTED or --hash");
        }
        if (!arguments->picture.empty() && SampleHash_t::IsHash(arguments->expected))
            throw CLI::ValidationError("--picture",
                                       "a hash has no samples to draw: compare with a wave file");
    });
    return [arguments] { return Verify(*arguments); };
}

}  // namespace tools
