// stream_thread_test.cpp - loader, host and mixing thread against each other, with sounds that come and go:
// nothing races, and no page is left. On the null device all of it in real time, on the manual device the
// loader alone. Seconds long; five minutes with RINGMIX_LONG, where a sanitizer looks on.
#include <ringmix/base_wrapper.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "restless_voices.h"
#include "stream_fixture.h"

namespace {

using std::chrono::steady_clock;

constexpr uint32_t seed = 11;

std::chrono::seconds Length() {
    if (!IsLongRun()) return std::chrono::seconds(2);
    return RINGMIX_TEST_SANITIZED ? std::chrono::minutes(5) : std::chrono::minutes(1);
}

class StreamThreads : public StreamFixture_t, public testing::WithParamInterface<const char*> {
  protected:
    // Sounds of every kind, in archives that only this uses; sometimes they go while they play.
    void LoadOrFreeOthers() {
        const char* tags[] = {"sn", "ssn", "isn", "iss"};
        const char* tag = tags[restless.Below(4)];
        Sound_t* sound = AudioSystem::GetSound("other", tag);
        if (sound->frameCount == 0) {
            AudioSystem::LoadSound(folder.At(std::string("other.") + tag).c_str(), tag);
            AudioSystem::GetSound("other", tag)->PlayOneShot();
        } else {
            AudioSystem::FreeVoicesUsingSound("other", tag);
            AudioSystem::FreeSound("other", tag);
        }
    }

    RestlessVoices_t restless{seed};
    std::vector<Sound_t*> sounds;
};

INSTANTIATE_TEST_SUITE_P(, StreamThreads, testing::Values("null", "manual"),
                         [](const auto& which) { return std::string(which.param); });

TEST_P(StreamThreads, LoaderHostAndMixingThread) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    ASSERT_TRUE(platform::SelectOutput(GetParam()));
    const bool isManual = GetParam() == std::string("manual");
    StartWith(4096, 6);
    for (uint32_t i = 0; i < 32; ++i) {
        const std::string name = "s" + std::to_string(i);
        const sound_format_t format{1u << i % 3, i % 8 < 4, i % 2 == 0};
        sounds.push_back(i < 20 ? LoadRamp(name, 1000 + 5000 * i, format)
                                : LoadImage(name, "iss", ImaOf(name, 5000 * i, 256 + i, format)));
    }
    for (const char* tag : {"sn", "ssn", "isn", "iss"})
        folder.Write(std::string("other.") + tag,
                     tag[0] == 'i' ? ImaOf("other", 50'000, 300, {}) : SoundImage("other", 50'000, {}, Ramp));
    std::atomic<bool> isOver{false};
    std::atomic<uint32_t> passes{0};
    std::thread loader([&] {
        while (!isOver) {
            if (BaseWrapper_t::WaitForStreamLoad(5) != 0) continue;
            BaseWrapper_t::LoadStreams();
            ++passes;
        }
    });
    // A busy machine gets more time until enough has happened.
    uint64_t movedUnits = 0;
    const auto begin = steady_clock::now();
    const auto isEnough = [&] {
        const auto passed = steady_clock::now() - begin;
        return passed > Length() &&
               ((passes > 50 && movedUnits > 88'200) || passed > Length() + std::chrono::minutes(2));
    };
    while (!isEnough()) {
        for (uint32_t changes = restless.Below(6); changes > 0; --changes) restless.Disturb(sounds);
        if (restless.Below(8) == 0) LoadOrFreeOthers();
        const uint32_t before = AudioSystem::ringBase;
        AudioSystem::MixVoices();
        if (isManual) Play(restless.Below(2'000));
        movedUnits += (AudioSystem::ringBase + AudioSystem::ringLength - before) % AudioSystem::ringLength;
    }
    isOver = true;
    loader.join();
    EXPECT_GT(passes, 50u);
    EXPECT_GT(movedUnits, 88'200u) << "the output must move";
    Voice_t::FreeAll();
    AudioSystem::LoadStreams();
    for (Sound_t* sound : sounds) ExpectNoPage(sound);
}

}  // namespace
