// late_host_test.cpp - a host that stays away for a while: what it hears, frame by frame, against what its
// last tick had mixed.
//
// All times are frames of the device. The host ticks every 736 frames; its last tick in time comes at `last`,
// the next one `away` frames later.
#include <gtest/gtest.h>

#include <algorithm>

#include "engine_fixture.h"

namespace {

using namespace AudioSystem;

constexpr uint32_t hostFrame = 736, ticksBefore = 40, ticksAfter = 60;
constexpr uint32_t ringFrames = 26460, framesToClear = 18268;  // from ringBase to ringClear
constexpr uint32_t untouched = 100, startMargin = 200;
constexpr uint32_t last = hostFrame * (ticksBefore - 1);

struct absence_t {
    float rate;
    uint32_t horizon, lead;  // that this rate means
    int32_t mode;            // of the voice that plays all the time
    uint32_t away;
    uint32_t delay;              // the other voice starts that many ticks after the host is back,
    uint32_t frame = hostFrame;  // which are so long
};

const absence_t absences[] = {
    {30, 2060, 2060, 0, 736, 0},    {30, 2060, 2060, 0, 1500, 0},   {30, 2060, 2060, 0, 2060, 0},
    {30, 2060, 2060, 0, 2064, 0},   {30, 2060, 2060, 0, 3000, 0},   {30, 2060, 2060, 0, 3000, 1},
    {30, 2060, 2060, 0, 10000, 0},  {30, 2060, 2060, 0, 18268, 0},  {30, 2060, 2060, 0, 18272, 1},
    {30, 2060, 2060, 0, 100000, 0}, {30, 2060, 2060, 0, 100000, 1}, {30, 2060, 2060, 0, 100000, 1, 1800},
    {30, 2060, 2060, 2, 3000, 0},   {30, 2060, 2060, 2, 18268, 0},  {30, 2060, 2060, 2, 18272, 1},
    {30, 2060, 2060, 2, 200000, 0}, {30, 2060, 2060, 2, 200000, 1}, {30, 2060, 2060, 2, 200000, 2},
    {1, 18268, 7168, 0, 10000, 0},  {1, 18268, 7168, 0, 18268, 0},  {1, 18268, 7168, 0, 18272, 0},
    {1, 18268, 7168, 0, 60000, 0},
};

// Where samples of a sound are heard: sample `first` at `from`, the next ones up to `to`.
struct heard_t {
    uint32_t from, to, first;
};

int16_t At(const std::vector<heard_t>& stretches, uint32_t time) {
    for (const heard_t& stretch : stretches) {
        if (time >= stretch.from && time < stretch.to)
            return static_cast<int16_t>(Ramp(stretch.first + time - stretch.from));
    }
    return 0;
}

class LateHost_t : public EngineFixture_t {
  protected:
    static Voice_t* Make(const char* name, int channel, int32_t mode) {
        const auto sample = [channel](uint32_t frame, int at) { return at == channel ? Ramp(frame) : 0; };
        return MakeSound(name, 150'000, {.isStereo = true}, sample)->CreateCompatibleVoice(mode);
    }
};

TEST_F(LateHost_t, HearsWhatWasMixedThenSilenceNeverOldAudio) {
    constexpr uint32_t forever = UINT32_MAX;
    for (const absence_t& row : absences) {
        SCOPED_TRACE(testing::Message() << row.rate << ", mode " << row.mode << ", away " << row.away
                                        << ", delay " << row.delay);
        DeInitialize();
        platform::ResetManualOutput();
        SimpleVoice_t::mixCosts = {};
        ASSERT_TRUE(Start());
        SetWorstCaseFrameRate(row.rate);
        Voice_t* steady = Make("steady", 0, row.mode);
        Voice_t* late = Make("late", 1, 0);
        steady->Play();
        frames_t heard;
        RunTicks(ticksBefore - 1, hostFrame, heard);
        RunTicks(1, row.away, heard);
        RunTicks(row.delay, row.frame, heard);
        const uint32_t queued = device->GetQueuedBytes() / 4;
        late->Play();
        RunTicks(ticksAfter, hostFrame, heard);

        // The last tick in time had left everything up to here in the device, and mixed on by the horizon.
        const uint32_t sent = last + row.lead, back = last + row.away;
        const uint32_t mixed = sent + (row.mode == 2 ? framesToClear : row.horizon);
        // Past ringClear the host hears silence, and the ring goes on behind what of it is queued at its
        // return.
        const bool isGone = row.away > framesToClear;
        const uint32_t ringGoesOn = isGone ? back + row.lead : sent;
        // A voice that was overtaken waits until its place in the ring comes round.
        const uint32_t placeComesRound =
            isGone ? ringGoesOn + (ringFrames - framesToClear + row.horizon) % ringFrames
                   : sent + row.horizon + (row.away > row.horizon ? ringFrames : 0);
        const uint32_t goesOn = row.mode == 2 ? std::max(mixed, ringGoesOn) : placeComesRound;
        const bool isAtHorizon = row.rate == 1;
        const uint32_t begins = isAtHorizon ? row.horizon : 0;
        const std::vector<heard_t> wantSteady{{begins, mixed, 0}, {goesOn, forever, mixed - begins}};

        // The late voice is mixed from `rewind` before the base of the tick before: not further back than the
        // ring's own frames in the device go. The device takes no frame of it next to its cursor.
        const uint32_t start = back + row.delay * row.frame;
        const uint32_t sinceSilence = !isGone ? UINT32_MAX : row.delay < 2 ? 0 : (row.delay - 1) * row.frame;
        const uint32_t rewind = isAtHorizon ? 0 : std::min((queued & ~3u) - startMargin, sinceSilence) & ~7u;
        const uint32_t base = row.delay == 0 ? sent : back + row.lead + (row.delay - 1) * row.frame;
        const uint32_t audible = std::max(base - rewind, start + untouched + queued % 4);
        std::vector<heard_t> wantLate;
        if (isAtHorizon) {
            wantLate = {{placeComesRound, forever, 0}};
        } else if (row.delay > 0) {
            wantLate = {{audible, forever, audible - (base - rewind)}};
        } else {
            wantLate = {{audible, sent + row.horizon, audible - (base - rewind)},
                        {placeComesRound, forever, rewind + row.horizon}};
        }
        ASSERT_EQ(heard.size(), start + ticksAfter * hostFrame);
        ASSERT_NE(heard.back().left, 0) << "the steady voice must be back";
        ASSERT_NE(heard.back().right, 0) << "the late voice must have come";
        for (uint32_t time = 0; time < heard.size(); ++time) {
            ASSERT_EQ(heard[time], (frame_t{At(wantSteady, time), At(wantLate, time)}))
                << "at " << time << ", last tick " << last << ", back " << back;
        }
        EXPECT_TRUE(TakeDebugLines().empty()) << "the device has jumped";
    }
}

}  // namespace
