// host_thread_test.cpp - the loader and the pump: on the manual clock exactly what a careful host would get,
// in real time without a race, and never in the way of an end.
#include <ringmix/base_wrapper.h>
#include <ringmix/output_selection.h>

#include <chrono>
#include <thread>

#include "host_fixture.h"

namespace {

using namespace ringmix;

class HostThreads : public HostFixture_t {};

frames_t WithoutSilence(frames_t frames) {
    std::erase_if(frames, [](frame_t frame) { return frame.left == 0 && frame.right == 0; });
    return frames;
}

TEST_F(HostThreads, LoaderFeedsStreamsAndPumpTicks) {
    const uint32_t frameCount = 20000;  // every sample another
    const std::string image = SoundImage("music", frameCount, {}, Ramp);
    const SoundHandle_t music = LoadFileOf("music", "ssn", image);
    Loader_t loader;
    Pump_t pump;
    EXPECT_REFUSED(pump.Start(0.5f), badArgument);
    EXPECT_REFUSED(pump.Start(std::nanf("")), badArgument);
    EXPECT_OK(loader.Start());
    EXPECT_REFUSED(loader.Start(), alreadyRuns);
    EXPECT_TRUE(loader.IsRunning());
    EXPECT_FALSE(pump.IsRunning());

    VoiceHandle_t voice;
    EXPECT_OK(music.PlayOnce(voice));
    EXPECT_OK(pump.Start(60));
    EXPECT_REFUSED(pump.Start(60), alreadyRuns);
    frames_t heard = Play(10000);
    // The host is busy loading, which is no matter to the pump.
    const SoundHandle_t other = LoadRampImage("other", 100);
    EXPECT_EQ(voice.IsPlaying(), true);
    EXPECT_OK(other.Free());
    const frames_t more = Play(15000);
    heard.insert(heard.end(), more.begin(), more.end());
    EXPECT_GE(pump.GetTickCount(), 30u);
    EXPECT_GT(loader.GetPassCount(), 5u);
    pump.Stop();
    loader.Stop();
    EXPECT_FALSE(pump.IsRunning() || loader.IsRunning());
    const uint32_t ticks = pump.GetTickCount(), passes = loader.GetPassCount();
    const frames_t rest = Play(5000);
    EXPECT_TRUE(pump.GetTickCount() == ticks && loader.GetPassCount() == passes) << "stopped is stopped";

    heard = WithoutSilence(heard);
    ASSERT_EQ(heard.size(), frameCount);
    for (uint32_t i = 0; i < frameCount; ++i) ASSERT_EQ(heard[i].left, Ramp(i)) << i;
    EXPECT_EQ(TakeAllNews().size(), 1u);
    EXPECT_EQ(GetStatistics(music).residentBytes, 0u);
}

TEST_F(HostThreads, HelpersOutliveNothing) {
    Loader_t loader;
    Pump_t pump;
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        EXPECT_OK(loader.Start());
        EXPECT_OK(pump.Start(100));
        Play(round * 1000);
        ringmix::Stop();  // although it is the wrong order
        EXPECT_REFUSED(loader.Start(), notRunning);
        EXPECT_REFUSED(pump.Start(100), notRunning);
        if (round == 1) loader.Stop(), pump.Stop(), pump.Stop();
        StartHost();
        loader.Stop();
        pump.Stop();
    }
    platform::RefuseManualThreads(true);
    EXPECT_REFUSED(loader.Start(), outOfMemory);
    EXPECT_FALSE(loader.IsRunning());
    platform::RefuseManualThreads(false);
    EXPECT_OK(loader.Start());  // and its destructor ends it
}

TEST_F(HostThreads, PumpWaitsWhilePaused) {
    Pump_t pump;
    AudioSystem::Pause();
    EXPECT_OK(pump.Start(50));
    Play(22050);
    EXPECT_EQ(pump.GetTickCount(), 0u);
    AudioSystem::Resume();
    Play(22050);
    EXPECT_GE(pump.GetTickCount(), 20u);
}

// Host, pump, loader, mixing thread and one that waits for ends, against each other in real time.
TEST_F(HostThreads, AllAtOnce) {
    ringmix::Stop();
    EXPECT_OK(ringmix::Start(
        {.backend = "null", .streamPageBytes = 4096, .streamPagesAhead = 4, .worstCaseFramesPerSecond = 30}));
    const std::string image = SoundImage("music", 30000, {}, Ramp);
    const SoundHandle_t music = LoadFileOf("music", "ssn", image), beep = LoadRampImage("beep", 500);
    Loader_t loader;
    Pump_t pump;
    EXPECT_OK(loader.Start());
    EXPECT_OK(pump.Start(500));
    CompletionEvent_t event;
    std::atomic<bool> isOver{false};
    std::atomic<uint32_t> waitedFor{0};
    std::thread waiter([&] {
        while (!isOver) waitedFor += event.Wait(10);
    });
    const VoiceHandle_t song = MakeVoice(music, {.isLooping = true, .wantsLoopNews = true}),
                        again = MakeVoice(beep);
    EXPECT_OK(song.Play());
    EXPECT_OK(again.SetCompletionEvent(&event));
    uint32_t news = 0;
    // As long as it takes, for a slow machine's sake, within reason.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (uint32_t step = 0; std::chrono::steady_clock::now() < limit; ++step) {
        VoiceHandle_t once;
        if (step % 8 == 0) EXPECT_OK(beep.PlayOnce(once, {.frequency = 4}));
        (void)again.Play();
        (void)song.SetVolume(static_cast<float>(step % 10) / 10, 0.5f);
        if (step % 16 == 0) {
            SoundHandle_t loaded = LoadFileOf("late", "ssn", SoundImage("late", 2000, {}, Ramp));
            EXPECT_OK(loaded.PlayOnce(once));
            (void)GetStatistics();
            EXPECT_OK(loaded.Free());
        }
        for (news_t one; TakeNews(one);) ++news;
        if (news > 100 && waitedFor > 5 && pump.GetTickCount() > 50 && loader.GetPassCount() > 5) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_GT(news, 100u);
    EXPECT_GT(waitedFor, 5u);
    EXPECT_GT(pump.GetTickCount(), 50u);
    EXPECT_GT(loader.GetPassCount(), 5u);
    isOver = true;
    waiter.join();
    pump.Stop();
    loader.Stop();
    ringmix::Stop();
    EXPECT_FALSE(song.IsAlive());
    ASSERT_TRUE(OutputSelection_t::SelectBackend("manual"));
}

}  // namespace
