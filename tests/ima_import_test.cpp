// ima_import_test.cpp - wave files become IMA ADPCM sound files, or are refused and leave nothing; what other
// programs have encoded plays as they decode it, and what is encoded here is as good as theirs.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <cstdlib>

#include "engine_fixture.h"
#include "ima_sounds.h"
#include "scratch_folder.h"
#include "wave_bytes.h"

namespace {

using namespace std::string_literals;
using samples_t = std::vector<int16_t>;

std::string Noise(uint32_t bytes) { return RandomBlocks(1, bytes + 8, true, bytes).substr(8); }

// Stereo blocks of a wave file, as the engine has them: a byte a frame.
std::string Rearranged(const std::string& wave, std::size_t blockBytes) {
    std::string blocks = wave;
    for (std::size_t at = 0; at < wave.size(); ++at) {
        const std::size_t frame = at % blockBytes - 8, group = at - frame % 8;
        const auto nibble = [&](std::size_t from) {
            return static_cast<uint8_t>(wave[from + frame % 8 / 2]) >> frame % 2 * 4 & 15;
        };
        if (at % blockBytes >= 8) blocks[at] = static_cast<char>(nibble(group) << 4 | nibble(group + 4));
    }
    return blocks;
}

SF_INFO Info(int rate, int channels, int coding) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | coding;
    return info;
}

void WriteWave(const std::string& path, const samples_t& samples, SF_INFO info) {
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << path;
    sf_write_short(file, samples.data(), std::ssize(samples));
    sf_close(file);
}

// Empty for what libsndfile cannot read.
samples_t ReadWave(const std::string& path, int* channels = nullptr) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return {};
    samples_t samples(static_cast<std::size_t>(info.frames * info.channels));
    samples.resize(static_cast<std::size_t>(sf_read_short(file, samples.data(), std::ssize(samples))));
    sf_close(file);
    if (channels) *channels = info.channels;
    return samples;
}

bool HasSox() { return std::system("sox --version >/dev/null 2>&1") == 0; }

bool EncodeWithSox(const std::string& from, const std::string& to) {
    return std::system(("sox -D '" + from + "' -e ima-adpcm '" + to + "' 2>/dev/null").c_str()) == 0;
}

class ImaImport : public EngineFixture_t {
  protected:
    bool Import(const std::string& wave, const char* name = "n", float volume = 1.0f) const {
        return ImportFile(folder.Write("in.wav", wave), name, volume);
    }
    bool ImportFile(const std::string& path, const char* name = "n", float volume = 1.0f) const {
        return IMA_ADPCM_Sound_t::ImportWaveFile(path.c_str(), folder.At("out.isn").c_str(), name, 5, volume);
    }
    samples_t DecodeImported() const {
        IMA_ADPCM_Sound_t sound;
        sound.LoadFromFile(folder.At("out.isn").c_str());
        EXPECT_STREQ(sound.name.text, "n");
        return Decode(sound);
    }

    ScratchFolder_t folder;
};

// What is encoded is compared with another program's below.
TEST_F(ImaImport, WhatIsWritten) {
    const std::string odd = Chunk("LIST", "abc"), fact = Chunk("fact", Little(5, 4)), extra = "\2\0\xF9\1"s;
    const std::string blocks = Noise(5 * 64), tail = Noise(20);
    const std::string ima = Format({1, 4, 22050, 17, 64, extra}),
                      stereoIma = Format({2, 4, 8000, 17, 64, extra});
    const struct {
        const char* name;
        std::string format, data, wantHeader, wantBlocks;  // no blocks: encoded
    } rows[] = {
        {"one block", Format({}), Noise(2 * 1017), "512 n\0 1017 0 1 1 5 1.000 512 "s, ""},
        {"one frame more", Format({}), Noise(2 * 1018), "512 n\0 1018 0 1 1 5 1.000 1024 "s, ""},
        {"stereo", Format({2}), Noise(4 * 2041), "2048 n\0 2041 1 1 1 5 1.000 2048 "s, ""},
        {"stereo, one more", Format({2, 16, 22050}), Noise(4 * 2042), "2048 n\0 2042 1 1 2 5 1.000 4096 "s,
         ""},
        {"8 bits", Format({1, 8, 11025}), Noise(3000), "512 n\0 3000 0 1 4 5 1.000 1536 "s, ""},
        {"a frame and a half", Format({2}), Noise(6), "2048 n\0 1 1 1 1 5 1.000 2048 "s, ""},
        {"nothing", Format({}), "", "512 n\0 0 0 1 1 5 1.000 0 "s, ""},
        {"IMA", ima, blocks, "64 n\0 605 0 1 2 5 1.000 320 "s, blocks},
        {"IMA, part of a block", ima, blocks + tail, "64 n\0 605 0 1 2 5 1.000 340 "s, blocks + tail},
        {"stereo IMA", stereoIma, blocks, "64 n\0 285 1 1 5 5 1.000 320 "s, Rearranged(blocks, 64)},
        {"no whole block of IMA", ima, tail, "64 n\0 0 0 1 2 5 1.000 20 "s, tail},
        {"a block is a frame", Format({2, 4, 44100, 17, 8, extra}), tail, "8 n\0 2 1 1 1 5 1.000 20 "s, tail},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(Import(Wave(odd + row.format + fact + odd + Chunk("data", row.data) + odd)));
        const std::string isn = folder.Read("out.isn"), head = "IMA_ADPCM_Sound " + row.wantHeader;
        EXPECT_EQ(isn.substr(0, head.size()), head);
        EXPECT_TRUE(row.wantBlocks.empty() || isn.substr(head.size()) == row.wantBlocks);
        EXPECT_EQ(folder.CountFiles(), 2u);
        DecodeImported();
    }
    ASSERT_TRUE(Import(Wave(Format({2, 8}) + Chunk("data", std::string(100, '\x80')))));
    EXPECT_EQ(folder.Read("out.isn").substr(46), std::string(2048, '\0')) << "silence, also behind its end";
    ASSERT_TRUE(Import(Wave(Format({1, 8}) + Chunk("data", "\0\0"s))));
    EXPECT_EQ(DecodeImported()[0], -32768);
}

