// lifecycle_test.cpp - starting, settings, pausing and stopping, and every way in which a start can fail.
#include <gtest/gtest.h>
#include <ringmix/audio_wrapper.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "engine_fixture.h"
#include "platform/counter.h"

namespace {

using namespace AudioSystem;

using Lifecycle_t = EngineFixture_t;

TEST_F(Lifecycle_t, SettingsFollowDeviceAndRate) {
    struct case_t {
        float rate;
        bool isEmulated;
        uint32_t primaryBytes;  // 0: the secondary buffer of 32768
        uint32_t deviceLimit, horizon;
        bool startsAtHorizon;
        uint32_t outputLimit, leadBytes;
        int32_t periodMs;
    };
    const case_t cases[] = {
        {8, false, 0, 14336, 12200, false, 12200, 24400, 138},
        {30, false, 0, 14336, 4120, false, 4120, 8240, 46},
        {60, false, 0, 14336, 2648, false, 2648, 5296, 30},
        {1, false, 0, 14336, 36536, true, 14336, 28672, 162},
        {0.0001f, false, 0, 14336, 36536, true, 14336, 28672, 162},
        {88.02f, false, 0, 14336, 2176, false, 2176, 4352, 24},
        {8, true, 0, 11128, 14848, true, 11128, 22256, 126},
        {30, true, 0, 11128, 6760, false, 6760, 13520, 76},
        {8, false, 20000, 7952, 12200, true, 7952, 15904, 90},
        {1, false, 100544, 48224, 2648, false, 2648, 5296, 30},
    };
    for (const case_t& row : cases) {
        SCOPED_TRACE(testing::Message()
                     << row.rate << " on " << row.primaryBytes << (row.isEmulated ? " emulated" : ""));
        platform::ManualSettings() = {.primaryBufferBytes = row.primaryBytes, .isEmulated = row.isEmulated};
        ASSERT_TRUE(Start(row.primaryBytes != 0));
        SetWorstCaseFrameRate(row.rate);
        EXPECT_EQ(deviceMixLimit, row.deviceLimit);
        EXPECT_EQ(mixHorizon, row.horizon);
        EXPECT_EQ(voicesStartAtHorizon, row.startsAtHorizon);
        EXPECT_EQ(outputLimit, row.outputLimit);
        EXPECT_EQ(device->leadBytes, row.leadBytes);
        EXPECT_EQ(passPeriodMs, row.periodMs);
        for (const float nonsense : {0.0f, -30.0f, std::nanf("")}) SetWorstCaseFrameRate(nonsense);
        EXPECT_EQ(mixHorizon, row.horizon);
        DeInitialize();
    }
}

TEST_F(Lifecycle_t, ANewRateIsNotHeard) {
    const float changes[][2] = {{8, 60}, {60, 8}, {60, 30}, {30, 60}, {20, 60}, {60, 1}, {1, 60}, {120, 2}};
    for (const auto [from, to] : changes) {
        SCOPED_TRACE(testing::Message() << from << " to " << to);
        platform::ResetManualOutput();
        SimpleVoice_t::mixCosts = {};
        ASSERT_TRUE(Start());
        SetWorstCaseFrameRate(from);
        MakeSound("ramp", 32000, {}, Ramp)->CreateCompatibleVoice(0)->Play();
        frames_t heard;
        RunTicks(15, 735, heard);
        SetWorstCaseFrameRate(to);
        RunTicks(20, 735, heard);
        EXPECT_EQ(outputLimit, std::min<uint32_t>(mixHorizon, deviceMixLimit));
        EXPECT_EQ(device->leadBytes, 2 * outputLimit);
        EXPECT_TRUE(TakeDebugLines().empty());
        const auto first =
            std::find_if(heard.begin(), heard.end(), [](frame_t frame) { return frame.left != 0; });
        ASSERT_GT(heard.end() - first, 6000);  // at one frame a second it starts late
        for (auto frame = first; frame != heard.end(); ++frame)
            ASSERT_EQ(frame->left, Ramp(static_cast<uint32_t>(frame - first)));
        DeInitialize();
    }
}

TEST_F(Lifecycle_t, PagesAreRoundedUp) {
    SetWorstCaseFrameRate(60);  // not remembered
    ASSERT_TRUE(Initialize(nullptr, false, 5000, 32, 8192));
    EXPECT_EQ(systemPageSize, 4096u);
    EXPECT_EQ(streamPageBytes, 8192u);
    EXPECT_EQ(streamLookAheadBytes, 262144u);
    EXPECT_EQ(compressedPageBytes, 8192u);
    EXPECT_EQ(decodedStreamPageBytes, 8192u);
    EXPECT_EQ(mixHorizon, 12200u);
    EXPECT_TRUE(Initialize(nullptr, true, 4096, 1, 4096)) << "runs already";
    EXPECT_EQ(streamPageBytes, 8192u);
    EXPECT_EQ(platform::ManualCounts().lastLevel, DSSCL_PRIORITY);
    DeInitialize();
    ASSERT_TRUE(Initialize(nullptr, false, 4096, 32, 0));
    EXPECT_EQ(streamLookAheadBytes, 131072u);
    EXPECT_EQ(compressedPageBytes, 0u);
}

TEST_F(Lifecycle_t, BuffersOfAnUnusableSizeAreRefused) {
    for (const uint32_t bytes : {4096u, 20002u, 100548u, 105840u, 200000u}) {
        platform::ManualSettings() = {.primaryBufferBytes = bytes};
        EXPECT_FALSE(Start(true)) << bytes;
        EXPECT_EQ(platform::ManualCounts().devices, 0u);
    }
    platform::ManualSettings() = {.primaryBufferBytes = 10500, .isEmulated = true};
    EXPECT_FALSE(Start(true));
}

TEST_F(Lifecycle_t, PauseAndResume) {
    const auto& counts = platform::ManualCounts();
    Pause();
    Resume();
    ASSERT_TRUE(Start());
    Resume();
    EXPECT_EQ(counts.plays, 1u) << "was not paused";
    frames_t heard;
    MakeSound("ramp", 3000, {}, Ramp)->CreateCompatibleVoice(0)->Play();
    RunTicks(6, 735, heard);
    Pause();
    Pause();
    EXPECT_EQ(counts.stops, 1u);
    EXPECT_EQ(Play(5000).size(), 0u);

    // No pass answers: the tick takes its full second, and nothing moves.
    const uint32_t output = ringOutput;
    for (int tick = 0; tick < 2; ++tick) {
        const uint64_t before = platform::ReadCounter();
        MixVoices();
        EXPECT_EQ(platform::ReadCounter() - before, 10'000'000u + 1);
        EXPECT_EQ(ringOutput, output);
        EXPECT_EQ(ringBase, output);
    }
    Resume();
    EXPECT_EQ(counts.plays, 2u);
    EXPECT_FALSE(paused);
    RunTicks(6, 735, heard);
    ASSERT_GE(heard.size(), 3000u);
    for (uint32_t i = 0; i < 3000; ++i) ASSERT_EQ(heard[i].left, Ramp(i)) << "the pause is heard";
    Pause();
    const uint64_t before = platform::ReadCounter();
    DeInitialize();
    EXPECT_LE((platform::ReadCounter() - before) / 10'000, 138u - 10u) << "longer than one time-out";
    EXPECT_EQ(counts.stops, 3u) << "two pauses and the thread's end";
    EXPECT_EQ(allVoices.count, 0);
    EXPECT_EQ(GetSound("ramp", "ramp.sn"), nullptr);
}

TEST_F(Lifecycle_t, OutsideOfAStartEveryCallIsHarmless) {
    const auto callAll = [] {
        AudioWrapper_t::MixVoices();
        AudioWrapper_t::SetWorstCaseFrameRate(30);
        AudioWrapper_t::Pause();
        AudioWrapper_t::Resume();
        AudioWrapper_t::DeInitialize();
        EXPECT_FALSE(AudioWrapper_t::IsInitialized());
        EXPECT_FALSE(AudioWrapper_t::IsMixing());
        EXPECT_FALSE(AudioWrapper_t::IsDirSoundEmulationMode());
        EXPECT_EQ(AudioWrapper_t::GetDSoundObjectPtr(), nullptr);
    };
    callAll();
    platform::ManualSettings().refuseCreate = true;
    AudioWrapper_t::Initialize(nullptr, false, 4096, 32, 16384);
    callAll();
    platform::ManualSettings() = {.isEmulated = true};
    int window = 0;
    AudioWrapper_t::Initialize(&window, false, 4096, 32, 16384);
    EXPECT_TRUE(AudioWrapper_t::IsDirSoundEmulationMode());
    EXPECT_EQ(AudioWrapper_t::GetDSoundObjectPtr(), device->directSound);
    EXPECT_EQ(platform::ManualCounts().window, &window);
    {
        const AudioWrapper_t wrapper;
        AudioWrapper_t copy(wrapper);
        copy = wrapper;
    }
    EXPECT_TRUE(AudioWrapper_t::IsInitialized()) << "the end of a wrapper is no end of the engine";
    AudioWrapper_t::DeInitialize();
    callAll();
}

// A host that leaves without DeInitialize: its exit stops the engine, and nothing hangs or crashes.
TEST(LifecycleDeathTest, ExitWithoutDeInitialize) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char* backend : {"null", "manual"}) {
        const auto leave = [backend] {
            std::atexit([] {
                if (IsInitialized() || mixThread) _exit(3);
            });
            if (!platform::SelectOutput(backend) || !Initialize(nullptr, false, 4096, 32, 16384)) _exit(4);
            MixVoices();
            std::exit(0);
        };
        EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "") << backend;
    }
}

}  // namespace
