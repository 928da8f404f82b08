// compressed_voice_test.cpp - voices on sounds that are decoded while they play: what they mix is what the
// decoded sound would give, and their pages come and go with them. Which pages have memory is the platform's
// word, not ours.
#include "compressed/compressed_voice.h"

#include <sys/mman.h>

#include <bit>
#include <set>

#include "engine_fixture.h"
#include "ima_sounds.h"
#include "platform/event.h"
#include "platform/pages.h"

namespace {

using AudioSystem::compressedPageBytes;
using counts_t = std::vector<int32_t>;

struct noise_t {
    uint32_t frames, blockBytes;
    sound_format_t format = {};

    uint32_t BlockFrames() const { return ImaSamplesPerBlock(blockBytes, format.isStereo); }
    uint32_t BlockCount() const { return (frames + BlockFrames() - 1) / BlockFrames(); }
    std::string Blocks() const { return RandomBlocks(BlockCount(), blockBytes, format.isStereo, frames); }
};

// Loads the sound as it is, or decoded; both are called `name`.
Sound_t* Load(const std::string& name, const noise_t& noise, const std::string& blocks, bool isDecoded) {
    const sound_format_t& f = noise.format;
    const uint32_t channels = f.isStereo ? 2 : 1;
    const std::vector<int16_t> samples = DecodeBlocks(blocks, noise.blockBytes, f.isStereo);
    const sound_header_t header{name,          noise.frames, f.isStereo,  true,
                                f.rateDivisor, f.lockFlags,  f.baseVolume};
    const std::string archive = name + (isDecoded ? ".sn" : ".isn");
    const std::string image =
        isDecoded
            ? SoundImage(name, noise.frames, f, [&](uint32_t i, int c) { return samples[i * channels + c]; })
            : FormatImaHeader(noise.blockBytes, header, static_cast<uint32_t>(blocks.size())) + blocks;
    AudioSystem::LoadSoundFromBuffer(archive.c_str(), image.data(), static_cast<unsigned>(image.size()));
    Sound_t* sound = AudioSystem::GetSound(name.c_str(), archive.c_str());
    EXPECT_STREQ(sound->name.text, name.c_str());
    return sound;
}

CompressedSound_t& LoadNoise(const std::string& name, const noise_t& noise) {
    return *static_cast<CompressedSound_t*>(Load(name, noise, noise.Blocks(), false));
}

counts_t Counts(const CompressedSound_t& sound) {
    const std::size_t pages = std::size_t{sound.frameCount} * sound.bytesPerFrame / compressedPageBytes + 1;
    return {sound.pageRefCounts, sound.pageRefCounts + pages};
}

// How much of each page the platform holds in memory.
counts_t Resident(const CompressedSound_t& sound) {
    const std::size_t parts = compressedPageBytes / platform::SystemPageBytes();
    counts_t resident(Counts(sound).size());
    std::vector<unsigned char> states(resident.size() * parts);
    EXPECT_EQ(mincore(sound.samples, resident.size() * compressedPageBytes, states.data()), 0);
    for (std::size_t i = 0; i < states.size(); ++i) resident[i / parts] += states[i] & 1;
    return resident;
}

bool HasNoPage(const CompressedSound_t& sound) {
    return Counts(sound) == counts_t(Counts(sound).size()) &&
           Resident(sound) == counts_t(Counts(sound).size());
}

// Each count is the number of voices whose window has the page, and no other page has memory.
void CheckPages(const CompressedSound_t& sound) {
    const counts_t resident = Resident(sound);
    counts_t wanted(resident.size());
    for (const ListNode_t* node = AudioSystem::allVoices.head; node; node = node->next) {
        const auto& voice = *static_cast<const CompressedVoice_t*>(static_cast<const Voice_t*>(node->data));
        if (voice.compressedSound != &sound) continue;
        const std::size_t start = std::size_t{voice.window.start} * sound.bytesPerFrame;
        const std::size_t end = std::size_t{voice.window.end} * sound.bytesPerFrame;
        const bool isEmpty = start == end && start % compressedPageBytes == 0;
        const std::size_t past = isEmpty ? 0 : (std::max(end, start + 1) - 1) / compressedPageBytes + 1;
        for (std::size_t p = start / compressedPageBytes; p < past; ++p) ++wanted[p];
    }
    ASSERT_EQ(Counts(sound), wanted) << sound.name.text;
    for (std::size_t p = 0; p < resident.size(); ++p) ASSERT_TRUE(resident[p] == 0 || wanted[p] > 0) << p;
}

struct scene_t {
    uint32_t seed, voices, ticks, changesPerTick;
    bool isDecoded;
    bool isExact;  // every jump goes to the start of a block
};

const noise_t sceneSounds[] = {
    {20000, 512, {}},
    {12345, 2048, {.isStereo = true}},
    {9000, 36, {.rateDivisor = 2}},
    {7000, 64, {.rateDivisor = 4, .isStereo = true, .baseVolume = 0.5f}},
    {4100, 9, {.rateDivisor = 3}},
    {3000, 16, {.rateDivisor = 5, .isStereo = true}},
    {8192, 256, {.baseVolume = 0.9f, .lockFlags = lockFrequency}},  // ends with a page and with no block
    {5 * 1017, 512, {.rateDivisor = 2, .lockFlags = lockVolume}},   // ends with a block
    {1, 4, {}},
    {3, 8, {.isStereo = true}},
    {150, 12, {}},
};

class CompressedVoice : public EngineFixture_t {
  protected:
    static void StartWith(uint32_t pageBytes) {
        AudioSystem::DeInitialize();
        platform::ResetManualOutput();
        ASSERT_TRUE(AudioSystem::Initialize(nullptr, false, 4096, 32, pageBytes));
        AudioSystem::SetWorstCaseFrameRate(30);
        CompressedVoice_t::mixCosts = SimpleVoice_t::mixCosts = {};
    }

