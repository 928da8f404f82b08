// real_output_test.cpp - the system output, played into a private sound server and recorded there.
#include <ringmix/output_selection.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "platform/output_status.h"
#include "sound_server.h"

namespace {

using namespace AudioSystem;

bool IsLong() { return std::getenv("RINGMIX_LONG") != nullptr; }

// Ticks like a host of 60 frames a second, and keeps account of how far the output has got.
class RealHost_t {
  public:
    void Tick() {
        MixVoices();
        base += (ringBase + ringLength - lastRingBase) % ringLength / 2;
        lastRingBase = ringBase;
    }
    void WaitForFrame() {
        next += std::chrono::microseconds(16'667);
        std::this_thread::sleep_until(next);
        next = std::max(next, test_clock_t::now() - std::chrono::milliseconds(50));
    }
    void Run(double seconds) {
        const auto start = test_clock_t::now();
        while (SecondsSince(start) < seconds) {
            Tick();
            WaitForFrame();
        }
    }

    // Where in the output the voice's first frame stands, if it has just started. It has not come round yet.
    uint64_t StartOf(const Voice_t& voice) const {
        const uint32_t ahead = (voice.ringPosition + ringLength - ringBase) % ringLength / 2;
        return base + ahead - voice.position;
    }

    uint64_t base = 0;  // of the ring, in frames since the start

  private:
    uint32_t lastRingBase = 0;
    test_clock_t::time_point next = test_clock_t::now();
};

size_t FirstSound(const frames_t& frames, size_t from = 0) {
    while (from < frames.size() && frames[from] == frame_t{}) ++from;
    return from;
}

class RealOutput_t : public EngineFixture_t {
  protected:
    void SetUp() override {
        if (!SoundServer_t::IsInstalled()) GTEST_SKIP() << "pulseaudio and pulseaudio-utils are not installed";
        EngineFixture_t::SetUp();
        ASSERT_TRUE(platform::SelectOutput("system"));
        platform::SetOutputRequest({});
        ASSERT_TRUE(server.Start()) << "the sound server does not start";
    }
    void TearDown() override {
        EngineFixture_t::TearDown();
        platform::SetOutputRequest({});
        for (const std::string& line : TakeDebugLines()) std::printf("  %s", line.c_str());
    }

    static Sound_t* MakeNoise(const std::string& name, uint32_t frameCount, int amplitude = 2000) {
        std::mt19937 random(frameCount);
        return MakeSound(name, frameCount, {.isStereo = true}, [&](uint32_t, int) {
            return static_cast<int>(random() % static_cast<uint32_t>(2 * amplitude)) - amplitude;
        });
    }

    SoundServer_t server;
};

// A scene that plays itself out on any clock: what was done when the output had got how far.
struct step_t {
    uint64_t base;
    bool isStart;
    size_t voice;
};
struct scene_t {
    std::vector<step_t> steps;
    std::vector<uint64_t> bases;  // of all ticks
    std::vector<std::pair<size_t, bool>> voices;  // sound, loop
};

class Equality_t : public RealOutput_t {
  protected:
    // A multiple of 4 frames: no tick's stretch ends one frame before the sound does.
    static constexpr uint32_t soundFrames[] = {30'000, 44'100, 60'000, 132'000};

    std::vector<Sound_t*> MakeSounds() {
        std::vector<Sound_t*> sounds;
        for (const uint32_t frames : soundFrames) sounds.push_back(MakeNoise("n" + std::to_string(frames), frames));
        return sounds;
    }

    scene_t PlayReal(double seconds, uint32_t seed) {
        std::mt19937 random(seed);
        scene_t scene;
        const std::vector<Sound_t*> sounds = MakeSounds();
        std::vector<std::pair<size_t, Voice_t*>> playing;
        RealHost_t host;
        const auto start = test_clock_t::now();
        while (SecondsSince(start) < seconds) {
            std::vector<std::pair<size_t, Voice_t*>> started;
            if (random() % 10 == 0 && playing.size() < 8) {
                scene.voices.emplace_back(random() % sounds.size(), random() % 3 == 0);
                Voice_t* voice = sounds[scene.voices.back().first]->CreateCompatibleVoice(0);
                voice->isLooping = scene.voices.back().second;
                voice->Play();
                started.emplace_back(scene.voices.size() - 1, voice);
            }
            if (random() % 20 == 0 && !playing.empty()) {
                const size_t which = random() % playing.size();
                scene.steps.push_back({host.base, false, playing[which].first});
                playing[which].second->Stop();
                playing.erase(playing.begin() + static_cast<std::ptrdiff_t>(which));
            }
            host.Tick();
            scene.bases.push_back(host.base);
            for (const auto& [index, voice] : started) {
                scene.steps.push_back({host.StartOf(*voice), true, index});
                playing.emplace_back(index, voice);
            }
            host.WaitForFrame();
        }
        for (const auto& [index, voice] : playing) {
            scene.steps.push_back({host.base, false, index});
            voice->Stop();
        }
        host.Run(0.5);
        return scene;
    }

