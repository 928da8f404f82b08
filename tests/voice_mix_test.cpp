// voice_mix_test.cpp - the mix step where a sound ends, loops, stops or meets the next one. What whole voices
// sound like is compared with a model in engine_model_test.cpp.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "core/mix_ring.h"
#include "sounds/simple_sound.h"
#include "tests/voice_model.h"
#include "voices/simple_voice.h"

namespace {

using sound_ptr_t = std::unique_ptr<SimpleSound_t>;

constexpr uint32_t ringUnits = 16384;

// Every sample the same, in 16-bit terms; a multiple of 256 for both widths. The samples end with their heap
// block, so that an address sanitizer sees a read past them.
sound_ptr_t MakeFlatSound(uint32_t frames, uint32_t divisor, bool is16Bit, bool isStereo, int sample) {
    auto sound = std::make_unique<SimpleSound_t>();
    sound->frameCount = frames;
    sound->rateDivisor = divisor;
    sound->is16Bit = is16Bit;
    sound->isStereo = isStereo;
    sound->bytesPerFrame = (is16Bit ? 2u : 1u) * (isStereo ? 2u : 1u);
    const uint32_t bytes = frames * sound->bytesPerFrame;
    sound->samples = new uint8_t[bytes];
    const auto high = static_cast<uint8_t>((sample + 0x8000) / 256);
    for (uint32_t i = 0; i < bytes; ++i) sound->samples[i] = is16Bit && i % 2 == 0 ? uint8_t{0} : high;
    return sound;
}

class VoiceMix : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(AudioSystem::AllocateRing(ringUnits, 4096)); }
    void TearDown() override {
        Voice_t::FreeAll();
        AudioSystem::FreeRing();
    }

    // What stands in the ring, in 1/256 sample steps; exact for what a gain leaves whole.
    static int32_t Heard(uint32_t frame, unsigned channel) {
        const auto eighths = static_cast<int64_t>(AudioSystem::ringEntries[frame / 2 * 2 + channel] / 8.0);
        return static_cast<int32_t>(frame % 2 == 0 ? eighths & 0xFFFFFFFF : eighths >> 32) - bothSlots;
    }
};

struct edge_t {
    const char* name;
    uint32_t frames, divisor;
    float left, right, frequency;
    bool isLooping;
    uint32_t start, asked;
    uint32_t wantFrames;          // heard from the beginning of the stretch on, then silence
    int32_t wantLeft, wantRight;  // gains, in 1/256
    bool wantAlive;
    uint32_t wantPosition, wantFraction;
};

