// fault_test.cpp - one thing that can fail does, at its first call, at its second, and so on until a whole
// program has run without meeting it. The engine must live through each of them, hold what always holds,
// leave nothing behind, and sound as ever afterwards.
#include <ringmix/audio_wrapper.h>
#include <ringmix/base_wrapper.h>
#include <ringmix/host.h>
#include <ringmix/sound_wrapper.h>
#include <ringmix/voice_wrapper.h>

#include <algorithm>

#include "fault_injection.h"
#include "fuzz/invariants.h"
#include "stream_fixture.h"
#include "streaming/raw_stream_sound.h"

namespace {

using namespace AudioSystem;
using namespace ringmix;

constexpr const char* tags[] = {"sn", "isn", "ssn", "iss"};

class Fault_t : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        platform::SetDebugSink(nullptr);  // the fixture's takes memory
        for (const char* tag : tags) {
            folder.Write(std::string("sound.") + tag, tag[0] == 'i' ? ImaOf("sound", 30'000, 256, {})
                                                                    : SoundImage("sound", 30'000, {}, Ramp));
        }
        MakeArchive();
    }

    void MakeArchive() const {
        StartWith(4096, 2);
        LoadSound(folder.At("sound.ssn").c_str(), "ssn");
        SaveArchive(folder.At("archive").c_str(), "ssn");
        DeInitialize();
    }

    // Everything that a host does, with everything that may go wrong with it. Only the start takes an armed
    // `allocation`. Empty if the engine did not start.
    frames_t RunProgram(fault_t kind) const {
        platform::ResetManualOutput();
        ClearCosts();
        const bool isRunning = Initialize(nullptr, true, 4096, 3, 4096);
        if (kind == fault_t::allocation) wasMade = DisarmFault();
        EXPECT_EQ(isRunning, IsInitialized());
        if (!isRunning) {
            EXPECT_TRUE(!device && !mixThread && !ringEntries && !defaultSounds);
            return {};
        }
        SetWorstCaseFrameRate(60);
        for (const char* tag : tags) LoadSound(folder.At(std::string("sound.") + tag).c_str(), tag);
        LoadArchive(folder.At("archive").c_str(), nullptr);
        frames_t heard;
        PlayAll(heard, kind);
        Voice_t::FreeAll();
        LoadStreams();
        if (kind != fault_t::decommit) fuzz::RequireNoPages();
        DeInitialize();
        return heard;
    }

    static void PlayAll(frames_t& heard, fault_t kind) {
        auto* raw = new RawStreamSound_t("raw", 1, 16, 44100, 20'000, "raw");
        const bool isEntered = GetSound("raw", "raw") == raw;
        const std::vector<uint8_t> piece(6'000, 7);
        std::vector<Voice_t*> voices;
        for (const char* tag : tags) voices.push_back(GetSound("sound", tag)->CreateCompatibleVoice(0));
        voices.push_back(GetSound("sound", nullptr)->CreateCompatibleVoice(2));
        for (int tick = 0; tick < 8; ++tick) {
            for (Voice_t* voice : voices) {
                if (tick == 3) voice->SetPos(25'000);
                voice->isLooping = tick > 3;
                if (tick == 0 || tick == 3) voice->Play();
            }
            if (isEntered && tick % 2 == 0) raw->FeedData(piece.data(), static_cast<uint32_t>(piece.size()));
            if (isEntered && tick == 1) raw->PlayOneShot();
            if (tick == 2) GetSound("sound", "iss")->PlayOneShot();
            if (tick == 5) platform::LoseManualBuffer();
            LoadStreams();
            RunTicks(1, 735, heard);
            fuzz::RequireInvariants(kind != fault_t::decommit);
        }
        if (!isEntered) delete raw;
    }

    static inline bool wasMade = false;  // the armed call
};

class FaultOf : public Fault_t, public testing::WithParamInterface<fault_t> {};

TEST_P(FaultOf, EachCallInTurnIsLivedThrough) {
    const fault_t kind = GetParam();
    const frames_t whole = RunProgram(fault_t::commit);
    ASSERT_GT(whole.size(), 5'000u);
    uint32_t n = 0, silent = 0;
    do {
        // Sanitized builds look at the first calls, of which a start is made, and at samples of the others.
        n += RINGMIX_TEST_SANITIZED && !IsLongRun() && n > 24 ? 7 : 1;
        for (const uint32_t more : {0u, 1u << 30}) {  // that call alone; that one and all behind it
            SCOPED_TRACE(testing::Message() << "call " << n << (more ? " and all behind it" : ""));
            ArmFault(kind, n, more);
            silent += RunProgram(kind).empty();
            if (kind != fault_t::allocation) wasMade = DisarmFault();
            ASSERT_EQ(platform::ManualCounts().devices + platform::ManualCounts().buffers, 0u);
        }
        if (n % 8 == 1 || !wasMade) {
            ASSERT_TRUE(RunProgram(kind) == whole) << "after call " << n;
        }
    } while (wasMade && !HasFailure());
    EXPECT_GT(n, 1u) << "the program makes no such call";
    const bool isOfTheStart = kind == fault_t::thread || kind == fault_t::event ||
                              kind == fault_t::allocation || kind == fault_t::device;
    EXPECT_EQ(silent > 0, isOfTheStart) << "starts that failed";
}

// The public interface without memory: no exception comes out of it, what it could not do it has not begun,
// and what it says of a load is true.
class HostFault : public Fault_t {
  protected:
    template <typename Operation>
    static auto Call(Operation operate) {
        WatchCalls(true);
        const struct end_t {
            ~end_t() { WatchCalls(false); }
        } end;
        return operate();
    }

    static void ExpectHonest(const result_t& result, problem_t also = problem_t::none) {
        for (const problem_t honest : {also, problem_t::none, problem_t::outOfMemory, problem_t::deadHandle,
                                       problem_t::notFound, problem_t::nothingToPlay, problem_t::full}) {
            if (result.problem == honest) return;
        }
        ADD_FAILURE() << static_cast<int>(result.problem) << ": " << result.text;
    }

    void LoadAll() {
        for (const char* tag : tags) {
            const std::string path = folder.At(std::string("sound.") + tag),
                              other = std::string("host-") + tag;
            Call([&] { SoundWrapper_t::LoadSound(path.c_str(), tag); });
            SoundHandle_t sound;
            const result_t loaded =
                Call([&] { return SoundHandle_t::Load(path.c_str(), other.c_str(), sound); });
            ExpectHonest(loaded);
            EXPECT_EQ(static_cast<bool>(loaded), sound.IsAlive());
            EXPECT_EQ(Archives_t::GetSoundCount(other.c_str()), loaded ? 1u : 0u);
            sounds.push_back(sound);
        }
        std::string image = SoundImage("sound", 2'000, {}, Ramp);
        Call([&] {
            SoundWrapper_t::LoadSoundFromBuffer("image.sn", image.data(),
                                                static_cast<unsigned>(image.size()));
        });
        archive_count_t count;
        const std::string path = folder.At("archive");
        // A stream of bytes that finds no memory tells of bytes that it could not read.
        ExpectHonest(Call([&] { return Archives_t::Load(path.c_str(), "archive", &count); }),
                     problem_t::unreadable);
        uint32_t bytes = 0;
        ExpectHonest(Call([&] { return Archives_t::SaveToMemory(nullptr, 0, "image.sn", bytes); }));
    }

    void MakeVoices() {
        for (const char* tag : tags) {
            SoundWrapper_t* sound = Call([&] { return SoundWrapper_t::GetSound("sound", tag); });
            VoiceWrapper_t* voice = sound ? Call([&] { return sound->CreateCompatibleVoice(0); }) : nullptr;
            if (voice) Call([&] { voice->Play(); });
            delete voice;
            delete sound;
        }
        for (const SoundHandle_t& sound : sounds) {
            VoiceHandle_t voice, once;
            ExpectHonest(Call([&] { return sound.MakeVoice(voice, {.isLooping = true}); }));
            for (int i = 0; i < 3; ++i) ExpectHonest(Call([&] { return voice.Queue(sound); }));
            ExpectHonest(Call([&] { return voice.Play(); }));
            ExpectHonest(Call([&] { return sound.PlayOnce(once); }));
            voices.push_back(voice);
        }
        const raw_stream_options_t options{
            .name = "raw", .archiveName = "raw", .channels = 1, .capacityFrames = 20'000};
        const result_t made = Call([&] { return RawStreamHandle_t::Make(options, raw); });
        ExpectHonest(made);
        SoundHandle_t entered;
        EXPECT_EQ(static_cast<bool>(made), static_cast<bool>(SoundHandle_t::Find("raw", "raw", entered)));
    }

    frames_t RunHost(uint32_t n, uint32_t more) {
        WatchCalls(false);
        platform::ResetManualOutput();
        ClearCosts();
        SlidingVoice_t::mixCosts = {};
        EXPECT_TRUE(Initialize(nullptr, true, 4096, 3, 4096));
        SetWorstCaseFrameRate(60);
        sounds.clear();
        voices.clear();
        raw = {};
        ArmFault(fault_t::allocation, n, more);
        LoadAll();
        MakeVoices();
        frames_t heard;
        const std::vector<uint8_t> piece(6'000, 7);
        for (uint32_t tick = 0; tick < 6; ++tick) {
            ExpectHonest(Call([&] { return raw.Feed(piece.data(), 3'000); }));
            if (tick == 1) ExpectHonest(Call([&] { return raw.Play(); }));
            if (tick == 3) ExpectHonest(Call([&] { return voices[0].Release(); }));
            if (tick == 4) ExpectHonest(Call([&] { return voices[0].Queue(sounds[0]); }));
            Call([] { BaseWrapper_t::LoadStreams(); });
            Call([] { AudioWrapper_t::MixVoices(); });
            const frames_t played = Play(735);
            heard.insert(heard.end(), played.begin(), played.end());
            fuzz::RequireInvariants(true);
        }
        wasMade = DisarmFault();
        WatchCalls(true);
        for (const SoundHandle_t& sound : sounds) EXPECT_EQ(static_cast<bool>(sound.Free()), sound.id != 0);
        Voice_t::FreeAll();
        LoadStreams();
        fuzz::RequireNoPages();
        DeInitialize();
        return heard;
    }

    std::vector<SoundHandle_t> sounds;
    std::vector<VoiceHandle_t> voices;
    RawStreamHandle_t raw;
};

TEST_F(HostFault, NoCallThrowsForWantOfMemory) {
    const frames_t whole = RunHost(UINT32_MAX, 0);
    ASSERT_GT(std::count_if(whole.begin(), whole.end(), [](frame_t frame) { return frame != frame_t{}; }),
              2'000);
    uint32_t n = 0;
    do {
        n += RINGMIX_TEST_SANITIZED && !IsLongRun() ? 7 : 1;
        for (const uint32_t more : {0u, 1u << 30}) {
            SCOPED_TRACE(testing::Message() << "call " << n << (more ? " and all behind it" : ""));
            (void)RunHost(n, more);
        }
    } while (wasMade && !HasFailure());
    EXPECT_GT(n, 100u);
    EXPECT_TRUE(RunHost(UINT32_MAX, 0) == whole);
}

INSTANTIATE_TEST_SUITE_P(, FaultOf,
                         testing::Values(fault_t::reserve, fault_t::commit, fault_t::decommit,
                                         fault_t::thread, fault_t::event, fault_t::openFile,
                                         fault_t::readFile, fault_t::seekFile, fault_t::device,
                                         fault_t::lostBuffer, fault_t::allocation),
                         [](const auto& test) {
                             return std::string(faultNames[static_cast<int>(test.param)]);
                         });

}  // namespace
