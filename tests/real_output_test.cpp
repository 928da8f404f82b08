// real_output_test.cpp - the system output, played into a private sound server and recorded there.
//
// Everything here runs in real time, beside a server with ordinary priority, on a machine that may be busy. A
// recording with a gap, when somebody was late, proves nothing and is tried again; a wrong sample is a fault
// at once. The short forms feed further ahead than the engine would by itself; RINGMIX_LONG runs the long
// ones.
#include <ringmix/audio_wrapper.h>
#include <ringmix/output_selection.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <random>

#include "sound_server.h"

namespace {

using namespace AudioSystem;

constexpr uint32_t seed = 3;
constexpr int attempts = 10;
constexpr double patienceSeconds = 20;  // for what takes a fraction of a second on an idle machine

bool IsLong() { return std::getenv("RINGMIX_LONG") != nullptr; }

// Ticks like a host of 60 frames a second, and keeps account of how far the output has got.
class RealHost_t {
  public:
    void Tick() {
        const auto start = test_clock_t::now();
        MixVoices();
        longestTick = std::max(longestTick, SecondsSince(start));
        longestFrame = std::max(longestFrame, SecondsSince(lastTick));
        lastTick = test_clock_t::now();
        base = base + (ringBase + ringLength - lastRingBase) % ringLength / 2;
        lastRingBase = ringBase;
    }
    void WaitForFrame() {
        next = std::max(next + std::chrono::microseconds(16'667),
                        test_clock_t::now() - std::chrono::milliseconds(30));
        std::this_thread::sleep_until(next);
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

    std::atomic<uint64_t> base{0};  // of the ring, in frames since the start
    double longestTick = 0;         // seconds
    double longestFrame = 0;        // seconds from one tick to the next

  private:
    uint32_t lastRingBase = ringBase;
    test_clock_t::time_point next = test_clock_t::now(), lastTick = test_clock_t::now();
};

size_t FirstSound(const frames_t& frames, size_t from = 0) {
    while (from < frames.size() && frames[from] == frame_t{}) ++from;
    return from;
}

// A sound in which every frame says which one it is, and none is silence.
constexpr uint32_t numbersPerWord = 32'000;
int NumberSample(uint32_t frame, int channel) {
    return static_cast<int>(channel == 0 ? frame % numbersPerWord + 1 : frame / numbersPerWord);
}
uint32_t NumberOf(const frame_t& frame) {
    return static_cast<uint32_t>(frame.left - 1) + static_cast<uint32_t>(frame.right) * numbersPerWord;
}

struct numbers_t {
    size_t count = 0;
    size_t gaps = 0;    // stretches of silence between the first and the last
    size_t broken = 0;  // frames that do not follow the one before
};

numbers_t ReadNumbers(const frames_t& frames) {
    numbers_t found;
    bool isSilent = false;
    uint32_t next = 0;
    for (const frame_t& frame : frames) {
        if (frame == frame_t{}) {
            isSilent = true;
            continue;
        }
        if (found.count > 0) {
            found.gaps += isSilent;
            found.broken += NumberOf(frame) != next;
        }
        isSilent = false;
        next = NumberOf(frame) + 1;
        ++found.count;
    }
    return found;
}

// What somebody was late with, or nothing.
std::string TroubleOf(const RealHost_t& host, double mostFrameSeconds, double mostTickSeconds = 1) {
    const OutputStatus_t status = OutputSelection_t::GetStatus();
    if (host.longestFrame > mostFrameSeconds || host.longestTick > mostTickSeconds)
        return "the host was late";
    if (status.underruns + status.losses + status.jumps > 0) return "the output was late";
    return "";
}

size_t CountFiles(const char* folder) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}
size_t CountThreads() { return CountFiles("/proc/self/task"); }
size_t CountOpenFiles() { return CountFiles("/proc/self/fd"); }

// Than that many, once what is just ending has ended.
void ExpectNoMore(size_t threads, size_t files) {
    WaitUntil(patienceSeconds, [&] { return CountThreads() <= threads && CountOpenFiles() <= files; });
    EXPECT_LE(CountThreads(), threads);
    EXPECT_LE(CountOpenFiles(), files);
}

double CpuSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

class RealOutput_t : public EngineFixture_t {
  protected:
    void SetUp() override {
        if (!SoundServer_t::IsInstalled())
            GTEST_SKIP() << "pulseaudio and pulseaudio-utils are not installed";
        EngineFixture_t::SetUp();
        ASSERT_TRUE(platform::SelectOutput("system"));
        ASSERT_TRUE(OutputSelection_t::SelectDevice("default"));
        ASSERT_TRUE(OutputSelection_t::SetLead(IsLong() ? 0 : 100));
        ASSERT_TRUE(server.Start()) << "the sound server does not start";
    }
    void TearDown() override {
        EngineFixture_t::TearDown();
        OutputSelection_t::SetLead(0);
        if (HasFailure()) {
            for (const std::string& line : TakeDebugLines()) std::printf("  %s", line.c_str());
        }
    }