    uint32_t Pick(uint32_t count) { return static_cast<uint32_t>(random()) % count; }
    Sound_t* AnySound() { return sounds[random() % sounds.size()]; }

    // Any position in the voice's queue, or the start of any block there.
    uint32_t Target(const Voice_t& voice, bool isExact) {
        if (!isExact) return Pick(voice.totalLength + 2);
        uint32_t base = 0, at = Pick(static_cast<uint32_t>(voice.soundQueue.count));
        const ListNode_t* node = voice.soundQueue.head;
        for (; at > 0; --at, node = node->next) base += static_cast<const Sound_t*>(node->data)->frameCount;
        const auto found = std::find(sounds.begin(), sounds.end(), static_cast<Sound_t*>(node->data));
        if (found == sounds.end()) return 0;  // a released voice
        const noise_t& noise = sceneSounds[found - sounds.begin()];
        return base + Pick(noise.BlockCount()) * noise.BlockFrames();
    }

    void Change(Voice_t*& voice, bool isExact) {
        const auto ratio = static_cast<float>(200 + Pick(Pick(4) ? 1000 : 7799)) / 1000;
        const float left = static_cast<float>(Pick(11)) / 10, right = static_cast<float>(Pick(11)) / 10;
        if (!voice) voice = AnySound()->CreateCompatibleVoice(Pick(4) ? 0 : 2);
        switch (Pick(15)) {
            case 0:
                return voice->Stop();
            case 1:
                return voice->ReleaseSound();
            case 2:
                return voice->SetFrequency(1.0f);
            case 3:
                return voice->SetFrequency(ratio);
            case 4:
                return voice->SetVolume(1.0f, 1.0f);
            case 5:
                return voice->SetVolume(left, right);
            case 6:
                return void(voice->isLooping = !voice->isLooping);
            case 7:
                return void(voice->stopPosition = Pick(2) ? Pick(voice->totalLength + 1) : noStopPosition);
            case 8:
                return delete std::exchange(voice, nullptr);
            case 9:
                return AnySound()->PlayOneShot();
            case 10:
                return voice->SetPos(Target(*voice, isExact));
            case 11:
                return voice->QueueSound(AnySound());
            default:
                voice->Play();
        }
    }

