// stream_late_test.cpp - a loader that comes too late, stops, or finds its files changed under it; and how
// much memory all this takes.
#include <ringmix/base_wrapper.h>

#include <atomic>
#include <chrono>
#include <semaphore>
#include <thread>

#include "compressed/ima_blocks.h"
#include "fuzz/invariants.h"
#include "platform/counter.h"
#include "restless_voices.h"
#include "stream_fixture.h"

namespace {

class StreamLate : public StreamFixture_t {
  protected:
    // What the file holds where pages have arrived, and elsewhere what zero bytes in memory stand for.
    static std::string Arrived(Sound_t* sound, std::string data) {
        const FilePages_t& pages = PagesOf(sound);
        const bool isPcm = !sound->IsASortOf("CompressedStreamSound");
        std::string absent(pages.pageBytes, '\0');
        const std::size_t sampleBytes = sound->is16Bit ? 2 : 1;
        for (std::size_t at = sampleBytes - 1; isPcm && at < absent.size(); at += sampleBytes)
            absent[at] = '\x80';
        for (std::size_t p = 0, at = 0; at < data.size(); ++p, at += pages.pageBytes) {
            if (pages.pageRefCounts[p] > 0 && pages.pageFlags[p] == 0) continue;
            const std::size_t bytes = std::min(absent.size(), data.size() - at);
            data.replace(at, bytes, absent, 0, bytes);
        }
        return data;
    }

    // Plays from memory what a late stream must give.
    frames_t HeardFromMemory(const sound_header_t& header, const std::string& samples, uint32_t ticks) {
        StartWith(4096, 1);
        frames_t heard;
        LoadImage(header.name, "sn", FormatSoundHeader(header) + samples)->CreateCompatibleVoice(0)->Play();
        RunTicks(ticks, 735, heard);
        return heard;
    }
};

// Zero bytes are the lowest sample; in ADPCM silence, or nibbles of 0 up to the next block. What is mixed is
// what had arrived before the tick, and later frames are neither repeated nor lost.
TEST_F(StreamLate, WhatIsHeard) {
    constexpr uint32_t frames = 60'000, blockBytes = 700, ticks = 100;
    for (uint32_t seed = 0; seed < 12; ++seed) {
        const bool isIma = seed % 2 == 1, isStereo = seed % 4 < 2, is16Bit = isIma || seed % 3 > 0;
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", ima " << isIma);
        const sound_header_t header{"a", frames, isStereo, is16Bit};
        const sound_format_t format{1, is16Bit, isStereo};
        const std::string image =
            isIma ? ImaOf("a", frames, blockBytes, format) : SoundImage("a", frames, format, Ramp);
        StartWith(4096, 1);
        Sound_t* sound = LoadImage("a", isIma ? "iss" : "ssn", image);
        auto* ima = dynamic_cast<IMA_ADPCM_StreamSound_t*>(sound);
        const std::string data =
            image.substr(isIma ? ima->dataOffset : static_cast<StreamSound_t*>(sound)->dataOffset);
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->Play();

        const std::vector<int16_t> clean = DecodeBlocks(data, blockBytes, isStereo);
        const std::string right =
            ima ? std::string(reinterpret_cast<const char*>(clean.data()), 2 * clean.size()) : data;
        std::mt19937 random(seed);
        std::string wanted(std::size_t{frames} * header.BytesPerFrame(), '\0');
        ImaChannelState_t states[2] = {};
        std::size_t lateTicks = 0;
        frames_t heard;
        for (uint32_t tick = 0, begin = 0; tick < ticks; ++tick) {
            if (tick > 5 && random() % 10 == 0) AudioSystem::LoadStreams();
            const std::string arrived = Arrived(sound, data);
            RunTicks(1, 735, heard);
            const uint32_t mixed =
                ima ? static_cast<CompressedStreamVoice_t*>(voice)->window.end : voice->position;
            const uint32_t end = voice->isPlaying ? mixed : frames;
            const std::size_t beginByte = begin * header.BytesPerFrame(),
                              endByte = end * header.BytesPerFrame();
            if (ima) {
                const ImaBlocks_t blocks{BytesOf(arrived), blockBytes, ima->samplesPerBlock, isStereo};
                ASSERT_TRUE(
                    blocks.Decode(reinterpret_cast<int16_t*>(&wanted[beginByte]), begin, end, states));
            } else {
                wanted.replace(beginByte, endByte - beginByte, arrived, beginByte, endByte - beginByte);
            }
            lateTicks +=
                wanted.compare(beginByte, endByte - beginByte, right, beginByte, endByte - beginByte) != 0;
            begin = end;
        }
        EXPECT_GT(lateTicks, 10u);
        EXPECT_LT(lateTicks, 75u);
        EXPECT_EQ(voice->position, 0u) << "it has come to its end";
        EXPECT_EQ(heard, HeardFromMemory(header, wanted, ticks));
    }
}

