// voice_mix_test.cpp - the mix step against a model that walks one output frame at a time and keeps exact
// sums, rounded where a kernel stores. Every script compares the whole ring bit for bit, and the voice after
// each call.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "core/mix_ring.h"
#include "sounds/sample_heap.h"
#include "sounds/simple_sound.h"
#include "tests/voice_model.h"
#include "voices/simple_voice.h"

namespace {

using AudioSystem::ringEntries;

constexpr uint32_t ringUnits = 16384, ringFrames = ringUnits / 2;

using sound_ptr_t = std::unique_ptr<SimpleSound_t>;

// The samples end with their block, so that an address sanitizer sees a read past them.
sound_ptr_t MakeSound(uint32_t frames, uint32_t divisor, bool is16Bit, bool isStereo) {
    auto sound = std::make_unique<SimpleSound_t>();
    sound->frameCount = frames;
    sound->rateDivisor = divisor;
    sound->is16Bit = is16Bit;
    sound->isStereo = isStereo;
    sound->bytesPerFrame = (is16Bit ? 2u : 1u) * (isStereo ? 2u : 1u);
    sound->samples = AllocateSamples(frames * sound->bytesPerFrame).release();
    return sound;
}

// Every sample the same, in 16-bit terms; a multiple of 256 for both widths.
sound_ptr_t MakeFlatSound(uint32_t frames, uint32_t divisor, bool is16Bit, bool isStereo, int sample) {
    sound_ptr_t sound = MakeSound(frames, divisor, is16Bit, isStereo);
    const auto high = static_cast<uint8_t>((sample + 0x8000) / 256);
    for (uint32_t i = 0; i < frames * sound->bytesPerFrame; ++i)
        sound->samples[i] = is16Bit && i % 2 == 0 ? uint8_t{0} : high;
    return sound;
}

// What the mix step asks on its way, and the answers of the script.
struct hooks_t {
    bool stopAnswer = false;
    std::size_t refusedCall = 0;  // counted from 1
    uint32_t stops = 0;
    std::vector<uint32_t> prepared{};

    bool Stop() { return ++stops, stopAnswer; }
    bool Prepare(uint32_t frames) {
        prepared.push_back(frames);
        return prepared.size() != refusedCall;
    }
};

class ScriptVoice_t : public SimpleVoice_t {
  public:
    ScriptVoice_t(Sound_t* sound, const hooks_t& answers) : SimpleVoice_t(sound, 0), hooks(answers) {}
    bool OnStopPosition() override { return hooks.Stop(); }
    bool PrepareFrame(uint32_t frames) override { return hooks.Prepare(frames); }
    hooks_t hooks;
};

// Index of the first entry of the engine's ring that differs, or -1.
int FirstDifference(const model_ring_t& ring) {
    for (std::size_t i = 0; i < ring.sums.size(); ++i) {
        const double wanted = static_cast<double>(ring.sums[i]) * 8.0;
        if (std::memcmp(&wanted, &ringEntries[i], sizeof wanted) != 0) return static_cast<int>(i);
    }
    return -1;
}

struct script_model_t : model_t {
    script_model_t(const Sound_t* sound, const hooks_t& answers) : model_t(sound), hooks(answers) {}
    bool OnStop() override { return hooks.Stop(); }
    bool Prepare(uint32_t frames) override { return hooks.Prepare(frames); }
    hooks_t hooks;
};

class VoiceMix : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(AudioSystem::AllocateRing(ringUnits, 4096)); }
    void TearDown() override {
        Voice_t::FreeAll();
        AudioSystem::FreeRing();
    }

    // What stands in the ring, in 1/256 sample steps; exact for what a gain leaves whole.
    static int32_t Heard(uint32_t frame, unsigned channel) {
        const auto eighths = static_cast<int64_t>(ringEntries[frame / 2 * 2 + channel] / 8.0);
        return static_cast<int32_t>(frame % 2 == 0 ? eighths & 0xFFFFFFFF : eighths >> 32) - bothSlots;
    }
};

class Script_t {
  public:
    explicit Script_t(unsigned seed) : generator(seed) {}

    uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(generator()) % limit; }
    bool Once(uint32_t in) { return Below(in) == 0; }

    float Volume() {
        const float edges[] = {0.0f, 0.05f, 0.1f, std::nextafter(0.1f, 0.0f), 0.11f, 0.5f, 1.0f, 1.0f, 1.0f};
        return Once(2) ? edges[Below(9)] : static_cast<float>(Below(1001)) / 1000.0f;
    }

    float Frequency() {
        const float edges[] = {0.2f, 0.25f, 0.75f, 1.0f, 1.0f, 1.5f, 2.0f, std::nextafter(8.0f, 0.0f)};
        return Once(2) ? edges[Below(8)] : 0.2f + static_cast<float>(Below(7790)) / 1000.0f;
    }

    sound_ptr_t Sound() {
        const uint32_t frames = Once(20) ? 1000 + Below(2000) : Once(4) ? 1 + Below(6) : 1 + Below(300);
        sound_ptr_t sound = MakeSound(frames, 1 + Below(6), Once(2), Once(2));
        for (uint32_t i = 0; i < frames * sound->bytesPerFrame; ++i)
            sound->samples[i] = static_cast<uint8_t>(Below(256));
        if (Once(3)) sound->baseVolume = static_cast<float>(Below(1500)) / 1000.0f;
        if (Once(4)) sound->lockFlags = Below(8);
        return sound;
    }

    // One change of the voice from outside.
    void Change(ScriptVoice_t& voice, script_model_t& model) {
        const uint32_t target = Below(voice.totalLength + 2), kind = Below(6);
        const float volume = Volume();
        if (kind == 0) voice.SetVolume(volume, Once(2) ? volume : Volume());
        if (kind == 1) voice.SetFrequency(Frequency());
        if (kind == 2) voice.SetBaseVolume(volume);
        if (kind == 3) voice.isLooping = Once(2);
        if (kind == 4) voice.stopPosition = Once(2) ? target : noStopPosition;
        if (kind == 5) voice.SetPos(target);
        if (kind == 5) model.SetPos(target < voice.totalLength ? target : 0);
        if (kind < 5) model.TakeSettings(voice);
    }

    // A voice on 1 to 4 sounds walks the ring in calls of random length, split at the ring's end.
    void Run(model_ring_t& ring) {
        std::vector<sound_ptr_t> sounds;
        for (uint32_t i = 0, count = 1 + Below(4); i < count; ++i) sounds.push_back(Sound());
        ScriptVoice_t voice(sounds[0].get(), {Once(4), Once(8) ? 1 + Below(6) : 0});
        voice.mixFlags = static_cast<uint16_t>(1u << Below(3));
        script_model_t model(sounds[0].get(), voice.hooks);
        model.TakeSettings(voice);
        for (std::size_t i = 1; i < sounds.size(); ++i) {
            voice.QueueSound(sounds[i].get());
            model.queue.push_back(sounds[i].get());
        }
        for (uint32_t changes = Below(5); changes > 0; --changes) Change(voice, model);

        uint32_t at = Below(ringFrames);
        for (uint32_t toGo = Once(10) ? ringFrames : Below(2000); toGo > 0;) {
            const uint32_t length = Once(10) ? 0 : 1 + Below(Once(2) ? 700 : 20);
            const uint32_t frames = std::min({length, toGo, ringFrames - at});
            const bool isAlive = voice.Mix(2 * at, frames);
            ASSERT_EQ(isAlive, model.Mix(ring, at, frames));
            ASSERT_EQ(voice.isPlaying, isAlive);
            ASSERT_NO_FATAL_FAILURE(Compare(voice, model));
            at = (at + frames) % ringFrames;
            toGo -= std::max(frames, 1u);
            if (!isAlive && Once(2)) break;
            if (Once(4)) Change(voice, model);
        }
    }

  private:
    static void Compare(const ScriptVoice_t& voice, const script_model_t& model) {
        const bool isLast = model.current + 1 == model.queue.size();
        ASSERT_EQ(
            std::tuple(voice.queueBase, voice.position, voice.fraction, voice.step, voice.pathFlags == 0),
            std::tuple(model.base, model.position, model.fraction, model.step, model.IsPlain()));
        ASSERT_EQ(voice.hooks.stops, model.hooks.stops);
        ASSERT_EQ(voice.hooks.prepared, model.hooks.prepared);
        ASSERT_EQ(voice.nextQueued ? voice.nextQueued->data : nullptr,
                  isLast ? nullptr : model.queue[model.current + 1]);
    }

    std::mt19937 generator;
};

TEST_F(VoiceMix, RandomScriptsAgreeWithTheModel) {
    for (unsigned seed = 0; seed < 10000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Script_t script(seed);
        AudioSystem::FreeRing();
        ASSERT_TRUE(AudioSystem::AllocateRing(ringUnits, 4096));
        model_ring_t ring(ringFrames);
        for (uint32_t voices = 1 + script.Below(3); voices > 0; --voices)
            ASSERT_NO_FATAL_FAILURE(script.Run(ring));
        ASSERT_EQ(FirstDifference(ring), -1);
    }
}

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

TEST_F(VoiceMix, CostsAreKeptByFormatAndPathAndNeverFall) {
    MixCostTable_t table;
    for (unsigned entry = 0; entry < 8; ++entry) {
        const sound_ptr_t sound = MakeFlatSound(4, 1, entry & 4, entry & 2, 0);
        SimpleVoice_t voice(sound.get(), 0);
        const uint32_t gainPaths[] = {pathVolume, pathFrequency, pathVolume | pathPan};
        voice.pathFlags = entry & 1 ? gainPaths[entry / 2 % 3] : 0;
        EXPECT_EQ(table.CostFor(&voice), 0.0f);
        table.RaiseFor(&voice, 2.0f + static_cast<float>(entry));
        table.RaiseFor(&voice, 1.0f);
        EXPECT_EQ(table.CostFor(&voice), table.costs[entry]);
        EXPECT_EQ(table.costs[entry], 2.0f + static_cast<float>(entry));
    }
}

}  // namespace