    // What the whole ring held after each tick.
    std::vector<uint64_t> Run(const scene_t& scene) {
        StartWith(scene.seed % 2 ? 4096 : 16384);
        random.seed(scene.seed);
        sounds.clear();
        // Voices start early, too, once their cost is known.
        for (MixCostTable_t* table : {&CompressedVoice_t::mixCosts, &SimpleVoice_t::mixCosts})
            std::fill_n(table->costs, 8, scene.seed % 3 ? 1e-9f : 0.0f);
        for (const noise_t& noise : sceneSounds)
            sounds.push_back(Load(std::to_string(noise.frames), noise, noise.Blocks(), scene.isDecoded));
        std::vector<Voice_t*> voices(scene.voices);
        std::vector<uint64_t> hashes;
        for (uint32_t tick = 0; tick < scene.ticks; ++tick) {
            for (uint32_t i = 0; i < scene.changesPerTick; ++i)
                Change(voices[random() % voices.size()], scene.isExact);
            AudioSystem::MixVoices();
            hashes.push_back(0);
            for (uint32_t entry = 0; entry < AudioSystem::ringLength / 2; ++entry) {
                const auto bits = std::bit_cast<uint64_t>(AudioSystem::ringEntries[entry]);
                hashes.back() = std::rotl((hashes.back() ^ bits) * 0x9E3779B97F4A7C15u, 29);
            }
            Play(Pick(3) ? Pick(60) : Pick(20) ? 1470 : Pick(4000));
            for (Sound_t* sound : sounds)
                if (!scene.isDecoded) CheckPages(*static_cast<CompressedSound_t*>(sound));
        }
        std::shuffle(voices.begin(), voices.end(), random);
        for (Voice_t* voice : voices) delete voice;
        Voice_t::FreeAll();  // one-shots
        for (Sound_t* sound : sounds)
            EXPECT_TRUE(scene.isDecoded || HasNoPage(*static_cast<CompressedSound_t*>(sound)));
        return hashes;
    }

    std::mt19937 random;
    std::vector<Sound_t*> sounds;  // in the order of sceneSounds
};

TEST_F(CompressedVoice, ScenesAreThoseOfTheDecodedSounds) {
    for (uint32_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        const std::vector<uint64_t> hashes = Run({seed, 14, 80, 5, false, true});
        ASSERT_EQ(hashes, Run({seed, 14, 80, 5, true, true}));
        EXPECT_GT(std::set(hashes.begin(), hashes.end()).size(), 70u) << "something must be heard";
    }
}

TEST_F(CompressedVoice, AThousandVoicesLeaveNoPage) {
    for (uint32_t seed = 0; seed < 2; ++seed) Run({seed, 1000, 30, 600, false, false});
}

// On pages of 4096 stereo frames.
TEST_F(CompressedVoice, PagesOfAWindow) {
    StartWith(16384);
    CompressedSound_t& sound = LoadNoise("noise", {3 * 4096, 512, {.isStereo = true}});
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
        EXPECT_EQ(Counts(sound), row.want);
        const counts_t resident = Resident(sound);
        for (std::size_t p = 0; p < resident.size(); ++p) EXPECT_TRUE(resident[p] == 0 || row.want[p] > 0);
    }
    sound.FreeDecoderState(state);
    EXPECT_EQ(Counts(LoadNoise("empty", {0, 512})), counts_t{0});
}

