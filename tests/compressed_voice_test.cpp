// compressed_voice_test.cpp - which pages voices on sounds that are decoded while they play have in memory,
// by the platform's word, and what becomes of one whose data is bad. What they mix is compared in
// stream_equality_test.cpp.
#include "fuzz/invariants.h"
#include "platform/event.h"
#include "stream_fixture.h"

namespace {

using AudioSystem::compressedPageBytes;
using counts_t = std::vector<int32_t>;

std::size_t PageCount(const CompressedSound_t& sound) {
    return std::size_t{sound.frameCount} * sound.bytesPerFrame / compressedPageBytes + 1;
}

class CompressedVoice : public StreamFixture_t {
  protected:
    void SetUp() override {
        StreamFixture_t::SetUp();
        StartWith(4096, 1);
        AudioSystem::SetWorstCaseFrameRate(30);
    }

    CompressedSound_t& LoadNoise(const std::string& name, uint32_t frames, uint32_t blockBytes,
                                 const sound_format_t& format = {}) {
        return *static_cast<CompressedSound_t*>(
            LoadImage(name, "isn", ImaOf(name, frames, blockBytes, format)));
    }
};

// On pages of 4096 stereo frames. No page has memory that nobody counts.
TEST_F(CompressedVoice, PagesOfAWindow) {
    StartWith(4096, 1, 16384);
    CompressedSound_t& sound = LoadNoise("noise", 3 * 4096, 512, {.isStereo = true});
    frame_window_t windows[2];
    const struct {
        const char* name;
        int window;
        char operation;  // move, reset to start, drop
        uint32_t start, end;
        counts_t want;
    } rows[] = {
        {"nothing yet", 0, 'm', 0, 0, {0, 0, 0, 0}},
        {"inside a page", 0, 'm', 3800, 4000, {1, 0, 0, 0}},
        {"takes the next page only", 0, 'm', 4000, 4200, {1, 1, 0, 0}},
        {"and the next move gives back", 0, 'm', 4200, 4400, {0, 1, 0, 0}},
        {"a second voice, to a page's end", 1, 'm', 5000, 8192, {0, 2, 0, 0}},
        {"from the boundary on", 1, 'm', 8192, 8193, {0, 1, 1, 0}},
        {"an empty step inside", 1, 'm', 8193, 8193, {0, 1, 1, 0}},
        {"the last to leave", 0, 'r', 0, 0, {0, 0, 1, 0}},
        {"a reset drops nothing twice", 0, 'r', 0, 0, {0, 0, 1, 0}},
        {"to the inside of a page", 0, 'r', 1, 0, {1, 0, 1, 0}},
        {"to its boundary", 0, 'r', 4096, 0, {0, 0, 1, 0}},
        {"over three pages", 0, 'm', 4095, 8193, {1, 1, 2, 0}},
        {"to the sound's end", 0, 'm', 12287, 12288, {0, 0, 2, 0}},
        {"an empty step there", 0, 'm', 12288, 12288, {0, 0, 1, 0}},
        {"dropped", 1, 'd', 0, 0, {0, 0, 0, 0}},
        {"dropped again", 1, 'd', 0, 0, {0, 0, 0, 0}},
    };
    void* state = sound.NewDecoderState();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        frame_window_t& window = windows[row.window];
        if (row.operation == 'd') sound.ReleaseWindow(window);
        if (row.operation == 'r') sound.ResetWindow(window, row.start);
        EXPECT_TRUE(row.operation != 'm' || sound.MoveWindow(window, row.start, row.end, row.start, state));
        EXPECT_EQ(counts_t(sound.pageRefCounts, sound.pageRefCounts + 4), row.want);
        for (std::size_t p = 0; p < row.want.size(); ++p)
            EXPECT_TRUE(row.want[p] > 0 || ResidentPages(sound.samples + p * 16384, 16384) == 0) << p;
    }
    sound.FreeDecoderState(state);
    EXPECT_EQ(LoadNoise("empty", 0, 512).pageRefCounts[0], 0);
}