TEST_F(ImaImport, RefusedFilesLeaveTheOldOne) {
    const std::string data = Chunk("data", Noise(64)), good = Format({1, 4, 22050, 17, 64}) + data;
    folder.Write("out.isn", "old");
    const format_t formats[] = {{1, 4, 22050, 17, 0},  {1, 4, 22050, 17, 3},  {2, 4, 22050, 17, 4},
                                {2, 4, 22050, 17, 7},  {0, 4, 22050, 17, 64}, {3, 4, 22050, 17, 64},
                                {1, 4, 48000, 17, 64}, {1, 4, 0, 17, 64},     {1, 4, 22050, 2, 64},
                                {1, 24, 44100, 1, 3},  {1, 16, 48000, 1, 2},  {2, 16, 44100, 1, 0}};
    for (const format_t& format : formats)
        EXPECT_FALSE(Import(Wave(Format(format) + data))) << &format - formats;
    for (const std::string& wave : {""s, Wave(data), Wave(Format({})), "RIFX" + Wave(good).substr(4)})
        EXPECT_FALSE(Import(wave)) << wave;
    for (const char* name : {"a b", "", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(Import(Wave(good), name));
    EXPECT_FALSE(Import(Wave(good), "n", 1e9f));
    EXPECT_FALSE(ImportFile(folder.At("none")));
    EXPECT_EQ(folder.Read("out.isn"), "old");
    EXPECT_EQ(folder.CountFiles(), 2u);
    EXPECT_TRUE(Import(Wave(good)));
}

// Blocks of libsndfile and of sox play as libsndfile decodes them; and full blocks encoded here are
// libsndfile's, byte for byte, where the sizes are the same.
TEST_F(ImaImport, OtherPrograms) {
    if (!HasSox()) std::puts("no sox here: libsndfile's files alone");
    const struct {
        int rate, channels;
        bool isSox, isSameSize;
    } rows[] = {{44100, 1, false, false}, {44100, 2, false, true}, {22050, 1, false, true},
                {11025, 2, false, false}, {44100, 1, true, false}, {44100, 2, true, false},
                {22050, 1, true, false},  {11025, 2, true, false}};
    for (const auto& row : rows) {
        if (row.isSox && !HasSox()) continue;
        SCOPED_TRACE(testing::Message() << row.rate << " Hz, " << row.channels << ", sox " << row.isSox);
        const auto channels = static_cast<uint32_t>(row.channels);
        samples_t source(90'000 * channels);
        std::mt19937 random(1);
        for (std::size_t i = 0; i < source.size(); ++i) {
            const double noise = static_cast<double>(random() % 65536) - 32768,
                         turns = static_cast<double>(i % 300) / 150;
            source[i] = static_cast<int16_t>(i / 20'000 % 2 ? noise * turns / 2
                                                            : 32767 * std::sin(3.1415926 * turns));
        }
        const std::string pcm = folder.At("pcm.wav"), wave = folder.At("ima.wav"), isn = folder.At("out.isn");
        WriteWave(pcm, source, Info(row.rate, row.channels, SF_FORMAT_PCM_16));
        WriteWave(wave, source, Info(row.rate, row.channels, SF_FORMAT_IMA_ADPCM));
        ASSERT_TRUE(!row.isSox || EncodeWithSox(pcm, wave));
        const samples_t decoded = ReadWave(wave);
        ASSERT_GE(decoded.size(), source.size());
        ASSERT_TRUE(ImportFile(pcm));
        const std::string own = folder.Read("out.isn");
        ASSERT_TRUE(ImportFile(wave));
        const std::size_t whole = own.size() - 30 - 2048;  // behind the frame count, up to the last block
        EXPECT_TRUE(!row.isSameSize || own.substr(30, whole) == folder.Read("out.isn").substr(30, whole));
        ASSERT_TRUE(Start());
        AudioSystem::LoadSound(isn.c_str(), nullptr);
        auto* sound = static_cast<IMA_ADPCM_Sound_t*>(AudioSystem::GetSound("n", nullptr));
        for (const uint32_t block : {0u, 9u}) {
            const uint32_t first = block * sound->samplesPerBlock, divisor = sound->rateDivisor;
            Voice_t* voice = sound->CreateCompatibleVoice(0);
            voice->SetPos(first);
            voice->Play();
            frames_t heard, wanted;
            RunTicks(60, 1000, heard);
            for (uint32_t i = 0; wanted.size() < 50'000; ++i) {
                const std::size_t at = std::size_t{first + i / divisor} * channels;
                wanted.push_back({decoded[at], decoded[at + channels - 1]});
            }
            EXPECT_NE(std::search(heard.begin(), heard.end(), wanted.begin(), wanted.end()), heard.end())
                << block;
            delete voice;
            RunTicks(20, 1000, heard);  // what had been mixed ahead
        }
        AudioSystem::DeInitialize();
        platform::ResetManualOutput();
    }
}

}  // namespace
