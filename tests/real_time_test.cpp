// real_time_test.cpp - host, loader and mixing thread at work in real time on the null device: every sample
// of two ramps is heard once, in its place, and memory does not grow. Seconds long; half an hour with
// RINGMIX_LONG.
//
// A machine may keep any of the threads waiting for longer than what lies ahead of it lasts. Then a gap is no
// fault: what may be disturbed by it is not looked at.
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "listening_output.h"
#include "restless_voices.h"
#include "stream_fixture.h"

namespace {

using std::chrono::steady_clock;

constexpr uint32_t seed = 5;
constexpr uint32_t rampFrames = 32'000;                             // of Ramp: then it begins again
constexpr auto longestTick = std::chrono::milliseconds(115);        // of 137: what a tick mixes ahead
constexpr auto longestLoaderPass = std::chrono::milliseconds(900);  // of 1.4 s: what a stream reads ahead
constexpr uint64_t effectFrames = 60'000;
// What lists of voices keep for the next ones, and the C library's pools; a late stretch leaves a longer
// buffer of the test behind.
constexpr std::size_t slackBytes = 512 * 1024, lateSlackBytes = 8 << 20;

std::chrono::seconds Length() {
#ifdef NDEBUG
    if (IsLongRun() && !RINGMIX_TEST_SANITIZED) return std::chrono::minutes(30);
#endif
    return std::chrono::seconds(IsLongRun() ? 60 : 4);
}

// Frames in order, without those that a late thread may have spoilt.
class RampCheck_t {
  public:
    void Add(const heard_sound_t& sound) {
        waiting.insert(waiting.end(), sound.frames.begin(), sound.frames.end());
        late.insert(late.end(), sound.late.begin(), sound.late.end());
        lateCount += sound.late.size();
    }
    void AddLate(late_stretch_t stretch) {
        late.push_back(stretch);
        ++lateCount;
    }
    // All frames up to `end`: about later ones it is not known yet who was late.
    void CheckUpTo(uint64_t end) {
        uint64_t count = 0;
        for (; checked < end && count < waiting.size() && !testing::Test::HasFatalFailure();
             ++checked, ++count)
            Check(waiting[count]);
        waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(count));
        std::erase_if(late, [&](const late_stretch_t& stretch) { return stretch.to <= checked; });
    }

    uint64_t checked = 0, promised = 0, lateCount = 0;

  private:
    void Check(frame_t frame) {
        const bool isLate = std::any_of(late.begin(), late.end(), [&](const late_stretch_t& stretch) {
            return checked >= stretch.from && checked < stretch.to;
        });
        CheckChannel(frame.left, last.left, isLate, "left");
        CheckChannel(frame.right, last.right, isLate, "right");
        last = frame;
        wasLate = isLate;
        promised += !isLate;
    }
    // Silence comes ahead of a ramp alone, of which a start into what is about to be played may lack the
    // first frames.
    void CheckChannel(int now, int before, bool isLate, const char* channel) {
        if (isLate || wasLate || before == 0) return;
        ASSERT_EQ(now, before % static_cast<int>(rampFrames) + 1)
            << channel << ", frame " << checked << " behind " << before;
    }

    std::vector<frame_t> waiting;
    std::vector<late_stretch_t> late;
    frame_t last;
    bool wasLate = false;
};

// Memory in use: the main thread's heap to the byte, and all anonymous pages of the process.
struct memory_t {
    std::size_t heapBytes = 0, anonymousBytes = 0;

    static memory_t Now() {
        const struct mallinfo2 heap = mallinfo2();
        std::ifstream rollup("/proc/self/smaps_rollup");
        memory_t memory{heap.uordblks + heap.hblkhd};
        for (std::string line; std::getline(rollup, line);) {
            if (line.rfind("Anonymous:", 0) == 0)
                memory.anonymousBytes = 1024 * std::strtoul(line.c_str() + 10, nullptr, 10);
        }
        return memory;
    }
};

// Reads for the streams, and says where it may have been too slow.
class Loader_t {
  public:
    ~Loader_t() { Stop(); }
    void Stop() {
        isOver = true;
        if (thread.joinable()) thread.join();
    }
    // Returns up to which frame it is known.
    uint64_t TakeLate(RampCheck_t& check) {
        const std::lock_guard lock(mutex);
        for (const late_stretch_t& stretch : std::exchange(late, {})) check.AddLate(stretch);
        return settledFrames;
    }

    std::atomic<uint32_t> passes{0};

  private:
    void Run() {
        auto lastBegin = steady_clock::now();
        while (!isOver) {
            const auto begin = steady_clock::now();
            const uint64_t heard = CountHeardFrames();
            (void)AudioSystem::streamEvent.Wait(20);
            AudioSystem::LoadStreams();
            (void)AudioSystem::IsMixing();  // any thread may ask
            const uint64_t loaded = CountHeardFrames();
            const std::lock_guard lock(mutex);
            if (steady_clock::now() - lastBegin > longestLoaderPass)
                late.push_back({settledFrames, loaded + effectFrames});
            lastBegin = begin;
            settledFrames = heard;
            ++passes;
        }
    }

    std::mutex mutex;
    std::vector<late_stretch_t> late;
    uint64_t settledFrames = 0;
    std::atomic<bool> isOver{false};
    std::thread thread{[this] { Run(); }};
};

