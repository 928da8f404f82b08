// allocation_test.cpp - a tick takes no memory. Counts every operator new of the process while it is told to.
//
// The sanitizers bring a heap of their own that finds more faults than this counter: there it stays out of
// the way.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "api/host_access.h"
#include "stream_fixture.h"

namespace {

std::atomic<bool> isCounting{false};
std::atomic<uint32_t> allocations{0};

// Out of line: the compiler takes a free inside an inlined operator delete for a mistake.
[[maybe_unused, gnu::noinline]] void Release(void* block) noexcept { std::free(block); }

}  // namespace

#if !RINGMIX_TEST_SANITIZED
// The other forms of new and delete call these.
void* operator new(std::size_t bytes) {
    if (isCounting) ++allocations;
    if (void* block = std::malloc(bytes)) return block;
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
#endif

namespace {

class Allocation_t : public StreamFixture_t {
  protected:
    void SetUp() override {
        if (RINGMIX_TEST_SANITIZED) GTEST_SKIP() << "the sanitizer has a heap of its own";
        StreamFixture_t::SetUp();
        ASSERT_TRUE(Start());
        AudioSystem::SetWorstCaseFrameRate(30);
    }

    // On all threads: a tick with its pass.
    static uint32_t AllocationsIn(void (*action)()) {
        allocations = 0;
        isCounting = true;
        action();
        isCounting = false;
        return allocations;
    }
};

// Voices of every kind start, loop, end, go through their queues and start again; none is made or deleted.
TEST_F(Allocation_t, AThousandTicksTakeNone) {
    std::vector<Voice_t*> voices;
    for (uint32_t i = 0; i < 32; ++i) {
        const sound_format_t format{1u << i % 3, i % 2 == 0, i % 4 < 2};
        Sound_t* sound = MakeSound("sound-" + std::to_string(i), 500 + 200 * i, format,
                                   [](uint32_t frame, int) { return static_cast<int>(frame % 100); });
        Voice_t* voice = i % 5 == 0 ? new SlidingVoice_t(sound, 0)
                                    : sound->CreateCompatibleVoice(static_cast<int32_t>(i % 3));
        if (auto* sliding = dynamic_cast<SlidingVoice_t*>(voice))
            sliding->SetVolumeSlide(0, 400, 0.1f, 0.9f, 0.9f, 0.1f);
        for (uint32_t queued = 0; queued < i % 4; ++queued) voice->QueueSound(sound);
        voice->isLooping = i % 7 == 0;
        host::Watch(*voice, true);  // nobody takes the news: the list runs over
        voices.push_back(voice);
    }
    uint32_t starts = 0, total = 0;
    for (uint32_t tick = 0; tick < 1000; ++tick) {
        for (uint32_t i = tick % 3; i < voices.size(); i += 3) {
            if (!voices[i]->isPlaying) {
                voices[i]->Play();
                ++starts;
            } else if (tick % 50 == 0) {
                voices[i]->Stop();
            }
        }
        total += AllocationsIn(AudioSystem::MixVoices);
        Play(tick % 20 == 0 ? 5000 : 735);  // now and then the host is late
    }
    EXPECT_EQ(total, 0u);
    EXPECT_GT(starts, 1000u) << "the voices must come and go";
}

// Voices that delete themselves pass through a list whose nodes come in blocks of ten: one block a tick.
TEST_F(Allocation_t, FinishedVoicesTakeABlockOfNodes) {
    Sound_t* sound = MakeSound("short", 400, {}, Ramp);
    AudioSystem::MixVoices();
    for (int tick = 0; tick < 100; ++tick) {
        for (int i = 0; i < 10; ++i) sound->PlayOneShot();
        EXPECT_EQ(AllocationsIn(AudioSystem::MixVoices), 1u);
        EXPECT_EQ(AudioSystem::allVoices.count, 0);
        Play(735);
    }
}

// A voice that goes on to the next sound gives one decoder back and takes another, be it of another format; a
// stream's takes and gives back the pages of the whole queue, which its look-ahead covers.
TEST_F(Allocation_t, SeamsOfPagedSoundsTakeNone) {
    for (const std::string tag : {"isn", "iss", "ssn"}) {
        SCOPED_TRACE(tag);
        Sound_t* sounds[2];
        for (const bool isStereo : {false, true}) {
            const std::string name = isStereo ? "stereo" : "mono";
            const sound_format_t format{.isStereo = isStereo};
            sounds[isStereo] = LoadImage(
                name, tag,
                tag[0] == 'i' ? ImaOf(name, 500, 512, format) : SoundImage(name, 500, format, Ramp));
        }
        std::vector<Voice_t*> voices;
        for (std::size_t i = 0; i < 24; ++i) {
            voices.push_back(sounds[i % 2]->CreateCompatibleVoice(0));
            for (std::size_t queued = 0; queued < i % 5; ++queued)
                voices[i]->QueueSound(sounds[(i + queued) / 2 % 2]);
            voices[i]->isLooping = i % 3 != 0;
        }
        uint32_t total = 0, seams = 0;
        for (uint32_t tick = 0; tick < 300; ++tick) {
            const uint32_t base = voices[4]->queueBase;
            for (Voice_t* voice : voices) voice->Play();
            AudioSystem::LoadStreams();
            total += AllocationsIn(AudioSystem::MixVoices);
            seams += voices[4]->queueBase != base;
            Play(735);
        }
        EXPECT_EQ(total, 0u);
        EXPECT_GT(seams, 100u);
        Voice_t::FreeAll();
    }
}

}  // namespace