    // The same on the manual device, where a voice whose cost is unknown starts exactly at the ring's base.
    frames_t Render(const scene_t& scene) {
        DeInitialize();
        EXPECT_TRUE(platform::SelectOutput("manual"));
        platform::ResetManualOutput();
        EXPECT_TRUE(Start());
        const std::vector<Sound_t*> sounds = MakeSounds();
        std::vector<uint64_t> bases = scene.bases;
        std::vector<step_t> steps = scene.steps;
        for (const step_t& step : steps) bases.push_back(step.base);
        std::sort(bases.begin(), bases.end());
        std::stable_sort(steps.begin(), steps.end(), [](auto& a, auto& b) { return a.base < b.base; });
        std::vector<Voice_t*> voices(scene.voices.size());
        frames_t heard;
        RealHost_t host;
        host.Tick();
        size_t next = 0;
        for (const uint64_t base : bases) {
            if (base < host.base) continue;
            const frames_t played = Play(static_cast<uint32_t>(base - host.base));
            heard.insert(heard.end(), played.begin(), played.end());
            host.Tick();
            EXPECT_EQ(host.base, base);
            for (; next < steps.size() && steps[next].base <= base; ++next) {
                Voice_t*& voice = voices[steps[next].voice];
                if (steps[next].isStart) {
                    SimpleVoice_t::mixCosts = {};
                    const auto& [sound, isLooping] = scene.voices[steps[next].voice];
                    voice = sounds[sound]->CreateCompatibleVoice(0);
                    voice->isLooping = isLooping;
                    voice->Play();
                } else {
                    voice->Stop();
                }
            }
        }
        const frames_t rest = Play(88'200);
        heard.insert(heard.end(), rest.begin(), rest.end());
        return heard;
    }
};

TEST_F(Equality_t, WhatIsRecordedIsWhatIsRendered) {
    ASSERT_TRUE(Start());
    Recorder_t recorder;
    ASSERT_TRUE(recorder.Start());
    const scene_t scene = PlayReal(IsLong() ? 10 : 3, 1);
    SleepMs(500);
    recorder.Stop();
    const auto status = OutputSelection_t::GetStatus();
    std::printf("lead %u underruns %u losses %u jumps %u voices %zu\n", status.leadFrames, status.underruns, status.losses, status.jumps, scene.voices.size());
    const frames_t recorded = recorder.Frames(), rendered = Render(scene);
    const size_t from = FirstSound(recorded), wantFrom = FirstSound(rendered);
    size_t end = rendered.size();
    while (end > 0 && rendered[end - 1] == frame_t{}) --end;
    ASSERT_LT(wantFrom, end);
    ASSERT_GE(recorded.size() - from, end - wantFrom);
    for (size_t i = 0, k = 0; i < end - wantFrom; ++i) {
        if (recorded[from + k] == rendered[wantFrom + i]) { ++k; continue; }
        size_t gap = 0;
        while (from + k + gap < recorded.size() && recorded[from + k + gap] == frame_t{}) ++gap;
        size_t lost = 0;
        while (lost < 20000 && !(recorded[from + k + gap] == rendered[wantFrom + i + lost] && recorded[from + k + gap+1] == rendered[wantFrom + i + lost+1])) ++lost;
        std::printf("at %zu: gap of %zu, then %zu lost\n", i, gap, lost);
        k += gap; i += lost; ++k;
    }
    for (size_t i = 0; i < end - wantFrom; ++i) ASSERT_EQ(recorded[from + i], rendered[wantFrom + i]) << "at " << i << " of " << end - wantFrom;
    EXPECT_EQ(FirstSound(recorded, from + end - wantFrom), recorded.size());
}

}  // namespace
