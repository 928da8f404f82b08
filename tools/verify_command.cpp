// verify_command.cpp - ringmix verify SCENE.toml EXPECTED: whether a scene still sounds as it did, to the
// bit.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

#include "tools/audio_source.h"
#include "tools/commands.h"
#include "tools/engine_rates.h"
#include "tools/number_text.h"
#include "tools/progress.h"
#include "tools/sample_hash.h"
#include "tools/scene_player.h"
#include "tools/scene_sounds.h"
#include "tools/sound_levels.h"

namespace tools {

namespace {

constexpr char footer[] =
    "EXPECTED is a wave file that `render` wrote before, or the SHA-256 hash of its samples (64 digits), "
    "which\n"
    "this command prints with --hash. The exit status is 0 if every sample is equal and 1 if not; then the "
    "first\n"
    "frame that differs is told, and how many do and by how much.\n\n"
    "  ringmix verify level1.toml level1.wav\n"
    "  ringmix verify level1.toml --hash > level1.sha256\n"
    "  ringmix verify level1.toml \"$(cat level1.sha256)\"\n";

struct arguments_t {
    std::string scene, expected;
    bool printsHash = false;
};

// Compares what is played with a file, frame by frame, as it comes.
class Comparison_t {
  public:
    outcome_t Open(const std::string& path) {
        if (outcome_t opened = file.Open(path); !opened) return opened;
        if (file.Channels() == 2 && file.RateHz() == outputRateHz && file.Is16Bit()) return Success();
        return Failure(path, "Not a wave file of 44100 Hz in 16-bit stereo, as render writes it");
    }

    outcome_t Take(const uint8_t* bytes, size_t count) {
        for (size_t at = 0; at < count; at += 2) {
            if (next == block.size() && !hasEnded) {
                if (outcome_t read = ReadBlock(); !read) return read;
            }
            if (hasEnded) {
                framesBeyond += at % 4 == 0 ? 1 : 0;
                continue;
            }
            const auto sample = static_cast<int16_t>(bytes[at] | bytes[at + 1] << 8);
            Compare(sample, static_cast<int>(std::lround(block[next++] * 32768.0)));
        }
        return Success();
    }

    // At the end of the scene: what the file still holds.
    outcome_t Finish() {
        framesMissing = (block.size() - next) / 2;
        while (!hasEnded) {
            if (outcome_t read = ReadBlock(); !read) return read;
            framesMissing += block.size() / 2;
        }
        return Success();
    }

    bool IsEqual() const { return framesDiffering + framesBeyond + framesMissing == 0; }

    void Print() const {
        if (framesDiffering > 0) {
            std::printf("first difference in frame %llu (%s s, %s): %d instead of %d\n",
                        static_cast<unsigned long long>(firstSample / 2),
                        FixedText(static_cast<double>(firstSample / 2) / outputRateHz, 4).c_str(),
                        firstSample % 2 == 0 ? "left" : "right", firstHeard, firstWanted);
            std::printf("%llu frames differ, by up to %d (%s dBFS)\n",
                        static_cast<unsigned long long>(framesDiffering), largest,
                        FixedText(Decibels(largest / 32768.0), 1).c_str());
        }
        if (framesBeyond > 0) PrintLength(framesBeyond, "longer");
        if (framesMissing > 0) PrintLength(framesMissing, "shorter");
    }

  private:
    outcome_t ReadBlock() {
        outcome_t read = file.ReadBlock(block);
        next = 0;
        hasEnded = block.empty();
        return read;
    }

    static void PrintLength(uint64_t frames, const char* word) {
        std::printf("%llu frames %s than expected\n", static_cast<unsigned long long>(frames), word);
    }

    void Compare(int heard, int wanted) {
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
    std::vector<double> block;
    size_t next = 0;
    bool hasEnded = false;  // the file; nothing more is asked of it then
    uint64_t samples = 0, firstSample = 0, lastFrame = 0;
    uint64_t framesDiffering = 0, framesBeyond = 0, framesMissing = 0;
    int firstHeard = 0, firstWanted = 0, largest = 0;
};

int Verdict(const arguments_t& arguments, bool isEqual) {
    std::printf("%s: %s %s\n", arguments.scene.c_str(), isEqual ? "equal to" : "differs from",
                arguments.expected.c_str());
    return isEqual ? exitSuccess : exitFailure;
}

int Verify(const arguments_t& arguments) {
    scene_t scene;
    SceneSounds_t sounds(scene);
    if (outcome_t prepared = PrepareScene(arguments.scene, scene, sounds); !prepared)
        return StatusOf(prepared);
    std::optional<Comparison_t> comparison;
    if (!arguments.printsHash && !SampleHash_t::IsHash(arguments.expected)) {
        if (outcome_t opened = comparison.emplace().Open(arguments.expected); !opened)
            return StatusOf(opened);
    }
    if (outcome_t imported = sounds.Import(); !imported) return StatusOf(imported);

    SampleHash_t hash;
    Progress_t progress(scene.path.filename().string(), uint64_t{scene.outputFrames} * 4);
    uint64_t bytesPlayed = 0;
    outcome_t compared = Success();
    const outcome_t played = PlayScene(scene, sounds, [&](const uint8_t* bytes, size_t count) {
        hash.Add(bytes, count);
        if (comparison) compared = comparison->Take(bytes, count);
        progress.Show(bytesPlayed += count);
        return compared.isGood;
    });
    if (compared && comparison) compared = comparison->Finish();
    if (!compared) return StatusOf(compared);
    if (!played) return StatusOf(played);

    const std::string digits = hash.Finish();
    if (arguments.printsHash) {
        std::printf("%s\n", digits.c_str());
        return exitSuccess;
    }
    if (!comparison) {
        const bool isEqual = SampleHash_t::AreEqual(digits, arguments.expected);
        if (!isEqual) std::printf("its hash is %s\n", digits.c_str());
        return Verdict(arguments, isEqual);
    }
    comparison->Print();
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
    command->footer(footer);
    command->final_callback([arguments, command] {
        if (command->parsed() && arguments->expected.empty() && !arguments->printsHash) {
            throw CLI::RequiredError("EXPECTED or --hash");
        }
    });
    return [arguments] { return Verify(*arguments); };
}

}  // namespace tools