// In real time, with the loader inside a read for a whole second and more, and every call that a host may
// make meanwhile. One that waited for the loader would have to wait until its read gives up; one that waited
// for a pass to time out would not come far before that either.
TEST_F(StreamLate, MixNeverWaitsForAFile) {
    ASSERT_TRUE(platform::SelectOutput("null"));
    StartWith(4096, 8);
    std::vector<Sound_t*> sounds;
    for (const char* name : {"a", "b", "c", "d"})
        sounds.push_back(LoadRamp(name, 300'000, {.isStereo = true}));
    sounds.push_back(LoadImage("e", "iss", ImaOf("e", 300'000, 512, {})));
    StreamSound_t::GetDefaultSound();
    std::binary_semaphore inside{0}, released{0};
    std::atomic<bool> isWanted{false}, isStuck{false}, isOver{false};
    hooked_file_t slow{folder.Read("a.ssn"), [&](uint64_t) {
                           if (!isWanted.exchange(false)) return true;
                           isStuck = true;
                           inside.release();
                           (void)released.try_acquire_for(std::chrono::seconds(60));
                           isStuck = false;
                           return true;
                       }};
    slow.TakeOver(sounds[0]);
    std::thread loader([&] {
        while (!isOver) {
            (void)AudioSystem::streamEvent.Wait(20);
            AudioSystem::LoadStreams();
        }
    });
    std::vector<Voice_t*> voices;
    for (Sound_t* sound : sounds) voices.push_back(sound->CreateCompatibleVoice(0));
    std::mt19937 random(3);
    isWanted = true;
    voices[0]->SetPos(200'000);
    ASSERT_TRUE(inside.try_acquire_for(std::chrono::seconds(60)));
    const uint64_t end = platform::ReadCounter() + platform::CounterFrequency();
    for (uint32_t turn = 0; turn < 100 || platform::ReadCounter() < end; ++turn) {
        for (Voice_t* voice : voices) {
            if (random() % 8 == 0) voice->SetPos(static_cast<uint32_t>(random()) % 300'000);
            voice->Play();
        }
        const std::size_t any = random() % 4;
        if (voices[any]->soundQueue.count < 5) voices[any]->QueueSound(sounds[random() % 4]);
        if (random() % 4 == 0) sounds[any]->PlayOneShot();
        delete sounds[random() % 5]->CreateCompatibleVoice(0);
        AudioSystem::MixVoices();
    }
    EXPECT_TRUE(isStuck) << "the loader must have stood still all the while";
    isOver = true;
    released.release();
    loader.join();
    Voice_t::FreeAll();
    AudioSystem::LoadStreams();
    fuzz::RequireNoPages();
}

// Sparse files, played at both ends: what is in memory is the look-ahead, the last step and two pages. What
// is heard that far on is compared in wrap_test.cpp.
TEST_F(StreamLate, FilesOfManyGigabytes) {
    // Counted page by page: the quick figures of /proc/self/statm are off by up to a few hundred KiB.
    const auto anonymousKiB = [] {
        std::ifstream file("/proc/self/smaps_rollup");
        std::string word;
        uint64_t kiB = 0;
        while (file >> word && word != "Anonymous:") {}
        EXPECT_TRUE(file >> kiB);
        return kiB;
    };
    constexpr uint32_t blockBytes = 1024, blockFrames = 1017;
    const struct {
        const char* tag;
        uint32_t frames;                     // 4 bytes each, decoded
    } rows[] = {{"ssn", 100 * blockFrames},  // before anything is measured
                {"ssn", 0x20000000},
                {"ssn", 0xFFFFFFFE},
                {"iss", 2 * 1024 * 1024 * blockFrames},
                {"iss", 4'000'000 * blockFrames}};
    frames_t heard;
    heard.reserve(40'000);
    StartWith(4096, 32);
    for (const auto& [tag, frames] : rows) {
        SCOPED_TRACE(testing::Message() << tag << " of " << frames);
        const bool isIma = tag[0] == 'i', isMeasured = !RINGMIX_TEST_SANITIZED && frames != rows[0].frames;
        const uint64_t dataBytes = isIma ? uint64_t{frames} / blockFrames * blockBytes : uint64_t{frames} * 4;
        const sound_header_t header{"a", frames, true, true};
        const std::string head = isIma ? FormatImaHeader(blockBytes, header, static_cast<uint32_t>(dataBytes))
                                       : FormatSoundHeader(header);
        const std::string path = folder.Write(std::string("a.") + tag, head);
        std::filesystem::resize_file(path, head.size() + dataBytes);
        Sound_t* sound = LoadFile("a", tag);
        ASSERT_EQ(sound->frameCount, frames);
        const FilePages_t& pages = PagesOf(sound);
        const uint64_t kiBBefore = anonymousKiB();
        Voice_t* voice = sound->CreateCompatibleVoice(0);
        voice->Play();
        for (const uint32_t start : {0u, frames - 80 * blockFrames}) {
            voice->SetPos(start);
            for (uint32_t tick = 0, before = start; tick < 20; ++tick) {
                AudioSystem::LoadStreams();
                const uint64_t step = uint64_t{voice->position - before} * (isIma ? 1 : 4);
                before = voice->position;
                EXPECT_LE(ResidentBytes(pages),
                          AudioSystem::streamLookAheadBytes + step + 2 * 4096 + blockBytes);
                RunTicks(1, 735, heard);
            }
            EXPECT_GT(voice->position, start + 14'000);
            heard.clear();
        }
        EXPECT_TRUE(!isMeasured || anonymousKiB() < kiBBefore + 256);
        // Of the table of counts only what was counted in: passes look into that of flags, here all of it.
        EXPECT_LE(ResidentPages(reinterpret_cast<const uint8_t*>(pages.pageRefCounts), pages.pageCount * 4),
                  8u);
        delete voice;
        AudioSystem::LoadStreams();
        fuzz::RequireNoPages();
        AudioSystem::FreeSound("a", tag);
        std::filesystem::remove(path);
    }
}

// The others play on, to the bit, and the stream itself comes to its end.
TEST_F(StreamLate, FilesThatChangeWhileTheyPlay) {
    using path_t = const std::string&;
    const struct {
        const char* name;
        bool isWhole;  // for the stream, whose file stays open
        std::function<void(path_t path, hooked_file_t& hooked, Sound_t* sound)> change;
    } rows[] = {
        {"nothing", true, [](path_t, auto&, auto*) {}},
        {"cut", false, [](path_t path, auto&, auto*) { std::filesystem::resize_file(path, 40'000); }},
        {"cut inside its header", false,
         [](path_t path, auto&, auto*) { std::filesystem::resize_file(path, 3); }},
        {"overwritten by a shorter one", false,
         [](path_t path, auto&, auto*) { std::ofstream(path) << std::string(20'000, '\xFF'); }},
        {"replaced", true,
         [](path_t path, auto&, auto*) {
             std::ofstream(path + ".new") << "short";
             std::filesystem::rename(path + ".new", path);
         }},
        {"deleted", true, [](path_t path, auto&, auto*) { std::filesystem::remove(path); }},
        {"unreadable", false,
         [](path_t, hooked_file_t& hooked, Sound_t* sound) {
             hooked.onRead = [](uint64_t) { return false; };
             hooked.TakeOver(sound);
         }},
        {"closed", false,
         [](path_t, auto&, Sound_t* sound) {
             std::fclose(std::exchange(dynamic_cast<BaseStream_t&>(*sound).file, nullptr));
         }},
    };
    for (const auto& row : rows) {
        for (const char* tag : {"ssn", "iss"}) {
            SCOPED_TRACE(testing::Message() << row.name << ", " << tag);
            StartWith(4096, 4);
            hooked_file_t hooked;
            Sound_t* sound = LoadImage(
                "a", tag, tag[0] == 's' ? SoundImage("a", 60'000, {}, Ramp) : ImaOf("a", 60'000, 512, {}));
            Voice_t* steady = LoadRamp("steady", 200'000, {}, "sn")->CreateCompatibleVoice(0);
            Voice_t* voice = sound->CreateCompatibleVoice(0);
            steady->SetVolume(1.0f, 0.0f);
            voice->SetVolume(0.0f, 1.0f);
            steady->Play();
            voice->Play();
            frames_t heard;
            RunTicksLoaded(5, heard);
            row.change(folder.At(std::string("a.") + tag), hooked, sound);
            RunTicksLoaded(25, heard);
            voice->SetPos(40'000);
            sound->PlayOneShot();
            RunTicksLoaded(120, heard);
            EXPECT_EQ(AudioSystem::allVoices.count, 2);
            EXPECT_TRUE(steady->isPlaying && !voice->isPlaying);
            delete voice;
            AudioSystem::LoadStreams();
            fuzz::RequireNoPages();
            // The look-ahead was there before the change; what cannot be read is silence, no full-scale
            // noise over the others.
            const uint32_t readBefore = 7 * 4096 / 2, missing = row.isWhole ? UINT32_MAX : 40'000 / 2;
            for (uint32_t f = 0; f < 30 * 735; ++f) {
                ASSERT_EQ(heard[f].left, Ramp(f)) << f;
                if (tag[0] != 's' || (!row.isWhole && f >= readBefore && f < missing)) continue;
                ASSERT_EQ(heard[f].right, f < missing ? Ramp(f) : 0) << f;
            }
        }
    }
}

// ---- Loader, host and mixing thread against each other, with sounds that come and go: nothing races, and no
// page is left. On the null device all of it in real time, on the manual device the loader alone. Seconds
// long; five minutes with RINGMIX_LONG, where a sanitizer looks on.

constexpr uint32_t seed = 11;

std::chrono::seconds Length() {
    if (!IsLongRun()) return std::chrono::seconds(2);
    return RINGMIX_TEST_SANITIZED ? std::chrono::minutes(5) : std::chrono::minutes(1);
}

class StreamThreads : public StreamFixture_t, public testing::WithParamInterface<const char*> {
  protected:
    // Sounds of every kind, in archives that only this uses; sometimes they go while they play.
    void LoadOrFreeOthers() {
        const char* tags[] = {"sn", "ssn", "isn", "iss"};
        const char* tag = tags[restless.Below(4)];
        Sound_t* sound = AudioSystem::GetSound("other", tag);
        if (sound->frameCount == 0) {
            AudioSystem::LoadSound(folder.At(std::string("other.") + tag).c_str(), tag);
            AudioSystem::GetSound("other", tag)->PlayOneShot();
        } else {
            AudioSystem::FreeVoicesUsingSound("other", tag);
            AudioSystem::FreeSound("other", tag);
        }
    }

    RestlessVoices_t restless{seed};
    std::vector<Sound_t*> sounds;
};

INSTANTIATE_TEST_SUITE_P(, StreamThreads, testing::Values("null", "manual"),
                         [](const auto& which) { return std::string(which.param); });

TEST_P(StreamThreads, LoaderHostAndMixingThread) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    ASSERT_TRUE(platform::SelectOutput(GetParam()));
    const bool isManual = GetParam() == std::string("manual");
    StartWith(4096, 6);
    for (uint32_t i = 0; i < 32; ++i) {
        const std::string name = "s" + std::to_string(i);
        const sound_format_t format{1u << i % 3, i % 8 < 4, i % 2 == 0};
        sounds.push_back(i < 20 ? LoadRamp(name, 1000 + 5000 * i, format)
                                : LoadImage(name, "iss", ImaOf(name, 5000 * i, 256 + i, format)));
    }
    for (const char* tag : {"sn", "ssn", "isn", "iss"})
        folder.Write(std::string("other.") + tag,
                     tag[0] == 'i' ? ImaOf("other", 50'000, 300, {}) : SoundImage("other", 50'000, {}, Ramp));
    std::atomic<bool> isOver{false};
    std::atomic<uint32_t> passes{0};
    std::thread loader([&] {
        while (!isOver) {
            if (BaseWrapper_t::WaitForStreamLoad(5) != 0) continue;
            BaseWrapper_t::LoadStreams();
            ++passes;
        }
    });
    // A busy machine gets more time until enough has happened.
    uint64_t movedUnits = 0;
    const auto begin = std::chrono::steady_clock::now();
    const auto isEnough = [&] {
        const auto passed = std::chrono::steady_clock::now() - begin;
        return passed > Length() &&
               ((passes > 50 && movedUnits > 88'200) || passed > Length() + std::chrono::minutes(2));
    };
    while (!isEnough()) {
        for (uint32_t changes = restless.Below(6); changes > 0; --changes) restless.Disturb(sounds);
        if (restless.Below(8) == 0) LoadOrFreeOthers();
        const uint32_t before = AudioSystem::ringBase;
        AudioSystem::MixVoices();
        if (isManual) Play(restless.Below(2'000));
        movedUnits += (AudioSystem::ringBase + AudioSystem::ringLength - before) % AudioSystem::ringLength;
    }
    isOver = true;
    loader.join();
    EXPECT_GT(passes, 50u);
    EXPECT_GT(movedUnits, 88'200u) << "the output must move";
    Voice_t::FreeAll();
    AudioSystem::LoadStreams();
    fuzz::RequireNoPages();
}

}  // namespace