    static Sound_t* MakeNumbers(double seconds) {
        return MakeSound("numbers", static_cast<uint32_t>(seconds * 44100), {.isStereo = true}, NumberSample);
    }
    static Voice_t* PlayLoop(Sound_t* sound) {
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->isLooping = true;
        voice->Play();
        return voice;
    }

    // Plays the numbers while `run` has the host; then they are all in the recording, in order, with no more
    // gaps than were asked for.
    template <typename Run>
    void ExpectUnbroken(double mostFrameSeconds, size_t leastCount, size_t mostGaps, Run run) {
        for (int attempt = 1;; ++attempt) {
            DeInitialize();
            ASSERT_TRUE(platform::SelectOutput("system"));
            ASSERT_TRUE(Start());
            Recorder_t recorder;
            ASSERT_TRUE(recorder.Start());
            Voice_t* voice = MakeNumbers(60)->CreateCompatibleVoice(0);
            RealHost_t host;
            host.Run(0.5);  // by then it is no longer late
            host.longestFrame = 0;
            voice->Play();
            run(host);
            const std::string trouble = TroubleOf(host, mostFrameSeconds);
            voice->Stop();
            host.Run(0.5);
            recorder.Stop();
            const numbers_t numbers = ReadNumbers(recorder.Frames());
            if (trouble.empty()) {
                EXPECT_EQ(numbers.broken, 0u);
            }
            const OutputStatus_t status = OutputSelection_t::GetStatus();
            std::printf("%zu frames, %zu gaps, fed %u frames ahead, %u underruns; %s\n", numbers.count,
                        numbers.gaps, status.leadFrames, status.underruns, trouble.c_str());
            if (trouble.empty() && numbers.broken == 0 && numbers.gaps <= mostGaps) {
                EXPECT_GE(numbers.count, leastCount);
                return;
            }
            ASSERT_LT(attempt, attempts) << "late in each of " << attempt << " attempts";
            if (HasFailure()) return;
        }
    }

    SoundServer_t server;
};

// A scene that plays itself again on any clock: what was done when the output had got how far.
struct real_step_t {
    uint64_t base;
    bool isStart;
    size_t voice;
};
struct real_scene_t {
    std::vector<real_step_t> steps;
    std::vector<uint64_t> bases;                  // of all ticks
    std::vector<std::pair<size_t, bool>> voices;  // sound, loop
};

class RealOutputEquality_t : public RealOutput_t {
  protected:
    // Multiples of 4 frames: no tick's stretch ends one frame before the sound does.
    static constexpr uint32_t soundFrames[] = {30'000, 44'100, 60'000, 132'000};

    // A host that is held up between looking at the device and being done with a start loses the first
    // moments of it: on a busy machine they had better be silent.
    static uint32_t QuietFrames() { return IsLong() ? 0 : 1323; }

    static std::vector<Sound_t*> MakeSounds() {
        std::vector<Sound_t*> sounds;
        for (const uint32_t frames : soundFrames) {
            std::mt19937 random(frames);
            const auto noise = [&](uint32_t frame, int) {
                const int sample = static_cast<int>(random() % 4001) - 2000;
                return frame < QuietFrames() ? 0 : sample;
            };
            sounds.push_back(MakeSound("noise-" + std::to_string(frames), frames, {.isStereo = true}, noise));
        }
        return sounds;
    }

