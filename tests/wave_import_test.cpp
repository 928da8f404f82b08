// wave_import_test.cpp - wave files become sound files, plain or IMA ADPCM, or are refused and leave nothing.
#include <gtest/gtest.h>

#include <cmath>

#include "ima_sounds.h"
#include "scratch_folder.h"
#include "sounds/simple_sound.h"
#include "sounds/sound_file.h"
#include "wave_bytes.h"

namespace {

using namespace std::string_literals;

// The rest of an extensible format chunk that stands in for this tag.
std::string Extension(uint32_t tag, uint32_t bits) {
    return Little(22, 2) + Little(bits, 2) + Little(0, 4) + Little(tag, 2) +
           "\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71"s;
}

std::string Bytes(uint32_t count) {
    std::string bytes;
    for (uint32_t i = 0; i < count; ++i) bytes += static_cast<char>(i * 7);
    return bytes;
}

std::string Flipped(std::string bytes) {
    for (char& byte : bytes) byte = static_cast<char>(byte ^ 0x80);
    return bytes;
}

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

class WaveImport : public testing::Test {
  protected:
    bool Import(const std::string& wave, bool isIma = false, const char* name = "n",
                float volume = 1.0f) const {
        const std::string in = folder.Write("in.wav", wave), out = folder.At(isIma ? "out.isn" : "out.sn");
        const auto import = isIma ? IMA_ADPCM_Sound_t::ImportWaveFile : SimpleSound_t::ImportWaveFile;
        return import(in.c_str(), out.c_str(), name, 5, volume);
    }

