// tools_golden_test.cpp - one whole scene, worked out by hand, against what the engine plays and against
// stored bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tools/scene_player.h"
#include "tools/scene_schedule.h"
#include "tools/scene_sounds.h"
#include "tools/wave_header.h"

namespace {

using tools::outcome_t;

const std::string folder = RINGMIX_TEST_DATA "/golden/";
constexpr uint32_t outputFrames = 13230;  // 0.3 s

std::string FileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The samples of a stored wave file with a plain 44-byte head, as 16-bit values.
struct wave_t {
    uint32_t channels;
    std::vector<int32_t> samples;

    wave_t(const char* file, uint32_t channelCount, bool is16Bit) : channels(channelCount) {
        const std::string bytes = FileBytes(folder + file);
        for (size_t i = 44; i < bytes.size(); i += is16Bit ? 2 : 1) {
            const auto low = static_cast<uint8_t>(bytes[i]);
            samples.push_back(is16Bit ? static_cast<int16_t>(low | static_cast<uint8_t>(bytes[i + 1]) << 8)
                                      : (low - 128) * 256);
        }
    }
    uint32_t Frames() const { return static_cast<uint32_t>(samples.size()) / channels; }
    int32_t At(uint32_t frame, uint32_t channel) const {
        return samples[frame * channels + (channels == 2 ? channel : 0)];
    }
};

// One voice as it ought to be heard: from an output frame on, each source frame held or skipped, gains in
// halves.
struct heard_t {
    const wave_t& wave;
    uint32_t start, frames;
    uint32_t hold, skip;
    int32_t halves[2];
    bool loops;
};

// Twice the sum of what is heard in an output frame; halves are the finest grain that these gains make.
int64_t TwiceTheSum(const std::vector<heard_t>& voices, uint32_t frame, uint32_t channel) {
    int64_t sum = 0;
    for (const heard_t& voice : voices) {
        if (frame < voice.start || frame >= voice.start + voice.frames) continue;
        const uint32_t index = (frame - voice.start) / voice.hold * voice.skip;
        sum +=
            voice.wave.At(voice.loops ? index % voice.wave.Frames() : index, channel) * voice.halves[channel];
    }
    return sum;
}

// An even frame rounds to the nearest, halves to even; an odd one rounds down; both clip.
int32_t Sample(int64_t twice, bool isEvenFrame) {
    int64_t value = twice >> 1;
    if (isEvenFrame && (twice & 1) && (value & 1)) ++value;
    return static_cast<int32_t>(std::clamp<int64_t>(value, -32768, 32767));
}

// The horizon for the 8 frames a second of the start is 12200 ring units, the lead the same: 6100 frames.
// Tick k finds the device at 882 k; its pass tops it up in steps of 4 frames.
uint32_t SentAfterTick(uint32_t tick) { return 6100 + (882 * tick & ~3u); }

// Mixed into the past: up to 200 frames ahead of the device, a multiple of 8 frames behind what was sent.
uint32_t StartWithKnownCost(uint32_t tick) {
    const uint32_t sent = SentAfterTick(tick - 1), queued = (sent - 882 * tick) & ~3u;
    return sent - ((queued - 200) & ~7u);
}

std::vector<uint8_t> WorkedOut() {
    const wave_t tone("tone.wav", 1, true), bell("bell.wav", 2, false);
    const std::vector<heard_t> voices = {
        // Stopped in tick 1, but mixed by then to the horizon of tick 0.
        {tone, 0, SentAfterTick(0) + 6100, 1, 1, {2, 2}, true},
        {tone, StartWithKnownCost(5), tone.Frames(), 1, 1, {2, 2}, false},
        {bell, SentAfterTick(5), 2 * bell.Frames(), 2, 1, {2, 2}, false},  // an unknown cost again: 8-bit
                                                                           // stereo
        {tone, SentAfterTick(6), tone.Frames(), 1, 1, {1, 2}, false},      // and again: gain path
        {tone, StartWithKnownCost(8), tone.Frames() / 2, 1, 2, {2, 1}, false},  // no interpolation
    };
    std::vector<uint8_t> bytes;
    for (uint32_t frame = 0; frame < outputFrames; ++frame) {
        for (uint32_t channel = 0; channel < 2; ++channel) {
            const int32_t sample = Sample(TwiceTheSum(voices, frame, channel), frame % 2 == 0);
            bytes.push_back(static_cast<uint8_t>(sample));
            bytes.push_back(static_cast<uint8_t>(sample >> 8));
        }
    }
    return bytes;
}

std::vector<uint8_t> Rendered() {
    tools::scene_t scene;
    const outcome_t read = tools::ReadScene(folder + "scene.toml", scene);
    EXPECT_TRUE(read) << read.subject << ": " << read.reason;
    tools::SceneSounds_t sounds(scene);
    std::vector<uint8_t> bytes;
    const bool isReady = sounds.Resolve() && tools::CheckEvents(scene, sounds.Names()) && sounds.Import();
    EXPECT_TRUE(isReady);
    const outcome_t played = tools::PlayScene(scene, sounds, [&](const uint8_t* from, size_t count) {
        bytes.insert(bytes.end(), from, from + count);
        return true;
    });
    EXPECT_TRUE(played) << played.subject << ": " << played.reason;
    return bytes;
}

void ExpectSame(const std::vector<uint8_t>& got, const std::vector<uint8_t>& wanted) {
    ASSERT_EQ(got.size(), wanted.size());
    const auto [one, other] = std::mismatch(got.begin(), got.end(), wanted.begin());
    EXPECT_EQ(one, got.end()) << "first difference in frame " << (one - got.begin()) / 4 << ", byte "
                              << (one - got.begin()) % 4 << ": " << int{*one} << ", wanted " << int{*other};
}

TEST(Golden, EngineAgreesWithTheWorkedScene) { ExpectSame(Rendered(), WorkedOut()); }

// A second run in the same process: costs that the first one measured must not move anything.
TEST(Golden, EveryRunIsTheSame) { ExpectSame(Rendered(), Rendered()); }

TEST(Golden, WorkedSceneAgreesWithTheStoredFile) {
    const std::string stored = FileBytes(folder + "expected.wav");
    const std::string head = tools::FormatWaveHeader(outputFrames);
    ASSERT_GE(stored.size(), head.size());
    EXPECT_EQ(stored.substr(0, head.size()), head);
    ExpectSame({stored.begin() + static_cast<std::ptrdiff_t>(head.size()), stored.end()}, WorkedOut());
}

}  // namespace