    static real_scene_t PlayReal(RealHost_t& host, double seconds) {
        std::mt19937 random(seed);
        real_scene_t scene;
        const std::vector<Sound_t*> sounds = MakeSounds();
        std::vector<std::pair<size_t, Voice_t*>> playing;
        const auto stop = [&](size_t which) {
            scene.steps.push_back({host.base, false, playing[which].first});
            playing[which].second->Stop();
            playing.erase(playing.begin() + static_cast<std::ptrdiff_t>(which));
        };
        for (const auto start = test_clock_t::now(); SecondsSince(start) < seconds;) {
            if (random() % 20 == 0 && !playing.empty()) stop(random() % playing.size());
            Voice_t* started = nullptr;
            if (random() % 10 == 0 && playing.size() < 8) {
                scene.voices.emplace_back(random() % sounds.size(), random() % 3 == 0);
                started = sounds[scene.voices.back().first]->CreateCompatibleVoice(0);
                started->isLooping = scene.voices.back().second;
                started->Play();
            }
            host.Tick();
            scene.bases.push_back(host.base);
            if (started) {
                playing.emplace_back(scene.voices.size() - 1, started);
                scene.steps.push_back({host.StartOf(*started), true, playing.back().first});
            }
            host.WaitForFrame();
        }
        while (!playing.empty()) stop(0);
        host.Run(0.5);
        return scene;
    }