// At no time more than what the last step was mixed from, however long the sound.
TEST_F(CompressedVoice, ALongSoundKeepsThePagesOfItsLastStep) {
    for (const float ratio : {1.0f, 0.2f, 0.93f, 3.1f, 7.9f}) {
        SCOPED_TRACE(ratio);
        CompressedSound_t& sound = LoadNoise("long", 300'000, 2048, {.isStereo = true});
        Voice_t* voice = sound.CreateCompatibleVoice(0);
        voice->SetFrequency(ratio);
        voice->Play();
        for (uint32_t before = 0, tick = 0; tick < 300; ++tick, before = voice->position) {
            AudioSystem::MixVoices();
            if (!voice->isPlaying) break;
            const std::size_t first = before / 1024, past = voice->position / 1024 + 1;
            const auto resident = [&](std::size_t from, std::size_t end) {
                return ResidentPages(sound.samples + from * 4096, (end - from) * 4096);
            };
            ASSERT_EQ(resident(0, first) + resident(past, PageCount(sound)), 0u) << tick;
            const std::size_t last = (voice->position - 1) / 1024;
            EXPECT_EQ(resident(last, last + 1), 1u);
            Play(735);
        }
        delete voice;
        fuzz::RequireInvariants();
        AudioSystem::FreeSound("long", "isn");
    }
}

// The voice itself is too quiet to be heard, though it is decoded; the others hear nothing of it.
TEST_F(CompressedVoice, ABadBlockEndsItsVoiceAlone) {
    for (const auto& [byte, value] : {std::pair{3, 1}, {2, 89}, {2, 0x80}, {7, -1}, {6, 89}}) {
        SCOPED_TRACE(testing::Message() << "byte " << byte << " is " << value);
        StartWith(4096, 1);
        AudioSystem::SetWorstCaseFrameRate(30);
        std::string bad = ImaOf("bad", 30'000, 512, {.isStereo = true, .baseVolume = 0.05f});
        bad[bad.size() - (60 - 20) * 512 + static_cast<std::size_t>(byte)] =
            static_cast<char>(value);  // frame 10,100
        Sound_t* sound = LoadImage("bad", "isn", bad);
        Voice_t* left = LoadRamp("good", 30'000, {}, "sn")->CreateCompatibleVoice(0);
        Voice_t* right = LoadRamp("twin", 30'000, {}, "sn")->CreateCompatibleVoice(0);
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        platform::Event_t isDone;
        isDone.Create();
        voice->completionEvent = &isDone;
        voice->QueueSound(sound);
        voice->isLooping = true;
        sound->PlayOneShot();
        left->SetVolume(0.5f, 0.0f);
        right->SetVolume(0.0f, 0.5f);
        for (Voice_t* each : {left, voice, right}) each->Play();
        frames_t heard;
        RunTicks(8, 735, heard);
        EXPECT_TRUE(voice->isPlaying);
        RunTicks(5, 735, heard);
        EXPECT_TRUE(!voice->isPlaying && voice->position == 0 && isDone.Wait(0) == 0);
        EXPECT_EQ(AudioSystem::allVoices.count, 3) << "the one-shot has gone, too";
        fuzz::RequireInvariants();
        voice->SetPos(30'000 + 21 * 505);  // behind the bad block, in the second sound
        voice->Play();
        RunTicks(2, 735, heard);
        EXPECT_TRUE(left->isPlaying && voice->isPlaying && right->isPlaying);
        EXPECT_TRUE(std::all_of(heard.begin(), heard.end(), [](frame_t f) { return f.left == f.right; }));
        EXPECT_GT(std::count_if(heard.begin(), heard.end(), [](frame_t f) { return f.left != 0; }), 9'000);
    }
}

TEST_F(CompressedVoice, AReleasedVoiceHasNoPage) {
    auto* voice = static_cast<CompressedVoice_t*>(LoadNoise("a", 100, 512).CreateCompatibleVoice(1));
    voice->SetPos(50);
    voice->ReleaseSound();
    EXPECT_EQ(voice->compressedSound, CompressedSound_t::GetDefaultSound());
    EXPECT_FALSE(voice->compressedSound->DecodeRange(0, 1, voice->decoderState));
    EXPECT_EQ(voice->totalLength, 0u);
    fuzz::RequireInvariants();
}

}  // namespace