class RealTimeHost : public StreamFixture_t {
  protected:
    // Sounds of silence: their voices work like others, and nobody hears them. No stream of samples, whose
    // late pages are heard.
    void MakeSilence() {
        const auto silence = [](uint32_t, int) { return 0; };
        constexpr uint32_t blockBytes = 256, blockCount = 300;
        const std::string blocks(std::size_t{blockCount} * blockBytes, '\0');
        for (const bool isStereo : {false, true}) {
            const std::string image = SoundImage("silence", 40'000, {.isStereo = isStereo}, silence);
            const uint32_t frames = blockCount * ImaSamplesPerBlock(blockBytes, isStereo);
            const std::string ima =
                FormatImaHeader(blockBytes, {"silence", frames, isStereo, true, 1, 0, 1.0f},
                                blockCount * blockBytes) +
                blocks;
            for (const std::string tag : {"sn", "isn", "iss"}) {
                const std::string archive = tag + (isStereo ? "2" : "1");
                folder.Write("silence." + tag, tag[0] == 'i' ? ima : image);
                AudioSystem::LoadSound(folder.At("silence." + tag).c_str(), archive.c_str());
                silences.push_back(AudioSystem::GetSound("silence", archive.c_str()));
                ASSERT_NE(silences.back()->frameCount, 0u);
            }
        }
    }

    static Voice_t* PlayRamp(Sound_t* sound) {
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->isLooping = true;
        voice->Play();
        return voice;
    }

    RestlessVoices_t restless{seed};
    std::vector<Sound_t*> silences;
};

TEST_F(RealTimeHost, EverySampleIsHeardAndMemoryStays) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    ASSERT_TRUE(platform::SelectOutput("null"));
    ListenToOutput(true);
    auto lastBegin = steady_clock::now();  // a start that takes long is a late tick, too
    ClearCosts();
    ASSERT_TRUE(AudioSystem::Initialize(nullptr, false, 4096, 64, 4096));  // for 8 frames a second
    MakeSilence();
    const auto on = [](int wanted) {
        return [wanted](uint32_t frame, int channel) { return channel == wanted ? Ramp(frame) : 0; };
    };
    PlayRamp(MakeSound("left", rampFrames, {.isStereo = true}, on(0)));
    folder.Write("right.ssn", SoundImage("right", 8 * rampFrames, {.isStereo = true}, on(1)));
    Voice_t* stream = PlayRamp(LoadFile("right", "ssn"));
    AudioSystem::LoadStreams();  // before it is heard
    ASSERT_TRUE(stream->isPlaying);

    Loader_t loader;
    RampCheck_t check;
    platform::Event_t never;
    never.Create();
    uint64_t lastHeard = 0;
    const auto tick = [&] {
        const auto begin = steady_clock::now();
        const uint64_t heard = CountHeardFrames();
        AudioSystem::MixVoices();
        if (steady_clock::now() - lastBegin > longestTick)
            check.AddLate({lastHeard, CountHeardFrames() + effectFrames});
        lastBegin = begin;
        lastHeard = heard;
        const uint64_t loaded = loader.TakeLate(check);
        const heard_sound_t sound = TakeHeardSound();
        check.Add(sound);
        check.CheckUpTo(std::min({sound.settledFrames, heard, loaded}));
        (void)never.Wait(restless.Below(30));
    };
    // Nothing but the ramps: what is in use then must not grow.
    const auto settle = [&] {
        restless.DeleteAll();
        for (const Sound_t* sound : silences)
            AudioSystem::FreeVoicesUsingSound("silence", sound->archiveName.text);
        const uint32_t passes = loader.passes;
        while (loader.passes < passes + 2) tick();
        return memory_t::Now();
    };
    const auto runFor = [&](std::chrono::seconds length) {
        for (const auto start = steady_clock::now();
             steady_clock::now() - start < length && !HasFatalFailure();) {
            for (uint32_t changes = restless.Below(6); changes > 0; --changes) restless.Disturb(silences);
            tick();
        }
    };
    const std::chrono::seconds length = Length(), first = std::max(length / 30, std::chrono::seconds(1));
    runFor(first);
    const memory_t early = settle();
    runFor(length - first);
    const memory_t late = settle();
    const uint32_t underruns = AudioSystem::underrunCount, jumps = DirSound_t::jumps;
    std::printf(
        "%.1f s heard, %.1f s of it promised, %u times late; heap %zu -> %zu bytes, anonymous %zu -> %zu "
        "kB\n",
        static_cast<double>(check.checked) / 44'100, static_cast<double>(check.promised) / 44'100,
        static_cast<unsigned>(check.lateCount), early.heapBytes, late.heapBytes, early.anonymousBytes / 1024,
        late.anonymousBytes / 1024);
    loader.Stop();
    AudioSystem::DeInitialize();
    ListenToOutput(false);
    if (check.lateCount == 0) {
        EXPECT_EQ(underruns, 0u);
        EXPECT_EQ(jumps, 0u);
    }
    if (!RINGMIX_TEST_SANITIZED) {
        const std::size_t slack = slackBytes + (check.lateCount > 0 ? lateSlackBytes : 0);
        EXPECT_LE(late.heapBytes, early.heapBytes + slack);
        EXPECT_LE(late.anonymousBytes, early.anonymousBytes + slack);
    }
    if (check.promised < 44'100) GTEST_SKIP() << "the machine is too busy to promise a second of sound";
}

}  // namespace