// At no time more than what the last step was mixed from, however long the sound.
TEST_F(CompressedVoice, ALongSoundKeepsThePagesOfItsLastStep) {
    for (const float ratio : {1.0f, 0.2f, 0.93f, 3.1f, 7.9f}) {
        SCOPED_TRACE(ratio);
        StartWith(4096);
        CompressedSound_t& sound = LoadNoise("long", {300'000, 2048, {.isStereo = true}});
        Voice_t* voice = sound.CreateCompatibleVoice(0);
        voice->SetFrequency(ratio);
        voice->Play();
        for (uint32_t before = 0, tick = 0; tick < 300; ++tick, before = voice->position) {
            AudioSystem::MixVoices();
            if (!voice->isPlaying) break;
            const counts_t resident = Resident(sound);
            for (std::size_t p = 0; p < resident.size(); ++p)
                ASSERT_TRUE(resident[p] == 0 || (p >= before / 1024 && p <= voice->position / 1024)) << p;
            EXPECT_EQ(resident[(voice->position - 1) / 1024], 1);
            Play(735);
        }
        EXPECT_TRUE(voice->isPlaying || HasNoPage(sound));
    }
}

// The voice itself is too quiet to be heard, though it is decoded; the others hear nothing of it.
TEST_F(CompressedVoice, ABadBlockEndsItsVoiceAlone) {
    for (const auto& [byte, value] : {std::pair{3, 1}, {2, 89}, {2, 0x80}, {7, -1}, {6, 89}}) {
        SCOPED_TRACE(testing::Message() << "byte " << byte << " is " << value);
        StartWith(4096);
        const noise_t quiet{30'000, 512, {.isStereo = true, .baseVolume = 0.05f}}, loud{30'000, 512};
        std::string bad = quiet.Blocks();
        bad[20 * 512 + static_cast<std::size_t>(byte)] = static_cast<char>(value);  // frame 10,100
        Sound_t* sound = Load("bad", quiet, bad, false);
        Voice_t* left = LoadNoise("good", loud).CreateCompatibleVoice(0);
        Voice_t* right = Load("twin", loud, loud.Blocks(), true)->CreateCompatibleVoice(0);
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
        EXPECT_TRUE(HasNoPage(*static_cast<CompressedSound_t*>(sound)));
        voice->SetPos(30'000 + 21 * 505);  // behind the bad block, in the second sound
        voice->Play();
        RunTicks(2, 735, heard);
        EXPECT_TRUE(left->isPlaying && voice->isPlaying && right->isPlaying);
        EXPECT_TRUE(std::all_of(heard.begin(), heard.end(), [](frame_t f) { return f.left == f.right; }));
        EXPECT_GT(std::count_if(heard.begin(), heard.end(), [](frame_t f) { return f.left != 0; }), 9'000);
    }
}

TEST_F(CompressedVoice, ClassesAndDefaults) {
    StartWith(0);  // no pages, no such sounds
    const std::string image = FormatImaHeader(512, {"a", 100, false, true}, 512) + noise_t{100, 512}.Blocks();
    AudioSystem::LoadSoundFromBuffer("a.isn", image.data(), static_cast<unsigned>(image.size()));
    EXPECT_STREQ(AudioSystem::GetSound("a", "a.isn")->name.text, defaultSoundName);
    StartWith(4096);
    CompressedSound_t& sound = LoadNoise("a", {100, 512});
    Sound_t* other = Load("b", {100, 512}, noise_t{100, 512}.Blocks(), true);
    for (const char* name : {"IMA_ADPCM_Sound", "CompressedSound", "Sound"})
        EXPECT_TRUE(sound.IsASortOf(name));
    EXPECT_FALSE(sound.IsASortOf("SimpleSound"));
    EXPECT_EQ(CompressedSound_t::GetTypedSound("a", "a.isn"), &sound);
    EXPECT_EQ(IMA_ADPCM_Sound_t::GetTypedSound("a", "a.isn"), &sound);
    for (const auto& [name, archive] : {std::pair{"none", "a.isn"}, {"b", "b.sn"}}) {
        EXPECT_TRUE(dynamic_cast<DummyCompressedSound_t*>(CompressedSound_t::GetTypedSound(name, archive)));
        Sound_t* plain = IMA_ADPCM_Sound_t::GetTypedSound(name, archive);
        EXPECT_TRUE(plain->IsASortOf("IMA_ADPCM_Sound") && plain == IMA_ADPCM_Sound_t::GetDefaultSound());
        plain->PlayOneShot();
        EXPECT_EQ(AudioSystem::allVoices.count, 0);
    }
    auto* voice = static_cast<CompressedVoice_t*>(sound.CreateCompatibleVoice(1));
    EXPECT_TRUE(voice->IsCompatibleSound(&sound) && !voice->IsCompatibleSound(other));
    voice->SetPos(50);
    voice->ReleaseSound();
    EXPECT_EQ(voice->compressedSound, CompressedSound_t::GetDefaultSound());
    EXPECT_FALSE(voice->compressedSound->DecodeRange(0, 1, voice->decoderState));
    EXPECT_TRUE(voice->totalLength == 0 && HasNoPage(sound));
}

}  // namespace