    ScratchFolder_t folder;
};

TEST_F(WaveImport, FilesThatAreImported) {
    const std::string odd = Chunk("LIST", "abc"), bare = Chunk("LIST", "abc", false), data = Bytes(2500);
    const struct {
        const char* name;
        std::string chunks, wantNumbers, wantSamples;
    } rows[] = {
        {"stereo, 22,050 Hz", Format({2, 16, 22050}) + Chunk("data", Bytes(4000)), "1000 1 1 2", Bytes(4000)},
        {"8 bits are unsigned", Format({1, 8, 11025}) + Chunk("data", data), "2500 0 0 4", Flipped(data)},
        {"8,000 Hz", Format({1, 16, 8000}) + Chunk("data", "abcd"), "2 0 1 5", "abcd"},
        {"1 Hz", Format({1, 16, 1}) + Chunk("data", "abcd"), "2 0 1 44100", "abcd"},
        {"nothing", Format({}) + Chunk("data", ""), "0 0 1 1", ""},
        {"half a frame too much", Format({2, 16}) + Chunk("data", "abcdef"), "1 1 1 1", "abcd"},
        {"18 bytes of format", Format({1, 8, 44100, 1, -1, "\0\0"s}) + Chunk("data", "ab"), "2 0 0 1",
         Flipped("ab")},
        {"19, padded", Format({1, 16, 44100, 1, -1, "\1\0x"s}) + Chunk("data", "ab"), "1 0 1 1", "ab"},
        {"19, not padded", Format({1, 16, 44100, 1, -1, "\1\0x"s}, false) + Chunk("data", "ab"), "1 0 1 1",
         "ab"},
        {"odd chunks before and between", odd + Format({}) + odd + odd + Chunk("data", "ab"), "1 0 1 1",
         "ab"},
        {"the same, not padded", bare + Format({}) + bare + bare + Chunk("data", "ab"), "1 0 1 1", "ab"},
        {"an empty chunk", Chunk("JUNK", "") + Format({}) + Chunk("data", "ab"), "1 0 1 1", "ab"},
        {"more behind", Format({}) + Chunk("data", "ab") + odd, "1 0 1 1", "ab"},
        {"size never filled in",
         Format({}) + "data\xFF\xFF\xFF\xFF"
                      "abcde",
         "2 0 1 1", "abcd"},
        {"extensible", Format({2, 8, 44100, 0xFFFE, -1, Extension(1, 8)}) + Chunk("data", "ab"), "1 1 0 1",
         Flipped("ab")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        folder.Write("out.sn.part", std::string(5000, 'x'));  // left over from a crash
        EXPECT_TRUE(Import(Wave(row.chunks)));
        EXPECT_EQ(folder.Read("out.sn"), "Sound n\0 "s + row.wantNumbers + " 5 1.000 " + row.wantSamples);
        EXPECT_EQ(folder.CountFiles(), 2u);
        SimpleSound_t sound;
        sound.LoadFromFile(folder.At("out.sn").c_str());
        EXPECT_STREQ(sound.name.text, "n");
    }
}

// What is encoded is compared with another program's in ima_import_test.cpp.
TEST_F(WaveImport, FilesThatBecomeAdpcm) {
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
        EXPECT_TRUE(Import(Wave(odd + row.format + fact + odd + Chunk("data", row.data) + odd), true));
        const std::string isn = folder.Read("out.isn"), head = "IMA_ADPCM_Sound " + row.wantHeader;
        EXPECT_EQ(isn.substr(0, head.size()), head);
        EXPECT_TRUE(row.wantBlocks.empty() || isn.substr(head.size()) == row.wantBlocks);
        EXPECT_EQ(folder.CountFiles(), 2u);
        IMA_ADPCM_Sound_t sound;
        sound.LoadFromFile(folder.At("out.isn").c_str());
        (void)Decode(sound);  // whatever the noise is
        EXPECT_STREQ(sound.name.text, "n");
    }
    ASSERT_TRUE(Import(Wave(Format({2, 8}) + Chunk("data", std::string(100, '\x80'))), true));
    EXPECT_EQ(folder.Read("out.isn").substr(46), std::string(2048, '\0')) << "silence, also behind its end";
    ASSERT_TRUE(Import(Wave(Format({1, 8}) + Chunk("data", "\0\0"s)), true));
    EXPECT_EQ(folder.Read("out.isn").substr(folder.Read("out.isn").size() - 512, 4), "\0\x80\0\0"s)
        << "the lowest sample at its head";
}

// By either import.
TEST_F(WaveImport, FilesThatAreRefusedLeaveTheOldOne) {
    const std::string data = Chunk("data", "abcd"), good = Format({}) + data, longName(100, 'n');
    std::vector<std::string> waves = {
        "",
        "RIFX" + Wave(good).substr(4),
        Wave(good).replace(8, 4, "AVI "),
        Wave(data),
        Wave(data + Format({})),
        Wave(Chunk("fmt ", Bytes(14)) + data),
        Wave("JUNK\xF0\xFF\xFF\xFF" + good),
        Wave(Format({1, 8, 44100, 0xFFFE, -1, Extension(6, 8)}) + data),
    };
    // Channels, bits, rate, tag, block size.
    const format_t formats[] = {{1, 16, 0},
                                {1, 16, 44101},
                                {1, 16, 48000},
                                {0},
                                {3},
                                {1, 24},
                                {1, 12},
                                {1, 16, 44100, 1, 0},
                                {2, 16, 44100, 1, 2},
                                {1, 16, 44100, 2},
                                {1, 8, 44100, 6},
                                {1, 8, 44100, 0xFFFE},
                                {1, 4, 22050, 17, 0},
                                {1, 4, 22050, 17, 3},
                                {2, 4, 22050, 17, 7},
                                {0, 4, 22050, 17, 64},
                                {3, 4, 22050, 17, 64},
                                {1, 4, 48000, 17, 64},
                                {1, 4, 0, 17, 64}};
    for (const format_t& format : formats) waves.push_back(Wave(Format(format) + data));
    for (const bool isIma : {false, true}) {
        const std::string out = isIma ? "out.isn" : "out.sn";
        for (const std::string old : {"", "old"}) {
            if (!old.empty()) folder.Write(out, old);
            const std::size_t files = folder.CountFiles() + !std::filesystem::exists(folder.At("in.wav"));
            for (const std::string& wave : waves)
                EXPECT_FALSE(Import(wave, isIma)) << testing::PrintToString(wave);
            for (const char* name : {"a b", "", static_cast<const char*>(nullptr), longName.c_str()})
                EXPECT_FALSE(Import(Wave(good), isIma, name));
            for (const float volume : {1e9f, -INFINITY}) EXPECT_FALSE(Import(Wave(good), isIma, "n", volume));
            EXPECT_EQ(folder.Read(out), old);
            EXPECT_EQ(folder.CountFiles(), files);
        }
        const std::string nowhere = folder.At("none") + "/out", in = folder.At("in.wav"), to = folder.At(out);
        const auto import = isIma ? IMA_ADPCM_Sound_t::ImportWaveFile : SimpleSound_t::ImportWaveFile;
        EXPECT_FALSE(import(in.c_str(), nowhere.c_str(), "n", 0, 1));
        EXPECT_FALSE(import(nowhere.c_str(), to.c_str(), "n", 0, 1));
        EXPECT_FALSE(import(in.c_str(), folder.path.c_str(), "n", 0, 1));
        EXPECT_TRUE(Import(Wave(good), isIma));
    }
}

}  // namespace
