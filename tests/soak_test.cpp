// soak_test.cpp - many ticks with voices coming and going.
#include <cstdlib>

#include "engine_fixture.h"
#include "restless_voices.h"

namespace {

using namespace AudioSystem;

constexpr uint32_t seed = 20;

// Sanitizers take a short form unless RINGMIX_LONG is set, with which an optimised build runs for a day of
// its time.
uint32_t SoakTicks() {
    const bool isLong = std::getenv("RINGMIX_LONG") != nullptr;
#ifdef NDEBUG
    if (isLong && !RINGMIX_TEST_SANITIZED) return 24 * 3600 * 60;
#endif
    return RINGMIX_TEST_SANITIZED && !isLong ? 5'000 : 100'000;
}

using Soak_t = EngineFixture_t;

// Left: voices that play to their end at full volume. Right: voices that anything may happen to. The sum of
// all that is heard must be the sum of all that was started: nothing is lost, nothing is sent twice.
TEST_F(Soak_t, EverythingIsHeardOnce) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    ASSERT_TRUE(Start());
    SetWorstCaseFrameRate(30);
    RestlessVoices_t restless(seed);
    const std::vector<Sound_t*> right{
        MakeSound("right", 3000, {.isStereo = true},
                  [](uint32_t frame, int channel) { return channel == 1 ? Ramp(frame) / 100 : 0; })};
    Sound_t* counted[7];
    int64_t sums[7], expected = 0, sum = 0;
    for (uint32_t i = 0; i < std::size(counted); ++i) {
        const sound_format_t format{.rateDivisor = 1u << i % 3, .is16Bit = i % 2 == 0, .isStereo = true};
        const uint32_t frames = 100 + i * i * 150;
        // The very last frame may be left out, if what a tick asks for ends just before it: it is silent.
        counted[i] = MakeSound("left-" + std::to_string(i), frames, format, [&](uint32_t frame, int channel) {
            return channel == 0 && frame + 1 < frames ? 1 : 0;
        });
        sums[i] = int64_t{frames - 1} * format.rateDivisor * (format.is16Bit ? 1 : 256);
    }
    const auto playCounted = [&] {
        const uint32_t which = restless.Below(std::size(counted));
        expected += sums[which];
        if (restless.Below(3) == 0) return counted[which]->PlayOneShot();
        Voice_t* voice = restless.Below(4)
                             ? counted[which]->CreateCompatibleVoice(static_cast<int32_t>(restless.Below(3)))
                             : new SlidingVoice_t(counted[which], 0);
        voice->Play();
        voice->deleteWhenDone = true;
    };
    const auto tick = [&](uint32_t frames) {
        MixVoices();
        for (const frame_t& frame : Play(frames)) sum += frame.left;
        ASSERT_EQ(ringBase % 8, 0u);
        ASSERT_EQ(ringRewind, 0u);
        ASSERT_EQ((ringClear + ringLength - ringBase) % ringLength, 36536u);
    };
    for (uint32_t ticks = SoakTicks(); ticks > 0; --ticks) {
        if (allVoices.count < 40 && restless.Below(3) == 0) playCounted();
        if (restless.Below(2) == 0) restless.Disturb(right);
        tick(restless.Below(1500));  // no later than the mixing thread's time-out
    }
    restless.DeleteAll();
    for (int ticks = 0; ticks < 100; ++ticks) tick(1000);
    EXPECT_EQ(allVoices.count, 0);
    EXPECT_EQ(sum, expected);
    EXPECT_TRUE(TakeDebugLines().empty());
}

}  // namespace
