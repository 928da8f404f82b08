// stream_fixture.h - the engine with streams from files of the test's own, and which of their pages are in
// memory by the platform's word.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>

#include "compressed/compressed_voice.h"
#include "engine_fixture.h"
#include "ima_sounds.h"
#include "platform/pages.h"
#include "scratch_folder.h"
#include "streaming/compressed_stream_voice.h"
#include "streaming/ima_adpcm_stream_sound.h"
#include "streaming/raw_stream_voice.h"
#include "streaming/stream_voice.h"

// A file in memory that its test looks into: `onRead` runs in every read, with the offset, and may fail it.
struct hooked_file_t {
    std::string bytes;
    std::function<bool(uint64_t offset)> onRead;
    uint64_t at = 0;

    static ssize_t Read(void* cookie, char* to, std::size_t count) {
        auto& self = *static_cast<hooked_file_t*>(cookie);
        if (self.onRead && !self.onRead(self.at)) return -1;
        const std::size_t got = self.at < self.bytes.size() ? self.bytes.copy(to, count, self.at) : 0;
        self.at += got;
        return static_cast<ssize_t>(got);
    }
    static int Seek(void* cookie, off64_t* offset, int whence) {
        auto& self = *static_cast<hooked_file_t*>(cookie);
        const uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? self.at : self.bytes.size();
        self.at = base + static_cast<uint64_t>(*offset);
        *offset = static_cast<off64_t>(self.at);
        return 0;
    }
    FILE* Open() { return fopencookie(this, "rb", {Read, nullptr, Seek, nullptr}); }
    // In place of the sound's own file.
    void TakeOver(Sound_t* sound) {
        FILE*& file = dynamic_cast<BaseStream_t&>(*sound).file;
        std::fclose(file);
        file = Open();
    }
};

inline bool IsLongRun() { return std::getenv("RINGMIX_LONG") != nullptr; }

inline FilePages_t& PagesOf(Sound_t* sound) {
    if (auto* stream = dynamic_cast<StreamSound_t*>(sound)) return stream->pages;
    return dynamic_cast<CompressedStreamSound_t&>(*sound).filePages;
}

// How many system pages of a range are in memory. Asks piece by piece: it takes next to none itself.
inline uint64_t ResidentPages(const uint8_t* base, uint64_t bytes) {
    unsigned char states[4096];
    const uint64_t systemPage = platform::SystemPageBytes(), piece = sizeof states * systemPage;
    uint64_t resident = 0;
    for (uint64_t at = 0; base && at < bytes; at += piece) {
        const uint64_t length = std::min(piece, bytes - at);
        EXPECT_EQ(mincore(const_cast<uint8_t*>(base) + at, length, states), 0);
        for (uint64_t p = 0; p < length / systemPage; ++p) resident += states[p] & 1;
    }
    return resident;
}

inline uint64_t ResidentBytes(const FilePages_t& pages) {
    return ResidentPages(pages.base, pages.pageCount * pages.pageBytes) * platform::SystemPageBytes();
}

class StreamFixture_t : public EngineFixture_t {
  protected:
    static void ClearCosts(float cost = 0.0f) {
        for (MixCostTable_t* table :
             {&SimpleVoice_t::mixCosts, &CompressedVoice_t::mixCosts, &StreamVoice_t::mixCosts,
              &CompressedStreamVoice_t::mixCosts, &RawStreamVoice_t::mixCosts})
            std::fill_n(table->costs, 8, cost);
    }

    // Ticks of 60 Hz: a voice that is not a one-shot is mixed 1324 frames ahead.
    static void StartWith(uint32_t pageBytes, uint32_t pagesAhead, uint32_t decodedBytes = 4096) {
        AudioSystem::DeInitialize();
        platform::ResetManualOutput();
        ClearCosts();
        ASSERT_TRUE(AudioSystem::Initialize(nullptr, false, pageBytes, pagesAhead, decodedBytes));
        AudioSystem::SetWorstCaseFrameRate(60);
    }

    // The sound of a file that is called as its sound is, in an archive called as its class.
    Sound_t* LoadFile(const std::string& name, const std::string& tag) const {
        AudioSystem::LoadSound(folder.At(name + "." + tag).c_str(), tag.c_str());
        return AudioSystem::GetSound(name.c_str(), tag.c_str());
    }

    Sound_t* LoadImage(const std::string& name, const std::string& tag, const std::string& image) const {
        folder.Write(name + "." + tag, image);
        Sound_t* sound = LoadFile(name, tag);
        EXPECT_STREQ(sound->name.text, name.c_str());
        return sound;
    }

    Sound_t* LoadRamp(const std::string& name, uint32_t frames, const sound_format_t& format = {},
                      const std::string& tag = "ssn") const {
        return LoadImage(name, tag, SoundImage(name, frames, format, Ramp));
    }

    static void RunTicksLoaded(uint32_t ticks, frames_t& heard) {
        for (uint32_t tick = 0; tick < ticks; ++tick) {
            AudioSystem::LoadStreams();
            RunTicks(1, 735, heard);
        }
    }

    ScratchFolder_t folder;
};

// The image of an IMA ADPCM sound of noise.
inline std::string ImaOf(const std::string& name, uint32_t frames, uint32_t blockBytes,
                         const sound_format_t& format, uint32_t seed = 1) {
    return NoiseImage(
        {name, frames, format.isStereo, true, format.rateDivisor, format.lockFlags, format.baseVolume},
        blockBytes, seed);
}