TEST_F(VoiceMix, Edges) {
    const edge_t edges[] = {
        {"all that is left", 10, 1, 1, 1, 1, false, 0, 10, 10, 256, 256, false, 10, 0},
        {"more than is left", 10, 1, 1, 1, 1, false, 0, 25, 10, 256, 256, false, 10, 0},
        {"one less: the last is dropped", 10, 1, 1, 1, 1, false, 0, 9, 9, 256, 256, false, 9, 0},
        {"two less", 10, 1, 1, 1, 1, false, 0, 8, 8, 256, 256, true, 8, 0},
        {"nothing", 10, 1, 1, 1, 1, false, 0, 0, 0, 0, 0, true, 0, 0},
        {"nothing, one step from the end", 10, 1, 1, 1, 1, false, 9, 0, 0, 0, 0, false, 9, 0},
        {"half the rate", 1000, 2, 1, 1, 1, false, 0, 3000, 2000, 256, 256, false, 1000, 0},
        {"a quarter, a rest below one frame", 100, 4, 1, 1, 1, false, 0, 31, 28, 256, 256, true, 7, 768},
        {"a third: silent on the plain path", 100, 3, 1, 1, 1, false, 0, 400, 0, 0, 0, false, 99, 924},
        {"heard with a gain", 100, 3, 0.5f, 0.5f, 1, false, 0, 400, 300, 128, 128, false, 99, 924},
        {"heard with a frequency", 100, 3, 1, 1, 1.5f, false, 0, 400, 200, 256, 256, false, 100, 0},
        {"both channels quiet", 10, 1, 0.09f, 0.09f, 1, false, 0, 20, 0, 0, 0, false, 10, 0},
        {"one channel quiet", 10, 1, 0.09f, 0.5f, 1, false, 0, 20, 10, 23, 128, false, 10, 0},
        {"exactly at the threshold", 10, 1, 0.1f, 0, 1, false, 0, 5, 5, 25, 0, true, 5, 0},
        {"an end between frames", 10, 1, 1, 1, 0.75f, false, 0, 20, 13, 256, 256, false, 9, 768},
        {"loops several times", 10, 1, 1, 1, 1, true, 0, 35, 35, 256, 256, true, 5, 0},
        {"a loop drops its last frame too", 10, 1, 1, 1, 1, true, 0, 9, 9, 256, 256, true, 0, 0},
        {"a loop of exactly one step", 4, 1, 1, 1, 4, true, 0, 10, 10, 256, 256, false, 0, 0},
        {"a loop shorter than a step ends", 4, 1, 1, 1, 4.5f, true, 0, 10, 0, 0, 0, false, 0, 0},
        {"2^32 + 1024 steps ahead", 4194305, 1, 1, 1, 1, false, 0, 99, 99, 256, 256, true, 99, 0},
    };
    for (const edge_t& edge : edges) {
        for (unsigned format = 0; format < 4; ++format) {
            SCOPED_TRACE(testing::Message() << edge.name << ", format " << format);
            AudioSystem::FreeRing();
            ASSERT_TRUE(AudioSystem::AllocateRing(ringUnits, 4096));
            const sound_ptr_t sound = MakeFlatSound(edge.frames, edge.divisor, format & 1, format & 2, 1024);
            SimpleVoice_t voice(sound.get(), 0);
            voice.isLooping = edge.isLooping;
            voice.isPlaying = !edge.wantAlive;
            voice.SetVolume(edge.left, edge.right);
            voice.SetFrequency(edge.frequency);
            voice.SetPos(edge.start);
            EXPECT_EQ(voice.Mix(200, edge.asked), edge.wantAlive);
            EXPECT_EQ(voice.isPlaying, edge.wantAlive);
            EXPECT_EQ(voice.position, edge.wantPosition);
            EXPECT_EQ(voice.fraction, edge.wantFraction);
            for (uint32_t frame = 98; frame < 100 + edge.asked + 4; ++frame) {
                const bool isHeard = frame >= 100 && frame < 100 + edge.wantFrames;
                ASSERT_EQ(Heard(frame, 0), isHeard ? 1024 * edge.wantLeft : 0) << frame;
                ASSERT_EQ(Heard(frame, 1), isHeard ? 1024 * edge.wantRight : 0) << frame;
            }
        }
    }
}

TEST_F(VoiceMix, SeamJoinsTwoFormatsAndDropsTheFraction) {
    const sound_ptr_t first = MakeFlatSound(10, 2, false, false, 2048),
                      second = MakeFlatSound(50, 1, true, true, 512);
    SimpleVoice_t voice(first.get(), 0);
    voice.QueueSound(second.get());
    voice.SetFrequency(1.5f);  // step 768: 13 frames, and 3/4 of a source frame over
    EXPECT_TRUE(voice.Mix(0, 20));
    for (uint32_t frame = 0; frame < 20; ++frame)
        EXPECT_EQ(Heard(frame, 1), 256 * (frame < 13 ? 2048 : 512)) << frame;
    EXPECT_EQ(voice.queueBase, 10u);
    EXPECT_EQ(voice.step, 1536u);
    EXPECT_EQ(voice.position, 10u);  // 7 frames at 1.5
    EXPECT_EQ(voice.fraction, 512u);
}

// What the mix step asks on its way, and the answers of a test.
struct AskedVoice_t : SimpleVoice_t {
    using SimpleVoice_t::SimpleVoice_t;
    bool OnStopPosition() override { return ++stops, goesOn; }
    bool PrepareFrame(uint32_t frames) override { return asked.push_back(frames), frames < 60; }

    bool goesOn = false;
    uint32_t stops = 0;
    std::vector<uint32_t> asked;
};

TEST_F(VoiceMix, AsksForWhatAPassMixesAndGoesOnIfTold) {
    const sound_ptr_t sound = MakeFlatSound(200, 1, true, false, 256);
    AskedVoice_t voice(sound.get(), 0);
    voice.mixFlags = prepareExact;
    voice.stopPosition = 50;
    EXPECT_FALSE(voice.Mix(0, 100));
    EXPECT_EQ(voice.asked, std::vector<uint32_t>{50}) << "up to the stop position";
    voice.goesOn = true;
    EXPECT_TRUE(voice.Mix(0, 20));
    EXPECT_EQ(voice.position, 50u) << "a stop goes no further";
    voice.stopPosition = noStopPosition;
    EXPECT_FALSE(voice.Mix(0, 60));
    EXPECT_EQ(voice.position, 50u) << "what is refused is not mixed";
    EXPECT_EQ(voice.asked, (std::vector<uint32_t>{50, 0, 60}));
    EXPECT_EQ(voice.stops, 2u);
    EXPECT_EQ(Heard(50, 0), 0);
}

}  // namespace
