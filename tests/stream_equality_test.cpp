// stream_equality_test.cpp - with the loader ahead, a stream mixes the very entries that the same sound mixes
// from memory, whatever is done to the voices, and leaves no page behind.
#include <bit>
#include <set>

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

struct script_t {
    uint32_t seed;
    bool isIma;
    int ratioLimit;  // of frequencies, in 1/1000
    bool hasModeTwo;
    uint32_t pageBytes, lookAheadFactor;  // of what one tick may read at most

    // Frames of one tick: a start into the past, the host's lateness, the horizon; to the ring's clear
    // position in mode 2. 4 bytes each, or 1.25 of ADPCM; tiny sounds of it have more.
    uint32_t PagesAhead() const {
        const uint64_t outputFrames = hasModeTwo ? 26'460 : 4'096;
        const uint64_t bytes =
            outputFrames * (isIma ? 5 : 16) / 4 * static_cast<uint64_t>(ratioLimit) / 1000 +
            (isIma ? 512 : 0);
        return static_cast<uint32_t>((bytes + pageBytes - 1) / pageBytes) * lookAheadFactor;
    }
};

script_t ScriptOf(uint32_t seed) {
    const uint32_t pages[] = {4096, 4096, 8192, 20'480, 65'536, 1 << 20}, factors[] = {1, 1, 1, 2, 40};
    std::mt19937 random(seed + 1000);
    const int limit = random() % 2 ? 1000 : random() % 2 ? 1999 : 7999;
    return {seed, seed % 2 == 1, limit, random() % 4 == 0, pages[random() % 6], factors[random() % 5]};
}

class StreamEquality : public StreamFixture_t {
  protected:
    uint32_t Pick(std::size_t count) { return static_cast<uint32_t>(random() % count); }
    Sound_t* AnySound() { return sounds[Pick(sounds.size())]; }

    static uint64_t RingHash() {
        uint64_t hash = 0;
        for (uint32_t entry = 0; entry < AudioSystem::ringLength / 2; ++entry)
            hash =
                (hash ^ std::bit_cast<uint64_t>(AudioSystem::ringEntries[entry])) * 0x9E3779B97F4A7C15u >> 1;
        return hash;
    }

    // Mostly anywhere; also the joints: the starts of sounds, and of ADPCM blocks, and the very ends.
    uint32_t Target(const Voice_t& voice) {
        if (Pick(3) != 0) return Pick(voice.totalLength + 2);
        uint32_t base = 0;
        const ListNode_t* node = voice.soundQueue.head;
        for (uint32_t at = Pick(static_cast<uint32_t>(voice.soundQueue.count)); at > 0;
             --at, node = node->next)
            base += static_cast<const Sound_t*>(node->data)->frameCount;
        return base + Pick(3) * 1017 * Pick(10) - Pick(2);
    }

    void Change(Voice_t*& voice, const script_t& script) {
        if (!voice) voice = AnySound()->CreateCompatibleVoice(script.hasModeTwo && Pick(3) == 0 ? 2 : 0);
        const float left = static_cast<float>(Pick(11)) / 10, right = static_cast<float>(Pick(11)) / 10;
        const float ratio = static_cast<float>(200 + Pick(static_cast<uint32_t>(script.ratioLimit) - 199));
        switch (Pick(17)) {
            case 0:
                return voice->Stop();
            case 1:
                return voice->ReleaseSound();
            case 2:
                return voice->SetFrequency(1.0f);
            case 3:
                return voice->SetVolume(1.0f, 1.0f);
            case 4:
                return voice->SetVolume(left, right);
            case 5:
                return voice->SetFrequency(ratio / 1000);
            case 6:
            case 7:
                voice->isLooping = !voice->isLooping;
                return;
            case 8:
                voice->stopPosition = Pick(2) ? Pick(voice->totalLength + 1) : noStopPosition;
                return;
            case 9:
                delete std::exchange(voice, nullptr);
                return;
            case 10:
                return script.hasModeTwo ? AnySound()->PlayOneShot() : voice->Play();
            case 11:
            case 12:
                return voice->SetPos(Target(*voice));
            case 13:
            case 14:
                return voice->QueueSound(AnySound());
            default:
                return voice->Play();
        }
    }

    // All that is requested has come, and nothing is in memory without a holder.
    static void CheckAfterPass(Sound_t* sound) {
        const FilePages_t& pages = PagesOf(sound);
        uint64_t held = 0;
        for (uint64_t p = 0; p < pages.pageCount; ++p) {
            ASSERT_EQ(pages.pageFlags[p], 0u) << sound->name.text << " page " << p;
            held += pages.pageRefCounts[p] > 0;
        }
        ASSERT_LE(ResidentBytes(pages), held * pages.pageBytes) << sound->name.text;
    }

