// tick_test.cpp - how the tick starts voices and ends them: the calls that a voice gets. What is heard of it,
// engine_model_test.cpp compares.
#include <gtest/gtest.h>

#include <vector>

#include "engine_fixture.h"
#include "platform/event.h"

namespace {

using namespace AudioSystem;

struct mix_call_t {
    uint32_t ringAt, frames;
    bool operator==(const mix_call_t&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const mix_call_t& call) {
        return out << '{' << call.ringAt << ", " << call.frames << '}';
    }
};
using calls_t = std::vector<mix_call_t>;

// Mixes nothing and notes what it is asked for. Costs what it is told to cost.
class TracingVoice_t : public Voice_t {
  public:
    TracingVoice_t(Sound_t* sound, float mixCost) : Voice_t(sound, 0), cost(mixCost) {}
    ~TracingVoice_t() override { ++deletions; }

    bool Mix(uint32_t ringAt, uint32_t frames) override {
        calls.push_back({ringAt, frames});
        wasMixing = mixing;
        return isPlaying = calls.size() < endsAtCall;
    }
    void SetPos(uint32_t target) override { posSet = target; }
    bool OnStopPosition() override { return false; }
    bool PrepareFrame(uint32_t) override { return true; }
    void RecordMixCost(float measured) override { recorded.push_back(measured); }
    bool IsCompatibleSound(Sound_t*) override { return true; }
    void ReleaseSound() override {}
    float GetMixCost() override { return cost; }

    calls_t TakeCalls() { return std::exchange(calls, {}); }

    float cost;
    calls_t calls;
    size_t endsAtCall = SIZE_MAX;
    bool wasMixing = false;
    uint32_t posSet = UINT32_MAX;
    std::vector<float> recorded;
    static inline int deletions = 0;
};

class Tick_t : public EngineFixture_t {
  protected:
    // Running at a rate of 30: mixHorizon 4120, 2060 frames queued after each tick.
    void Begin(bool isEmulated = false, float rate = 30) {
        DeInitialize();
        platform::ResetManualOutput();
        platform::ManualSettings().isEmulated = isEmulated;
        ASSERT_TRUE(Start());
        SetWorstCaseFrameRate(rate);
        sound = MakeSound("any", 50, {}, Ramp);
        TracingVoice_t::deletions = 0;
    }

    TracingVoice_t* Make(float cost = 0) { return new TracingVoice_t(sound, cost); }

    TracingVoice_t* MakePlaying(float cost = 0) {
        TracingVoice_t* voice = Make(cost);
        voice->Play();
        return voice;
    }

    // Puts ringBase there, which must lie ahead, with no tick and no pass.
    static void MoveBase(uint32_t to) { ClearAndAdvance(((to + ringLength - ringBase) % ringLength) / 2); }

