// stream_equality_test.cpp - a sound that is decoded while it plays, and with the loader ahead a stream, mix
// the very entries that the same sound mixes from memory, whatever is done to the voices, and leave no page
// behind.
#include <bit>
#include <set>

#include "fuzz/invariants.h"
#include "platform/event.h"
#include "stream_fixture.h"

namespace {

// File lengths that end with a page, a byte behind one, far inside one; sounds shorter than a tick.
struct source_t {
    uint32_t frames;
    sound_format_t format;
    uint32_t blockBytes;  // 0: PCM
};

const source_t pcmSounds[] = {
    {60'000, {.isStereo = true}, 0},
    {44'444, {}, 0},
    {32'768, {.rateDivisor = 2, .is16Bit = false}, 0},
    {20'000, {.rateDivisor = 4, .is16Bit = false, .isStereo = true, .baseVolume = 0.5f}, 0},
    {9'000, {.rateDivisor = 3, .isStereo = true}, 0},
    {7'001, {.rateDivisor = 5, .baseVolume = 0.9f, .lockFlags = lockFrequency}, 0},
    {4'097, {.is16Bit = false}, 0},
    {1'024, {.isStereo = true, .lockFlags = lockPan}, 0},
    {3, {.is16Bit = false}, 0},
    {1, {.isStereo = true}, 0},
};

const source_t imaSounds[] = {
    {150'000, {.isStereo = true}, 512},
    {120'000, {}, 2048},
    {50'000, {.rateDivisor = 2}, 36},
    {30'000, {.rateDivisor = 4, .isStereo = true, .baseVolume = 0.5f}, 64},
    {12'100, {.rateDivisor = 3}, 9},
    {9'000, {.rateDivisor = 5, .isStereo = true}, 16},
    {8 * 1017,
     {.baseVolume = 0.9f, .lockFlags = lockFrequency},
     512},  // 4096 bytes: ends with page and block
    {3, {.isStereo = true}, 8},
    {1, {}, 4},
};

// The classes that are compared, by the tags of their files. ADPCM in memory is compared with its decoded
// samples.
struct pair_t {
    const char *tag, *twin;

    bool IsIma() const { return tag[0] == 'i'; }
    bool IsDecoded() const { return twin[0] == 's' && IsIma(); }
    std::span<const source_t> Sources() const {
        return IsIma() ? std::span<const source_t>(imaSounds) : pcmSounds;
    }
};

constexpr pair_t pairs[] = {{"ssn", "sn"}, {"iss", "isn"}, {"isn", "sn"}};

struct script_t {
    uint32_t seed;
    pair_t pair;
    int ratioLimit;  // of frequencies, in 1/1000
    bool hasModeTwo;
    uint32_t pageBytes, lookAheadFactor;  // of what one tick may read at most

    // Frames of one tick: a start into the past, the host's lateness, the horizon; to the ring's clear
    // position in mode 2. 4 bytes each, or 1.25 of ADPCM; tiny sounds of it have more.
    uint32_t PagesAhead() const {
        const uint64_t outputFrames = hasModeTwo ? 26'460 : 4'096;
        const uint64_t bytes =
            outputFrames * (pair.IsIma() ? 5 : 16) / 4 * static_cast<uint64_t>(ratioLimit) / 1000 +
            (pair.IsIma() ? 512 : 0);
        return static_cast<uint32_t>((bytes + pageBytes - 1) / pageBytes) * lookAheadFactor;
    }
};

script_t ScriptOf(uint32_t seed) {
    const uint32_t pages[] = {4096, 4096, 8192, 20'480, 65'536, 1 << 20}, factors[] = {1, 1, 1, 2, 40};
    std::mt19937 random(seed + 1000);
    const int limit = random() % 2 ? 1000 : random() % 2 ? 1999 : 7999;
    return {seed, pairs[seed % 3], limit, random() % 4 == 0, pages[random() % 6], factors[random() % 5]};
}

class StreamEquality : public StreamFixture_t {
  protected:
    uint32_t Pick(std::size_t count) { return static_cast<uint32_t>(random() % count); }
    Sound_t* AnySound() { return sounds[Pick(sounds.size())]; }

    static void ExpectNothingRequested(Sound_t* sound) {
        if (!dynamic_cast<BaseStream_t*>(sound)) return;
        const FilePages_t& pages = PagesOf(sound);
        ASSERT_EQ(std::count(pages.pageFlags, pages.pageFlags + pages.pageCount, 0), pages.pageCount)
            << sound->name.text;
    }

    static uint64_t RingHash() {
        uint64_t hash = 0;
        for (uint32_t entry = 0; entry < AudioSystem::ringLength / 2; ++entry)
            hash =
                (hash ^ std::bit_cast<uint64_t>(AudioSystem::ringEntries[entry])) * 0x9E3779B97F4A7C15u >> 1;
        return hash;
    }

    // Mostly anywhere; also the joints: the starts of sounds, and of ADPCM blocks, and the very ends. What
    // has been decoded at once goes on as the codec does only from the start of a block.
    uint32_t Target(const Voice_t& voice, const pair_t& pair) {
        if (!pair.IsDecoded() && Pick(3) != 0) return Pick(voice.totalLength + 2);
        uint32_t base = 0;
        const ListNode_t* node = voice.soundQueue.head;
        for (uint32_t at = Pick(static_cast<uint32_t>(voice.soundQueue.count)); at > 0;
             --at, node = node->next)
            base += static_cast<const Sound_t*>(node->data)->frameCount;
        if (!pair.IsDecoded()) return base + Pick(3) * 1017 * Pick(10) - Pick(2);
        const auto found = std::find(sounds.begin(), sounds.end(), static_cast<Sound_t*>(node->data));
        if (found == sounds.end()) return 0;  // a released voice
        const source_t& source = imaSounds[found - sounds.begin()];
        const uint32_t blockFrames = ImaSamplesPerBlock(source.blockBytes, source.format.isStereo);
        return base + Pick((source.frames - 1) / blockFrames + 1) * blockFrames;
    }

    void Change(Voice_t*& voice, const script_t& script) {
        if (!voice) voice = AnySound()->CreateCompatibleVoice(script.hasModeTwo && Pick(3) == 0 ? 2 : 0);
        const float left = static_cast<float>(Pick(11)) / 10, right = static_cast<float>(Pick(11)) / 10;
        const float ratio = static_cast<float>(200 + Pick(static_cast<uint32_t>(script.ratioLimit) - 199));
        const uint32_t change = Pick(17);
        if (change == 0) return voice->Stop();
        if (change == 1) return voice->ReleaseSound();
        if (change == 2) return voice->SetFrequency(1.0f);
        if (change == 3) return voice->SetVolume(1.0f, 1.0f);
        if (change == 4) return voice->SetVolume(left, right);
        if (change == 5) return voice->SetFrequency(ratio / 1000);
        if (change == 6 || change == 7) voice->isLooping = !voice->isLooping;
        if (change == 8) voice->stopPosition = Pick(2) ? Pick(voice->totalLength + 1) : noStopPosition;
        if (change == 9) delete std::exchange(voice, nullptr);
        if (change == 10) return script.hasModeTwo ? AnySound()->PlayOneShot() : voice->Play();
        if (change == 11 || change == 12) return voice->SetPos(Target(*voice, script.pair));
        if (change == 13 || change == 14) return voice->QueueSound(AnySound());
        if (change > 14) voice->Play();
    }

    // What the whole ring held after each tick.
    std::vector<uint64_t> Run(const script_t& script, const std::string& tag) {
        StartWith(script.pageBytes, script.PagesAhead(), script.seed % 4 ? 4096 : 16384);
        random.seed(script.seed);
        ClearCosts(script.seed % 5 < 2 ? 0.0f : 1e-9f);  // known costs: starts reach into the past
        sounds.clear();
        for (uint32_t i = 0; i < script.pair.Sources().size(); ++i)
            sounds.push_back(LoadFile(NameOf(script.pair.IsIma(), i), tag));
        std::vector<Voice_t*> voices(6);
        for (Voice_t*& voice : voices) (voice = AnySound()->CreateCompatibleVoice(0))->Play();
        std::vector<uint64_t> hashes;
        for (uint32_t tick = 0; tick < 32; ++tick) {
            for (uint32_t changes = 1 + Pick(5); changes > 0; --changes)
                Change(voices[Pick(voices.size())], script);
            AudioSystem::LoadStreams();
            if (tag == script.pair.tag && tick % 8 == 0) {
                fuzz::RequireInvariants();
                for (Sound_t* sound : sounds) ExpectNothingRequested(sound);
            }
            AudioSystem::MixVoices();
            hashes.push_back(RingHash());
            // Steps of a few frames, too: what a pass has decoded beyond its own lasts for several.
            Play(Pick(3) == 0 ? Pick(60) : Pick(20) ? 735 : Pick(4000));
        }
        std::shuffle(voices.begin(), voices.end(), random);
        for (Voice_t* voice : voices) delete voice;
        Voice_t::FreeAll();  // one-shots
        AudioSystem::LoadStreams();
        fuzz::RequireNoPages();
        return hashes;
    }

    static std::string NameOf(bool isIma, uint32_t index) {
        return (isIma ? "ima" : "pcm") + std::to_string(index);
    }

    void WriteFiles() const {
        for (const pair_t& pair : pairs) {
            for (uint32_t i = 0; i < pair.Sources().size(); ++i) {
                const auto& [frames, format, blockBytes] = pair.Sources()[i];
                const std::string name = NameOf(pair.IsIma(), i);
                const sound_header_t header{name,
                                            frames,
                                            format.isStereo,
                                            format.is16Bit,
                                            format.rateDivisor,
                                            format.lockFlags,
                                            format.baseVolume};
                const std::string image = NoiseImage(header, blockBytes, i);
                folder.Write(name + "." + pair.tag, image);
                folder.Write(name + "." + pair.twin,
                             pair.IsDecoded() ? Decoded(header, blockBytes, image) : image);
            }
        }
    }

    static std::string Decoded(const sound_header_t& header, uint32_t blockBytes, const std::string& image) {
        uint32_t blocks = (header.frameCount - 1) / ImaSamplesPerBlock(blockBytes, header.isStereo) + 1;
        const std::vector<int16_t> samples = DecodeBlocks(
            image.substr(image.size() - std::size_t{blocks} * blockBytes), blockBytes, header.isStereo);
        return FormatSoundHeader(header) +
               std::string(reinterpret_cast<const char*>(samples.data()), header.SampleBytes());
    }

    std::mt19937 random;
    std::vector<Sound_t*> sounds;
};

TEST_F(StreamEquality, AThousandScriptsAreThoseOfTheSoundsInMemory) {
    WriteFiles();
    const uint32_t scripts = RINGMIX_TEST_SANITIZED && !IsLongRun() ? 60 : 1000;
    std::size_t changed = 0;
    for (uint32_t seed = 0; seed < scripts; ++seed) {
        const script_t script = ScriptOf(seed);
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << script.pair.tag << ", ratio "
                                        << script.ratioLimit << ", mode 2 " << script.hasModeTwo
                                        << ", pages of " << script.pageBytes << " x " << script.PagesAhead());
        const std::vector<uint64_t> hashes = Run(script, script.pair.tag);
        ASSERT_EQ(hashes, Run(script, script.pair.twin));
        changed += std::set(hashes.begin(), hashes.end()).size();
        if (HasFailure()) break;
    }
    EXPECT_GT(changed, 25 * scripts) << "something must be heard";
}

// At no time more than what the last step was mixed from, however long the sound.
TEST_F(StreamEquality, ALongSoundKeepsThePagesOfItsLastStep) {
    for (const float ratio : {1.0f, 0.2f, 0.93f, 3.1f, 7.9f}) {
        SCOPED_TRACE(ratio);
        StartWith(4096, 1);
        Sound_t* sound = LoadImage("long", "isn", ImaOf("long", 300'000, 2048, {.isStereo = true}));
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->SetFrequency(ratio);
        voice->Play();
        for (uint32_t before = 0, tick = 0; tick < 300; ++tick, before = voice->position) {
            AudioSystem::MixVoices();
            if (!voice->isPlaying) break;
            const std::size_t first = before / 1024, past = voice->position / 1024 + 1;
            const auto resident = [&](std::size_t from, std::size_t end) {
                return ResidentPages(sound->samples + from * 4096, (end - from) * 4096);
            };
            ASSERT_EQ(resident(0, first) + resident(past, 300'000 / 1024 + 1), 0u) << tick;
            const std::size_t last = (voice->position - 1) / 1024;
            EXPECT_EQ(resident(last, last + 1), 1u);
            Play(735);
        }
    }
}

TEST_F(StreamEquality, ABadBlockEndsItsVoice) {
    for (const auto& [byte, value] : {std::pair{3, 1}, {2, 89}, {2, 0x80}, {7, -1}, {6, 89}}) {
        SCOPED_TRACE(testing::Message() << "byte " << byte << " is " << value);
        StartWith(4096, 1);
        AudioSystem::SetWorstCaseFrameRate(30);
        std::string bad = ImaOf("bad", 30'000, 512, {.isStereo = true});
        bad[bad.size() - (60 - 20) * 512 + static_cast<std::size_t>(byte)] =
            static_cast<char>(value);  // frame 10,100
        Sound_t* sound = LoadImage("bad", "isn", bad);
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        platform::Event_t isDone;
        isDone.Create();
        voice->completionEvent = &isDone;
        voice->QueueSound(sound);
        voice->isLooping = true;
        sound->PlayOneShot();
        voice->Play();
        frames_t heard;
        RunTicks(8, 735, heard);
        EXPECT_TRUE(voice->isPlaying);
        RunTicks(5, 735, heard);
        EXPECT_TRUE(!voice->isPlaying && voice->position == 0 && isDone.Wait(0) == 0);
        EXPECT_EQ(AudioSystem::allVoices.count, 1) << "the one-shot has gone, too";
        fuzz::RequireInvariants();
        voice->SetPos(30'000 + 21 * 505);  // behind the bad block, in the second sound
        voice->Play();
        RunTicks(2, 735, heard);
        EXPECT_TRUE(voice->isPlaying);
    }
}

}  // namespace
