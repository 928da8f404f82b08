// soak_test.cpp - many ticks with voices coming and going; and the two threads against each other in real
// time.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>

#include "engine_fixture.h"
#include "platform/counter.h"

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

class Soak_t : public EngineFixture_t {
  protected:
    uint32_t Below(std::size_t limit) { return static_cast<uint32_t>(random() % limit); }

    // Left: voices that play to their end at full volume. The sum of all that is heard must be the sum of all
    // that was started: nothing is lost, nothing is sent twice.
    void PlayCounted() {
        constexpr int32_t modes[] = {0, 1, 2};
        const uint32_t which = Below(std::size(counted));
        Sound_t* sound = counted[which];
        if (Below(3) == 0) {
            sound->PlayOneShot();
        } else {
            Voice_t* voice =
                Below(4) ? sound->CreateCompatibleVoice(modes[Below(3)]) : new SlidingVoice_t(sound, 0);
            voice->Play();
            voice->deleteWhenDone = true;
        }
        expectedSum += sumOf[which];
    }

    // Right: voices that anything may happen to at any time.
    void Disturb() {
        const uint32_t slot = Below(std::size(restless));
        Voice_t*& voice = restless[slot];
        if (!voice) voice = restlessSound->CreateCompatibleVoice(static_cast<int32_t>(Below(4)));
        switch (Below(9)) {
            case 0:
                voice->Stop();
                break;
            case 1:
                voice->SetPos(Below(9000));
                break;
            case 2:
                voice->SetVolume(static_cast<float>(Below(10)) / 9, static_cast<float>(Below(10)) / 9);
                break;
            case 3:
                voice->SetFrequency(static_cast<float>(Below(80)) / 10);
                break;
            case 4:
                voice->isLooping = !voice->isLooping;
                break;
            case 5:
                voice->QueueSound(restlessSound);
                break;
            case 6:
                delete std::exchange(voice, nullptr);
                break;
            default:
                voice->Play();
        }
    }

    void MakeSounds() {
        for (uint32_t i = 0; i < std::size(counted); ++i) {
            const sound_format_t format{.rateDivisor = 1u << i % 3, .is16Bit = i % 2 == 0, .isStereo = true};
            const uint32_t frames = 100 + i * i * 150;
            // The very last frame may be left out, if what a tick asks for ends just before it: it is silent.
            const auto sample = [&](uint32_t frame, int channel) {
                return channel == 0 && frame + 1 < frames ? 1 : 0;
            };
            counted[i] = MakeSound("counted-" + std::to_string(i), frames, format, sample);
            sumOf[i] = int64_t{frames - 1} * format.rateDivisor * (format.is16Bit ? 1 : 256);
        }
        restlessSound = MakeSound("restless", 3000, {.isStereo = true}, [](uint32_t frame, int channel) {
            return channel == 1 ? Ramp(frame) / 100 : 0;
        });
    }

    std::mt19937 random{seed};
    Sound_t* counted[7] = {};
    int64_t sumOf[7] = {};
    int64_t expectedSum = 0;
    Sound_t* restlessSound = nullptr;
    Voice_t* restless[12] = {};
};

TEST_F(Soak_t, EverythingIsHeardOnce) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    ASSERT_TRUE(Start());
    SetWorstCaseFrameRate(30);
    MakeSounds();
    int64_t sum = 0;
    const auto playOn = [&](uint32_t frames) {
        for (const frame_t& frame : Play(frames)) sum += frame.left;
        ASSERT_EQ(ringBase % 8, 0u);
        ASSERT_EQ(ringRewind, 0u);
        ASSERT_EQ((ringClear + ringLength - ringBase) % ringLength, 36536u);
    };
    for (uint32_t tick = 0, ticks = SoakTicks(); tick < ticks; ++tick) {
        if (allVoices.count < 40 && Below(3) == 0) PlayCounted();
        if (Below(2) == 0) Disturb();
        MixVoices();
        playOn(Below(1500));  // no later than the mixing thread's time-out
    }
    for (Voice_t* voice : restless) delete voice;
    for (int tick = 0; tick < 100; ++tick) {
        MixVoices();
        playOn(1000);
    }
    EXPECT_EQ(allVoices.count, 0);
    EXPECT_EQ(sum, expectedSum);
    EXPECT_TRUE(TakeDebugLines().empty());
}

// The clock runs: passes by time-out fall anywhere into ticks, starts, pauses and changes of settings, and
// another thread asks.
TEST_F(Soak_t, BothThreadsInRealTime) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    ASSERT_TRUE(platform::SelectOutput("null"));
    const uint64_t second = platform::CounterFrequency();
    std::atomic<bool> isOver{false};
    std::thread onlooker([&] {
        while (!isOver) (void)(IsInitialized() && IsMixing());
    });
    uint32_t ticks = 0, movedUnits = 0;
    const auto tick = [&] {
        const uint32_t before = ringBase;
        MixVoices();
        movedUnits += (ringBase + ringLength - before) % ringLength;
        ++ticks;
    };
    for (uint32_t round = 1; round <= 5; ++round) {
        ASSERT_TRUE(Start());
        MakeSounds();
        // A busy machine gets more time until enough has happened.
        const uint64_t begin = platform::ReadCounter();
        const auto isEnough = [&] {
            const uint64_t passed = platform::ReadCounter() - begin;
            return passed > second / 5 &&
                   ((ticks > 10 * round && movedUnits > 88'200 / 20 * round) || passed > 20 * second);
        };
        while (!isEnough()) {
            if (Below(3) == 0) PlayCounted();
            Disturb();
            if (Below(20) == 0) SetWorstCaseFrameRate(static_cast<float>(Below(200) + 1));
            if (Below(30) == 0) {
                Pause();
                Disturb();
                Resume();
            }
            const uint64_t next = platform::ReadCounter() + Below(15) * second / 1000;
            do tick();
            while (Below(2) == 0);
            while (platform::ReadCounter() < next) Disturb();  // past the time-out, now and then
        }
        for (Voice_t*& voice : restless) delete std::exchange(voice, nullptr);
        DeInitialize();
    }
    isOver = true;
    onlooker.join();
    EXPECT_GT(ticks, 50u);
    EXPECT_GT(movedUnits, 88'200u / 4) << "the output must move";
}

}  // namespace