    // What the whole ring held after each tick.
    std::vector<uint64_t> Run(const script_t& script, bool isStream) {
        StartWith(script.pageBytes, script.PagesAhead(), script.seed % 3 ? 4096 : 16384);
        random.seed(script.seed);
        ClearCosts(script.seed % 5 < 2 ? 0.0f : 1e-9f);  // known costs: starts reach into the past
        sounds.clear();
        for (const source_t& source : script.isIma ? std::span<const source_t>(imaSounds) : pcmSounds)
            sounds.push_back(LoadFile(std::to_string(source.frames), TagOf(script.isIma, isStream)));
        std::vector<Voice_t*> voices(6);
        for (Voice_t*& voice : voices) (voice = AnySound()->CreateCompatibleVoice(0))->Play();
        std::vector<uint64_t> hashes;
        for (uint32_t tick = 0; tick < 32; ++tick) {
            for (uint32_t changes = 1 + Pick(5); changes > 0; --changes)
                Change(voices[Pick(voices.size())], script);
            AudioSystem::LoadStreams();
            if (isStream && tick % 8 == 0) std::for_each(sounds.begin(), sounds.end(), CheckAfterPass);
            AudioSystem::MixVoices();
            hashes.push_back(RingHash());
            Play(Pick(20) ? 735 : Pick(4000));
        }
        std::shuffle(voices.begin(), voices.end(), random);
        for (Voice_t* voice : voices) delete voice;
        Voice_t::FreeAll();  // one-shots
        AudioSystem::LoadStreams();
        if (isStream) std::for_each(sounds.begin(), sounds.end(), ExpectNoPage);
        return hashes;
    }

    static std::string TagOf(bool isIma, bool isStream) {
        return isIma ? isStream ? "iss" : "isn" : isStream ? "ssn" : "sn";
    }

    void WriteFiles() const {
        std::mt19937 noise(1);
        const auto sample = [&](uint32_t, int) { return static_cast<int>(noise() & 0xFFFF) - 0x8000; };
        for (const auto& sources :
             {std::span<const source_t>(pcmSounds), std::span<const source_t>(imaSounds)}) {
            for (const source_t& source : sources) {
                const std::string name = std::to_string(source.frames);
                const bool isIma = source.blockBytes != 0;
                const std::string image =
                    isIma ? ImaOf(name, source.frames, source.blockBytes, source.format, source.frames)
                          : SoundImage(name, source.frames, source.format, sample);
                for (const bool isStream : {false, true})
                    folder.Write(name + "." + TagOf(isIma, isStream), image);
            }
        }
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
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", ima " << script.isIma << ", ratio "
                                        << script.ratioLimit << ", mode 2 " << script.hasModeTwo
                                        << ", pages of " << script.pageBytes << " x " << script.PagesAhead());
        const std::vector<uint64_t> hashes = Run(script, true);
        ASSERT_EQ(hashes, Run(script, false));
        changed += std::set(hashes.begin(), hashes.end()).size();
        if (HasFailure()) break;
    }
    EXPECT_GT(changed, 25 * scripts) << "something must be heard";
}

// The look-ahead needs to be no longer than what one tick mixes, to a few bytes: 592 frames at this rate.
TEST_F(StreamEquality, ALookAheadOfOneTick) {
    const struct {
        const char* tag;
        sound_format_t format;
        float ratio;
    } rows[] = {
        {"ssn", {.isStereo = true}, 1.72f}, {"ssn", {}, 3.45f},
        {"ssn", {.is16Bit = false}, 6.9f},  {"ssn", {.rateDivisor = 2, .isStereo = true}, 3.45f},
        {"iss", {.isStereo = true}, 6.85f}, {"iss", {.isStereo = true}, 6.3f},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.tag << " at " << row.ratio);
        const bool isIma = row.tag[0] == 'i';
        frames_t heard[2];
        for (const bool isStream : {true, false}) {
            StartWith(4096, 1);
            AudioSystem::SetWorstCaseFrameRate(10'000);
            AudioSystem::voicesStartAtHorizon = true;  // no first stretch of twice the length
            const std::string image =
                isIma ? ImaOf("a", 30 * 4089, 4096, row.format) : SoundImage("a", 120'000, row.format, Ramp);
            Sound_t* sound = LoadImage("a", TagOf(isIma, isStream), image);
            Voice_t* voice = sound->CreateCompatibleVoice(0);
            voice->SetFrequency(row.ratio);
            voice->isLooping = true;
            voice->Play();
            for (uint32_t tick = 0; tick < 120; ++tick) {
                const uint32_t before = voice->position;
                AudioSystem::LoadStreams();
                RunTicks(1, 588, heard[isStream]);
                const uint32_t bytes = (voice->position - before) * (isIma ? 1 : sound->bytesPerFrame);
                ASSERT_TRUE(voice->position < before || (bytes < 4096 && bytes > 3600)) << bytes;
            }
        }
        EXPECT_EQ(heard[true], heard[false]);
    }
}

}  // namespace
