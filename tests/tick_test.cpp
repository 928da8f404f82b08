// tick_test.cpp - where the tick starts voices: edges that engine_model_test.cpp, which compares all that is
// heard of ticks, seldom meets.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "engine_fixture.h"
#include "platform/event.h"

namespace {

using namespace AudioSystem;

class Tick_t : public EngineFixture_t {
  protected:
    // 2060 frames are queued after each tick: mixHorizon 4120.
    static void Begin(bool isEmulated = false, float rate = 30) {
        DeInitialize();
        platform::ResetManualOutput();
        platform::ManualSettings().isEmulated = isEmulated;
        ASSERT_TRUE(Start());
        SetWorstCaseFrameRate(rate);
    }
};

// The cost at which mixing takes `spent` frames of playing time, for a sum over `voices`.
float CostOf(double spent, uint32_t queued, int voices) {
    return static_cast<float>((spent + 0.5) / ((2060 + queued) * 44100.0) / voices);
}

constexpr uint32_t atHorizon = UINT32_MAX;

TEST_F(Tick_t, StartOutcomes) {
    const struct {
        const char* what;
        bool isEmulated;
        float rate;
        uint32_t playedFrames;  // since the tick that filled the device with 2060
        float cost;
        int voices;
        uint32_t rewind;  // frames, or atHorizon
    } cases[] = {
        {"worked case", false, 30, 60, 0.000002f, 1, 1440},
        {"the sum counts", false, 30, 60, 0.000001f, 2, 1440},
        {"unknown", false, 30, 60, 0, 1, 0},
        {"300 to spare", false, 30, 1060, CostOf(700, 1000, 1), 1, 96},
        {"201 to spare", false, 30, 1060, CostOf(799, 1000, 1), 1, 0},
        {"exactly 200 to spare", false, 30, 1057, CostOf(800, 1000, 1), 1, atHorizon},
        {"exactly 200 in three", false, 30, 1060, CostOf(800, 1000, 3), 3, atHorizon},
        {"none to spare", false, 30, 1060, CostOf(1000, 1000, 1), 1, atHorizon},
        {"far too dear", false, 30, 60, 1.0f, 1, atHorizon},
        {"emulated", true, 30, 60, 0.000002f, 1, atHorizon},
        {"emulated and unknown", true, 30, 60, 0, 1, atHorizon},
        {"beyond the device", false, 1, 60, 0.000002f, 1, atHorizon},
        {"beyond the device, unknown", false, 1, 60, 0, 1, atHorizon},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        Begin(row.isEmulated, row.rate);
        Sound_t* sound = MakeSound("long", 30'000, {}, Ramp);
        MixVoices();
        Play(row.playedFrames);
        std::fill_n(SimpleVoice_t::mixCosts.costs, 8, row.cost);
        std::vector<Voice_t*> voices;
        for (int i = 0; i < row.voices; ++i) {
            voices.push_back(sound->CreateCompatibleVoice(0));
            voices.back()->Play();
        }
        const bool flag = voicesStartAtHorizon;
        const uint32_t base = ringBase, rewind = row.rewind == atHorizon ? 0 : row.rewind;
        EXPECT_EQ(StartVoices(), rewind);
        EXPECT_EQ(voicesStartAtHorizon, flag) << "only for the time of the start";
        EXPECT_EQ(startingVoices.count, 0);
        for (const Voice_t* voice : voices) {
            EXPECT_EQ(voice->position, row.rewind == atHorizon ? 0 : mixHorizon / 2 + rewind);
            EXPECT_EQ(voice->ringPosition, base + mixHorizon);
            EXPECT_TRUE(voice->isPlaying);
        }
        // Timed by two readings of the host, one count apart.
        const bool isTimed = row.cost == 0 && row.rewind == 0;
        EXPECT_FLOAT_EQ(voices[0]->GetMixCost(), isTimed ? 1e-7f / 2060 : row.cost);
    }
}

TEST_F(Tick_t, AVoiceWithoutSoundEnds) {
    Begin();
    platform::Event_t ended;
    ended.Create();
    Voice_t* voice = MakeSound("long", 30'000, {}, Ramp)->CreateCompatibleVoice(0);
    voice->completionEvent = &ended;
    voice->Play();
    MixVoices();
    EXPECT_TRUE(voice->isPlaying);
    voice->totalLength = 0;
    Play(735);
    MixVoices();
    EXPECT_FALSE(voice->isPlaying);
    EXPECT_EQ(ended.Wait(0), platform::waitSignalled);
}

// A chunk of less than a frame would never come to an end.
TEST_F(Tick_t, ADivisorAboveTheChunk) {
    Begin();
    auto* voice = new SlidingVoice_t(MakeSound("slow", 2000, {.rateDivisor = 9}, Ramp), 0);
    voice->mixChunk = 1;
    voice->Play();
    for (int tick = 0; tick < 3; ++tick) {
        MixVoices();
        EXPECT_EQ(voice->ringPosition, ringBase + mixHorizon);
        Play(735);
    }
}

}  // namespace