    // The same on the manual device, where a voice whose cost is unknown starts exactly at the ring's base.
    static frames_t Render(const real_scene_t& scene) {
        DeInitialize();
        EXPECT_TRUE(platform::SelectOutput("manual"));
        platform::ResetManualOutput();
        EXPECT_TRUE(Start());
        const std::vector<Sound_t*> sounds = MakeSounds();
        std::vector<uint64_t> bases = scene.bases;
        std::vector<real_step_t> steps = scene.steps;
        for (const real_step_t& step : steps) bases.push_back(step.base);
        std::sort(bases.begin(), bases.end());
        std::stable_sort(steps.begin(), steps.end(), [](auto& a, auto& b) { return a.base < b.base; });
        std::vector<Voice_t*> voices(scene.voices.size());
        frames_t heard;
        RealHost_t host;
        host.Tick();
        auto step = steps.begin();
        for (const uint64_t base : bases) {
            while (host.base < base) {  // no later than a host in time
                const frames_t played =
                    Play(static_cast<uint32_t>(std::min<uint64_t>(base - host.base, 1000)));
                heard.insert(heard.end(), played.begin(), played.end());
                host.Tick();
            }
            EXPECT_EQ(host.base, base);
            for (; step != steps.end() && step->base <= base; ++step) {
                Voice_t*& voice = voices[step->voice];
                if (!step->isStart) {
                    voice->Stop();
                    continue;
                }
                const auto& [sound, isLooping] = scene.voices[step->voice];
                voice = sounds[sound]->CreateCompatibleVoice(0);
                voice->isLooping = isLooping;
                voice->Play();
                SimpleVoice_t::mixCosts = {};
            }
        }
        const frames_t rest = Play(88'200);
        heard.insert(heard.end(), rest.begin(), rest.end());
        return heard;
    }
};

TEST_F(RealOutputEquality_t, WhatIsRecordedIsWhatIsRendered) {
    for (int attempt = 1;; ++attempt) {
        DeInitialize();
        ASSERT_TRUE(platform::SelectOutput("system"));
        ASSERT_TRUE(Start());
        Recorder_t recorder;
        ASSERT_TRUE(recorder.Start());
        RealHost_t host;
        host.Run(0.5);  // by then it is no longer late
        host.longestFrame = host.longestTick = 0;
        const real_scene_t scene = PlayReal(host, IsLong() ? 10 : 3);
        SleepMs(300);
        recorder.Stop();
        const std::string trouble = TroubleOf(host, 0.1, 0.025);
        const frames_t recorded = recorder.Frames(), rendered = Render(scene);
        const size_t from = FirstSound(recorded), wantFrom = FirstSound(rendered);
        size_t end = rendered.size();
        while (end > 0 && rendered[end - 1] == frame_t{}) --end;
        ASSERT_GT(end - wantFrom, 88'200u);
        const size_t had = std::min(recorded.size() - from, end - wantFrom);
        size_t same = 0;
        while (same < had && recorded[from + same] == rendered[wantFrom + same]) ++same;
        if (same == end - wantFrom) {
            EXPECT_EQ(FirstSound(recorded, from + same), recorded.size()) << "more is heard than rendered";
            std::printf("%zu frames of %zu voices are equal\n", same, scene.voices.size());
            return;
        }
        const bool isGap = same == had || recorded[from + same] == frame_t{};  // or the recorder was late
        ASSERT_TRUE(isGap || !trouble.empty())
            << "at " << same << ": " << recorded[from + same] << ", not " << rendered[wantFrom + same];
        std::printf("a gap at %zu; %s\n", same, trouble.c_str());
        ASSERT_LT(attempt, attempts) << "late in each of " << attempt << " attempts";
    }
}

TEST_F(RealOutput_t, PausesLoseNothing) {
    const int pauses = IsLong() ? 50 : 12;
    ExpectUnbroken(0.1, 22'050, static_cast<size_t>(pauses), [&](RealHost_t& host) {
        std::mt19937 random(seed);
        for (int pause = 0; pause < pauses; ++pause) {
            host.Run(static_cast<double>(random() % 150) / 1000);
            Pause();
            SleepMs(static_cast<int>(random() % 80));
            Resume();
            host.longestFrame = std::min(host.longestFrame, 0.05);  // time stood still for the pause
            host.Tick();
            host.longestFrame = 0;
        }
        host.Run(0.3);
    });
}

// Others have both cores, and the host stalls.
TEST_F(RealOutput_t, HasNoGapOnABusyMachine) {
    const double seconds = IsLong() ? 30 : 2;
    ASSERT_TRUE(OutputSelection_t::SetLead(100));
    Process_t others[2];
    for (Process_t& other : others) ASSERT_TRUE(other.Start({"sh", "-c", "while :; do :; done"}));
    ExpectUnbroken(0.13, static_cast<size_t>(seconds * 40'000), 0, [&](RealHost_t& host) {
        std::mt19937 random(seed);
        for (const auto start = test_clock_t::now(); SecondsSince(start) < seconds;) {
            host.Tick();
            host.WaitForFrame();
            if (random() % 10 == 0) SleepMs(static_cast<int>(random() % 80));
        }
    });
}

double MedianMs(std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    return seconds.empty() ? 1e9 : seconds[seconds.size() / 2] * 1000;
}

// A voice that starts behind 138 ms of queued audio: with the recent past mixed once more, and without.
TEST_F(RealOutput_t, AStartIsHeardEarly) {
    ASSERT_TRUE(OutputSelection_t::SetLead(IsLong() ? 0 : 40));
    ASSERT_TRUE(Start());
    Recorder_t recorder;
    ASSERT_TRUE(recorder.Start());
    const auto sample = [](uint32_t frame, int) { return frame < 441 ? Ramp(frame) : 0; };
    Sound_t* click = MakeSound("click", 30'000, {.isStereo = true}, sample);
    RealHost_t host;
    host.Run(1);
    const size_t starts = IsLong() ? 20 : 9;
    struct latency_t {
        size_t heard;
        double medianMs, engineMs;
    };
    const auto measure = [&](bool isWithPast) {
        std::vector<test_clock_t::time_point> times;
        std::vector<double> paths, latencies;
        const size_t first = recorder.Size();
        for (size_t i = 0; i <= starts; ++i) {  // the first one measures the cost
            // Right behind a tick, the worst moment: the next one starts it.
            Voice_t* voice = click->CreateCompatibleVoice(0);
            if (i > 0) times.push_back(test_clock_t::now());
            voice->Play();
            host.WaitForFrame();
            if (!isWithPast) SimpleVoice_t::mixCosts = {};
            const auto before = static_cast<double>(host.base);
            const uint32_t queued = device->GetQueuedBytes() / 4;
            host.Tick();
            // Frames from the write cursor to the start: what of the latency is the engine's own.
            paths.push_back((queued - before + static_cast<double>(host.StartOf(*voice))) / 44100);
            delete voice;
            host.Run(0.3);
        }
        host.Run(0.3);
        const frames_t frames = recorder.Frames();
        for (const auto played : times) {
            const double at = std::chrono::duration<double>(played - recorder.Origin()).count() * 44100;
            const size_t heard = FirstSound(frames, std::max(first, static_cast<size_t>(std::max(at, 0.0))));
            if (heard < frames.size()) latencies.push_back((static_cast<double>(heard) - at) / 44100);
        }
        return latency_t{latencies.size(), MedianMs(latencies), MedianMs(paths)};
    };
    for (int attempt = 1;; ++attempt) {
        const latency_t past = measure(true), plain = measure(false);
        const double leadMs = OutputSelection_t::GetStatus().leadFrames / 44.1;
        std::printf(
            "heard after %.1f ms (median of %zu): engine %.1f, lead %.1f, server and recorder %.1f; "
            "without the past %.1f ms\n",
            past.medianMs, starts, past.engineMs, leadMs, past.medianMs - past.engineMs - leadMs,
            plain.medianMs);
        const size_t heard = std::min(past.heard, plain.heard);
        const bool isEarly = heard == starts && plain.medianMs - past.medianMs > 60;
        if (!isEarly && attempt < 3) continue;  // somebody was late
        EXPECT_EQ(heard, starts);
        EXPECT_GT(plain.medianMs - past.medianMs, 60) << "of 138 ms";
        if (IsLong()) {
            EXPECT_LE(past.medianMs, 60);
            EXPECT_GE(plain.medianMs, 120) << "less the time since the tick before, and with the lead";
        }
        return;
    }
}

// Another thread is the host; the server comes and goes.
TEST_F(RealOutput_t, SurvivesTheLossOfTheServer) {
    ASSERT_TRUE(Start());
    PlayLoop(MakeSound("loud", 44'100, {.isStereo = true}, Ramp));
    RealHost_t host;
    std::atomic<bool> isOver{false};
    std::thread hostThread([&] {
        while (!isOver) host.Run(0.02);
    });
    const auto secondsUntilHeard = [&] {
        const auto start = test_clock_t::now();
        Recorder_t recorder;
        if (!recorder.Start()) return 1e9;
        const auto isHeard = [&] {
            const frames_t frames = recorder.Frames();
            return FirstSound(frames) < frames.size();
        };
        return WaitUntil(patienceSeconds, isHeard) ? SecondsSince(start) : 1e9;
    };
    EXPECT_LT(secondsUntilHeard(), patienceSeconds);
    size_t threads = 0, files = 0;
    double longest = 0;
    for (int round = 0, rounds = IsLong() ? 20 : 4; round < rounds; ++round) {
        SCOPED_TRACE(round);
        const bool isFreeze = round % 2 == 1;
        isFreeze ? server.Freeze() : server.Kill();
        const uint64_t before = host.base;
        const auto start = test_clock_t::now();
        const double cpuBefore = CpuSeconds();
        SleepMs(isFreeze ? 800 : 400);
        const double seconds = SecondsSince(start);
        EXPECT_GT(static_cast<double>(host.base - before), seconds * 0.25 * 44100) << "time stands still";
        EXPECT_LT(CpuSeconds() - cpuBefore, seconds * 0.7 + 0.1) << "a busy loop";
        if (isFreeze) {
            server.Thaw();
        } else {
            ASSERT_TRUE(server.Start());
        }
        const double back = secondsUntilHeard();
        longest = std::max(longest, back);
        EXPECT_LT(back, IsLong() ? 2.0 : patienceSeconds) << (isFreeze ? "thawed" : "started again");
        if (round <= 1)
            threads = std::max(threads, CountThreads()), files = std::max(files, CountOpenFiles());
    }
    ExpectNoMore(threads, files);
    isOver = true;
    hostThread.join();
    const OutputStatus_t status = OutputSelection_t::GetStatus();
    std::printf("%u losses, back after at most %.2f s, longest tick %.1f ms\n", status.losses, longest,
                host.longestTick * 1000);
    EXPECT_GE(status.losses, 2u);
    EXPECT_LT(host.longestTick, 0.9) << "the host has waited for the device, or for a pass";
}

TEST_F(RealOutput_t, StartsAndStopsOverAndOver) {
    size_t threads = 0, files = 0;
    for (int round = 0, rounds = IsLong() ? 20 : 5; round < rounds; ++round) {
        ASSERT_TRUE(Start());
        EXPECT_EQ(OutputSelection_t::GetStatus().rateHz, 44100u);
        PlayLoop(MakeNumbers(1));
        RealHost_t().Run(0.1);
        DeInitialize();
        EXPECT_FALSE(OutputSelection_t::GetStatus().isOpen);
        if (round == 0) threads = CountThreads(), files = CountOpenFiles();
    }
    ExpectNoMore(threads, files);
}

// No device, no such device, a server that does not answer: a start fails, soon, and the next one looks anew.
TEST_F(RealOutput_t, FailsToStartWithoutADevice) {
    const auto start = test_clock_t::now();
    server.Kill();
    AudioWrapper_t::Initialize(nullptr, false, 4096, 32, 16384);
    EXPECT_FALSE(AudioWrapper_t::IsInitialized());
    ASSERT_TRUE(server.Start());
    ASSERT_TRUE(OutputSelection_t::SelectDevice("no-such-device"));
    EXPECT_FALSE(Start());
    ASSERT_TRUE(OutputSelection_t::SelectDevice("default"));
    const size_t threads = CountThreads();
    server.Freeze();
    EXPECT_FALSE(Start());
    server.Thaw();
    EXPECT_LT(SecondsSince(start), 60);
    EXPECT_TRUE(WaitUntil(patienceSeconds, [&] { return CountThreads() <= threads; })) << "a thread is left";
    EXPECT_TRUE(Start());
}

}  // namespace