    Sound_t* sound = nullptr;
};

// The cost at which mixing takes `spent` frames of playing time, for a sum over `voices`.
float CostOf(double spent, uint32_t queued, int voices) {
    return static_cast<float>((spent + 0.5) / ((2060 + queued) * 44100.0) / voices);
}

constexpr uint32_t atHorizon = UINT32_MAX;

TEST_F(Tick_t, StartOutcomes) {
    struct case_t {
        const char* what;
        bool isEmulated;
        float rate;
        uint32_t playedFrames;  // since the tick that filled the device with 2060
        std::vector<float> costs;
        uint32_t rewind;  // frames, or atHorizon
    };
    const case_t cases[] = {
        {"worked case", false, 30, 60, {0.000002f}, 1440},
        {"the sum counts", false, 30, 60, {0.0000015f, 0.0000005f}, 1440},
        {"unknown", false, 30, 60, {0}, 0},
        {"one unknown holds all", false, 30, 60, {0.000002f, 0, 0.000002f}, 0},
        {"300 to spare", false, 30, 1060, {CostOf(700, 1000, 1)}, 96},
        {"201 to spare", false, 30, 1060, {CostOf(799, 1000, 1)}, 0},
        {"exactly 200 to spare", false, 30, 1057, {CostOf(800, 1000, 1)}, atHorizon},
        {"exactly 200 in three", false, 30, 1060, std::vector<float>(3, CostOf(800, 1000, 3)), atHorizon},
        {"none to spare", false, 30, 1060, {CostOf(1000, 1000, 1)}, atHorizon},
        {"far too dear", false, 30, 60, {1.0f}, atHorizon},
        {"emulated", true, 30, 60, {0.000002f}, atHorizon},
        {"emulated and unknown", true, 30, 60, {0}, atHorizon},
        {"beyond the device", false, 1, 60, {0.000002f}, atHorizon},
        {"beyond the device, unknown", false, 1, 60, {0}, atHorizon},
    };
    for (const case_t& row : cases) {
        SCOPED_TRACE(row.what);
        Begin(row.isEmulated, row.rate);
        MixVoices();
        Play(row.playedFrames);
        std::vector<TracingVoice_t*> voices;
        for (const float cost : row.costs) voices.push_back(MakePlaying(cost));
        const bool flag = voicesStartAtHorizon;
        const uint32_t base = ringBase, rewind = row.rewind == atHorizon ? 0 : row.rewind;
        EXPECT_EQ(StartVoices(), rewind);
        EXPECT_EQ(voicesStartAtHorizon, flag) << "only for the time of the start";
        EXPECT_EQ(startingVoices.count, 0);
        for (TracingVoice_t* voice : voices) {
            const calls_t stretch{{base - 2 * rewind, mixHorizon / 2 + rewind}};
            EXPECT_EQ(voice->TakeCalls(), row.rewind == atHorizon ? calls_t{} : stretch);
            EXPECT_EQ(voice->recorded.size(), row.rewind == atHorizon ? 0u : 1u);
            EXPECT_EQ(voice->ringPosition, base + mixHorizon);
            EXPECT_TRUE(voice->isPlaying);
        }
    }
}

// Each start is timed: two readings of the host, one count apart, over 2060 frames.
TEST_F(Tick_t, CostIsSecondsAFrame) {
    Begin();
    TracingVoice_t* voice = MakePlaying();
    MixVoices();
    ASSERT_EQ(voice->recorded.size(), 1u);
    EXPECT_FLOAT_EQ(voice->recorded[0], 1e-7f / 2060);
}

calls_t FrameByFrame(uint32_t frames) {
    calls_t calls;
    for (uint32_t i = 0; i < frames; ++i) calls.push_back({2 * i, 1});
    return calls;
}

TEST_F(Tick_t, ChunksAndTheRingsEnd) {
    struct case_t {
        const char* what;
        float rate;
        uint16_t chunk;
        uint32_t divisor, base;
        bool isStart;  // StartVoice, else the voice pass from ringBase on
        calls_t calls;
        uint32_t endsAt;
        size_t endsAtCall = SIZE_MAX;
    };
    const case_t cases[] = {
        {"whole", 30, 0, 1, 8000, true, {{8000, 2060}}, 12120},
        {"ends on the end", 30, 0, 1, 48800, true, {{48800, 2060}, {0, 0}}, 0},
        {"crosses the end", 30, 0, 1, 50000, true, {{50000, 1460}, {0, 600}}, 1200},
        {"false at the end", 30, 0, 1, 50000, true, {{50000, 1460}}, 1200, 1},
        {"pass, ends on the end", 30, 0, 1, 48800, false, {{48800, 2060}, {0, 0}}, 0},
        {"pass, crosses", 30, 0, 1, 50000, false, {{50000, 1460}, {0, 600}}, 1200},
        {"start in chunks", 8, 2048, 1, 8000, true, {{8000, 4096}, {16192, 2004}}, 20200},
        {"start in half chunks", 8, 2048, 2, 800, true, {{800, 2048}, {4896, 2048}, {8992, 2004}}, 13000},
        {"chunks round the end", 8, 2048, 1, 50000, true, {{50000, 1460}, {0, 4096}, {8192, 544}}, 9280},
        {"chunk ends it", 8, 2048, 1, 8000, true, {{8000, 4096}}, 20200, 1},
        {"pass in chunks", 30, 2048, 1, 8000, false, {{8000, 1024}, {10048, 1024}, {12096, 12}}, 12120},
        {"pass in half chunks", 60, 2048, 2, 800, false, {{800, 512}, {1824, 512}, {2848, 300}}, 3448},
        {"pass round the end", 30, 2048, 1, 50000, false, {{50000, 1024}, {52048, 436}, {0, 600}}, 1200},
        {"pass, chunk ends it", 30, 2048, 1, 8000, false, {{8000, 1024}, {10048, 1024}}, 12096, 2},
        {"divisor above the chunk", 60, 1, 9, 0, true, FrameByFrame(1324), 2648},
    };
    for (const case_t& row : cases) {
        SCOPED_TRACE(row.what);
        Begin(false, row.rate);
        TracingVoice_t* voice = Make();
        voice->mixChunk = row.chunk;
        voice->rateDivisor = row.divisor;
        voice->endsAtCall = row.endsAtCall;
        voice->isPlaying = true;
        MoveBase(row.base);
        voice->ringPosition = ringBase;
        row.isStart ? StartVoice(voice, 0) : MixAllVoices();
        EXPECT_EQ(voice->calls, row.calls);
        EXPECT_EQ(voice->ringPosition, row.endsAt);
        EXPECT_EQ(voice->isPlaying, row.endsAtCall == SIZE_MAX);
    }
}

TEST_F(Tick_t, EndsOfVoices) {
    struct case_t {
        const char* what;
        size_t endsAtCall;  // 1: in StartVoice; 2: in the voice pass
        bool isSelfDeleting, isWithoutSound;
        int deletions;
        uint32_t posSet;
    };
    const case_t cases[] = {
        {"in StartVoice", 1, false, false, 0, 0},
        {"in StartVoice, self-deleting", 1, true, false, 1, 0},
        {"in the pass", 2, false, false, 0, 0},
        {"in the pass, self-deleting", 2, true, false, 1, UINT32_MAX},
        {"sound released", SIZE_MAX, false, true, 0, UINT32_MAX},
        {"sound released, self-deleting", SIZE_MAX, true, true, 1, UINT32_MAX},
    };
    for (const case_t& row : cases) {
        SCOPED_TRACE(row.what);
        Begin();
        platform::Event_t ended;
        ended.Create();
        TracingVoice_t* voice = MakePlaying();
        const TracingVoice_t* other = MakePlaying();
        voice->completionEvent = &ended;
        voice->endsAtCall = row.endsAtCall;
        voice->deleteWhenDone = row.isSelfDeleting;
        if (row.isWithoutSound) voice->totalLength = 0;
        MixVoices();
        EXPECT_EQ(ended.Wait(0), platform::waitSignalled);
        EXPECT_EQ(TracingVoice_t::deletions, row.deletions);
        EXPECT_EQ(allVoices.count, 2 - row.deletions);
        EXPECT_EQ(finishedVoices.count, 0);
        EXPECT_EQ(other->calls.size(), 2u) << "the neighbour must not suffer";
        EXPECT_TRUE(other->wasMixing && !mixing);
        if (row.deletions) continue;
        EXPECT_FALSE(voice->isPlaying);
        EXPECT_EQ(voice->posSet, row.posSet);
    }
}

TEST_F(Tick_t, AStoppedSelfDeletingVoiceGoesWithTheNextTick) {
    Begin();
    TracingVoice_t* voice = MakePlaying();
    voice->deleteWhenDone = true;
    MixVoices();
    voice->Stop();
    EXPECT_EQ(TracingVoice_t::deletions, 0);
    MixVoices();
    EXPECT_EQ(TracingVoice_t::deletions, 1);
    EXPECT_EQ(allVoices.count, 0);
}

}  // namespace
